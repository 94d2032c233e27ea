// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <iterator>
#include <memory>
#include <string>

#include "capability/CAStatistics.h"
#include "frame/Friend.h"
#include "frame/XMLSupport.h"
#include "platform/FixedText.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

// Every field has a value of its own, in the order of the records in memory.
API_CAStatistics EveryField() {
  API_CAStatistics record;
  record.Summary = {1, 2, 3.5, 4.5, 5.5, 6.5, 7.5, 8.5, 9.5, 10.5, 11.5, 12.5, 13.5};
  record.CPs = {14.5, 15.5, 16.5, 17.5, 18.5, 19.5, 20.5};
  record.PPs = {21.5, 22.5, 23.5, 24.5, 25.5, 26.5};
  record.Moments = {27.5, 28.5, 29.5, 30.5, 31.5, 32.5};
  record.ChiSq = {33, 34.5, 35.5};
  record.Anova = {36, 37.5, 38.5, 39, 40.5, 41.5, 42, 43.5, 44.5, 45.5, 46.5};
  auto& spec = record.SpecLim;
  spec.Scale = 47;
  spec.Usl = 48.5;
  spec.Tar = 49.5;
  spec.Lsl = 50.5;
  spec.Ugb = 51.5;
  spec.Lgb = 52.5;
  spec.Url = 53.5;
  spec.Lrl = 54.5;
  spec.Uwp = 55.5;
  spec.Lwp = 56.5;
  spec.Usg = 57.5;
  spec.Lsg = 58.5;
  spec.Uds = 59.5;
  spec.Lds = 60.5;
  spec.Cp = 61.5;
  spec.Cpk = 62.5;
  spec.RRmar = 63.5;
  spec.RRmax = 64.5;
  spec.Fctr = 65.5;
  spec.EFlag = 66;
  spec.AFlag = 67;
  platform::StoreFixedText(spec.Text, "bore");
  record.SpecResults = {68.5, 69.5, 70.5, 71.5, 72.5, 73.5, 74.5, 75.5, 76.5, 77.5, 78.5, 79.5,
                        80.5, 81.5, 82.5, 83.5, 84.5, 85.5, 86.5, 87.5, 88.5, 89.5, 90.5};
  auto& ncc = record.NccLim;
  ncc.Lsc = 91.5;
  ncc.MavU = 92.5;
  ncc.MavUp = 93.5;
  ncc.MavL = 94.5;
  ncc.MavLp = 95.5;
  ncc.T2U = 96.5;
  ncc.T2Up = 97.5;
  ncc.T2L = 98.5;
  ncc.T2Lp = 99.5;
  ncc.T1U = 100.5;
  ncc.T1Up = 101.5;
  ncc.T1L = 102.5;
  ncc.T1Lp = 103.5;
  ncc.Fctr = 104.5;
  ncc.EFlag = 105;
  ncc.AFlag = 106;
  platform::StoreFixedText(ncc.Text, "jar");
  record.NccResults = {107.5, 108.5, 109.5, 110.5, 111.5, 112.5, 113.5, 114.5,
                       115.5, 116.5, 117.5, 118.5, 119.5, 120.5, 121.5, 122.5,
                       123.5, 124.5, 125.5, 126.5, 127.5, 128.5, 129.5};
  record.JohnsonCurveType = 2;
  return record;
}

std::string Padded(std::string text) {
  text.resize(256, ' ');
  return text;
}

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  const auto at = text.find(what);
  EXPECT_NE(at, std::string::npos) << what;
  return at == std::string::npos ? text : text.replace(at, what.size(), by);
}

