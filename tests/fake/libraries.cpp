// SPDX-License-Identifier: Apache-2.0
#include "tests/fake/libraries.h"

#include <algorithm>
#include <utility>

namespace orvspc::fake {
namespace {

// As many rows as fit.
template <class T>
std::int32_t Fill(const platform::ArrayRef& array, const std::vector<T>& rows) {
  const auto out = array.As<T>();
  std::copy_n(rows.begin(), std::min(out.size(), rows.size()), out.begin());
  return static_cast<std::int32_t>(rows.size());
}

template <class T>
std::int32_t CountOf(const std::vector<T>& rows) {
  return static_cast<std::int32_t>(rows.size());
}

class FakeDatabaseLibrary : public platform::DBLib6 {
 public:
  explicit FakeDatabaseLibrary(std::shared_ptr<World> world) : world_(std::move(world)) {}

  std::int32_t VLXDBL_CLEARDATASETDATA() override {
    log().Native("VLXDBL_CLEARDATASETDATA");
    return 0;
  }

  std::int32_t VLXDBL_BUILDDATASETDATA(std::int32_t Reserved, std::int32_t Connection,
                                       API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                       std::int32_t Content) override {
    log().Native("VLXDBL_BUILDDATASETDATA", Reserved, Connection, DSInfo, DSFilter, Content);
    if (script().rewrite) script().rewrite(DSInfo, DSFilter);
    return script().build_result.value_or(CountOf(script().tests));
  }

  std::int32_t VLXDBL_READDATA_SA(const platform::ArrayRef& Array, std::int32_t Content) override {
    log().Native("VLXDBL_READDATA_SA", Array, Content);
    if (Content == kTests) return Fill(Array, script().tests);
    return script().subgroup_result.value_or(Fill(Array, script().subgroups));
  }

  std::int32_t VLXDBL_GETDESCDATA(std::int32_t Reserved, std::int32_t Connection,
                                  API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                  const platform::ArrayRef& Subgroups,
                                  const platform::ArrayRef& Descriptors,
                                  std::int32_t Code) override {
    log().Native("VLXDBL_GETDESCDATA", Reserved, Connection, DSInfo, DSFilter, Subgroups,
                 Descriptors, Code);
    return script().descriptor_result.value_or(Fill(Descriptors, script().descriptors));
  }

  std::int32_t VLXDBL_DATATOFLTR_SA(const platform::ArrayRef& Subgroups, std::int32_t Code,
                                    std::span<std::int32_t> CommentFilter,
                                    std::int32_t HighestIndex) override {
    log().Native("VLXDBL_DATATOFLTR_SA", Subgroups, Code, CommentFilter, HighestIndex);
    return 0;
  }

  std::int32_t VLXDBL_FINDSGRPCMNT(std::int32_t Reserved, std::int32_t Connection,
                                   std::int32_t& StartSubgroup, std::int32_t SubgroupEnd,
                                   std::span<std::int32_t> CommentFilter,
                                   const platform::ArrayRef& Comments, std::int32_t Last) override {
    log().Native("VLXDBL_FINDSGRPCMNT", Reserved, Connection, StartSubgroup, SubgroupEnd,
                 CommentFilter, Comments, Last);
    return script().comment_result.value_or(Fill(Comments, script().comments));
  }

  std::int32_t VLXDBL_GETALARMMASK(std::int32_t Reserved, std::int32_t Connection,
                                   API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                   std::int32_t ChartWord, std::int32_t GraphCount,
                                   std::span<std::int32_t> AlarmMask) override {
    log().Native("VLXDBL_GETALARMMASK", Reserved, Connection, DSInfo, DSFilter, ChartWord,
                 GraphCount, AlarmMask);
    world_->alarm_mask_info = DSInfo;
    world_->alarm_mask_filter.assign(DSFilter.begin(), DSFilter.end());
    const auto graphs = std::min({static_cast<std::size_t>(std::max(GraphCount, 0)),
                                  AlarmMask.size(), script().alarm_mask.size()});
    std::copy_n(script().alarm_mask.begin(), graphs, AlarmMask.begin());
    return 0;
  }

  std::int32_t VLXDBL_BUILDEVENTDATA(std::int32_t Reserved, std::int32_t Connection,
                                     API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                     std::span<std::int32_t> Events, std::int32_t Last) override {
    log().Native("VLXDBL_BUILDEVENTDATA", Reserved, Connection, DSInfo, DSFilter, Events, Last);
    if (script().rewrite) script().rewrite(DSInfo, DSFilter);
    const auto& rows = script().events;
    const auto count = std::min(Events.size(), rows.size());
    for (std::size_t i = 0; i < count; ++i) Events[i] = rows[i].Evnt;
    return script().event_result.value_or(static_cast<std::int32_t>(count));
  }

  std::int32_t VLXDBL_GETEVENTS(std::int32_t Reserved, std::int32_t Connection,
                                std::span<std::int32_t> Events, const platform::ArrayRef& Rows,
                                std::int32_t Count, std::int32_t Code) override {
    log().Native("VLXDBL_GETEVENTS", Reserved, Connection, Events, Rows, Count, Code);
    return Fill(Rows, script().events);
  }

 private:
  Script& script() { return world_->script; }
  CallLog& log() { return world_->log; }

  std::shared_ptr<World> world_;
};

class FakeChartLibrary : public platform::CtrlChrt6 {
 public:
  explicit FakeChartLibrary(std::shared_ptr<World> world) : world_(std::move(world)) {}

