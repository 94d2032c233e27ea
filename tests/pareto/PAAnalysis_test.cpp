// SPDX-License-Identifier: Apache-2.0
#include "pareto/PAAnalysis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "frame/Trail.h"
#include "tests/fake/FailureOf.h"
#include "tests/pareto/analysis.h"

namespace orvspc {
namespace {

using pareto_test::Analysis;
using Lines = std::vector<std::string>;

TEST(PAAnalysis, ReadsTheHandleOnceAndCallsTheLibraryOnceWithSevenArguments) {
  Analysis run;
  run.Answer(1, 4);
  run.Analyze();
  EXPECT_EQ(run.log().Lines(), (Lines{"Database.ConnectionHandle()",
                                      "VLXPAR_PROC(0, 77, DSInfo, [18], [10 x 192], 10, zeros)"}));
}

struct Resource {
  std::int32_t type;
  const char* call;
  std::int32_t kept;
};

TEST(PAAnalysis, TheResourceChoosesTheEntry) {
  for (const Resource& row : {Resource{0, "VLXPAR_PROC", 0}, Resource{1, "VLXPAR_EVENT", 1},
                              Resource{2, "VLXPAR_STATE", 2}, Resource{7, "VLXPAR_PROC", 0},
                              Resource{-1, "VLXPAR_PROC", 0}}) {
    Analysis run;
    run.processing->ResourceType(paResourceTypes{row.type});
    const auto results = run.Analyze();
    EXPECT_EQ(run.log().Count(row.call), 1) << row.type;
    EXPECT_EQ(run.log().Count("VLXPAR"), 1) << row.type;
    EXPECT_EQ(results->Processing()->ResourceType(), row.kept) << row.type;
    EXPECT_EQ(run.processing->ResourceType(), row.type) << "the host's object";
  }
}

TEST(PAAnalysis, TheLibraryGetsTheFlatSelectionAndTheFlatSettings) {
  Analysis run;
  run.select->MaximumItems(123);
  run.select->Descriptors()->Add(dtPart)->AddItemID(9);
  run.processing->BinType(0, paBinTypeTime);
  run.processing->BinTypeID(1, 6);
  run.processing->ShowEmptyBins(true);
  API_DSInfo info = {};
  std::vector<std::int32_t> filter;
  run.script().rewrite = [&](API_DSInfo& given, std::span<std::int32_t> cells) {
    info = given;
    filter.assign(cells.begin(), cells.end());
  };
  API_PAOptions options = {};
  bool zeros = false;
  std::size_t count = 0;
  run.script().pareto = [&](std::span<API_PABin> bins, API_PAOptions& given) {
    options = given;
    count = bins.size();
    const auto* bytes = reinterpret_cast<const unsigned char*>(bins.data());
    zeros = std::all_of(bytes, bytes + bins.size_bytes(), [](unsigned char b) { return b == 0; });
    return 0;
  };
  run.Analyze();
  API_DSInfo expected_info = {};
  Array<std::int32_t> expected_filter;
  run.select->API_GetData(expected_info, expected_filter);
  EXPECT_EQ(std::memcmp(&info, &expected_info, sizeof info), 0);
  EXPECT_EQ(filter, std::vector<std::int32_t>(expected_filter.Elements().begin(),
                                              expected_filter.Elements().end()));
  API_PAOptions expected = {};
  run.processing->GetAPIOptions(Friend{}, expected);
  EXPECT_EQ(std::memcmp(&options, &expected, sizeof options), 0);
  EXPECT_EQ(options.BinType[0], paBinTypeTime);
  EXPECT_EQ(options.BinTypeID[1], 6);
  EXPECT_EQ(options.ShowEmptyBins, -1);
  EXPECT_EQ(options.BinCount, 10);
  EXPECT_EQ(info.Count, 123);
  ASSERT_EQ(filter.size(), 19u);
  EXPECT_EQ(filter[2], 9);
  EXPECT_EQ(count, 10u);
  EXPECT_TRUE(zeros);
}

TEST(PAAnalysis, ASelectionWithoutDataGivesAResultWithoutBins) {
  Analysis run;
  const auto results = run.Analyze();
  ASSERT_NE(results, nullptr);
  EXPECT_NE(results->Processing(), nullptr);
  EXPECT_NE(results->DataSelect(), nullptr);
  ASSERT_NE(results->Bins(), nullptr);
  EXPECT_EQ(results->Bins()->Count(), 0);
}

TEST(PAAnalysis, ThreeBinsWantedMeansFiveAskedForAndTheHostsObjectStays) {
  Analysis run;
  run.processing->BinCount(3);
  const std::string before = run.processing->GetXML();
  std::int32_t asked = 0;
  run.script().pareto = [&](std::span<API_PABin> bins, API_PAOptions& options) {
    asked = options.BinCount;
    EXPECT_EQ(bins.size(), 5u);
    return 0;
  };
  const auto results = run.Analyze();
  EXPECT_EQ(asked, 5);
  EXPECT_EQ(run.processing->BinCount(), 3);
  EXPECT_EQ(run.processing->GetXML(), before);
  EXPECT_EQ(results->Processing()->BinCount(), 5);
}

TEST(PAAnalysis, TheHostsSettingsAndSelectionAreTheSameAfterwards) {
  Analysis run;
  run.Answer(1, 4);
  run.processing->BinCount(-2);
  run.processing->ResourceType(paResourceTypes{9});
  run.processing->BinType(4, paBinTypeLot);
  run.script().rewrite = [](API_DSInfo& info, std::span<std::int32_t>) { info.Count = 1; };
  const std::string processing = run.processing->GetXML(), select = run.select->GetXML();
  const auto results = run.Analyze();
  EXPECT_EQ(run.processing->GetXML(), processing);
  EXPECT_EQ(run.processing->BinType(4), paBinTypeLot);
  EXPECT_EQ(run.select->GetXML(), select);
  EXPECT_NE(results->Processing(), run.processing);
  EXPECT_NE(results->DataSelect(), run.select);
  EXPECT_EQ(results->DataSelect()->MaximumItems(), 25) << "nothing is written back";
}

struct Answer {
  std::int32_t result, count, bins;
  const char* reason;
};

TEST(PAAnalysis, TheCountInTheRecordAfterTheCallDecides) {
  for (const Answer& row :
       {Answer{1, 4, 4, "four of ten"}, Answer{1, 0, 0, "made none"},
        Answer{0, 10, 0, "the result says no, the count stays"},
        Answer{-1, 4, 0, "a negative result"}, Answer{4, 10, 10, "the result is no count"},
        Answer{100, 1, 1, "nor here"}, Answer{1, -3, 0, "a negative count"},
        Answer{1, 12, 12, "more than were asked for: empty ones behind"}}) {
    Analysis run;
    run.Answer(row.result, row.count);
    const auto results = run.Analyze();
    EXPECT_EQ(results->Bins()->Count(), row.bins) << row.reason;
    EXPECT_EQ(results->Processing()->BinCount(), 10) << row.reason;
  }
}

TEST(PAAnalysis, BinsKeepTheirContentWhenTheArrayIsCut) {
  Analysis run;
  run.Answer(1, 2);
  const auto bins = run.Analyze()->Bins();
  EXPECT_EQ(bins->CurrentIndex(), 1);
  EXPECT_EQ(bins->GetXML(), pareto_test::Loaded(2)->GetXML());
}

TEST(PAAnalysis, BinsBeyondThoseAskedForAreEmpty) {
  Analysis run;
  run.Answer(1, 12);
  const auto bins = run.Analyze()->Bins();
  bins->MoveTo(10);
  EXPECT_EQ(bins->Flag(), 10000);
  bins->MoveNext();
  EXPECT_EQ(bins->Flag(), 0);
  EXPECT_EQ(bins->Name(), "");
}

TEST(PAAnalysis, KeepsNothingBetweenCalls) {
  Analysis run;
  PAAnalysis analysis;
  run.Answer(1, 4);
  const auto first = analysis.AnalyzeDataSelect(run.database, run.select, run.processing);
  run.Answer(0, 0);
  const auto second = analysis.AnalyzeDataSelect(run.database, run.select, run.processing);
  EXPECT_EQ(first->Bins()->Count(), 4);
  EXPECT_EQ(second->Bins()->Count(), 0);
}

TEST(PAAnalysis, WhatIsNoDatabaseFailsBeforeAnyCall) {
  Analysis run;
  const auto failure = fake::FailureOf(
      [&] { PAAnalysis().AnalyzeDataSelect(run.select, run.select, run.processing); });
  EXPECT_EQ(failure.Number(), 13);
  EXPECT_EQ(failure.Source(),
            "PAAnalysis.AnalyzeDataSelect|Support.ResolveDatabase|orvSPCAnalysis6");
  EXPECT_EQ(run.log().Lines(), Lines{});
}

TEST(PAAnalysis, AMissingObjectFailsWith91) {
  Analysis run;
  PAAnalysis analysis;
  EXPECT_EQ(
      fake::NumberOf([&] { analysis.AnalyzeDataSelect(nullptr, run.select, run.processing); }), 91);
  EXPECT_EQ(
      fake::SourceOf([&] { analysis.AnalyzeDataSelect(run.database, nullptr, run.processing); }),
      "PAAnalysis.AnalyzeDataSelect|orvSPCAnalysis6");
  EXPECT_EQ(fake::NumberOf([&] { analysis.AnalyzeDataSelect(run.database, run.select, nullptr); }),
            91);
  EXPECT_EQ(run.log().Lines(), Lines{});
}

TEST(PAAnalysis, ABadDescriptorFailsBeforeAnyCall) {
  Analysis run;
  run.select->Descriptors()->Add(dtPart);
  const auto failure = fake::FailureOf([&] { run.Analyze(); });
  EXPECT_EQ(failure.Description(), "Invalid ItemCount!");
  EXPECT_EQ(failure.Source(),
            "PAAnalysis.AnalyzeDataSelect|DataSelect.API_GetData|DataSelect.GetDSFilter|"
            "DataSelect.LoadDSFilter|orvSPCAnalysis6");
  EXPECT_EQ(run.log().Lines(), Lines{});
}

TEST(PAAnalysis, AFailureOfTheDatabaseObjectLeavesBeforeTheLibraryIsEntered) {
  Analysis run;
  run.log().FailOn("Database.ConnectionHandle");
  const auto failure = fake::FailureOf([&] { run.Analyze(); });
  EXPECT_EQ(failure.Source(), "PAAnalysis.AnalyzeDataSelect|PAAnalysis.AnalyzeDS|Outside.Object");
  EXPECT_EQ(run.log().Count("VLXPAR"), 0);
}

#ifdef ORVSPC_FAIL_POINTS
TEST(PAAnalysis, TheSettingsAreCorrectedBeforeTheSelectionIsFlatAndOnceMoreForTheCall) {
  Analysis run;
  run.Answer(1, 4);
  Lines entries;
  FailPoint::Set([&](std::string_view entry) {
    if (entry == "PAProcessing.FixProcessing" || entry == "DataSelect.API_GetData" ||
        entry == "PAAnalysis.AnalyzeDS" || entry == "PAProcessing.GetAPIOptions")
      entries.emplace_back(entry);
  });
  run.Analyze();
  FailPoint::Set({});
  EXPECT_EQ(entries,
            (Lines{"PAProcessing.FixProcessing", "DataSelect.API_GetData", "PAAnalysis.AnalyzeDS",
                   "PAProcessing.FixProcessing", "PAProcessing.GetAPIOptions"}));
}

TEST(PAAnalysis, EachCorrectionOfTheSettingsFailsWithTheTrailOfItsCaller) {
  const char* const trails[] = {
      "PAAnalysis.AnalyzeDataSelect|PAProcessing.FixProcessing|orvSPCAnalysis6",
      "PAAnalysis.AnalyzeDataSelect|PAAnalysis.AnalyzeDS|PAProcessing.FixProcessing|"
      "orvSPCAnalysis6"};
  for (int nth = 0; nth < 2; ++nth) {
    Analysis run;
    int seen = 0;
    FailPoint::Set([&](std::string_view entry) {
      if (entry == "PAProcessing.FixProcessing" && seen++ == nth) FailSubscript();
    });
    EXPECT_EQ(fake::SourceOf([&] { run.Analyze(); }), trails[nth]);
    FailPoint::Set({});
  }
}
#endif

// The run alone.

struct RunAlone : Analysis {
  RunAlone() { results->Processing(Friend{}, processing); }
  bool Analyze() { return PAAnalysis::AnalyzeDS(Friend{}, *database, info, filter, *results); }