// How EveryField is written.
std::string EveryAttribute() {
  std::string text =
      R"(<Statistics JohnsonCurveType="2">)"
      R"(<Summary Count="1" Sample="2" SSize="3.5" Min="4.5" Max="5.5" Mean="6.5" ST_SD="7.5")"
      R"( LT_SD="8.5" U_SD="9.5" L_SD="10.5" CoRobustness="11.5" CoOfVariation="12.5")"
      R"( ZBench="13.5"/>)"
      R"(<SpecLim Text="%spec%" Usl="48.5" Tar="49.5" Lsl="50.5" Uwl="51.5" Lwl="52.5")"
      R"( Url="53.5" Lrl="54.5" Uwp="55.5" Lwp="56.5" Usg="57.5" Lsg="58.5" Uds="59.5")"
      R"( Lds="60.5" Fctr="65.5" EFlag="66" AFlag="67" Scale="47" Cp="61.5" Cpk="62.5")"
      R"( RRmar="63.5" RRmax="64.5"/>)"
      R"(<SpecResults ActualAboveURL="75.5" ActualAboveUWL="77.5" ActualAboveUSL="76.5")"
      R"( ActualAboveTAR="78.5" ActualBelowTAR="79.5" ActualBelowUSL="81.5")"
      R"( ActualBelowUWL="80.5" ActualBelowURL="82.5" ExpectedAboveURL="83.5")"
      R"( ExpectedAboveUWL="85.5" ExpectedAboveUSL="84.5" ExpectedAboveTAR="86.5")"
      R"( ExpectedBelowTAR="87.5" ExpectedBelowUSL="89.5" ExpectedBelowUWL="88.5")"
      R"( ExpectedBelowURL="90.5" zURL="68.5" zUWL="70.5" zUSL="69.5" zTarget="71.5")"
      R"( zLSL="73.5" zLWL="72.5" zLRL="74.5"/>)"
      R"(<NccLim Text="%ncc%" Lsc="91.5" MavU="92.5" MavUp="93.5" MavL="94.5" MavLp="95.5")"
      R"( T2U="96.5" T2Up="97.5" T2L="98.5" T2Lp="99.5" T1U="100.5" T1Up="101.5" T1L="102.5")"
      R"( T1Lp="103.5" Fctr="104.5" EFlag="105" AFlag="106"/>)"
      R"(<NccResults ActualPercentAboveLSC="114.5" ActualPercentBelowLSC="115.5")"
      R"( ActualPercentAboveMAVU="116.5" ActualPercentBelowMAVL="117.5")"
      R"( ActualPercentAboveT1U="118.5" ActualPercentBelowT1L="120.5")"
      R"( ActualPercentAboveT2U="119.5" ActualPercentBelowT2L="121.5")"
      R"( ExpectedPercentAboveLSC="122.5" ExpectedPercentBelowLSC="123.5")"
      R"( ExpectedPercentAboveMAVU="124.5" ExpectedPercentBelowMAVL="125.5")"
      R"( ExpectedPercentAboveT1U="126.5" ExpectedPercentBelowT1L="128.5")"
      R"( ExpectedPercentAboveT2U="127.5" ExpectedPercentBelowT2L="129.5" zLSC="107.5")"
      R"( zMAVU="108.5" zMAVL="109.5" zT1U="110.5" zT1L="112.5" zT2U="111.5" zT2L="113.5"/>)"
      R"(<CPs Cp="14.5" Cpk="15.5" Cpu="16.5" Cpl="17.5" Cr="18.5" Cpr="19.5" Cpm="20.5"/>)"
      R"(<PPs Pp="21.5" Ppk="22.5" Ppu="23.5" Ppl="24.5" Pr="25.5" Ppm="26.5"/>)"
      R"(<Moments Mean="27.5" AvgDev="28.5" SD="29.5" Variance="30.5" Kurtosis="31.5")"
      R"( Skewness="32.5"/>)"
      R"(<ChiSq DegFreedom="33" ChiSqValue="34.5" ChiSqProb="35.5"/>)"
      R"(<Anova DF_Within="36" SS_Within="37.5" MS_Within="38.5" DF_Between="39")"
      R"( SS_Between="40.5" MS_Between="41.5" DF_Total="42" SS_Total="43.5" MS_Total="44.5")"
      R"( F_Ratio="45.5" ProbOf_F="46.5"/>)"
      R"(</Statistics>)";
  text = Replaced(text, "%spec%", Padded("bore"));
  return Replaced(text, "%ncc%", Padded("jar"));
}

class CAStatisticsXml : public testing::Test {
 protected:
  static std::string Written(const CAStatistics& statistics) {
    const auto document = XMLSupport::MakeXMLDocument();
    return document->Xml(statistics.CreateXMLNode(Friend{}, *document));
  }
  static bool Read(const std::string& text, CAStatistics& statistics) {
    const auto found = XMLSupport::GetXMLSingleNode(text, "Statistics");
    return statistics.SetXMLNode(Friend{}, found.node);
  }
  // The ten elements, one of them with these attributes, the others without any.
  static std::string Text(const std::string& element, const std::string& attributes) {
    std::string text = "<Statistics>";
    for (const char* name : kElements)
      text += std::string("<") + name + (name == element ? " " + attributes : "") + "/>";
    return text + "</Statistics>";
  }
  static double ValueOf(const CAStatistics& statistics, bool (CAStatistics::*get)(double&) const) {
    double value = -7.0;
    (statistics.*get)(value);
    return value;
  }
  void LoadEveryField() { statistics_.Load(Friend{}, EveryField()); }

  static constexpr const char* kElements[] = {"Summary",    "SpecLim", "SpecResults", "NccLim",
                                              "NccResults", "CPs",     "PPs",         "Moments",
                                              "ChiSq",      "Anova"};
  fake::FakeScope fake_;
  CAStatistics statistics_{Friend{}};
};

