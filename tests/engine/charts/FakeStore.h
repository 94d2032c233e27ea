// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "engine/Embedded.h"
#include "engine/charts/AttributeRun.h"
#include "engine/charts/VariableRun.h"
#include "engine/statistics/RunRules.h"
#include "engine/store/Store.h"
#include "engine/store/phases.h"
#include "platform/Enumerations.h"

// A store in memory, and a reader that takes a chart out of a run as the library does.
namespace orvspc::engine::test {
using namespace catalogue;
using namespace store;
using namespace statistics;
using namespace charts;

using Groups = std::vector<std::vector<double>>;

struct Sample {
  std::vector<double> pieces;
  std::int32_t flag = sfEnabled;
  std::int32_t test = 1, process = 1, part = 1;
};

class FakeStore : public Store {
 public:
  FakeStore() {
    for (const auto& rule : StandardRules()) {
      rules.push_back({rule.number, rule.priority, std::string(NameOf(rule.kind)), rule.k, rule.m,
                       rule.zone, std::string(NameOf(rule.side)), rule.text});
    }
  }
  explicit FakeStore(const Groups& samples) : FakeStore() {
    for (const auto& pieces : samples) Add({pieces});
  }

  // Times count 0, 10, 20, ...
  void Add(const Sample& sample) {
    Begin(sample);
    for (const double piece : sample.pieces) data.values.push_back(piece);
    End();
  }
  // Pieces with readings inside: piece_readings[j] are those of piece j, whose value is their mean.
  void AddWithReadings(const std::vector<std::vector<double>>& piece_readings) {
    Begin({});
    for (std::size_t j = 0; j < piece_readings.size(); ++j) {
      const auto tsno = static_cast<std::int32_t>(j) + 1;
      double sum = 0.0;
      for (const double reading : piece_readings[j]) sum += reading;
      Row(tsno, 0, sum / static_cast<double>(piece_readings[j].size()));
      std::int32_t sbno = 0;
      for (const double reading : piece_readings[j]) Row(tsno, ++sbno, reading);
    }
    End();
  }
  // A bare count of an attribute test on so many units.
  void AddCount(double count, std::int32_t size, std::int32_t flag = sfEnabled,
                std::int32_t test = 1) {
    Begin({{}, flag, test});
    data.subgroups.back().Size = size;
    Row(0, 0, count);
    End();
  }
  // Units with a number and what each of their rows counts.
  void AddUnits(const std::vector<std::pair<std::int32_t, double>>& rows, std::int32_t size) {
    Begin({});
    data.subgroups.back().Size = size;
    for (const auto& [unit, count] : rows) Row(unit, 0, count);
    End();
  }
  void Opportunity(std::int32_t count, std::int32_t effective = 0) {
    API_CCDefOpp row{};
    row.Word0 = static_cast<std::int32_t>(opportunities.size()) + 1;
    row.F_PART = 1;
    row.F_TEST_ = 1;
    row.F_OPPS = count;
    row.Word24 = effective;
    opportunities.push_back(row);
  }
  // A subgroup that was inspected and has no rows.
  void AddEmptyMarker() {
    Begin({});
    for (std::size_t i = data.keys.size(); i < data.values.size(); ++i)
      data.keys.push_back({0, 1, 0, 0, 0});
    Row(0, 0, 0.0);
    End();
  }
  void Row(std::int32_t tsno, std::int32_t sbno, double value) {
    data.keys.push_back({0, tsno, sbno, 0, 0});
    data.values.push_back(value);
  }

  API_CCSpecLim& Spec(double lsl, double target, double usl, std::int32_t flags,
                      std::int32_t effective = 0) {
    API_CCSpecLim row{};
    row.Word0 = static_cast<std::int32_t>(specs.size()) + 1;
    row.Word20 = effective;
    row.F_PART = 1;
    row.F_TEST_ = 1;
    row.F_LSL = lsl;
    row.F_TAR = target;
    row.F_USL = usl;
    row.F_EFLAG = flags;
    specs.push_back(row);
    return specs.back();
  }
  ControlLimit& Limit(double mean, double sp, double sw, std::int32_t effective = 0,
                      std::int32_t process = 1, std::int32_t chart_word = 0) {
    ControlLimit limit{};
    limit.row.Word0 = static_cast<std::int32_t>(limits.size()) + 1;
    limit.row.F_EFTM = effective;
    limit.row.F_PART = 1;
    limit.row.F_PRCS = process;
    limit.row.F_TEST_ = 1;
    limit.row.F_MEAN = mean;
    limit.row.F_SP = sp;
    limit.row.F_SW = sw;
    limit.chart_word = chart_word;
    limits.push_back(limit);
    return limits.back();
  }

