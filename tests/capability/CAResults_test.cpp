// SPDX-License-Identifier: Apache-2.0
#include "capability/CAResults.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "frame/Friend.h"
#include "frame/Trail.h"
#include "tests/capability/analysis.h"
#include "tests/fake/FailureOf.h"

namespace orvspc {
namespace {

using capability_test::ArrayOf;
using capability_test::Bins;
using fake::FailureOf;
using fake::NumberOf;

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const auto at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

// Without the element of that name.
std::string Without(const std::string& text, const std::string& name) {
  const auto begin = text.find("<" + name);
  EXPECT_NE(begin, std::string::npos) << name;
  const auto close = "</" + name + ">";
  const auto end = text.find(close, begin);
  if (end != std::string::npos) return text.substr(0, begin) + text.substr(end + close.size());
  return text.substr(0, begin) + text.substr(text.find("/>", begin) + 2);
}

class CAResultsTest : public testing::Test {
 protected:
  static API_CAStatistics Statistics() {
    API_CAStatistics stats;
    stats.Moments.Mean = 10.5;
    stats.CPs.Cp = 1.25;
    stats.SpecLim.EFlag = 2 | 4 | 32;
    stats.SpecLim.Ugb = 12.5;
    stats.NccLim.Head[0] = 1;
    stats.NccLim.Lsc = 500.0;
    stats.JohnsonCurveType = caJohnsonTypeL;
    return stats;
  }
  static void Fill(CAResults& results) {
    auto processing = std::make_shared<CAProcessing>();
    processing->FitType(caFitJohnson);
    results.Processing(Friend{}, std::move(processing));
    auto select = std::make_shared<DataSelect>();
    select->Descriptors()->Add(dtTest)->AddItemID(3);
    results.DataSelect(Friend{}, std::move(select));
    results.Load(Friend{}, Statistics(), Bins(2), ArrayOf({1.0, 2.0, 3.0}),
                 ArrayOf({4.0, 5.0, 6.5}));
  }
  static std::string FilledText() {
    CAResults results;
    Fill(results);
    return results.GetXML();
  }
  static double Mean(const CAResults& results) {
    double value = -1.0;
    results.Statistics()->GetMomentsMean(value);
    return value;
  }