TEST_F(CAStatisticsXml, EveryFieldIsWrittenUnderItsNameInItsPlace) {
  LoadEveryField();
  EXPECT_EQ(Written(statistics_), EveryAttribute());
}

TEST_F(CAStatisticsXml, FourFieldsAreWrittenUnderNamesThatTheReaderDoesNotKnow) {
  EXPECT_TRUE(Read(EveryAttribute(), statistics_));
  std::string expected = EveryAttribute();
  for (const char* lost :
       {R"(Uwl="51.5")", R"(Lwl="52.5")", R"(RRmar="63.5")", R"(RRmax="64.5")"}) {
    const std::string name(lost, std::string(lost).find('"'));
    expected = Replaced(expected, lost, name + "\"0\"");
  }
  EXPECT_EQ(Written(statistics_), expected);
}

TEST_F(CAStatisticsXml, FieldsThatTheReaderDoesNotFindKeepWhatTheyHad) {
  LoadEveryField();
  EXPECT_TRUE(Read(EveryAttribute(), statistics_));
  EXPECT_EQ(Written(statistics_), EveryAttribute());
}

TEST_F(CAStatisticsXml, TheReadersNamesSetTheFields) {
  Read(Text("SpecLim", R"(Ugb="1.5" Lgb="2.5" Rrmar="3.5" Rrmax="4.5")"), statistics_);
  EXPECT_EQ(ValueOf(statistics_, &CAStatistics::GetSpecLimUgb), 1.5);
  EXPECT_EQ(ValueOf(statistics_, &CAStatistics::GetSpecLimLwl), 2.5);
  const std::string text = Written(statistics_);
  for (const char* part : {R"( Uwl="1.5" Lwl="2.5" )", R"( RRmar="3.5" RRmax="4.5"/>)"})
    EXPECT_NE(text.find(part), std::string::npos) << part;
  for (const char* name : {"Ugb", "Lgb", "Rrmar", "Rrmax"})
    EXPECT_EQ(text.find(name), std::string::npos) << name;
}

TEST_F(CAStatisticsXml, WarningLimitsComeBackAsZeroAndTrue) {
  API_CAStatistics record = EveryField();
  record.SpecLim.EFlag = 4 | 16;
  CAStatistics before{Friend{}};
  before.Load(Friend{}, record);
  Read(Written(before), statistics_);
  double value = -7.0;
  EXPECT_TRUE(statistics_.GetSpecLimUgb(value));
  EXPECT_EQ(value, 0.0);
  value = -7.0;
  EXPECT_TRUE(statistics_.GetSpecLimLwl(value));
  EXPECT_EQ(value, 0.0);
}

TEST_F(CAStatisticsXml, FiguresOfAReadTextAreAsBefore) {
  API_CAStatistics record = EveryField();
  record.SpecLim.EFlag = 2;
  CAStatistics before{Friend{}};
  before.Load(Friend{}, record);
  Read(Written(before), statistics_);
  double value = 0.0;
  EXPECT_TRUE(statistics_.GetMomentsMean(value));
  EXPECT_EQ(value, 27.5);
  EXPECT_TRUE(statistics_.GetCp(value));
  EXPECT_EQ(value, 14.5);
  EXPECT_TRUE(statistics_.GetTargetRatio(value));
  EXPECT_EQ(value, 3.0 * 19.5) << "the text has the raw field";
  EXPECT_EQ(statistics_.JohnsonCurveType(), caJohnsonTypeB);
}

TEST_F(CAStatisticsXml, TheCentralLimitComesBackWithItsValueAndFalse) {
  API_CAStatistics record = EveryField();
  record.NccLim.Head[0] = 5;
  record.NccLim.EFlag = -1;
  CAStatistics before{Friend{}};
  before.Load(Friend{}, record);
  double value = 0.0;
  EXPECT_TRUE(before.GetNccLimLsc(value));
  const double written = value;
  Read(Written(before), statistics_);
  value = 0.0;
  EXPECT_FALSE(statistics_.GetNccLimLsc(value));
  EXPECT_EQ(value, written);
  EXPECT_FALSE(statistics_.GetNccResultzLSC(value));
  EXPECT_TRUE(statistics_.GetNccLimMavU(value)) << "the flags themselves come back";
}