  std::shared_ptr<PAResults> results = std::make_shared<PAResults>();
  API_DSInfo info = {};
  Array<std::int32_t> filter;
};

TEST(ParetoRun, CorrectsTheSettingsItself) {
  RunAlone run;
  run.filter.Dimension(0, 0);
  run.processing->BinCount(3);
  run.processing->ResourceType(paResourceTypes{7});
  EXPECT_TRUE(run.Analyze());
  EXPECT_EQ(run.log().LinesOf({"VLX"}),
            Lines{"VLXPAR_PROC(0, 77, DSInfo, [1], [5 x 192], 5, zeros)"});
  EXPECT_EQ(run.processing->BinCount(), 5);
  EXPECT_EQ(run.processing->ResourceType(), paSubgroups);
}

TEST(ParetoRun, IsTrueAlsoWhenTheLibraryRefusesAndTheResultsStay) {
  RunAlone run;
  run.filter.Dimension(0, 0);
  run.results->Load(Friend{}, pareto_test::BinsOf(2));
  run.Answer(0, 4);
  EXPECT_TRUE(run.Analyze());
  EXPECT_EQ(run.results->Bins()->Count(), 2);
}

TEST(ParetoRun, AFilterWithoutCellsFailsBeforeTheLibraryIsEntered) {
  RunAlone run;
  const auto failure = fake::FailureOf([&] { run.Analyze(); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "PAAnalysis.AnalyzeDS|orvSPCAnalysis6");
  EXPECT_EQ(run.log().Lines(), Lines{"Database.ConnectionHandle()"});
}

TEST(ParetoRun, AnAnalysisThatWasNotDoneGivesNothing) {
  const RunAlone run;
  EXPECT_EQ(PAAnalysis::Finish(Friend{}, false, run.results), nullptr);
  EXPECT_EQ(PAAnalysis::Finish(Friend{}, true, run.results), run.results);
}

}  // namespace
}  // namespace orvspc