  bool Select(API_DSInfo& info, std::span<const std::int32_t>, const SelectOptions& options,
              DataSet& out) override {
    asked_types = options.test_types;
    if (info.Status == 0) info.Status = 7;
    if (!select_fails.empty()) {
      Fail(1, select_fails);
      return false;
    }
    out = data;
    return true;
  }
  std::vector<API_CCSpecLim> SpecLimits(std::int32_t part, std::int32_t test) override {
    std::vector<API_CCSpecLim> found;
    for (const auto& row : specs) {
      if (row.F_PART == part && row.F_TEST_ == test) found.push_back(row);
    }
    return found;
  }
  std::vector<ControlLimit> ControlLimits(std::int32_t part, std::int32_t process,
                                          std::int32_t test) override {
    std::vector<ControlLimit> found;
    for (const auto& limit : limits) {
      const auto& row = limit.row;
      if (row.F_PART == part && row.F_TEST_ == test && (row.F_PRCS == process || row.F_PRCS == 0)) {
        found.push_back(limit);
      }
    }
    return found;
  }
  std::int32_t TestType(std::int32_t test) override {
    const auto found = types.find(test);
    return found == types.end() ? ttVariable : found->second;
  }
  std::vector<API_CCDefOpp> Opportunities(std::int32_t part, std::int32_t test) override {
    std::vector<API_CCDefOpp> found;
    for (const auto& row : opportunities) {
      if (row.F_PART == part && row.F_TEST_ == test) found.push_back(row);
    }
    return found;
  }
  std::vector<Phase> Phases(std::int32_t part, std::int32_t process, std::int32_t test) override {
    return PhasesOf(phases, part, process, test);
  }
  bool JoinsPhases() const override { return joins_phases; }
  const std::vector<StoredRule>& Rules() override { return rules; }
  std::uint32_t AlarmBits(std::int32_t, std::int32_t, std::int32_t test, std::int32_t) override {
    const auto found = alarms.find(test);
    return found == alarms.end() ? 0x7FFFFFFFU : found->second;
  }
  std::string Setting(std::string_view key, std::string_view fallback) override {
    const auto found = settings.find(std::string(key));
    return found == settings.end() ? std::string(fallback) : found->second;
  }
  std::optional<ChosenOption> ChartOption(std::int32_t, std::int32_t, std::int32_t,
                                          std::int32_t graph, std::string_view key) override {
    const auto found = chart_options.find(std::string(key));
    if (graph != 1 || found == chart_options.end()) return std::nullopt;
    return ChosenOption{found->second};
  }
  std::string StreamName(std::int32_t part, std::int32_t process, std::int32_t test) override {
    return std::to_string(part) + " / " + std::to_string(process) + " / " + std::to_string(test);
  }
  void Fail(std::int32_t number, std::string description) override {
    failures.emplace_back(number, std::move(description));
  }

  DataSet data;
  std::vector<API_CCSpecLim> specs;
  std::vector<ControlLimit> limits;
  std::vector<StoredRule> rules;
  std::map<std::int32_t, std::int32_t> types;  // by test
  std::vector<API_CCDefOpp> opportunities;
  std::vector<Phase> phases;  // by start
  bool joins_phases = false;
  std::map<std::int32_t, std::uint32_t> alarms;  // by test
  std::map<std::string, std::string> settings;
  std::map<std::string, std::string> chart_options;  // of graph 1 of every stream
  std::vector<std::pair<std::int32_t, std::string>> failures;
  std::string select_fails;
  std::int32_t asked_types = 0;

