// SPDX-License-Identifier: Apache-2.0
#include "pareto/PAResults.h"

#include <gtest/gtest.h>

#include <string>

#include "frame/Trail.h"
#include "tests/fake/FailureOf.h"
#include "tests/pareto/analysis.h"

namespace orvspc {
namespace {

using pareto_test::Analysis;

std::size_t At(const std::string& text, const char* piece) { return text.find(piece); }

// An analysis with two bins.
std::shared_ptr<PAResults> Result(Analysis& run) {
  run.Answer(1, 2);
  run.processing->BinType(0, paBinTypeShift);
  run.select->MaximumItems(77);
  return run.Analyze();
}

TEST(PAResults, ANewObjectHasBinsAndNothingElse) {
  const fake::FakeScope fake;
  const PAResults results;
  EXPECT_EQ(results.Processing(), nullptr);
  EXPECT_EQ(results.DataSelect(), nullptr);
  ASSERT_NE(results.Bins(), nullptr);
  EXPECT_EQ(results.Bins()->Count(), 0);
  EXPECT_EQ(results.Bins(), results.Bins());
  EXPECT_EQ(results.GetXML(), "<PAResults><PABins/></PAResults>");
}

TEST(PAResults, LoadingAnArrayNeverDimensionedFailsInItsBins) {
  const fake::FakeScope fake;
  PAResults results;
  const auto failure = fake::FailureOf([&] { results.Load(Friend{}, {}); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "PAResults.Load|PABins.Load|orvSPCAnalysis6");
}

TEST(PAResults, TheObjectsThemselvesAreHandedOut) {
  Analysis run;
  const auto results = Result(run);
  results->Processing()->BinCount(50);
  results->Bins()->MoveLast();
  EXPECT_EQ(results->Processing()->BinCount(), 50);
  EXPECT_EQ(results->Bins()->CurrentIndex(), 2);
}

TEST(PAResults, TheXmlOfAnAnalysisHoldsSettingsSelectionAndBins) {
  Analysis run;
  const std::string text = Result(run)->GetXML();
  EXPECT_EQ(text.rfind("<PAResults><PAProcessing ", 0), 0u) << text;
  EXPECT_LT(At(text, "<PAProcessing "), At(text, "<DataSelect "));
  EXPECT_LT(At(text, "<DataSelect "), At(text, "<PABins><PABin "));
  EXPECT_NE(At(text, "<PABins><PABin "), std::string::npos);
  EXPECT_EQ(At(text, "<SubgroupData"), std::string::npos);
}

TEST(PAResults, ItsOwnTextRestoresSettingsAndSelectionAndLeavesNoBins) {
  Analysis run;
  const auto stored = Result(run);
  PAResults results;
  EXPECT_TRUE(results.SetXML(stored->GetXML()));
  ASSERT_NE(results.Processing(), nullptr);
  ASSERT_NE(results.DataSelect(), nullptr);
  EXPECT_EQ(results.DataSelect()->MaximumItems(), 77);
  EXPECT_EQ(results.Bins(), nullptr);
  // What is null is not written.
  EXPECT_EQ(At(results.GetXML(), "<PABins"), std::string::npos) << results.GetXML();
}

TEST(PAResults, AnElementNamedBinsComesBack) {
  const fake::FakeScope fake;
  PAResults results;
  results.SetXML("<PAResults><Bins><PABin ID1=\"4\" Value=\"2.5\"/></Bins></PAResults>");
  ASSERT_NE(results.Bins(), nullptr);
  EXPECT_EQ(results.Bins()->Count(), 1);
  EXPECT_EQ(results.Bins()->ID(0), 4);
  EXPECT_EQ(results.Bins()->Value(), 2.5);
  EXPECT_EQ(results.Processing(), nullptr);
  EXPECT_EQ(results.DataSelect(), nullptr);
}

TEST(PAResults, AnElementNamedBinsWithoutBinsFailsWithNine) {
  const fake::FakeScope fake;
  PAResults results;
  // The bins of an element around them are none of its own.
  const auto failure = fake::FailureOf(
      [&] { results.SetXML("<PAResults><Bins><PABins><PABin/></PABins></Bins></PAResults>"); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(),
            "PAResults.SetXML|PAResults.SetXMLNode|PABins.SetXMLNode|orvSPCAnalysis6");
}

TEST(PAResults, StoredBinsComeBackThroughPABins) {
  Analysis run;
  const auto stored = Result(run);
  const std::string text = stored->GetXML();
  const auto begin = text.find("<PABins>");
  PAResults results;
  results.Bins()->SetXML(text.substr(begin, text.rfind("</PAResults>") - begin));
  EXPECT_EQ(results.Bins()->GetXML(), stored->Bins()->GetXML());
}

TEST(PAResults, SubgroupsOfATextAreWrittenAgainBetweenSelectionAndBins) {
  fake::FakeScope fake;
  fake::FillRows(fake.script(), 2, 2);
  const std::string rows = DataSelect().GetSubgroupData(fake.database)->GetXML();
  PAResults results;
  results.SetXML("<PAResults><Bins><PABin/></Bins>" + rows + PAProcessing().GetXML() +
                 DataSelect().GetXML() + "</PAResults>");
  const std::string text = results.GetXML();
  EXPECT_NE(text.find(rows), std::string::npos);
  EXPECT_LT(At(text, "<DataSelect "), At(text, "<SubgroupData"));
  EXPECT_LT(At(text, "<SubgroupData"), At(text, "<PABins>"));
  results.SetXML("<PAResults/>");
  EXPECT_EQ(results.GetXML(), "<PAResults/>");
}

TEST(PAResults, SettingsOfATextStartFromTheDefaults) {
  Analysis run;
  const auto results = Result(run);
  EXPECT_EQ(results->Processing()->BinType(0), paBinTypeShift);
  results->SetXML("<PAResults><PAProcessing BinCount=\"6\"/></PAResults>");
  EXPECT_EQ(results->Processing()->BinCount(), 6);
  EXPECT_EQ(results->Processing()->BinType(0), paBinTypeDefect) << "a new object, not the old one";
}

TEST(PAResults, AFailureLeavesWhatWasReadBeforeIt) {
  Analysis run;
  const auto results = Result(run);
  const auto failure = fake::FailureOf([&] {
    results->SetXML(
        "<PAResults><PAProcessing BinCount=\"6\"/><DataSelect Tsno=\"x\"/></PAResults>");
  });
  EXPECT_EQ(failure.Number(), 13);
  EXPECT_EQ(results->Processing()->BinCount(), 6);
  EXPECT_EQ(results->Bins()->Count(), 2) << "was not reached";
}

TEST(PAResults, OnlyTheRootPAResultsIsTaken) {
  const fake::FakeScope fake;
  PAResults results;
  const auto failure = fake::FailureOf([&] { results.SetXML("<PABins/>"); });
  EXPECT_EQ(failure.Description(), "Node does not exist!");
  EXPECT_EQ(failure.Source(),
            "PAResults.SetXML|XMLSupport.GetXMLSingleNode(Node=PAResults)|orvSPCAnalysis6");
}

#ifdef ORVSPC_FAIL_POINTS
TEST(PAResults, AFailureOfTheConstructorIsLoggedAndThereAreNoBins) {
  fake::FakeScope fake;
  FailPoint::Set([](std::string_view) { throw Failure(-77, "Injected", "made to fail"); });
  PAResults results;
  FailPoint::Set({});
  EXPECT_EQ(fake.log().LinesOf({"ErrorLog"}),
            std::vector<std::string>{"ErrorLog.Log(PAResults.Class_Initialize, -77, made to fail, "
                                     "Injected, tests)"});
  EXPECT_EQ(results.Bins(), nullptr);
  EXPECT_EQ(fake::NumberOf([&] { results.Load(Friend{}, pareto_test::BinsOf(1)); }), 91);
}
#endif

}  // namespace
}  // namespace orvspc