  std::int32_t VLXCRT_VCHART_PROCESS_LT(std::int32_t Reserved, std::int32_t Connection,
                                        API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                        API_CCVarOptions& Options, std::int32_t Last) override {
    const bool zeros = std::ranges::all_of(Options.Zeros, [](auto word) { return word == 0; });
    log().Native("VLXCRT_VCHART_PROCESS_LT", Reserved, Connection, DSInfo, DSFilter,
                 Options.ChartWord, Options.ProcessingWord, Options.Constant,
                 zeros ? "zeros" : "no zeros", Last);
    if (script().rewrite) script().rewrite(DSInfo, DSFilter);
    return script().chart_word;
  }

  std::int32_t VLXCRT_VAR_DATA(std::int32_t Reserved, const platform::ArrayRef& Array,
                               platform::ChartData Code, std::int32_t Graph) override {
    log().Native("VLXCRT_VAR_DATA", Reserved, Array, static_cast<std::int32_t>(Code), Graph);
    return Data(Array, Code, Graph);
  }

  std::int32_t VLXCRT_VAR_LIMITS(std::int32_t Reserved, double& MeanEstimate, double& SPEstimate,
                                 double& SWEstimate, double& AverageSize1, double& AverageSize2,
                                 double& AverageSize3) override {
    log().Native("VLXCRT_VAR_LIMITS", Reserved);
    MeanEstimate = script().mean_estimate;
    SPEstimate = script().sp_estimate;
    SWEstimate = script().sw_estimate;
    AverageSize1 = script().average_sizes[0];
    AverageSize2 = script().average_sizes[1];
    AverageSize3 = script().average_sizes[2];
    return 0;
  }

  std::int32_t VLXCRT_VAR_END() override {
    log().Native("VLXCRT_VAR_END");
    return 0;
  }

  std::int32_t VLXCRT_ATTR_PROCESS_LT(std::int32_t Reserved, std::int32_t Connection,
                                      API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                      std::int32_t ChartWord, std::int32_t ProcessingWord,
                                      double EWMA, double& AQLValue, double& AQLProducerRisk,
                                      std::int32_t Last) override {
    log().Native("VLXCRT_ATTR_PROCESS_LT", Reserved, Connection, DSInfo, DSFilter, ChartWord,
                 ProcessingWord, EWMA, AQLValue, AQLProducerRisk, Last);
    if (script().rewrite) script().rewrite(DSInfo, DSFilter);
    return script().chart_word;
  }

  std::int32_t VLXCRT_ATTR_DATA(std::int32_t Reserved, const platform::ArrayRef& Array,
                                platform::ChartData Code, std::int32_t Graph) override {
    log().Native("VLXCRT_ATTR_DATA", Reserved, Array, static_cast<std::int32_t>(Code), Graph);
    return Data(Array, Code, Graph);
  }

  std::int32_t VLXCRT_ATTR_END() override {
    log().Native("VLXCRT_ATTR_END");
    return 0;
  }

 private:
  Script& script() { return world_->script; }
  CallLog& log() { return world_->log; }

  std::int32_t Data(const platform::ArrayRef& array, platform::ChartData code, std::int32_t graph) {
    using platform::ChartData;
    switch (code) {
      case ChartData::Totals:
        return Fill(array, std::vector{script().totals.value_or(CountedTotals())});
      case ChartData::Subgroups:
        return Fill(array, script().subgroups);
      case ChartData::Tests:
        return Fill(array, script().tests);
      case ChartData::CtrlLims:
        return Fill(array, script().ctrl_lims);
      case ChartData::SpecLims:
        return Fill(array, script().spec_lims);
      case ChartData::DefOpps:
        return Fill(array, script().def_opps);
      case ChartData::SGSizes:
      case ChartData::cOOCs:
      case ChartData::OOCs:
        return Fill(array, script().integers[{code, graph}]);
      default:
        return Fill(array, script().doubles[{code, graph}]);
    }
  }

  API_CCTotals CountedTotals() {
    return {CountOf(script().subgroups),
            CountOf(script().tests),
            CountOf(script().spec_lims),
            CountOf(script().ctrl_lims),
            CountOf(script().def_opps),
            0,
            0};
  }

  std::shared_ptr<World> world_;
};

}  // namespace

std::unique_ptr<platform::DBLib6> MakeDatabaseLibrary(std::shared_ptr<World> world) {
  return std::make_unique<FakeDatabaseLibrary>(std::move(world));
}

std::unique_ptr<platform::CtrlChrt6> MakeChartLibrary(std::shared_ptr<World> world) {
  return std::make_unique<FakeChartLibrary>(std::move(world));
}

void FillRows(Script& script, std::int32_t subgroups, std::int32_t size, double first,
              std::int32_t test) {
  script.subgroups.clear();
  script.tests.clear();
  for (std::int32_t i = 0; i < subgroups; ++i) {
    API_SubgroupData row{};
    row.Sgrp = i + 1;
    row.Part = row.Prcs = 1;
    row.Test = test;
    row.Sgtm = 1'600'000'000 + 60 * i;
    row.Size = size;
    row.Test_Start = i * size;
    row.Test_End = row.Test_Start + size - 1;
    script.subgroups.push_back(row);
    for (std::int32_t j = 0; j < size; ++j) {
      API_TestData value{};
      value.Tsno = j + 1;
      value.Val = first + i * size + j;
      script.tests.push_back(value);
    }
  }
}

}  // namespace orvspc::fake
