// SPDX-License-Identifier: Apache-2.0
#include "capability/CAAnalysis.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "capability/limit_forms.h"
#include "frame/XMLSupport.h"
#include "platform/FixedText.h"
#include "tests/capability/analysis.h"
#include "tests/fake/FailureOf.h"

namespace orvspc {
namespace {

using capability_test::Analysis;
using capability_test::IsZero;
using fake::CapabilityCall;
using fake::FailureOf;
using Lines = std::vector<std::string>;

std::string XmlOf(const CAStatistics& statistics) {
  const auto document = XMLSupport::MakeXMLDocument();
  return document->Xml(statistics.CreateXMLNode(Friend{}, *document));
}

// Every record has content; the texts are texts.
API_CAStatistics EveryRecord() {
  API_CAStatistics stats;
  stats.Summary.PieceCount = 100;
  stats.Summary.Mean = 1.25;
  stats.CPs.Cp = 2.25;
  stats.PPs.Pp = 3.25;
  stats.Moments.SD = 4.25;
  stats.ChiSq.Value = 5.25;
  stats.Anova.FRatio = 6.25;
  stats.SpecLim.Usl = 7.25;
  stats.SpecLim.EFlag = 2;
  platform::StoreFixedText(stats.SpecLim.Text, "Ø 12 µm");
  stats.SpecResults.zUsl = 8.25;
  stats.NccLim.Head[0] = 9;
  stats.NccLim.Lsc = 9.25;
  platform::StoreFixedText(stats.NccLim.Text, "500 g ℮ €");  // the page lacks the estimated sign
  stats.NccResults.zLSC = 10.25;
  stats.Reserved.Words[24] = 11;
  return stats;
}

// What the first call writes.
std::int32_t Write(const CapabilityCall& call, const API_CAStatistics& stats) {
  *call.summary = stats.Summary;
  *call.cps = stats.CPs;
  *call.pps = stats.PPs;
  *call.moments = stats.Moments;
  *call.chi_sq = stats.ChiSq;
  *call.anova = stats.Anova;
  *call.spec_lim = limit_forms::Narrow(stats.SpecLim);
  *call.spec_results = stats.SpecResults;
  *call.ncc_lim = limit_forms::Narrow(stats.NccLim);
  *call.ncc_results = stats.NccResults;
  *call.reserved = stats.Reserved;
  for (std::size_t i = 0; i < call.x.size(); ++i) {
    call.x[i] = static_cast<double>(i) + 1.0;
    call.y[i] = static_cast<double>(i) + 0.5;
  }
  const auto bins = call.bins.As<API_CABin>();
  for (std::size_t i = 0; i < bins.size(); ++i) bins[i].XMin = static_cast<double>(i) + 100.0;
  return 1;
}

TEST(CAAnalysis, CallsInItsOrder) {
  Analysis run;
  run.Succeed();
  run.Analyze();
  EXPECT_EQ(run.log().Lines(),
            (Lines{"Database.ConnectionHandle()",
                   "VLXCAP_PROCESSING_LT(0, 77, DSInfo, [18], 80, 80, [21 x 32], 21, 80, 0)"}));
}

TEST(CAAnalysis, AJohnsonFitIsOneMoreCallWithoutADatabase) {
  Analysis run;
  run.Succeed();
  run.processing->FitType(caFitJohnson);
  run.Analyze();
  EXPECT_EQ(run.log().Lines(),
            (Lines{"Database.ConnectionHandle()",
                   "VLXCAP_PROCESSING_LT(0, 77, DSInfo, [18], 80, 80, [21 x 32], 21, 80, 0)",
                   "VLXCAP_JOHNSONCURVEFIT(0, 80, 80, [21 x 32], 21, 80)"}));
}

TEST(CAAnalysis, TheFirstCallGetsItsTwentyArguments) {
  Analysis run;
  run.select->MaximumItems(7);
  run.select->Descriptors()->Add(dtPart)->AddItemID(9);
  run.processing->BinCount(6);
  run.processing->CurveCount(12);
  run.processing->WindowSD(2.5);
  run.processing->AllowOverride(true);
  run.processing->OverrideUSL(4.5);
  run.script().connection = 1234;
  int calls = 0;
  run.script().capability = [&](CapabilityCall& call) {
    ++calls;
    EXPECT_EQ(call.reserved1, 0);
    EXPECT_EQ(call.connection, 1234);
    EXPECT_EQ(call.info->Count, 7);
    EXPECT_EQ(call.info->AllPart, ftItemList);
    EXPECT_EQ(call.filter.size(), 19u);
    EXPECT_EQ(call.filter[2], 9);
    EXPECT_EQ(call.x.size(), 12u);
    EXPECT_EQ(call.y.size(), 12u);
    for (const auto points : {call.x, call.y})
      for (const double point : points) EXPECT_EQ(point, 0.0);
    EXPECT_EQ(call.bins.count, 6u);
    EXPECT_EQ(call.bins.element_size, sizeof(API_CABin));
    for (const API_CABin& bin : call.bins.As<API_CABin>()) EXPECT_TRUE(IsZero(bin));
    EXPECT_TRUE(IsZero(*call.summary));
    EXPECT_TRUE(IsZero(*call.cps));
    EXPECT_TRUE(IsZero(*call.pps));
    EXPECT_TRUE(IsZero(*call.moments));
    EXPECT_TRUE(IsZero(*call.chi_sq));
    EXPECT_TRUE(IsZero(*call.anova));
    EXPECT_TRUE(IsZero(*call.spec_lim));
    EXPECT_TRUE(IsZero(*call.spec_results));
    EXPECT_TRUE(IsZero(*call.ncc_lim));
    EXPECT_TRUE(IsZero(*call.ncc_results));
    EXPECT_TRUE(IsZero(*call.reserved));
    const API_CAOptions options = run.processing->GetAPIOptions(Friend{});
    EXPECT_EQ(std::memcmp(&call.options, &options, sizeof options), 0);
    EXPECT_EQ(call.options.BinCount, 6);
    EXPECT_EQ(call.options.CurveCount, 12);
    EXPECT_EQ(call.options.WindowSD, 2.5);
    EXPECT_EQ(call.options.OverrideUSL, 4.5);
    EXPECT_EQ(call.options.Flags & 16, 16) << "AllowOverride";
    EXPECT_EQ(call.reserved2, 0);
    return 1;
  };
  run.Analyze();
  EXPECT_EQ(calls, 1);
}

TEST(CAAnalysis, WhatTheFirstCallWritesIsTheResult) {
  Analysis run;
  API_CAStatistics stats = EveryRecord();
  run.script().capability = [&](CapabilityCall& call) { return Write(call, stats); };
  const auto results = run.Analyze();

  platform::StoreFixedText(stats.NccLim.Text, "500 g ? €");
  CAStatistics expected(Friend{});
  expected.Load(Friend{}, stats);
  EXPECT_EQ(XmlOf(*results->Statistics()), XmlOf(expected));
  double value = 0.0;
  EXPECT_TRUE(results->Statistics()->GetNccLimLsc(value)) << "the head came back";
  EXPECT_EQ(value, 9.25);
  EXPECT_EQ(results->Bins()->Count(), 21);
  EXPECT_EQ(results->Curve()->Count(), 80);
  results->Bins()->MoveLast();
  EXPECT_EQ(results->Bins()->XMin(), 120.0);
  results->Curve()->MoveLast();
  EXPECT_EQ(results->Curve()->X(), 80.0);
  EXPECT_EQ(results->Curve()->Y(), 79.5);
}

TEST(CAAnalysis, TheFitGetsItsTenArgumentsAsTheFirstCallLeftThem) {
  Analysis run;
  const API_CAStatistics stats = EveryRecord();
  run.processing->FitType(caFitJohnson);
  run.processing->CurveCount(12);
  API_CAOptions first_options = {};
  run.script().capability = [&](CapabilityCall& call) {
    first_options = call.options;
    return Write(call, stats);
  };
  int calls = 0;
  run.script().johnson = [&](CapabilityCall& call) {
    ++calls;
    EXPECT_EQ(call.reserved1, 0);
    EXPECT_EQ(call.x.size(), 12u);
    EXPECT_EQ(call.x[11], 12.0);
    EXPECT_EQ(call.y.size(), 12u);
    EXPECT_EQ(call.y[11], 11.5);
    EXPECT_EQ(call.bins.count, 21u);
    EXPECT_EQ(call.bins.As<API_CABin>()[20].XMin, 120.0);
    EXPECT_EQ(call.summary->Mean, 1.25);
    EXPECT_EQ(call.pps->Pp, 3.25);
    EXPECT_EQ(call.chi_sq->Value, 5.25);
    EXPECT_EQ(call.spec_lim->Usl, 7.25);
    EXPECT_EQ(std::string_view(call.spec_lim->Text, 8), "\xD8 12 \xB5m ");
    EXPECT_EQ(call.spec_results->zUsl, 8.25);
    EXPECT_EQ(std::memcmp(&call.options, &first_options, sizeof first_options), 0);
    return 0;
  };
  run.Analyze();
  EXPECT_EQ(calls, 1);
}

TEST(CAAnalysis, WhatTheFitWritesReplacesWhatTheFirstCallWrote) {
  Analysis run;
  run.processing->FitType(caFitJohnson);
  API_CAStatistics stats = EveryRecord();
  run.script().capability = [&](CapabilityCall& call) { return Write(call, stats); };
  run.script().johnson = [](CapabilityCall& call) {
    call.summary->Mean = 21.5;
    call.pps->Pp = 22.5;
    call.chi_sq->Value = 23.5;
    call.spec_lim->Usl = 24.5;
    std::memcpy(call.spec_lim->Text, "\x80", 1);
    call.spec_results->zUsl = 25.5;
    call.bins.As<API_CABin>()[0].XMin = 26.5;
    call.x[0] = 27.5;
    call.y[0] = 28.5;
    return 2;
  };
  const auto results = run.Analyze();

  stats.Summary.Mean = 21.5;
  stats.PPs.Pp = 22.5;
  stats.ChiSq.Value = 23.5;
  stats.SpecLim.Usl = 24.5;
  stats.SpecLim.Text[0] = u'€';
  stats.SpecResults.zUsl = 25.5;
  platform::StoreFixedText(stats.NccLim.Text, "500 g ? €");
  stats.JohnsonCurveType = 2;
  CAStatistics expected(Friend{});
  expected.Load(Friend{}, stats);
  EXPECT_EQ(XmlOf(*results->Statistics()), XmlOf(expected));
  EXPECT_EQ(results->Bins()->XMin(), 26.5);
  EXPECT_EQ(results->Curve()->X(), 27.5);
  EXPECT_EQ(results->Curve()->Y(), 28.5);
}

TEST(CAAnalysis, CountsThatAreTooSmallAreCorrectedInTheResultAlone) {
  Analysis run;
  run.processing->BinCount(3);
  run.processing->CurveCount(1);
  run.script().capability = [](CapabilityCall& call) {
    EXPECT_EQ(call.options.BinCount, 5);
    EXPECT_EQ(call.options.CurveCount, 10);
    EXPECT_EQ(call.bins.count, 5u);
    EXPECT_EQ(call.x.size(), 10u);
    EXPECT_EQ(call.y.size(), 10u);
    return 1;
  };
  const auto results = run.Analyze();
  EXPECT_EQ(results->Processing()->BinCount(), 5);
  EXPECT_EQ(results->Processing()->CurveCount(), 10);
  EXPECT_EQ(results->Bins()->Count(), 5);
  EXPECT_EQ(results->Curve()->Count(), 10);
  EXPECT_EQ(run.processing->BinCount(), 3);
  EXPECT_EQ(run.processing->CurveCount(), 1);
}

TEST(CAAnalysis, TheHostsObjectsStayAsTheyWere) {
  Analysis run;
  run.processing->BinCount(1);
  run.processing->FitType(caFitJohnson);
  run.select->Descriptors()->Add(dtPart)->AddItemID(9);
  run.script().rewrite = [](API_DSInfo& info, std::span<std::int32_t> filter) {
    info.Count = 99;
    filter[2] = 10;
  };
  run.Succeed();
  const std::string processing = run.processing->GetXML();
  const std::string select = run.select->GetXML();
  const auto results = run.Analyze();
  EXPECT_EQ(run.processing->GetXML(), processing);
  EXPECT_EQ(run.select->GetXML(), select);
  EXPECT_NE(results->Processing(), run.processing);
  EXPECT_NE(results->DataSelect(), run.select);
  run.processing->WindowSD(8.0);
  EXPECT_EQ(results->Processing()->WindowSD(), 0.0);
}

TEST(CAAnalysis, TheResultsSelectionCarriesWhatTheLibraryWrote) {
  Analysis run;
  run.select->Descriptors()->Add(dtPart)->AddItemID(9);
  run.script().rewrite = [](API_DSInfo& info, std::span<std::int32_t> filter) {
    info.Count = 99;
    info.Status = 7;
    filter[2] = 10;
  };
  run.Succeed();
  const auto results = run.Analyze();
  EXPECT_EQ(results->DataSelect()->MaximumItems(), 99);
  EXPECT_TRUE(results->DataSelect()->IncludeDisabled());
  EXPECT_EQ(results->DataSelect()->Descriptors()->Item(0)->ItemID(1), 10);
}

TEST(CAAnalysis, ALibraryThatReturnsZeroGivesAnEmptyResultAndNoFit) {
  Analysis run;
  run.processing->FitType(caFitJohnson);
  run.script().rewrite = [](API_DSInfo& info, std::span<std::int32_t>) { info.Count = 99; };
  run.script().capability = [](CapabilityCall& call) {
    Write(call, EveryRecord());
    return 0;
  };
  const auto results = run.Analyze();
  ASSERT_NE(results, nullptr);
  EXPECT_EQ(run.log().Count("VLXCAP_JOHNSONCURVEFIT"), 0);
  EXPECT_EQ(results->Bins()->Count(), 0);
  EXPECT_EQ(results->Curve()->Count(), 0);
  double value = 7.0;
  EXPECT_FALSE(results->Statistics()->GetCp(value));
  EXPECT_EQ(value, 0.0);
  EXPECT_EQ(results->Statistics()->JohnsonCurveType(), caJohnsonTypeNone);
  EXPECT_EQ(XmlOf(*results->Statistics()), XmlOf(CAStatistics(Friend{})));
  EXPECT_NE(results->Processing(), nullptr);
  EXPECT_EQ(results->DataSelect()->MaximumItems(), 99) << "is written back all the same";
}

TEST(CAAnalysis, AnyNumberButZeroIsSuccess) {
  for (const std::int32_t result : {1, -1, 2147483647}) {
    Analysis run;
    run.script().capability = [=](CapabilityCall&) { return result; };
    EXPECT_EQ(run.Analyze()->Bins()->Count(), 21) << result;
  }
}

TEST(CAAnalysis, ANormalAnalysisNeverFits) {
  Analysis run;
  run.Succeed();
  const auto results = run.Analyze();
  EXPECT_EQ(run.log().Count("VLXCAP_JOHNSONCURVEFIT"), 0);
  EXPECT_EQ(results->Statistics()->JohnsonCurveType(), caJohnsonTypeNone);
}

TEST(CAAnalysis, AFitTypeThatIsUnknownIsNoFit) {
  for (const std::int32_t type : {2, -1}) {
    Analysis run;
    run.processing->FitType(caFitTypes{type});
    run.Succeed();
    EXPECT_EQ(run.Analyze()->Statistics()->JohnsonCurveType(), caJohnsonTypeNone);
    EXPECT_EQ(run.log().Count("VLXCAP_JOHNSONCURVEFIT"), 0) << type;
  }
}

TEST(CAAnalysis, AFitThatReturnsNoneLoadsWhatItLeft) {
  Analysis run;
  run.processing->FitType(caFitJohnson);
  run.script().capability = [](CapabilityCall& call) {
    call.pps->Pp = 1.5;
    return 1;
  };
  run.script().johnson = [](CapabilityCall& call) {
    call.pps->Pp = 2.5;
    return 0;
  };
  const auto results = run.Analyze();
  double value = 0.0;
  results->Statistics()->GetPp(value);
  EXPECT_EQ(value, 2.5);
  EXPECT_EQ(results->Statistics()->JohnsonCurveType(), caJohnsonTypeNone);
  EXPECT_EQ(results->Bins()->Count(), 21);
}

TEST(CAAnalysis, AFitLeavesCpAsTheNormalAnalysisMadeItAndWritesPp) {
  Analysis run;
  run.processing->FitType(caFitJohnson);
  run.script().capability = [](CapabilityCall& call) {
    call.cps->Cp = 1.25;
    call.pps->Pp = 1.5;
    return 1;
  };
  run.script().johnson = [](CapabilityCall& call) {
    EXPECT_EQ(call.cps, nullptr);
    call.pps->Pp = 2.5;
    return 2;
  };
  const auto results = run.Analyze();
  double value = 0.0;
  results->Statistics()->GetCp(value);
  EXPECT_EQ(value, 1.25);
  results->Statistics()->GetPp(value);
  EXPECT_EQ(value, 2.5);
  EXPECT_EQ(results->Statistics()->JohnsonCurveType(), caJohnsonTypeB);
}

TEST(CAAnalysis, WhateverTheFitReturnsIsTheCurveType) {
  Analysis run;
  run.processing->FitType(caFitJohnson);
  run.Succeed();
  for (const std::int32_t type : {1, 3, 17, -5}) {
    run.script().johnson = [=](CapabilityCall&) { return type; };
    EXPECT_EQ(run.Analyze()->Statistics()->JohnsonCurveType(), type);
  }
}

TEST(CAAnalysis, TheLibraryMayChangeTheNumberOfBins) {
  Analysis run;
  run.processing->FitType(caFitJohnson);
  run.script().capability = [](CapabilityCall& call) {
    call.bins.As<API_CABin>()[0].XMin = 1.5;
    auto* const bins = static_cast<API_CABin*>(call.bins.resize(30));
    EXPECT_EQ(bins[0].XMin, 1.5);
    EXPECT_TRUE(IsZero(bins[29]));
    bins[29].XMin = 2.5;
    return 1;
  };
  run.script().johnson = [](CapabilityCall& call) {
    EXPECT_EQ(call.bins.count, 30u);
    EXPECT_NE(call.bins.resize(25), nullptr);
    return 1;
  };
  const auto bins = run.Analyze()->Bins();
  EXPECT_EQ(bins->Count(), 25);
  EXPECT_EQ(bins->XMin(), 1.5);
}

TEST(CAAnalysis, BinsThatCannotBeResizedStay) {
  Analysis run;
  run.script().capability = [](CapabilityCall& call) {
    EXPECT_EQ(call.bins.resize(std::size_t{1} << 31), nullptr);
    EXPECT_EQ(call.bins.resize(static_cast<std::size_t>(-1)), nullptr);
    call.bins.As<API_CABin>()[20].XMin = 1.5;
    return 1;
  };
  const auto bins = run.Analyze()->Bins();
  EXPECT_EQ(bins->Count(), 21);
  bins->MoveLast();
  EXPECT_EQ(bins->XMin(), 1.5);
}

TEST(CAAnalysis, BinsThatTheLibraryErasesAreGone) {
  using Calls = decltype(Analysis().script().capability);
  const Calls erase = [](CapabilityCall& call) {
    EXPECT_EQ(call.bins.resize(0), nullptr);
    return 1;
  };
  const Calls succeed = [](CapabilityCall&) { return 1; };
  for (const bool by_fit : {false, true}) {
    Analysis run;
    run.processing->FitType(caFitJohnson);
    run.script().capability = by_fit ? succeed : erase;
    run.script().johnson = by_fit ? erase : succeed;
    const auto failure = FailureOf([&] { run.Analyze(); });
    EXPECT_EQ(failure.Number(), 9);
    EXPECT_EQ(failure.Source(),
              "CAAnalysis.AnalyzeDataSelect|CAAnalysis.AnalyzeDS|CAResults.Load|CABins.Load|"
              "orvSPCAnalysis6");
  }
}

TEST(CAAnalysis, WhatIsNoDatabaseOrNoObjectFails) {
  Analysis run;
  CAAnalysis analysis;
  const auto source = [](const std::string& rest) {
    return "CAAnalysis.AnalyzeDataSelect|" + rest + "orvSPCAnalysis6";
  };
  auto failure =
      FailureOf([&] { analysis.AnalyzeDataSelect(nullptr, run.select, run.processing); });
  EXPECT_EQ(failure.Number(), 91);
  EXPECT_EQ(failure.Source(), source("Support.ResolveDatabase|"));
  failure =
      FailureOf([&] { analysis.AnalyzeDataSelect(run.processing, run.select, run.processing); });
  EXPECT_EQ(failure.Number(), 13);
  EXPECT_EQ(failure.Source(), source("Support.ResolveDatabase|"));
  failure = FailureOf([&] { analysis.AnalyzeDataSelect(run.database, run.select, nullptr); });
  EXPECT_EQ(failure.Number(), 91);
  EXPECT_EQ(failure.Source(), source(""));
  failure = FailureOf([&] { analysis.AnalyzeDataSelect(run.database, nullptr, run.processing); });
  EXPECT_EQ(failure.Number(), 91);
  EXPECT_EQ(failure.Source(), source(""));
  EXPECT_EQ(run.log().Lines(), Lines{});
}

TEST(CAAnalysis, ABadSelectionFailsBeforeAnyCall) {
  Analysis run;
  run.select->Descriptors()->Add(dtPart);
  const auto failure = FailureOf([&] { run.Analyze(); });
  EXPECT_EQ(failure.Description(), "Invalid ItemCount!");
  EXPECT_EQ(failure.Source(),
            "CAAnalysis.AnalyzeDataSelect|DataSelect.API_GetData|DataSelect.GetDSFilter|"
            "DataSelect.LoadDSFilter|orvSPCAnalysis6");
  EXPECT_EQ(run.log().Lines(), Lines{});
}

TEST(CAAnalysis, SettingsThatOverflowFailBeforeAnyCall) {
  Analysis run;
  run.processing->WindowType(caWindowTypes{8388608});
  const auto failure = FailureOf([&] { run.Analyze(); });
  EXPECT_EQ(failure.Number(), 6);
  EXPECT_EQ(failure.Source(),
            "CAAnalysis.AnalyzeDataSelect|CAAnalysis.AnalyzeDS|CAProcessing.GetAPIOptions|"
            "orvSPCAnalysis6");
  EXPECT_EQ(run.log().Lines(), Lines{});
}

TEST(CAAnalysis, AFailureOfTheDatabaseComesThroughAndTheLibraryIsNotCalled) {
  Analysis run;
  run.log().FailOn("Database.ConnectionHandle");
  const auto failure = FailureOf([&] { run.Analyze(); });
  EXPECT_EQ(failure.Number(), -2147217900);
  EXPECT_EQ(failure.Source(), "CAAnalysis.AnalyzeDataSelect|CAAnalysis.AnalyzeDS|Outside.Object");
  EXPECT_EQ(run.log().Count("VLXCAP"), 0);
}

TEST(CAAnalysis, AnInconsistentWriteBackFails) {
  Analysis run;
  run.script().rewrite = [](API_DSInfo& info, std::span<std::int32_t> filter) {
    info.AllPart = ftItemList;
    filter[1] = 30000;
  };
  run.Succeed();
  const auto failure = FailureOf([&] { run.Analyze(); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_TRUE(failure.Source().starts_with("CAAnalysis.AnalyzeDataSelect|DataSelect.API_SetData|"))
      << failure.Source();
}

TEST(CAAnalysis, WithoutAPlatformTheFailureSaysSo) {
  std::shared_ptr<platform::Database> database;
  {
    fake::FakeScope fake;
    database = fake.database;
  }
  const auto failure = FailureOf([&] {
    CAAnalysis().AnalyzeDataSelect(database, std::make_shared<DataSelect>(),
                                   std::make_shared<CAProcessing>());
  });
  EXPECT_EQ(failure.Description(), "No platform is installed");
}

// The run alone.

TEST(CapabilityRun, IsTrueAlsoWhenTheLibraryRefuses) {
  Analysis run;
  CAResults results;
  results.Processing(Friend{}, run.processing);
  API_DSInfo info = {};
  auto filter = capability_test::ArrayOf({0});
  EXPECT_TRUE(CAAnalysis::AnalyzeDS(Friend{}, *run.database, info, filter, results));
  EXPECT_EQ(run.log().Count("VLXCAP_PROCESSING_LT"), 1);
}

TEST(CapabilityRun, CorrectsTheCountsItself) {
  Analysis run;
  run.Succeed();
  CAResults results;
  results.Processing(Friend{}, run.processing);
  run.processing->BinCount(0);
  API_DSInfo info = {};
  auto filter = capability_test::ArrayOf({0});
  EXPECT_TRUE(CAAnalysis::AnalyzeDS(Friend{}, *run.database, info, filter, results));
  EXPECT_EQ(results.Bins()->Count(), 5);
}

TEST(CapabilityRun, WithoutASelectionFailsAndTheLibraryIsNotCalled) {
  Analysis run;
  CAResults results;
  results.Processing(Friend{}, run.processing);
  API_DSInfo info = {};
  Array<std::int32_t> filter;
  const auto failure =
      FailureOf([&] { CAAnalysis::AnalyzeDS(Friend{}, *run.database, info, filter, results); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "CAAnalysis.AnalyzeDS|orvSPCAnalysis6");
  EXPECT_EQ(run.log().Count("VLXCAP"), 0);
}

}  // namespace
}  // namespace orvspc