  fake::FakeScope fake_;
};

TEST_F(CAResultsTest, ANewOneHasThreeEmptyPartsAndNoSettings) {
  const CAResults results;
  EXPECT_EQ(results.Processing(), nullptr);
  EXPECT_EQ(results.DataSelect(), nullptr);
  EXPECT_EQ(Mean(results), 0.0);
  EXPECT_EQ(results.Bins()->Count(), 0);
  EXPECT_EQ(results.Curve()->Count(), 0);
  EXPECT_EQ(fake_.log().Lines().size(), 0u) << "without a failure there is no logger";
}

TEST_F(CAResultsTest, EveryGetHandsOutTheHeldObject) {
  CAResults results;
  Fill(results);
  EXPECT_EQ(results.Processing(), results.Processing());
  EXPECT_EQ(results.DataSelect(), results.DataSelect());
  EXPECT_EQ(results.Statistics(), results.Statistics());
  EXPECT_EQ(results.Bins(), results.Bins());
  EXPECT_EQ(results.Curve(), results.Curve());
  results.Bins()->MoveLast();
  EXPECT_EQ(results.Bins()->CurrentIndex(), 2);
}

TEST_F(CAResultsTest, LoadsStatisticsThenBinsThenCurve) {
  CAResults results;
  auto failure =
      FailureOf([&] { results.Load(Friend{}, Statistics(), {}, ArrayOf({1.0}), ArrayOf({2.0})); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "CAResults.Load|CABins.Load|orvSPCAnalysis6");
  EXPECT_EQ(Mean(results), 10.5);
  EXPECT_EQ(results.Curve()->Count(), 0);
  failure = FailureOf([&] { results.Load(Friend{}, Statistics(), Bins(2), {}, {}); });
  EXPECT_EQ(failure.Source(), "CAResults.Load|CACurve.Load|orvSPCAnalysis6");
  EXPECT_EQ(results.Bins()->Count(), 2);
}

#ifdef ORVSPC_FAIL_POINTS
TEST_F(CAResultsTest, AConstructorThatFailsLogsItAndLeavesNoParts) {
  FailPoint::Set([](std::string_view) { FailOverflow(); });
  CAResults results;
  FailPoint::Set({});
  EXPECT_EQ(results.Statistics(), nullptr);
  EXPECT_EQ(results.Bins(), nullptr);
  EXPECT_EQ(results.Curve(), nullptr);
  EXPECT_EQ(fake_.log().Lines().back(),
            "ErrorLog.Log(CAResults.Class_Initialize, 6, Overflow, orvSPCAnalysis6, tests)");
  EXPECT_EQ(NumberOf([&] { Fill(results); }), 91);
  EXPECT_EQ(NumberOf([&] { results.GetXML(); }), 91);
  EXPECT_EQ(NumberOf([&] { results.SetXML("<CAResults/>"); }), 91);
}
#endif

// XML.

TEST_F(CAResultsTest, ANewOneIsWrittenWithoutSettingsAndWithEmptyParts) {
  struct Element {
    const char* name;
    const char* attributes;
    bool has_text;
  };
  std::string expected = "<CAResults><Statistics JohnsonCurveType=\"0\">";
  for (const Element& element :
       {Element{"Summary",
                "Count Sample SSize Min Max Mean ST_SD LT_SD U_SD L_SD CoRobustness CoOfVariation "
                "ZBench",
                false},
        Element{"SpecLim",
                "Usl Tar Lsl Uwl Lwl Url Lrl Uwp Lwp Usg Lsg Uds Lds Fctr EFlag AFlag Scale Cp Cpk "
                "RRmar RRmax",
                true},
        Element{"SpecResults",
                "ActualAboveURL ActualAboveUWL ActualAboveUSL ActualAboveTAR ActualBelowTAR "
                "ActualBelowUSL ActualBelowUWL ActualBelowURL ExpectedAboveURL ExpectedAboveUWL "
                "ExpectedAboveUSL ExpectedAboveTAR ExpectedBelowTAR ExpectedBelowUSL "
                "ExpectedBelowUWL ExpectedBelowURL zURL zUWL zUSL zTarget zLSL zLWL zLRL",
                false},
        Element{"NccLim",
                "Lsc MavU MavUp MavL MavLp T2U T2Up T2L T2Lp T1U T1Up T1L T1Lp Fctr EFlag AFlag",
                true},
        Element{"NccResults",
                "ActualPercentAboveLSC ActualPercentBelowLSC ActualPercentAboveMAVU "
                "ActualPercentBelowMAVL ActualPercentAboveT1U ActualPercentBelowT1L "
                "ActualPercentAboveT2U ActualPercentBelowT2L ExpectedPercentAboveLSC "
                "ExpectedPercentBelowLSC ExpectedPercentAboveMAVU ExpectedPercentBelowMAVL "
                "ExpectedPercentAboveT1U ExpectedPercentBelowT1L ExpectedPercentAboveT2U "
                "ExpectedPercentBelowT2L zLSC zMAVU zMAVL zT1U zT1L zT2U zT2L",
                false},
        Element{"CPs", "Cp Cpk Cpu Cpl Cr Cpr Cpm", false},
        Element{"PPs", "Pp Ppk Ppu Ppl Pr Ppm", false},
        Element{"Moments", "Mean AvgDev SD Variance Kurtosis Skewness", false},
        Element{"ChiSq", "DegFreedom ChiSqValue ChiSqProb", false},
        Element{"Anova",
                "DF_Within SS_Within MS_Within DF_Between SS_Between MS_Between DF_Total SS_Total "
                "MS_Total F_Ratio ProbOf_F",
                false}}) {
    expected += std::string("<") + element.name;
    if (element.has_text) expected += " Text=\"" + std::string(256, ' ') + "\"";
    std::istringstream names(element.attributes);
    for (std::string name; names >> name;) expected += " " + name + "=\"0\"";
    expected += "/>";
  }
  expected += "</Statistics><Bins/><Curve X=\"\" Y=\"\"/></CAResults>";
  EXPECT_EQ(CAResults().GetXML(), expected);
}

TEST_F(CAResultsTest, PartsAreWrittenInTheirOrder) {
  const std::string text = FilledText();
  std::size_t last = 0;
  for (const char* part : {"<CAResults><CAProcessing ", "/><DataSelect ",
                           "</DataSelect><Statistics JohnsonCurveType=\"3\">",
                           "</Statistics><Bins><Bin ", "</Bins><Curve ", "/></CAResults>"}) {
    const auto at = text.find(part);
    ASSERT_NE(at, std::string::npos) << part;
    EXPECT_GE(at, last) << part;
    last = at;
  }
  EXPECT_TRUE(text.ends_with("<Curve X=\"1 2 3\" Y=\"4 5 6.5\"/></CAResults>")) << text;
}

TEST_F(CAResultsTest, AResultThatIsReadBackIsAsItWasButForWhatReadersMiss) {
  CAResults read;
  EXPECT_TRUE(read.SetXML(FilledText()));
  EXPECT_EQ(read.Processing()->FitType(), caFitJohnson);
  EXPECT_EQ(read.DataSelect()->Descriptors()->Item(0)->ItemID(1), 3);
  EXPECT_EQ(Mean(read), 10.5);
  const CAStatistics& statistics = *read.Statistics();
  double value = -1.0;
  EXPECT_TRUE(statistics.GetCp(value));
  EXPECT_EQ(value, 1.25);
  EXPECT_TRUE(statistics.GetSpecLimUgb(value)) << "the flags come back";
  EXPECT_EQ(value, 0.0) << "the limit does not";
  EXPECT_FALSE(statistics.GetNccLimLsc(value)) << "the head does not";
  EXPECT_EQ(value, 500.0);
  EXPECT_EQ(statistics.JohnsonCurveType(), caJohnsonTypeL);
  EXPECT_EQ(read.Bins()->Count(), 2);
  read.Bins()->MoveLast();
  EXPECT_EQ(read.Bins()->YMax(), 20.0);
  EXPECT_EQ(read.Curve()->Count(), 3);
  read.Curve()->MoveLast();
  EXPECT_EQ(read.Curve()->Y(), 6.5);
}

TEST_F(CAResultsTest, AnEmptyResultIsWrittenButNotReadBack) {
  CAResults empty;
  empty.Processing(Friend{}, std::make_shared<CAProcessing>());
  empty.DataSelect(Friend{}, std::make_shared<DataSelect>());
  const std::string text = empty.GetXML();

  CAResults read;
  Fill(read);
  const auto failure = FailureOf([&] { read.SetXML(text); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(),
            "CAResults.SetXML|CAResults.SetXMLNode|CABins.SetXMLNode|orvSPCAnalysis6");
  EXPECT_EQ(read.Processing()->FitType(), caFitNormal) << "settings were replaced before";
  EXPECT_EQ(read.DataSelect()->Descriptors()->Count(), 0);
  EXPECT_EQ(Mean(read), 0.0) << "and so were the statistics";
  EXPECT_EQ(read.Bins()->Count(), 2);
  EXPECT_EQ(read.Curve()->Count(), 3);
}

TEST_F(CAResultsTest, TheTextOfANewResultFails) {
  CAResults read;
  EXPECT_EQ(NumberOf([&] { read.SetXML(CAResults().GetXML()); }), 9);
}

TEST_F(CAResultsTest, SettingsThatAreMissingBecomeNoObject) {
  CAResults read;
  Fill(read);
  EXPECT_TRUE(read.SetXML(Without(Without(FilledText(), "CAProcessing"), "DataSelect")));
  EXPECT_EQ(read.Processing(), nullptr);
  EXPECT_EQ(read.DataSelect(), nullptr);
  EXPECT_EQ(Mean(read), 10.5);
}

TEST_F(CAResultsTest, SettingsThatAreReadAreNewObjectsFromTheirDefaults) {
  CAResults read;
  Fill(read);
  const auto processing = read.Processing();
  const auto select = read.DataSelect();
  EXPECT_TRUE(read.SetXML(Replaced(Without(FilledText(), "CAProcessing"), "<DataSelect",
                                   "<CAProcessing/><DataSelect")));
  EXPECT_NE(read.Processing(), processing);
  EXPECT_EQ(read.Processing()->FitType(), caFitNormal);
  EXPECT_EQ(read.Processing()->BinCount(), 21);
  EXPECT_NE(read.DataSelect(), select);
}

TEST_F(CAResultsTest, PartsAreFoundInAnyOrder) {
  const std::string text = FilledText();
  const auto bins = text.find("<Bins>");
  const auto curve = text.find("<Curve ");
  CAResults read;
  EXPECT_TRUE(read.SetXML(Replaced(Without(text, "Bins"), "<Statistics",
                                   text.substr(bins, curve - bins) + "<Statistics")));
  EXPECT_EQ(read.Bins()->Count(), 2);
  EXPECT_EQ(Mean(read), 10.5);
}

TEST_F(CAResultsTest, WithoutStatisticsTheOldOnesStayAndTheTextIsRead) {
  CAResults read;
  Fill(read);
  EXPECT_TRUE(
      read.SetXML("<CAResults><Bins><Bin XMin='7'/></Bins><Curve X='8' Y='9'/></CAResults>"));
  EXPECT_EQ(Mean(read), 10.5);
  EXPECT_EQ(read.Statistics()->JohnsonCurveType(), caJohnsonTypeL);
  EXPECT_EQ(read.Bins()->XMin(), 7.0);
  EXPECT_EQ(read.Curve()->X(), 8.0);
}

TEST_F(CAResultsTest, StatisticsThatTheTextDoesNotSetStay) {
  CAResults read;
  Fill(read);
  EXPECT_TRUE(read.SetXML(Replaced(FilledText(), "<Moments Mean=\"10.5\"", "<Moments")));
  EXPECT_EQ(Mean(read), 10.5);
}

TEST_F(CAResultsTest, APartThatIsMissingFails) {
  struct Row {
    const char* element;
    const char* tail;
  };
  for (const Row& row :
       {Row{"Bins", "CABins.SetXMLNode|orvSPCAnalysis6"},
        Row{"Curve",
            "CACurve.SetXMLNode|XMLSupport.GetXMLAttributeValue(Attribute=X)|orvSPCAnalysis6"}}) {
    CAResults read;
    const auto failure = FailureOf([&] { read.SetXML(Without(FilledText(), row.element)); });
    EXPECT_EQ(failure.Number(), 91) << row.element;
    EXPECT_EQ(failure.Source(), std::string("CAResults.SetXML|CAResults.SetXMLNode|") + row.tail);
    EXPECT_EQ(Mean(read), 10.5) << "statistics are read before";
  }
}

TEST_F(CAResultsTest, BinsWithoutABinAndACurveWithoutPointsFail) {
  const std::string text = FilledText();
  struct Row {
    std::string text;
    const char* reason;
  };
  for (const Row& row : {Row{Replaced(Without(text, "Bins"), "<Curve", "<Bins/><Curve"), "no bin"},
                         Row{Replaced(text, "X=\"1 2 3\"", "X=\"\""), "no X"},
                         Row{Replaced(text, "Y=\"4 5 6.5\"", "Y=\" \""), "no Y"}}) {
    CAResults read;
    EXPECT_EQ(NumberOf([&] { read.SetXML(row.text); }), 9) << row.reason;
  }
}

TEST_F(CAResultsTest, ABinWithoutAnEdgeReadsZeroWhereAStatisticKeepsItsValue) {
  CAResults read;
  Fill(read);
  const std::string text = Replaced(FilledText(), " Cp=\"1.25\"", "");
  EXPECT_TRUE(read.SetXML(Replaced(text, " YMin=\"-1\"", "")));
  EXPECT_EQ(read.Bins()->YMin(), 0.0);
  double value = -1.0;
  read.Statistics()->GetCp(value);
  EXPECT_EQ(value, 1.25);
}

TEST_F(CAResultsTest, ReadingAgainPutsTheBinsOnTheFirstAndLeavesTheCurvesCursor) {
  CAResults read;
  Fill(read);
  read.Bins()->MoveLast();
  read.Curve()->MoveLast();
  EXPECT_TRUE(read.SetXML(Replaced(FilledText(), "X=\"1 2 3\"", "X=\"1 2\"")));
  EXPECT_EQ(read.Bins()->CurrentIndex(), 1);
  EXPECT_EQ(read.Curve()->Count(), 2);
  EXPECT_EQ(read.Curve()->CurrentIndex(), 3);
  EXPECT_EQ(NumberOf([&] { read.Curve()->X(); }), 9);
}

TEST_F(CAResultsTest, ANumberThatIsNoneFailsWithTheTrailOfItsReader) {
  struct Row {
    const char* from;
    const char* to;
    const char* trail;
  };
  for (const Row& row :
       {Row{"BinCount=\"21\"", "BinCount=\"x\"",
            "CAResults.SetProcessingXMLNode|CAProcessing.SetXMLNode|"},
        Row{"MaximumItems=\"25\"", "MaximumItems=\"x\"",
            "CAResults.SetDataselectXMLNode|DataSelect.SetXMLNode|"},
        Row{"JohnsonCurveType=\"3\"", "JohnsonCurveType=\"x\"", "CAStatistics.SetXMLNode|"},
        Row{"XMin=\"1\"", "XMin=\"x\"", "CABins.SetXMLNode|"},
        Row{"X=\"1 2 3\"", "X=\"1  2\"", "CACurve.SetXMLNode|CACurve.GetArray|"}}) {
    CAResults read;
    const auto failure = FailureOf([&] { read.SetXML(Replaced(FilledText(), row.from, row.to)); });
    EXPECT_EQ(failure.Number(), 13) << row.to;
    EXPECT_EQ(failure.Source(), std::string("CAResults.SetXML|CAResults.SetXMLNode|") + row.trail +
                                    "orvSPCAnalysis6");
  }
}

TEST_F(CAResultsTest, AnotherRootFailsAndNothingChanges) {
  CAResults read;
  Fill(read);
  for (const char* text : {"<CCResults/>", "", "<A><CAResults/></A>"}) {
    const auto failure = FailureOf([&] { read.SetXML(text); });
    EXPECT_EQ(failure.Description(), "Node does not exist!") << text;
    EXPECT_EQ(failure.Source(),
              "CAResults.SetXML|XMLSupport.GetXMLSingleNode(Node=CAResults)|orvSPCAnalysis6");
  }
  EXPECT_EQ(read.GetXML(), FilledText());
}

}  // namespace
}  // namespace orvspc
