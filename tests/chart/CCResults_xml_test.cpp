// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "chart/CCResults.h"
#include "frame/Friend.h"
#include "frame/XMLSupport.h"
#include "tests/chart/analysis.h"
#include "tests/chart/record_builder.h"
#include "tests/fake/FailureOf.h"

namespace orvspc {
namespace {

using chart_test::Analysis;
using chart_test::ChartData;
using fake::FailureOf;

constexpr std::string_view kArrays[] = {
    "SGSizes", "Points", "Overlays", "cOOCs", "OOCs", "OOSs", "USLs",   "Targets", "LSLs",
    "cUCLs",   "cCLs",   "cLCLs",    "UCLs",  "Cls",  "LCLs", "AFlags", "EFlags"};

// The whole text of a result without anything in it, between its first elements and its end.
constexpr const char* kEmptyEnd =
    R"(<SubgroupData><Subgroups/><Tests/><Descriptors/><Comments/></SubgroupData>)"
    R"(<GraphData SubgroupCount="0" TestCount="0"><Graph Index="0" AlarmMask="0" AverageSize="0"/>)"
    R"(<Graph Index="1" AlarmMask="0" AverageSize="0"/>)"
    R"(<Graph Index="2" AlarmMask="0" AverageSize="0"/></GraphData>)"
    R"(<Statistics MeanEstimate="0" SPEstimate="0" SWEstimate="0"/><SpecificationLimits/>)"
    R"(<ControlLimits/><DefectOpportunities/>)"
    R"(<GroupData GroupIDs="" GroupIndex="" GroupStart="" GroupEnd=""/></CCResults>)";

// A text with every element that a reader needs, some of them given by hand.
struct Pieces {
  std::string graphs = "<GraphData/>";
  std::string statistics = "<Statistics/>";
  std::string spec = "<SpecificationLimits/>";
  std::string ctrl = "<ControlLimits/>";
  std::string opps = "<DefectOpportunities/>";
  std::string groups = "<GroupData/>";
  std::string first;  // CCProcessing, DataSelect, SubgroupData

  std::string Text() const {
    return "<CCResults>" + first + graphs + statistics + spec + ctrl + opps + groups +
           "</CCResults>";
  }
};

// A text as a tree to look into.
class Tree {
 public:
  explicit Tree(std::string_view text)
      : found_(XMLSupport::GetXMLSingleNode(text, "CCResults")), node_(found_.node) {}

  Tree operator/(std::string_view name) const { return Tree(found_, Child(name, 0)); }
  Tree At(std::string_view name, int index) const { return Tree(found_, Child(name, index)); }
  int Count(std::string_view name) const { return XMLSupport::CountChildren(node_, name); }
  bool Has(std::string_view attribute) const {
    return XMLSupport::AttributeText(node_, attribute).has_value();
  }
  std::string operator[](std::string_view attribute) const {
    return XMLSupport::ReadText(node_, attribute, "(missing)");
  }

 private:
  Tree(XMLSupport::FoundNode found, platform::XmlNode node)
      : found_(std::move(found)), node_(node) {}

  platform::XmlNode Child(std::string_view name, int index) const {
    auto child = found_.document->SelectSingleNode(node_, name);
    for (; child && index > 0; --index) child = found_.document->NextNode(child, name);
    return child;
  }

  XMLSupport::FoundNode found_;
  platform::XmlNode node_;
};

API_CCSpecLim SpecRow() {
  API_CCSpecLim row{};
  row.Word0 = 99;
  row.F_PART = 1;
  row.F_TEST_ = 2;
  row.F_SCAL = 3;
  row.F_USL = 11.5;
  row.F_TAR = 11.0;
  row.F_LSL = 10.5;
  row.F_UGB = 1.5;
  row.F_LGB = 2.5;
  row.F_URL = 3.5;
  row.F_LRL = 4.5;
  row.F_UWP = 5.5;
  row.F_LWP = 6.5;
  row.F_USG = 7.5;
  row.F_LSG = 8.5;
  row.F_UDS = 9.5;
  row.F_LDS = -1.5;
  row.F_CP = 1.25;
  row.F_CPK = 1.125;
  row.F_RRMAR = 20.0;
  row.F_RRMAX = 30.0;
  row.F_EFLAG = 42;
  row.F_AFLAG = 34;
  return row;
}

API_CCCtrlLim CtrlRow() {
  API_CCCtrlLim row{};
  row.F_PART = 1;
  row.F_PRCS = 2;
  row.F_TEST_ = 3;
  row.F_EFTM = 1'600'000'000;
  row.F_MEAN = 11.0;
  row.F_SP = 0.5;
  row.F_SPL = 0.25;
  row.F_SW = 0.125;
  row.F_SWL = 4.5;
  row.F_STTM = -1;
  row.F_FNTM = 7;
  return row;
}

// Two subgroups of two values in two groups, a marked first point, one row of each limit table.
struct WholeChart : Analysis {
  WholeChart() {
    auto& s = script();
    s.spec_lims = {SpecRow()};
    s.ctrl_lims = {CtrlRow()};
    s.alarm_mask = {6, 2, 0};
    s.mean_estimate = 0.1;
    s.sp_estimate = 1.0 / 3.0;
    s.sw_estimate = 2.5;
    s.average_sizes = {2.0, 2.5, 0.0};
    s.subgroups[1].Part = 4;
    for (std::int32_t graph = 1; graph <= 2; ++graph) {
      s.integers[{ChartData::SGSizes, graph}] = {2, 2};
      s.integers[{ChartData::cOOCs, graph}] = {2, 0};
      s.integers[{ChartData::OOCs, graph}] = {2, 4};
      s.doubles[{ChartData::Points, graph}] = {10.5, 12.5};
      s.doubles[{ChartData::UCLs, graph}] = {13.0, std::numeric_limits<double>::quiet_NaN()};
      s.doubles[{ChartData::Cls, graph}] = {11.0, 11.0};
      s.doubles[{ChartData::LCLs, graph}] = {0.1 + 0.2, -0.0};
    }
    s.doubles[{ChartData::USLs, 1}] = {11.5, 11.5};
    processing->GroupBy(ccGroupByPart);
  }