 private:
  void Begin(const Sample& sample) {
    API_SubgroupData row{};
    const auto number = static_cast<std::int32_t>(data.subgroups.size());
    row.Sgrp = number + 1;
    row.Part = sample.part;
    row.Prcs = sample.process;
    row.Test = sample.test;
    row.Sgtm = 10 * number;
    row.Size = static_cast<std::int32_t>(sample.pieces.size());
    row.Flag = sample.flag;
    row.Test_Start = static_cast<std::int32_t>(data.values.size());
    data.subgroups.push_back(row);
  }
  void End() { data.subgroups.back().Test_End = static_cast<std::int32_t>(data.values.size()) - 1; }
};

struct MadeGraph {
  std::vector<double> points, cucl, ccl, clcl, ucl, cl, lcl;
  std::vector<std::int32_t> sizes, coocs, oocs;
};

struct MadeChart {
  std::int32_t word = 0;
  API_CCTotals totals{};
  StreamEstimates estimates;  // of the first stream
  std::array<double, 3> average_sizes{};
  std::vector<MadeGraph> graphs;
  std::vector<API_CCSpecLim> specs;
  std::vector<API_CCCtrlLim> limits;
  std::vector<API_CCDefOpp> opportunities;
  std::vector<double> usls, targets, lsls;
};

template <class T, class Run>
std::vector<T> Fetch(Run& run, platform::ChartData code, std::int32_t graph, std::size_t count) {
  std::vector<T> out(count);
  const platform::ArrayRef array{out.data(), sizeof(T), out.size()};
  if (run.Deliver(array, code, graph) != static_cast<std::int32_t>(count)) out.clear();
  return out;
}

// Takes everything out of an open run that has so many graphs.
template <class Run>
void Collect(Run& run, std::int32_t graphs, MadeChart& chart) {
  using platform::ChartData;
  chart.totals = Fetch<API_CCTotals>(run, ChartData::Totals, 0, 1).at(0);
  chart.estimates = run.EstimatesOf(0);
  const auto count = static_cast<std::size_t>(chart.totals.SubgroupCount);
  for (std::int32_t graph = 1; graph <= graphs; ++graph) {
    MadeGraph made;
    const auto doubles = [&](ChartData code) { return Fetch<double>(run, code, graph, count); };
    made.points = doubles(ChartData::Points);
    made.sizes = Fetch<std::int32_t>(run, ChartData::SGSizes, graph, count);
    made.coocs = Fetch<std::int32_t>(run, ChartData::cOOCs, graph, count);
    made.oocs = Fetch<std::int32_t>(run, ChartData::OOCs, graph, count);
    made.cucl = doubles(ChartData::cUCLs);
    made.ccl = doubles(ChartData::cCLs);
    made.clcl = doubles(ChartData::cLCLs);
    made.ucl = doubles(ChartData::UCLs);
    made.cl = doubles(ChartData::Cls);
    made.lcl = doubles(ChartData::LCLs);
    chart.graphs.push_back(std::move(made));
  }
  chart.specs = Fetch<API_CCSpecLim>(run, ChartData::SpecLims, 0,
                                     static_cast<std::size_t>(chart.totals.SpecLimCount));
  chart.limits = Fetch<API_CCCtrlLim>(run, ChartData::CtrlLims, 0,
                                      static_cast<std::size_t>(chart.totals.CtrlLimCount));
  chart.opportunities = Fetch<API_CCDefOpp>(run, ChartData::DefOpps, 0,
                                            static_cast<std::size_t>(chart.totals.DefOppCount));
  chart.usls = Fetch<double>(run, ChartData::USLs, 1, count);
  chart.targets = Fetch<double>(run, ChartData::Targets, 1, count);
  chart.lsls = Fetch<double>(run, ChartData::LSLs, 1, count);
}

inline MadeChart Make(Store& store, std::int32_t word, std::int32_t processing = 0,
                      std::int32_t status = 0) {
  VariableRun run;
  API_DSInfo info{};
  info.Status = status;
  API_CCVarOptions options{};
  options.ChartWord = word;
  options.ProcessingWord = processing;
  options.Constant = 2;
  MadeChart chart;
  chart.word = run.Process(store, info, {}, options);
  if (chart.word == 0) return chart;
  Collect(run, run.Plan().GraphCount(), chart);
  for (std::size_t graph = 0; graph < chart.graphs.size(); ++graph) {
    chart.average_sizes[graph] = AverageSize(run.Plan(), chart.estimates, graph);
  }
  return chart;
}

inline MadeChart MakeAttribute(Store& store, std::int32_t word, std::int32_t processing = 0,
                               double ewma = 0.0, std::int32_t status = 0) {
  AttributeRun run;
  API_DSInfo info{};
  info.Status = status;
  MadeChart chart;
  chart.word = run.Process(store, info, {}, {word, processing, ewma});
  if (chart.word != 0) Collect(run, 1, chart);
  return chart;
}

}  // namespace orvspc::engine::test
