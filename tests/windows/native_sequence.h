// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "engine/QualityDatabase.h"
#include "platform/CapAna6.h"
#include "platform/CtrlChrt6.h"
#include "platform/DBLib6.h"
#include "platform/Enumerations.h"
#include "platform/Pareto6.h"
#include "platform/SReqCompliance.h"

// One sequence that calls every function of the five closed libraries, over whatever implements
// them, and keeps all that they return and write. Two implementations are alike when what they kept
// is equal byte for byte.
namespace orvspc::native_test {

struct Libraries {
  platform::DBLib6& database;
  platform::CtrlChrt6& chart;
  platform::CapAna6& capability;
  platform::Pareto6& pareto;
  platform::SReqCompliance& compliance;
};

// One call: its result and every byte that it could write.
struct Answer {
  std::string call;
  std::int32_t result = 0;
  bool expected = true;  // whether the result is what the sequence was made for
  std::string bytes;
};

class Sequence {
 public:
  // names finds the identifiers; handle is the connection of the engine that libraries call.
  Sequence(Libraries libraries, std::int32_t handle, const QualityDatabase& names)
      : libraries_(libraries), handle_(handle), names_(names) {}

  std::vector<Answer> Run() {
    Retrieve();
    Filters();
    Refused();
    Events();
    VariableChart();
    AttributeChart();
    Capability();
    Pareto();
    Compliance();
    return std::move(answers_);
  }

 private:
  static constexpr std::int32_t kFrom = 1704067200, kTo = 1735689600;  // the year 2024

  enum class Result { Any, Some, None };

  struct Selection {
    API_DSInfo info{};
    std::vector<std::int32_t> filter;
  };

  template <class T>
  static platform::ArrayRef RefOf(std::vector<T>& rows) {
    return {rows.data(), sizeof(T), rows.size(), {}};
  }

  // Everything of a part, of any process and test.
  Selection Select(std::string_view part, std::int32_t kinds) const {
    Selection selection;
    auto& info = selection.info;
    info.Count = 1000;
    info.DECFGID = -1;
    info.TimeType = drttStatic;
    info.TimeStart = kFrom;
    info.TimeEnd = kTo;
    info.TestType = kinds;
    for (auto* const all : {&info.AllProcess, &info.AllTest, &info.AllCode, &info.AllJob,
                            &info.AllLot, &info.AllShift, &info.AllEmployee})
      *all = ftUnlimited;
    info.AllPart = part.empty() ? ftUnlimited : ftItemList;
    if (part.empty()) {
      selection.filter = {0, 0};
    } else {
      selection.filter = {0, 1, names_.Find(ItemKind::Part, part).value()};
    }
    selection.filter.resize(selection.filter.size() + 7 * 2 + 2);
    return selection;
  }

  template <class T>
  static void Append(std::string& bytes, const T& written) {
    if constexpr (requires { written.data(); }) {
      const auto all = std::as_bytes(std::span(written));
      bytes.append(reinterpret_cast<const char*>(all.data()), all.size());
    } else {
      static_assert(std::is_trivially_copyable_v<T>);
      bytes.append(reinterpret_cast<const char*>(&written), sizeof written);
    }
  }

  template <class... Written>
  std::int32_t Keep(std::string call, Result expected, std::int32_t result,
                    const Written&... written) {
    Answer answer{std::move(call), result, true, {}};
    if (expected != Result::Any) answer.expected = (result > 0) == (expected == Result::Some);
    (Append(answer.bytes, written), ...);
    answers_.push_back(std::move(answer));
    return result;
  }

  template <class... Written>
  std::int32_t Keep(std::string call, Result expected, std::int32_t result, const Selection& of,
                    const Written&... written) {
    return Keep(std::move(call), expected, result, of.info, of.filter, written...);
  }

  static std::size_t Count(std::int32_t count) {
    return static_cast<std::size_t>(std::max(count, 0));
  }