  std::shared_ptr<CCResults> Results() { return Analyze(1, 0x110); }
};

TEST(CCResultsXml, AResultWithoutSubgroupsHasGraphsWithThreeAttributesAndItsSubgroupData) {
  {
    const fake::FakeScope scope;
    EXPECT_EQ(CCResults().GetXML(), std::string("<CCResults>") + kEmptyEnd) << "a new object";
  }
  Analysis run;
  const auto results = run.Analyze(1, 0);
  const std::string text = results->GetXML();
  EXPECT_NE(text.find(kEmptyEnd), std::string::npos) << "an analysis without data: " << text;
  EXPECT_EQ(text.rfind("<CCResults><CCProcessing Graph1Type=\"1\" ", 0), 0u) << text;

  CCResults read;
  EXPECT_TRUE(read.SetXML(text));
  EXPECT_EQ(read.GetXML(), text) << "and one that was read";
}

TEST(CCResultsXml, ElementsStandInTheirOrder) {
  WholeChart run;
  const std::string text = run.Results()->GetXML();
  std::size_t at = 0;
  for (const char* element :
       {"<CCResults><CCProcessing ", "<DataSelect ", "<SubgroupData><Subgroups>", "<GraphData ",
        "<Graph Index=\"0\"", "<Graph Index=\"1\"", "<Graph Index=\"2\"",
        "</GraphData><Statistics ", "<SpecificationLimits><SpecLim ",
        "</SpecificationLimits><ControlLimits><CtrlLim ", "</ControlLimits><DefectOpportunities/>",
        "<GroupData ", "</CCResults>"}) {
    const std::size_t found = text.find(element, at);
    ASSERT_NE(found, std::string::npos) << element << " in " << text;
    at = found;
  }
}

TEST(CCResultsXml, AGraphIsWrittenWhole) {
  WholeChart run;
  const std::string text = run.Results()->GetXML();
  EXPECT_NE(text.find(R"(<GraphData SubgroupCount="2" TestCount="4"><Graph Index="0" )"
                      R"(AlarmMask="6" AverageSize="2" SGSizes="2 2" Points="10.5 12.5" )"
                      R"(Overlays="" cOOCs="2 0" OOCs="2 4" OOSs="0 )"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find(R"( UCLs="13 NaN" Cls="11 11" LCLs="0.30000000000000004 -0" AFlags=")"),
            std::string::npos)
      << text;
  const Tree second = Tree(text) / "GraphData";
  EXPECT_EQ(second.At("Graph", 1)["AlarmMask"], "2");
  EXPECT_EQ(second.At("Graph", 1)["AverageSize"], "2.5");
}

TEST(CCResultsXml, TheGraphsAreThreeWhateverTheChartAndAnUnusedOneHasEmptyLists) {
  WholeChart run;
  const Tree graphs = Tree(run.Results()->GetXML()) / "GraphData";
  ASSERT_EQ(graphs.Count("Graph"), 3);
  const Tree third = graphs.At("Graph", 2);
  EXPECT_EQ(third["Index"], "2");
  for (const auto array : kArrays) EXPECT_EQ(third[array], "") << array;
}

TEST(CCResultsXml, StatisticsAreTheThreeEstimates) {
  WholeChart run;
  EXPECT_NE(
      run.Results()->GetXML().find(R"(<Statistics MeanEstimate="0.1" SPEstimate="0.333333333333333)"
                                   R"(3" SWEstimate="2.5"/>)"),
      std::string::npos);
}

TEST(CCResultsXml, ASpecLimHasItsAttributesInOrderAndTheReasonableLimitOnce) {
  WholeChart run;
  EXPECT_NE(run.Results()->GetXML().find(
                R"(<SpecLim F_PART="1" F_TEST="2" F_SCAL="3" F_USL="11.5" F_TAR="11" F_LSL="10.5" )"
                R"(F_UGB="1.5" F_LGB="2.5" F_URL="3.5" F_LRL="4.5" F_UWP="5.5" F_LWP="6.5" )"
                R"(F_USG="7.5" F_LSG="8.5" F_UDS="9.5" F_LDS="-1.5" F_CP="1.25" F_CPK="1.125" )"
                R"(F_RRMAR="20" F_RRMAX="30" F_EFLAG="42" F_AFLAG="34"/>)"),
            std::string::npos);
}

TEST(CCResultsXml, ACtrlLimHasItsAttributesInOrderWithTimesAsStamps) {
  WholeChart run;
  EXPECT_NE(run.Results()->GetXML().find(
                R"(<CtrlLim F_PART="1" F_PRCS="2" F_TEST="3" F_EFTM="1600000000" F_MEAN="11" )"
                R"(F_SP="0.5" F_SPL="0.25" F_SW="0.125" F_SWL="4.5" F_STTM="-1" F_FNTM="7"/>)"),
            std::string::npos);
}

TEST(CCResultsXml, ADefOppHasItsThreeAttributes) {
  Analysis run;
  API_CCDefOpp row{};
  row.F_PART = 5;
  row.F_TEST_ = 6;
  row.F_OPPS = 700;
  run.script().def_opps = {row, row};
  const std::string text = run.Analyze(ccGraph1U, 0xF00)->GetXML();
  EXPECT_NE(text.find(R"(<DefectOpportunities><DefOpp F_PART="5" F_TEST="6" F_OPPS="700"/>)"
                      R"(<DefOpp F_PART="5" F_TEST="6" F_OPPS="700"/></DefectOpportunities>)"),
            std::string::npos)
      << text;

  CCResults read;
  read.SetXML(text);
  EXPECT_NE(read.GetXML().find("<DefectOpportunities/>"), std::string::npos)
      << "the rows do not come back";
  EXPECT_FALSE(read.DefOpp()->MoveFirst());
}

TEST(CCResultsXml, OfTheGroupsOnlyTheIdentifiersAreWritten) {
  WholeChart run;
  const auto results = run.Results();
  EXPECT_NE(results->GetXML().find(
                R"(<GroupData GroupIDs="1 4" GroupIndex="" GroupStart="" GroupEnd=""/>)"),
            std::string::npos);
  EXPECT_EQ(results->TotalGroups(), 1) << "the object itself still has them";
}

TEST(CCResultsXml, ASecondWritingIsTheSame) {
  WholeChart run;
  const auto results = run.Results();
  const std::string text = results->GetXML();
  EXPECT_EQ(results->GetXML(), text);
  EXPECT_EQ(results->TotalSubgroups(), 2);
}

TEST(CCResultsXml, AGraphThatWasReadIsWrittenWithoutItsArrays) {
  WholeChart run;
  const auto results = run.Results();
  results->Graphs(ccGraphType1);
  const Tree graphs = Tree(results->GetXML()) / "GraphData";
  const Tree first = graphs.At("Graph", 0);
  EXPECT_EQ(first["AlarmMask"], "6") << "lies outside the graph";
  EXPECT_EQ(first["AverageSize"], "0");
  for (const auto array : kArrays) EXPECT_EQ(first[array], "") << array;
  EXPECT_EQ(graphs.At("Graph", 1)["Points"], "10.5 12.5") << "the other one is whole";
}

TEST(CCResultsXml, WritingFailsWithSubscriptOnceALimitTableWasRead) {
  struct Row {
    std::int32_t graph1, word;
    void (*read)(CCResults&);
    const char* source;
  };
  const Row rows[] = {
      {1, 0x110, [](CCResults& r) { r.SpecLim(); },
       "CCResults.CreateSpecificationLimitXMLNode|CCResults.CreateSpecLimXMLNode|"},
      {1, 0x110, [](CCResults& r) { r.CtrlLim(); },
       "CCResults.CreateControlLimitsXMLNode|CCResults.CreateCtrlLimXMLNode|"},
      {ccGraph1U, 0xF00, [](CCResults& r) { r.DefOpp(); },
       "CCResults.CreateDefectOpportunitiesXMLNode|CCResults.CreateDefOppXMLNode|"},
  };
  for (const Row& row : rows) {
    WholeChart run;
    if (row.graph1 == ccGraph1U) run.script().def_opps.resize(1);
    const auto results = run.Analyze(row.graph1, row.word);
    results->GetXML();
    row.read(*results);
    const auto caught = FailureOf([&] { results->GetXML(); });
    EXPECT_EQ(caught.Number(), 9);
    EXPECT_EQ(caught.Source(), std::string("CCResults.GetXML|CCResults.CreateXMLNode|") +
                                   row.source + "orvSPCAnalysis6");
  }
}

TEST(CCResultsXml, ALimitTableWithoutRowsMayBeRead) {
  Analysis run;
  const auto results = run.Analyze(1, 0x110);
  const std::string text = results->GetXML();
  results->SpecLim();
  results->CtrlLim();
  results->DefOpp();
  EXPECT_EQ(results->GetXML(), text);
}

TEST(CCResultsXml, GraphsEstimatesAndGroupIdentifiersComeBackButNoLimitRow) {
  WholeChart run;
  const auto live = run.Results();
  const std::string text = live->GetXML();
  EXPECT_EQ((Tree(text) / "SpecificationLimits").Count("SpecLim"), 1);

  CCResults read;
  EXPECT_TRUE(read.SetXML(text));
  EXPECT_EQ(read.MeanEstimate(), 0.1);
  EXPECT_EQ(read.SPEstimate(), 1.0 / 3.0);
  EXPECT_EQ(read.SWEstimate(), 2.5);
  EXPECT_EQ(read.GraphCount(), 2);
  EXPECT_EQ(read.RuleDef(), nullptr);
  EXPECT_EQ(read.TotalSubgroups(), 2);
  EXPECT_EQ(read.SubgroupData()->TotalTests(), 4);
  EXPECT_EQ(read.TotalGroups(), 2) << "every subgroup is one of its own";

  // What is written again has everything but the rows.
  std::string expected = text;
  for (const char* container : {"SpecificationLimits", "ControlLimits"}) {
    const std::string open = std::string("<") + container + ">", close = "</" + open.substr(1);
    const std::size_t from = expected.find(open), to = expected.find(close) + close.size();
    ASSERT_LT(from, to);
    expected.replace(from, to - from, std::string("<") + container + "/>");
  }
  EXPECT_EQ(read.GetXML(), expected);

  const auto points = read.Graphs(ccGraphType1)->GraphData();
  const auto of_live = live->Graphs(ccGraphType1)->GraphData();
  EXPECT_EQ(points->Count(), 2);
  EXPECT_EQ(points->GetPoints(), of_live->GetPoints());
  EXPECT_EQ(points->GetLCLs(), of_live->GetLCLs());
  EXPECT_TRUE(std::signbit((*points->GetLCLs())[1]));
  EXPECT_TRUE(std::isnan((*points->GetUCLs())[1]));
  EXPECT_EQ(points->GetOOCs(), of_live->GetOOCs());
  EXPECT_EQ(points->GetAFlags(), of_live->GetAFlags());
  EXPECT_TRUE(points->HasSpecificationLimits());
  EXPECT_FALSE(read.SpecLim()->MoveFirst());
  EXPECT_FALSE(read.CtrlLim()->MoveFirst());
  EXPECT_FALSE(read.DefOpp()->MoveFirst());
}

TEST(CCResultsXml, PointsThatWereReadHaveMarksButNoRules) {
  WholeChart run;
  run.script().rules = {{1, "beyond a limit"}};
  CCResults read;
  read.SetXML(run.Results()->GetXML());
  const auto points = read.Graphs(ccGraphType1)->GraphData();
  EXPECT_EQ(points->OOC(), 2);
  ASSERT_NE(points->OOCRuleDef(), nullptr);
  EXPECT_FALSE(points->OOCRuleDef()->MoveFirst());
  EXPECT_EQ(points->OOCText(), "");
}

TEST(CCResultsXml, OverlaysAreOnlyEverLoaded) {
  const fake::FakeScope scope;
  CCResults read;
  Pieces pieces;
  pieces.first = R"(<CCProcessing Graph1Type="1"/>)";
  pieces.graphs = R"(<GraphData SubgroupCount="2"><Graph Index="0" cOOCs="0 0" )"
                  R"(Overlays="1.5 2.5"/></GraphData>)";
  read.SetXML(pieces.Text());
  EXPECT_NE(read.GetXML().find(R"( Overlays="1.5 2.5" )"), std::string::npos);
  const auto points = read.Graphs(ccGraphType1)->GraphData();
  EXPECT_TRUE(points->HasOverlays());
  EXPECT_EQ(points->Overlay(), 1.5);
}

TEST(CCResultsXml, ChildrenNamedAsTheirSpecificationLimitsAreReadFromTheirParent) {
  const fake::FakeScope scope;
  CCResults read;
  Pieces pieces;
  pieces.spec = R"(<SpecificationLimits F_PART="7" F_USL="2.5" F_URL="8.5" F_EFLAG="32">)"
                R"(<SpecificationLimits F_USL="1"/><SpecificationLimits F_PART="3"/>)"
                R"(</SpecificationLimits>)";
  EXPECT_TRUE(read.SetXML(pieces.Text()));
  const Tree limits = Tree(read.GetXML()) / "SpecificationLimits";
  ASSERT_EQ(limits.Count("SpecLim"), 2);
  for (int i = 0; i < 2; ++i) {
    const Tree row = limits.At("SpecLim", i);
    EXPECT_EQ(row["F_PART"], "7") << i;
    EXPECT_EQ(row["F_USL"], "2.5") << i;
    EXPECT_EQ(row["F_URL"], "8.5") << i;
    EXPECT_EQ(row["F_EFLAG"], "32") << i;
  }
  EXPECT_TRUE(read.SpecLim()->MoveNext()) << "two rows in the table";
}

TEST(CCResultsXml, ChildrenNamedAsTheirControlLimitsAreReadThemselves) {
  const fake::FakeScope scope;
  CCResults read;
  Pieces pieces;
  pieces.ctrl = R"(<ControlLimits F_PART="7"><ControlLimits F_MEAN="1.5" F_EFTM="-9"/>)"
                R"(<ControlLimits F_PART="3" F_SWL="2.5"/></ControlLimits>)";
  pieces.opps = R"(<DefectOpportunities F_OPPS="1"><DefectOpportunities F_OPPS="20"/>)"
                R"(</DefectOpportunities>)";
  EXPECT_TRUE(read.SetXML(pieces.Text()));
  const std::string text = read.GetXML();
  const Tree limits = Tree(text) / "ControlLimits";
  ASSERT_EQ(limits.Count("CtrlLim"), 2);
  EXPECT_EQ(limits.At("CtrlLim", 0)["F_PART"], "0") << "not that of the parent";
  EXPECT_EQ(limits.At("CtrlLim", 0)["F_MEAN"], "1.5");
  EXPECT_EQ(limits.At("CtrlLim", 0)["F_EFTM"], "-9");
  EXPECT_EQ(limits.At("CtrlLim", 1)["F_PART"], "3");
  EXPECT_EQ(limits.At("CtrlLim", 1)["F_SWL"], "2.5");
  const Tree opportunities = Tree(text) / "DefectOpportunities";
  ASSERT_EQ(opportunities.Count("DefOpp"), 1);
  EXPECT_EQ(opportunities.At("DefOpp", 0)["F_OPPS"], "20");
}

TEST(CCResultsXml, ASpecificationRowWithoutItsScaleHas4AndWithoutItsPart0) {
  const fake::FakeScope scope;
  CCResults read;
  Pieces pieces;
  pieces.spec = "<SpecificationLimits><SpecificationLimits/></SpecificationLimits>";
  pieces.ctrl = "<ControlLimits><ControlLimits/></ControlLimits>";
  pieces.opps = "<DefectOpportunities><DefectOpportunities/></DefectOpportunities>";
  read.SetXML(pieces.Text());
  const std::string text = read.GetXML();
  EXPECT_NE(text.find(R"(<SpecLim F_PART="0" F_TEST="0" F_SCAL="4" F_USL="0" F_TAR="0" )"),
            std::string::npos);
  EXPECT_NE(text.find(R"(<CtrlLim F_PART="0" F_PRCS="0" F_TEST="0" F_EFTM="0" F_MEAN="0" )"
                      R"(F_SP="0" F_SPL="0" F_SW="0" F_SWL="0" F_STTM="0" F_FNTM="0"/>)"),
            std::string::npos);
  EXPECT_NE(text.find(R"(<DefOpp F_PART="0" F_TEST="0" F_OPPS="0"/>)"), std::string::npos);
}

TEST(CCResultsXml, AGraphWithoutIndexOrWithMinusOneIsSkipped) {
  const fake::FakeScope scope;
  CCResults read;
  Pieces pieces;
  pieces.graphs = R"(<GraphData SubgroupCount="1"><Graph Index="-1" AlarmMask="x" Points="1e999"/>)"
                  R"(<Graph AlarmMask="y" Points="2"/><Graph Index="2" Points="3"/></GraphData>)";
  EXPECT_TRUE(read.SetXML(pieces.Text()));
  const Tree graphs = Tree(read.GetXML()) / "GraphData";
  EXPECT_EQ(graphs.At("Graph", 0)["Points"], "");
  EXPECT_EQ(graphs.At("Graph", 1)["Points"], "");
  EXPECT_EQ(graphs.At("Graph", 2)["Points"], "3");
}

TEST(CCResultsXml, AGraphOutsideTheThreeFailsWithSubscript) {
  const fake::FakeScope scope;
  for (const char* index : {"3", "-2", "2147483647"}) {
    CCResults read;
    Pieces pieces;
    pieces.graphs = std::string(R"(<GraphData SubgroupCount="1"><Graph Index=")") + index +
                    R"("/></GraphData>)";
    const auto caught = FailureOf([&] { read.SetXML(pieces.Text()); });
    EXPECT_EQ(caught.Number(), 9) << index;
    EXPECT_EQ(caught.Source(),
              "CCResults.SetXML|CCResults.SetXMLNode|CCResults.SetGraphDataXMLNode|"
              "CCResults.SetGraphXMLNode|orvSPCAnalysis6");
  }
}