TEST_F(CAStatisticsXml, SharesBelowALowerLimitBearTheNameOfTheUpperOne) {
  Read(Text("SpecResults",
            R"(ActualBelowUSL="0.1" ActualBelowUWL="0.2" ActualBelowURL="0.3" )"
            R"(ExpectedBelowUSL="0.4" ExpectedBelowUWL="0.5" ExpectedBelowURL="0.6")"),
       statistics_);
  EXPECT_EQ(ValueOf(statistics_, &CAStatistics::GetDistActBelowLSL), 0.1);
  EXPECT_EQ(ValueOf(statistics_, &CAStatistics::GetDistActBelowLWL), 0.2);
  EXPECT_EQ(ValueOf(statistics_, &CAStatistics::GetDistActBelowLRL), 0.3);
  EXPECT_EQ(ValueOf(statistics_, &CAStatistics::GetDistExpBelowLSL), 0.4);
  EXPECT_EQ(ValueOf(statistics_, &CAStatistics::GetDistExpBelowLWL), 0.5);
  EXPECT_EQ(ValueOf(statistics_, &CAStatistics::GetDistExpBelowLRL), 0.6);
}

TEST_F(CAStatisticsXml, AMissingAttributeLeavesItsField) {
  LoadEveryField();
  EXPECT_TRUE(Read(Text("CPs", R"(Cp="99" Unknown="x")"), statistics_));
  EXPECT_EQ(Written(statistics_), Replaced(EveryAttribute(), R"( Cp="14.5")", R"( Cp="99")"));
}

TEST_F(CAStatisticsXml, ATextOfTenCharactersComesBackAs256) {
  Read(Text("SpecLim", R"(Text="0123456789")"), statistics_);
  EXPECT_NE(Written(statistics_).find("Text=\"" + Padded("0123456789") + "\""), std::string::npos);
}

TEST_F(CAStatisticsXml, ALongTextIsCutAt256) {
  Read(Text("NccLim", "Text=\"" + std::string(300, 'a') + "\""), statistics_);
  EXPECT_NE(Written(statistics_).find("Text=\"" + std::string(256, 'a') + "\""), std::string::npos);
}

TEST_F(CAStatisticsXml, ATextThatNobodySetIsWrittenAs256Blanks) {
  EXPECT_NE(Written(statistics_).find("<SpecLim Text=\"" + Padded("") + "\" Usl=\"0\""),
            std::string::npos);
}

TEST_F(CAStatisticsXml, ANullNodeIsFalseAndChangesNothing) {
  LoadEveryField();
  EXPECT_FALSE(statistics_.SetXMLNode(Friend{}, platform::XmlNode{}));
  EXPECT_EQ(Written(statistics_), EveryAttribute());
}

TEST_F(CAStatisticsXml, AMissingElementOfARecordFailsWith91) {
  const char* readers[] = {"SetSummaryXMLNode", "SetSpecLimXMLNode",    "SetOutOfSpecXMLNode",
                           "SetNccLimXMLNode",  "SetNccResultsXMLNode", "SetCPsXMLNode",
                           "SetPPsXMLNode",     "SetMomentsXMLNode",    "SetChiSqXMLNode",
                           "SetAnovaXMLNode"};
  for (std::size_t i = 0; i < std::size(kElements); ++i) {
    std::string text = "<Statistics>";
    for (const char* name : kElements)
      if (name != kElements[i]) text += std::string("<") + name + "/>";
    const Failure failure = fake::FailureOf([&] { Read(text + "</Statistics>", statistics_); });
    EXPECT_EQ(failure.Number(), 91) << kElements[i];
    EXPECT_EQ(failure.Source().rfind(
                  std::string("CAStatistics.SetXMLNode|CAStatistics.") + readers[i] + "|", 0),
              0u)
        << failure.Source();
  }
}

TEST_F(CAStatisticsXml, WhatConvertsToNoNumberFailsAndKeepsWhatWasReadBefore) {
  struct Row {
    const char* element;
    const char* attributes;
    std::int32_t number;
  };
  for (const Row& row :
       {Row{"Summary", R"(Count="4" Sample="many")", 13},
        Row{"Summary", R"(Count="4" Mean="")", 13},
        Row{"Summary", R"(Count="4" Sample="3000000000")", 6},
        Row{"ChiSq", R"(ChiSqValue="1,5")", 13}, Row{"Anova", R"(F_Ratio="1e400")", 6}}) {
    statistics_.Load(Friend{}, EveryField());
    EXPECT_EQ(fake::NumberOf([&] { Read(Text(row.element, row.attributes), statistics_); }),
              row.number)
        << row.attributes;
    std::int32_t count = 0;
    statistics_.GetPieceCount(count);
    EXPECT_EQ(count, std::string(row.element) == "Summary" ? 4 : 1) << row.attributes;
  }
}

TEST_F(CAStatisticsXml, TheCurveTypeOfATextIsKeptWhateverItIs) {
  Read(Replaced(Text("", ""), "<Statistics", R"(<Statistics JohnsonCurveType="77")"), statistics_);
  EXPECT_EQ(statistics_.JohnsonCurveType(), 77);
  Read(Text("", ""), statistics_);
  EXPECT_EQ(statistics_.JohnsonCurveType(), 77) << "missing";
}

}  // namespace
}  // namespace orvspc