  // A data set with descriptors and comments, in the order of a retrieval.
  void Retrieve() {
    auto& library = libraries_.database;
    auto all = Select("Cavity part", ttVariable);
    auto& [info, filter] = all;
    Keep("CLEARDATASETDATA", Result::Any, library.VLXDBL_CLEARDATASETDATA());
    const auto values =
        library.VLXDBL_BUILDDATASETDATA(0, handle_, info, filter, library.kSubgroupsAndTests);
    Keep("BUILDDATASETDATA", Result::Some, values, all);
    subgroups_.resize(Count(values));
    std::vector<API_TestData> tests(Count(values));
    std::vector<API_DescriptorData> descriptors(60'001);
    const auto subgroups = library.VLXDBL_READDATA_SA(RefOf(subgroups_), library.kSubgroups);
    Keep("READDATA_SA subgroups", Result::Some, subgroups, subgroups_);
    const auto read = library.VLXDBL_READDATA_SA(RefOf(tests), library.kTests);
    Keep("READDATA_SA tests", Result::Some, read, tests);
    subgroups_.resize(Count(subgroups));
    const auto found = library.VLXDBL_GETDESCDATA(0, handle_, info, filter, RefOf(subgroups_),
                                                  RefOf(descriptors), library.kSubgroups);
    Keep("GETDESCDATA", Result::Some, found, all, descriptors);
    // Room for one row alone, and for none.
    for (const std::size_t room : {1, 0}) {
      descriptors.assign(room, {});
      const auto cut = library.VLXDBL_GETDESCDATA(0, handle_, info, filter, RefOf(subgroups_),
                                                  RefOf(descriptors), library.kSubgroups);
      Keep("GETDESCDATA cut", Result::Any, cut, descriptors);
    }
    Keep("CLEARDATASETDATA", Result::Any, library.VLXDBL_CLEARDATASETDATA());
    Comments();
  }

  // Through the filter of subgroups, and through one that has room for a range alone.
  void Comments() {
    auto& library = libraries_.database;
    for (const std::size_t cells : {10'001, 3}) {
      std::vector<std::int32_t> filter(cells);
      std::vector<API_CommentData> comments(50);
      const auto highest = static_cast<std::int32_t>(cells) - 1;
      const auto made =
          library.VLXDBL_DATATOFLTR_SA(RefOf(subgroups_), library.kSubgroups, filter, highest);
      Keep("DATATOFLTR_SA", Result::Some, made, filter);
      std::int32_t start = 0;
      const auto found =
          library.VLXDBL_FINDSGRPCMNT(0, handle_, start, 0, filter, RefOf(comments), 0);
      Keep("FINDSGRPCMNT", Result::Some, found, start, filter, comments);
    }
  }

  // Every form of a block of the filter array.
  void Filters() {
    auto& library = libraries_.database;
    const auto build = [&](const char* call, Result expected, Selection selection) {
      const auto result = library.VLXDBL_BUILDDATASETDATA(
          0, handle_, selection.info, selection.filter, library.kSubgroupsAndTests);
      Keep(call, expected, result, selection);
      library.VLXDBL_CLEARDATASETDATA();
    };
    const auto part = names_.Find(ItemKind::Part, "Wafer").value();
    auto group = Select("", ttVariable);
    group.info.AllPart = ftGroup;
    group.filter = {0, 1, part};
    group.filter.resize(3 + 7 * 2 + 2);
    build("a group narrowed to an item", Result::Some, group);
    auto two = Select("", ttVariable);
    two.info.AllPart = two.info.AllLot = ftItemList;
    two.filter = {0, 2, part, names_.Find(ItemKind::Part, "Ring").value(), 0, 0, 0, 0, 0, 0, 0, 0};
    two.filter.resize(two.filter.size() + 3 * 2 + 2);
    build("two items, and a list without items", Result::Some, two);
    auto described = Select("Cavity part", ttVariable);
    const auto cavity = names_.FindDescriptorGroup("Cavity").value();
    const auto first = names_.FindDescriptor(cavity, "1").value();
    described.info.Filter = 1;
    described.filter.resize(3 + 7 * 2);
    described.filter.insert(described.filter.end(), {1, first, 1, first, 0});
    build("a descriptor", Result::Some, described);
    // One list at each place of the filter array.
    struct Place {
      ItemKind kind;
      const char* name;
      std::int32_t API_DSInfo::*type;
      std::size_t block;
    };
    for (const auto& [kind, name, type, block] :
         {Place{ItemKind::Part, "Wafer", &API_DSInfo::AllPart, 0},
          Place{ItemKind::Process, "Hard bake", &API_DSInfo::AllProcess, 1},
          Place{ItemKind::Test, "Flow width", &API_DSInfo::AllTest, 2},
          Place{ItemKind::Job, "J1", &API_DSInfo::AllJob, 3},
          Place{ItemKind::Lot, "L1", &API_DSInfo::AllLot, 4},
          Place{ItemKind::Shift, "Early", &API_DSInfo::AllShift, 5},
          Place{ItemKind::Employee, "Okafor", &API_DSInfo::AllEmployee, 6},
          Place{ItemKind::Defect, "DI", &API_DSInfo::AllCode, 7}}) {
      auto one = Select("", ttVariable | ttDefects);
      one.info.*type = ftItemList;
      const auto item = names_.Find(kind, name).value();
      one.filter.insert(one.filter.begin() + static_cast<std::ptrdiff_t>(2 * block) + 2, item);
      one.filter[2 * block + 1] = 1;
      build("one list", Result::Some, one);
    }
    auto unknown = Select("Wafer", ttVariable);
    unknown.info.AllShift = 7;
    build("an unknown filter type", Result::None, unknown);
    auto negative = Select("Wafer", ttVariable);
    negative.filter[1] = -1;
    build("a negative count", Result::None, negative);
  }

  // What the engine turns down.
  void Refused() {
    auto& library = libraries_.database;
    auto all = Select("Wafer", ttVariable);
    const auto refused = library.VLXDBL_BUILDDATASETDATA(0, handle_, all.info, all.filter, 0);
    Keep("BUILDDATASETDATA of nothing", Result::None, refused, all);
    const auto closed = library.VLXDBL_BUILDDATASETDATA(0, handle_ + 1000, all.info, all.filter,
                                                        library.kSubgroupsAndTests);
    Keep("BUILDDATASETDATA of no database", Result::None, closed, all);
    library.VLXDBL_BUILDDATASETDATA(0, handle_, all.info, all.filter, library.kSubgroupsAndTests);
    const auto read = [&](const char* call, const platform::ArrayRef& array) {
      Keep(call, Result::None, library.VLXDBL_READDATA_SA(array, library.kSubgroups));
    };
    std::vector<API_SubgroupData> rows(1000);
    read("READDATA_SA without an array", {});
    read("READDATA_SA of length 0", {rows.data(), sizeof rows[0], 0, {}});
    read("READDATA_SA of length 1", {rows.data(), sizeof rows[0], 1, {}});
    read("READDATA_SA of wider rows", {rows.data(), 2 * sizeof rows[0], 500, {}});
    read("READDATA_SA of bytes", {rows.data(), 1, rows.size() * sizeof rows[0], {}});
    Keep("what that left", Result::Any, 0, rows);
    library.VLXDBL_CLEARDATASETDATA();
  }

  void Events() {
    auto& library = libraries_.database;
    for (const std::int32_t most : {1000, 3}) {
      auto all = Select("", ttVariable);
      all.info.Count = most;
      std::vector<std::int32_t> events(Count(most));
      const auto found = library.VLXDBL_BUILDEVENTDATA(0, handle_, all.info, all.filter, events, 0);
      Keep("BUILDEVENTDATA", Result::Some, found, all, events);
      std::vector<API_EventData> rows(Count(found));
      const auto read = [&](const char* call, Result expected, std::int32_t count) {
        const auto result =
            library.VLXDBL_GETEVENTS(0, handle_, events, RefOf(rows), count, library.kEvents);
        Keep(call, expected, result, rows);
      };
      read("GETEVENTS of less than none", Result::None, -1);
      read("GETEVENTS of one", Result::Some, 1);
      read("GETEVENTS", Result::Some, found);
    }
  }

  // All that a data call can fill, graph by graph.
  template <class Data>
  void ReadChart(const std::string& path, Data data) {
    using platform::ChartData;
    const auto fetch = [&]<class T>(ChartData code, std::int32_t count, std::int32_t graph,
                                    std::vector<T> rows, Result expected) {
      rows.resize(Count(count));
      const auto result = data(RefOf(rows), code, graph);
      Keep(path + " data " + std::to_string(static_cast<int>(code)) + " of graph " +
               std::to_string(graph),
           expected, result, rows);
      return rows;
    };
    const auto totals =
        fetch(ChartData::Totals, 1, 0, std::vector<API_CCTotals>{}, Result::Some)[0];
    const auto points = totals.SubgroupCount;
    fetch(ChartData::Subgroups, points, 0, std::vector<API_SubgroupData>{}, Result::Some);
    fetch(ChartData::Tests, totals.TestCount, 0, std::vector<API_TestData>{}, Result::Some);
    fetch(ChartData::CtrlLims, totals.CtrlLimCount, 0, std::vector<API_CCCtrlLim>{}, Result::Any);
    fetch(ChartData::SpecLims, totals.SpecLimCount, 0, std::vector<API_CCSpecLim>{}, Result::Any);
    fetch(ChartData::DefOpps, totals.DefOppCount, 0, std::vector<API_CCDefOpp>{}, Result::Any);
    for (std::int32_t graph = 0; graph <= 4; ++graph) {
      for (const auto code : {ChartData::SGSizes, ChartData::cOOCs, ChartData::OOCs}) {
        fetch(code, points, graph, std::vector<std::int32_t>{},
              graph == 1 ? Result::Some : Result::Any);
      }
      for (const auto code : {ChartData::Points, ChartData::cUCLs, ChartData::cCLs,
                              ChartData::cLCLs, ChartData::UCLs, ChartData::Cls, ChartData::LCLs,
                              ChartData::USLs, ChartData::Targets, ChartData::LSLs}) {
        fetch(code, points, graph, std::vector<double>{}, Result::Any);
      }
    }
    fetch(ChartData::Points, points - 1, 1, std::vector<double>{}, Result::None);
    fetch(ChartData::Points, 0, 1, std::vector<double>{}, Result::None);
  }

  void AlarmMask(Selection& all, std::int32_t word) {
    for (const std::int32_t graphs : {3, 1, 0, -1}) {
      std::array<std::int32_t, 3> mask{-5, -5, -5};
      const auto written = libraries_.database.VLXDBL_GETALARMMASK(0, handle_, all.info, all.filter,
                                                                   word, graphs, mask);
      Keep("GETALARMMASK", graphs > 0 ? Result::Some : Result::None, written, all, mask);
    }
  }

  void VariableChart() {
    auto& library = libraries_.chart;
    for (const char* part : {"Wafer", "Ring"}) {
      Keep("VAR_END", Result::Any, library.VLXCRT_VAR_END());
      auto all = Select(part, ttVariable);
      API_CCVarOptions options{};
      options.ChartWord = 0x110;
      options.Constant = 2;
      const auto word =
          library.VLXCRT_VCHART_PROCESS_LT(0, handle_, all.info, all.filter, options, 0);
      Keep("VCHART_PROCESS_LT", Result::Some, word, all, options);
      ReadChart("VAR",
                [&](const platform::ArrayRef& array, platform::ChartData code, std::int32_t graph) {
                  return library.VLXCRT_VAR_DATA(0, array, code, graph);
                });
      AlarmMask(all, word);
      std::array<double, 6> figures{};
      const auto limits = library.VLXCRT_VAR_LIMITS(0, figures[0], figures[1], figures[2],
                                                    figures[3], figures[4], figures[5]);
      Keep("VAR_LIMITS", Result::Some, limits, figures);
      Keep("VAR_END", Result::Any, library.VLXCRT_VAR_END());
    }
    std::array<double, 6> none{1, 2, 3, 4, 5, 6};
    Keep("VAR_LIMITS without a run", Result::None,
         library.VLXCRT_VAR_LIMITS(0, none[0], none[1], none[2], none[3], none[4], none[5]), none);
  }

  void AttributeChart() {
    auto& library = libraries_.chart;
    const auto run = [&](const char* part, std::int32_t asked, std::int32_t kinds) {
      Keep("ATTR_END", Result::Any, library.VLXCRT_ATTR_END());
      auto all = Select(part, kinds);
      double level = 1.5, risk = 5.0;
      const auto word = library.VLXCRT_ATTR_PROCESS_LT(0, handle_, all.info, all.filter, asked, 0,
                                                       0.0, level, risk, 0);
      Keep("ATTR_PROCESS_LT", Result::Some, word, all, level, risk);
      ReadChart("ATTR",
                [&](const platform::ArrayRef& array, platform::ChartData code, std::int32_t graph) {
                  return library.VLXCRT_ATTR_DATA(0, array, code, graph);
                });
      AlarmMask(all, word);
      Keep("ATTR_END", Result::Any, library.VLXCRT_ATTR_END());
    };
    run("Circuit board", 0x900, ttDefects);
    run("Purchase order", 0xD00, ttDefectives);
  }

  void Capability() {
    auto& library = libraries_.capability;
    auto all = Select("Shaft", ttVariable);
    API_CAOptions options{};
    options.BinCount = 21;
    options.CurveCount = 80;
    std::vector<double> x(80), y(80);
    std::vector<API_CABin> bins(21);
    auto ref = RefOf(bins);
    ref.resize = [&](std::size_t count) -> void* {
      bins.resize(count);
      return bins.data();
    };
    API_CASummary summary{};
    API_CACPs cps{};
    API_CAPPs pps{};
    API_CAMoments moments{};
    API_CAChiSq chi_square{};
    API_CAAnova anova{};
    API_CASpecLim8 spec_limits{};
    API_CASpecResults spec_results{};
    API_CANccLim8 ncc_limits{};
    API_CANccResults ncc_results{};
    API_CAReserved reserved{};
    const auto process = [&](Result expected, const platform::ArrayRef& array) {
      const auto done = library.VLXCAP_PROCESSING_LT(
          0, handle_, all.info, all.filter, x, y, array, summary, cps, pps, moments, chi_square,
          anova, spec_limits, spec_results, ncc_limits, ncc_results, reserved, options, 0);
      Keep("PROCESSING_LT", expected, done, all, x, y, bins, summary, cps, pps, moments, chi_square,
           anova, spec_limits, spec_results, ncc_limits, ncc_results, reserved, options);
    };
    // With too little room for the bins, in memory that is lent, in a copy that may be resized.
    process(Result::None, {bins.data(), sizeof bins[0], 20, {}});
    process(Result::Some, RefOf(bins));
    bins.assign(bins.size(), {});
    process(Result::Some, ref);
    const auto type = library.VLXCAP_JOHNSONCURVEFIT(0, x, y, ref, summary, pps, chi_square,
                                                     spec_limits, spec_results, options);
    Keep("JOHNSONCURVEFIT", Result::Some, type, x, y, bins, summary, pps, chi_square, spec_limits,
         spec_results, options);
  }

  void Pareto() {
    auto& library = libraries_.pareto;
    struct Job {
      decltype(&platform::Pareto6::VLXPAR_PROC) call;
      const char* name;
      paBinTypes level;
      std::int32_t measure;
    };
    for (const auto& job :
         {Job{&platform::Pareto6::VLXPAR_PROC, "PROC", paBinTypeDefect, paProcessByCount},
          Job{&platform::Pareto6::VLXPAR_EVENT, "EVENT", paBinTypeACC, paProcessByCount},
          Job{&platform::Pareto6::VLXPAR_STATE, "STATE", paBinTypeStateCode, paProcessByHours}}) {
      for (const std::size_t room : {30, 2, 0}) {
        auto all = Select(job.level == paBinTypeDefect ? "Door panel" : "", ttDefects);
        all.info.Count = 0;
        API_PAOptions options{};
        options.BinType[0] = job.level;
        options.ProcessingType = job.measure;
        options.BinCount = static_cast<std::int32_t>(room);
        std::vector<API_PABin> bins(room);
        platform::Pareto6::Work words{};
        const auto made =
            (library.*job.call)(0, handle_, all.info, all.filter, RefOf(bins), options, words);
        Keep(job.name, room == 0 ? Result::Any : Result::Some, made, all, bins, options, words);
      }
    }
  }

  void Compliance() {
    auto& library = libraries_.compliance;
    auto all = Select("", ttVariable);
    all.info.TimeStart = 1712534400;  // 2024-04-08
    all.info.TimeEnd = 1712966400;    // 2024-04-13
    const auto kept = library.VLXSREQ_SREQ_COMPLIANCE(0, handle_, all.info, all.filter);
    Keep("SREQ_COMPLIANCE", Result::Some, kept, all);
    std::vector<API_SCRow> rows(Count(kept));
    const auto read = [&](Result expected, std::int32_t count) {
      const auto copied = library.VLXSREQ_SREQ_COMPLIANCE_GETDATA(rows, count);
      Keep("SREQ_COMPLIANCE_GETDATA", expected, copied, rows);
    };
    read(Result::None, -1);
    read(Result::Some, 1);
    read(Result::Some, kept);
    Keep("SREQ_COMPLIANCE_FREEDATA", Result::Any, library.VLXSREQ_SREQ_COMPLIANCE_FREEDATA());
    read(Result::None, kept);
  }

  Libraries libraries_;
  std::int32_t handle_;
  const QualityDatabase& names_;
  std::vector<API_SubgroupData> subgroups_;
  std::vector<Answer> answers_;
};

}  // namespace orvspc::native_test