TEST(CCResultsXml, ADocumentWithoutStatisticsFailsBehindTheGraphs) {
  WholeChart run;
  std::string text = run.Results()->GetXML();
  const std::size_t from = text.find("<Statistics"), to = text.find("<SpecificationLimits>");
  text.erase(from, to - from);
  CCResults read;
  const auto caught = FailureOf([&] { read.SetXML(text); });
  EXPECT_EQ(caught.Number(), 91);
  EXPECT_EQ(caught.Source(),
            "CCResults.SetXML|CCResults.SetXMLNode|CCResults.SetStatDataXMLNode|"
            "XMLSupport.GetXMLAttributeValue(Attribute=MeanEstimate)|orvSPCAnalysis6");
  EXPECT_EQ(read.Graphs(ccGraphType1)->GraphData()->GetPoints(), (std::vector<double>{10.5, 12.5}))
      << "what was read before stays";
}

TEST(CCResultsXml, WithoutGraphDataTheCountsAreThoseOfTheRowsThatWereRead) {
  WholeChart run;
  const auto source = run.Results();
  std::string text = source->GetXML();
  const std::size_t from = text.find("<GraphData"), to = text.find("<Statistics");
  text.erase(from, to - from);
  CCResults read;
  EXPECT_EQ(FailureOf([&] { read.SetXML(text); }).Number(), 91);
  const Tree graphs = Tree(read.GetXML()) / "GraphData";
  EXPECT_EQ(graphs["SubgroupCount"], std::to_string(source->TotalSubgroups()));
  EXPECT_EQ(graphs["TestCount"], std::to_string(source->SubgroupData()->TotalTests()));
  EXPECT_NE(graphs["TestCount"], "0");
}

TEST(CCResultsXml, AMissingLimitTableHasNoRowsAnyMoreWhenItFails) {
  WholeChart run;
  const auto results = run.Results();
  std::string text = results->GetXML();
  ASSERT_NE(text.find("<SpecLim "), std::string::npos);
  const std::size_t from = text.find("<SpecificationLimits>"), to = text.find("<ControlLimits");
  text.erase(from, to - from);
  EXPECT_EQ(FailureOf([&] { results->SetXML(text); }).Number(), 91);
  EXPECT_EQ(results->GetXML().find("<SpecLim "), std::string::npos);
  EXPECT_NE(results->GetXML().find("<CtrlLim "), std::string::npos) << "comes after it";
}

TEST(CCResultsXml, GroupsWithoutSubgroupsKeepTheirIdentifiersAlone) {
  const fake::FakeScope scope;
  CCResults read;
  Pieces pieces;
  pieces.graphs = R"(<GraphData SubgroupCount="0"/>)";
  pieces.groups = R"(<GroupData GroupIDs="1 2" GroupIndex="3 4" GroupStart="5" GroupEnd="6"/>)";
  EXPECT_TRUE(read.SetXML(pieces.Text()));
  read.SubgroupData();
  EXPECT_NE(
      read.GetXML().find(R"(<GroupData GroupIDs="1 2" GroupIndex="" GroupStart="" GroupEnd=""/>)"),
      std::string::npos);
}

TEST(CCResultsXml, EachOfTheLastSixElementsIsNeeded) {
  const fake::FakeScope scope;
  struct Row {
    std::string Pieces::*piece;
    const char* source;
  };
  const Row rows[] = {
      {&Pieces::graphs,
       "SetGraphDataXMLNode|XMLSupport.GetXMLAttributeValue(Attribute=SubgroupCount)|"},
      {&Pieces::statistics,
       "SetStatDataXMLNode|XMLSupport.GetXMLAttributeValue(Attribute=MeanEstimate)|"},
      {&Pieces::spec, "SetSpecDataXMLNode|"},
      {&Pieces::ctrl, "SetCLimXMLNode|"},
      {&Pieces::opps, "SetOppDataXMLNode|"},
      {&Pieces::groups, "SetGroupDataXMLNode|XMLSupport.GetXMLAttributeValue(Attribute=GroupIDs)|"},
  };
  for (const Row& row : rows) {
    Pieces pieces;
    pieces.*row.piece = "";
    const auto caught = FailureOf([&] { CCResults().SetXML(pieces.Text()); });
    EXPECT_EQ(caught.Number(), 91) << row.source;
    EXPECT_EQ(caught.Source(), std::string("CCResults.SetXML|CCResults.SetXMLNode|CCResults.") +
                                   row.source + "orvSPCAnalysis6");
  }
}

TEST(CCResultsXml, TheFirstThreeElementsMayBeMissingAndTheirObjectsAreThenNone) {
  WholeChart run;
  const auto results = run.Results();
  results->SubgroupData();
  EXPECT_TRUE(results->SetXML(Pieces().Text()));
  EXPECT_EQ(results->Processing(), nullptr);
  EXPECT_EQ(results->DataSelect(), nullptr);
  EXPECT_EQ(results->TotalSubgroups(), 0);
  EXPECT_EQ(results->SPEstimate(), 1.0 / 3.0) << "a bare Statistics leaves the estimates";
}

TEST(CCResultsXml, ADocumentWithoutDataSelectLoads) {
  WholeChart run;
  std::string text = run.Results()->GetXML();
  const std::size_t from = text.find("<DataSelect"), to = text.find("<SubgroupData");
  text.erase(from, to - from);
  CCResults read;
  EXPECT_TRUE(read.SetXML(text));
  EXPECT_EQ(read.DataSelect(), nullptr);
  ASSERT_NE(read.Processing(), nullptr);
  EXPECT_EQ(read.TotalSubgroups(), 2);
}

TEST(CCResultsXml, AListOfOnlyBlanksIsEmptyAndLeavesItsFieldUnallocated) {
  const fake::FakeScope scope;
  CCResults read;
  Pieces pieces;
  pieces.first = R"(<CCProcessing Graph1Type="1"/>)";
  pieces.graphs = R"(<GraphData SubgroupCount="2"><Graph Index="0" SGSizes="   " )"
                  R"(cOOCs="  1 2 "/></GraphData>)";
  read.SetXML(pieces.Text());
  const Tree graph = (Tree(read.GetXML()) / "GraphData").At("Graph", 0);
  EXPECT_EQ(graph["SGSizes"], "");
  EXPECT_EQ(graph["cOOCs"], "1 2") << "blanks around a list do not count";
  const auto points = read.Graphs(ccGraphType1)->GraphData();
  EXPECT_EQ(points->Count(), 2);
  EXPECT_EQ(FailureOf([&] { points->Size(); }).Number(), 9);
}

TEST(CCResultsXml, TheCountsOfGraphDataStandAboveThoseOfTheRows) {
  WholeChart run;
  std::string text = run.Results()->GetXML();
  const std::string counts = R"(SubgroupCount="2" TestCount="4")";
  text.replace(text.find(counts), counts.size(), R"(TestCount="9")");
  CCResults read;
  EXPECT_TRUE(read.SetXML(text));
  EXPECT_EQ(read.TotalSubgroups(), 2) << "the rows themselves";
  const Tree graphs = Tree(read.GetXML()) / "GraphData";
  EXPECT_EQ(graphs["SubgroupCount"], "0");
  EXPECT_EQ(graphs["TestCount"], "9");
  EXPECT_FALSE(graphs.At("Graph", 0).Has("Points")) << "the count guards all lists";
}

TEST(CCResultsXml, ABadNumberFailsWith13AndWhatWasReadBeforeStays) {
  const fake::FakeScope scope;
  CCResults read;
  Pieces pieces;
  pieces.first = R"(<CCProcessing Graph1Type="3" Graph2Type="3"/>)";
  pieces.statistics = R"(<Statistics MeanEstimate="1.5" SPEstimate="1,5" SWEstimate="2.5"/>)";
  const auto caught = FailureOf([&] { read.SetXML(pieces.Text()); });
  EXPECT_EQ(caught.Number(), 13);
  EXPECT_EQ(caught.Source(),
            "CCResults.SetXML|CCResults.SetXMLNode|CCResults.SetStatDataXMLNode|orvSPCAnalysis6");
  EXPECT_EQ(read.GraphCount(), 2);
  EXPECT_EQ(read.MeanEstimate(), 1.5);
  EXPECT_EQ(read.SWEstimate(), 0.0);
}

TEST(CCResultsXml, EverySingleAttributeRefusesABadNumber) {
  WholeChart run;
  const std::string written = run.Results()->GetXML();
  const std::size_t graph_data = written.find("<GraphData");
  for (const char* attribute : {"SubgroupCount", "TestCount", "Index", "AlarmMask", "AverageSize",
                                "MeanEstimate", "SPEstimate", "SWEstimate"}) {
    std::string text = written;
    const std::string start = std::string(" ") + attribute + "=\"";
    text.insert(text.find(start, graph_data) + start.size(), "x");
    CCResults read;
    EXPECT_EQ(FailureOf([&] { read.SetXML(text); }).Number(), 13) << attribute;
    EXPECT_EQ(read.TotalSubgroups(), 2) << attribute;
  }
}

TEST(CCResultsXml, AFailureInsideSettingsLeavesThemHalfRead) {
  const fake::FakeScope scope;
  CCResults read;
  Pieces pieces;
  pieces.first = R"(<CCProcessing Graph1Type="3" GroupBy="part"/>)";
  const auto caught = FailureOf([&] { read.SetXML(pieces.Text()); });
  EXPECT_EQ(caught.Number(), 13);
  EXPECT_EQ(caught.Source(),
            "CCResults.SetXML|CCResults.SetXMLNode|CCResults.SetProcessingXMLNode|"
            "CCProcessing.SetXMLNode|orvSPCAnalysis6");
  ASSERT_NE(read.Processing(), nullptr);
  EXPECT_EQ(read.Processing()->Graph1Type(), 3);
}

TEST(CCResultsXml, ABadPieceOfAListReadsAs0AndOneOutOfRangeFailsWith6) {
  const fake::FakeScope scope;
  const auto graph = [](const char* lists) {
    Pieces pieces;
    pieces.graphs = std::string(R"(<GraphData SubgroupCount="3"><Graph Index="0" AlarmMask="5" )") +
                    lists + "/></GraphData>";
    return pieces.Text();
  };
  CCResults read;
  EXPECT_TRUE(read.SetXML(graph(R"(SGSizes="5 x 7y" Points="1.5  z")")));
  const Tree first = (Tree(read.GetXML()) / "GraphData").At("Graph", 0);
  EXPECT_EQ(first["SGSizes"], "5 0 7");
  EXPECT_EQ(first["Points"], "1.5 0 0");

  struct Row {
    const char* lists;
    const char* converter;
  };
  for (const Row& row : {Row{R"(cOOCs="1 3000000000")", "ConvertStringToLongArray"},
                         Row{R"(SGSizes="4" Points="1 1e999")", "ConvertStringToDoubleArray"}}) {
    CCResults hostile;
    const auto caught = FailureOf([&] { hostile.SetXML(graph(row.lists)); });
    EXPECT_EQ(caught.Number(), 6) << row.lists;
    EXPECT_EQ(caught.Source(),
              std::string("CCResults.SetXML|CCResults.SetXMLNode|CCResults.SetGraphDataXMLNode|"
                          "CCResults.SetGraphXMLNode|XMLSupport.") +
                  row.converter + "|orvSPCAnalysis6");
    EXPECT_NE(hostile.GetXML().find(R"(AlarmMask="5")"), std::string::npos) << "read before";
  }
}

TEST(CCResultsXml, ALimitOutOfRangeOfItsAttributeFails) {
  const fake::FakeScope scope;
  struct Row {
    std::string Pieces::*piece;
    const char* text;
    std::int32_t number;
    const char* source;
  };
  const Row rows[] = {
      {&Pieces::spec,
       R"(<SpecificationLimits F_SCAL="x"><SpecificationLimits/></SpecificationLimits>)", 13,
       "CCResults.SetSpecDataXMLNode|orvSPCAnalysis6"},
      {&Pieces::ctrl, R"(<ControlLimits><ControlLimits F_EFTM="3000000000"/></ControlLimits>)", 6,
       "CCResults.SetCLimXMLNode|orvSPCAnalysis6"},
      {&Pieces::opps,
       R"(<DefectOpportunities><DefectOpportunities F_OPPS=""/></DefectOpportunities>)", 13,
       "CCResults.SetOppDataXMLNode|orvSPCAnalysis6"},
  };
  for (const Row& row : rows) {
    Pieces pieces;
    pieces.*row.piece = row.text;
    const auto caught = FailureOf([&] { CCResults().SetXML(pieces.Text()); });
    EXPECT_EQ(caught.Number(), row.number) << row.text;
    EXPECT_EQ(caught.Source(), std::string("CCResults.SetXML|CCResults.SetXMLNode|") + row.source);
  }
}

TEST(CCResultsXml, GroupListsThatTheTextHoldsAreTakenAsTheyAre) {
  const fake::FakeScope scope;
  CCResults read;
  Pieces pieces;
  pieces.groups = R"(<GroupData GroupIDs="4 5" GroupIndex="0 0" GroupStart="0"/>)";
  pieces.first = "<SubgroupData/>";
  EXPECT_TRUE(read.SetXML(pieces.Text()));
  EXPECT_NE(read.GetXML().find(
                R"(<GroupData GroupIDs="4 5" GroupIndex="0 0" GroupStart="0" GroupEnd=""/>)"),
            std::string::npos)
      << "the rows were there already, so nothing is taken out";
  pieces.groups = "<GroupData/>";
  read.SetXML(pieces.Text());
  EXPECT_NE(read.GetXML().find(R"(GroupIDs="4 5")"), std::string::npos)
      << "an empty list leaves the old one";
}

TEST(CCResultsXml, ReadingStartsTheGraphsAnew) {
  const fake::FakeScope scope;
  CCResults read;
  Pieces pieces;
  pieces.graphs = R"(<GraphData SubgroupCount="1"><Graph Index="1" AlarmMask="3" Points="1"/>)"
                  R"(</GraphData>)";
  read.SetXML(pieces.Text());
  pieces.graphs = R"(<GraphData SubgroupCount="1"/>)";
  read.SetXML(pieces.Text());
  const Tree graph = (Tree(read.GetXML()) / "GraphData").At("Graph", 1);
  EXPECT_EQ(graph["AlarmMask"], "0");
  EXPECT_EQ(graph["Points"], "");
}

TEST(CCResultsXml, ObjectsThatWereHandedOutStayWhenAnotherTextIsRead) {
  WholeChart run;
  const auto results = run.Results();
  const std::string text = results->GetXML();
  const auto graph = results->Graphs(ccGraphType1);
  const auto limits = results->SpecLim();
  results->SetXML(text);
  EXPECT_EQ(results->Graphs(ccGraphType1), graph);
  EXPECT_EQ(results->SpecLim(), limits);
}

TEST(CCResultsXml, ATextWithoutTheRootDoesNotExist) {
  const fake::FakeScope scope;
  for (const char* text : {"", "no xml", "<CCProcessing/>", "<CCResults>", "<a><CCResults/></a>"}) {
    CCResults read;
    const auto caught = FailureOf([&] { read.SetXML(text); });
    EXPECT_EQ(caught.Number(), -2147221504) << text;
    EXPECT_EQ(caught.Description(), "Node does not exist!") << text;
    EXPECT_EQ(caught.Source(),
              "CCResults.SetXML|XMLSupport.GetXMLSingleNode(Node=CCResults)|orvSPCAnalysis6");
  }
}

TEST(CCResultsXml, ANullNodeFails) {
  const fake::FakeScope scope;
  const auto caught = FailureOf([] { CCResults().SetXMLNode({}); });
  EXPECT_EQ(caught.Number(), 91);
  EXPECT_EQ(caught.Source(), "CCResults.SetXMLNode|orvSPCAnalysis6");
}

TEST(CCResultsXml, AResultCanBeReadFromANodeOfAnotherDocument) {
  WholeChart run;
  const std::string text = run.Results()->GetXML();
  const auto document = XMLSupport::MakeXMLDocument();
  ASSERT_TRUE(document->LoadXml("<Archive>" + text + "</Archive>"));
  CCResults read;
  EXPECT_TRUE(read.SetXMLNode(document->SelectSingleNode(document->Root(), "CCResults")));
  EXPECT_EQ(read.TotalSubgroups(), 2);
}

}  // namespace
}  // namespace orvspc
