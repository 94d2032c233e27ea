// SPDX-License-Identifier: Apache-2.0
#include "chart/CCResults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "frame/Friend.h"
#include "platform/TimeStamp.h"
#include "tests/chart/analysis.h"
#include "tests/chart/record_builder.h"
#include "tests/fake/FailureOf.h"

namespace orvspc {
namespace {

using chart_test::Analysis;
using fake::FailureOf;
using Lines = std::vector<std::string>;

TEST(CCResults, ANewObjectHasNothing) {
  const fake::FakeScope scope;
  CCResults results;
  EXPECT_EQ(results.Processing(), nullptr);
  EXPECT_EQ(results.DataSelect(), nullptr);
  EXPECT_EQ(results.RuleDef(), nullptr);
  EXPECT_EQ(results.TotalSubgroups(), 0);
  EXPECT_EQ(results.MeanEstimate(), 0.0);
  const auto caught = FailureOf([&] { results.GraphCount(); });
  EXPECT_EQ(caught.Number(), 91);
  EXPECT_EQ(caught.Source(), "CCResults.GraphCount(g)|orvSPCAnalysis6");
}

TEST(CCResults, GraphsOutsideTheCountAreNothing) {
  Analysis run;
  const auto results = run.Analyze(1, 0x110);
  for (const std::int32_t index : {0, 3, 4, -1})
    EXPECT_EQ(results->Graphs(ccGraphTypes{index}), nullptr) << index;
  EXPECT_NE(results->Graphs(ccGraphType2), nullptr);
}

TEST(CCResults, AGraphIsTheSameObjectEachTime) {
  Analysis run;
  const auto results = run.Analyze(1, 0x110);
  const auto graph = results->Graphs(ccGraphType1);
  EXPECT_EQ(results->Graphs(ccGraphType1), graph);
  EXPECT_EQ(graph->GraphData(), graph->GraphData());
  EXPECT_NE(results->Graphs(ccGraphType2), graph);
  EXPECT_EQ(graph->GraphData()->Count(), 2);
}

TEST(CCResults, AGraphOfAnEmptyResultFailsWithSubscriptIfItWasAskedFor) {
  Analysis run;
  const auto results = run.Analyze(1, 0);
  const auto caught = FailureOf([&] { results->Graphs(ccGraphType1); });
  EXPECT_EQ(caught.Number(), 9);
  EXPECT_EQ(caught.Source(), "CCResults.Graphs(g)|orvSPCAnalysis6");

  const auto of_defaults = run.Analyze(0, 0);
  EXPECT_EQ(of_defaults->GraphCount(), 0);
  EXPECT_EQ(of_defaults->Graphs(ccGraphType1), nullptr);
}

TEST(CCResults, AnEmptyResultHasEmptyTablesAndNoRows) {
  Analysis run;
  const auto results = run.Analyze(1, 0);
  EXPECT_EQ(results->TotalSubgroups(), 0);
  EXPECT_EQ(results->TotalGroups(), 0);
  ASSERT_NE(results->CtrlLim(), nullptr);
  ASSERT_NE(results->SpecLim(), nullptr);
  ASSERT_NE(results->DefOpp(), nullptr);
  EXPECT_FALSE(results->CtrlLim()->MoveFirst());
  EXPECT_FALSE(results->SpecLim()->MoveFirst());
  EXPECT_FALSE(results->DefOpp()->MoveFirst());
}

TEST(CCResults, SubgroupDataHasRowsTestsAndGroups) {
  Analysis run;
  run.processing->GroupBy(ccGroupByPart);
  const auto results = run.Analyze(1, 0x100);
  const auto data = results->SubgroupData();
  EXPECT_EQ(data->TotalSubgroups(), 2);
  EXPECT_EQ(data->TotalTests(), 4);
  EXPECT_EQ(data->TotalDescriptors(), 0);
  EXPECT_TRUE(data->MoveTo(2));
  EXPECT_EQ(data->Sgrp(), 2);
  EXPECT_EQ(data->GroupIndex(), 2);
  EXPECT_EQ(data->GroupID(), 1);
  EXPECT_EQ(data->TestData()->Val(), 12.0);
}

TEST(CCResults, SubgroupDataReadTwiceIsTheSameObjectWithTheSameGroups) {
  Analysis run;
  run.processing->GroupBy(ccGroupByPart);
  run.script().subgroups[1].Part = 2;  // one group of two parts
  const auto results = run.Analyze(1, 0x100);
  EXPECT_EQ(results->TotalGroups(), 1);
  const auto data = results->SubgroupData();
  EXPECT_EQ(results->SubgroupData(), data);
  EXPECT_EQ(results->TotalGroups(), 1);
}

TEST(CCResults, TheThreeObjectsAreThoseOfTheAnalysis) {
  Analysis run;
  run.script().rules = {{1, "one"}, {2, "two"}};
  const auto results = run.Analyze(1, 0x100);
  const auto processing = results->Processing();
  ASSERT_NE(processing, nullptr);
  EXPECT_EQ(processing->Graph1Type(), ccGraph1XBar);
  EXPECT_NE(processing, run.processing);
  processing->GroupThreshold(77);
  EXPECT_EQ(results->Processing()->GroupThreshold(), 77) << "the object itself";
  const auto select = results->DataSelect();
  ASSERT_NE(select, nullptr);
  EXPECT_EQ(select->GetXML(), run.select->GetXML());
  EXPECT_NE(select, run.select);
  select->Tsno(78);
  EXPECT_EQ(results->DataSelect()->Tsno(), 78) << "the object itself";
  ASSERT_NE(results->RuleDef(), nullptr);
  EXPECT_TRUE(results->RuleDef()->MoveFirst());
  EXPECT_EQ(results->RuleDef()->Text(), "one");
}

API_CCSpecLim SpecRow(std::int32_t first) {
  API_CCSpecLim row{};
  row.Word0 = first;
  row.Stamp4 = 1'600'000'000;
  row.Stamp8 = 1'600'000'060;
  row.F_PART = 2;
  row.F_TEST_ = 3;
  std::fill(std::begin(row.Name), std::end(row.Name), u' ');
  row.Name[0] = u'N';
  row.Name[255] = u'\0';
  row.F_USL = 7.5;
  row.F_EFLAG = 6;
  row.F_AFLAG = 3;
  row.Word736 = 99;
  return row;
}

Lines LetsOf(const char* table, const Lines& columns) {
  Lines lines;
  for (const auto& column : columns) lines.push_back(std::string(table) + ".Let(" + column + ")");
  return lines;
}

// The calls of a table with one row.
template <class Get>
Lines CallsOf(Analysis& run, const char* table, Get&& get) {
  run.log().Clear();
  get();
  Lines calls = run.log().Lines();
  EXPECT_EQ(std::ranges::count(calls, "Make" + std::string(table) + "()"), 2)
      << "the table and the one row object";
  std::erase(calls, "Make" + std::string(table) + "()");
  return calls;
}

TEST(CCResults, SpecLimLetsItsColumnsInOrder) {
  Analysis run;
  run.script().spec_lims = {SpecRow(1)};
  const auto results = run.Analyze(1, 0x100);
  Lines expected = LetsOf(
      "SpecLim", {"Word0",   "Stamp4",    "Stamp8",  "F_PART",  "F_TEST",  "Word20",  "Word24",
                  "Word28",  "Word32",    "Name",    "Word552", "F_SCAL",  "F_USL",   "F_TAR",
                  "F_LSL",   "F_UGB",     "F_LGB",   "F_URL",   "F_LRL",   "F_UWP",   "F_LWP",
                  "F_USG",   "F_LSG",     "F_UDS",   "F_LDS",   "F_CP",    "F_CPK",   "F_RRMAR",
                  "F_RRMAX", "Double712", "F_EFLAG", "F_AFLAG", "Word728", "Word732", "Word736"});
  expected.push_back("SpecLim.Add()");
  expected.push_back("SpecLim.MoveFirst()");
  EXPECT_EQ(CallsOf(run, "SpecLim", [&] { results->SpecLim(); }), expected);
}

TEST(CCResults, CtrlLimLetsItsColumnsInOrderAndLeavesOneOut) {
  Analysis run;
  run.script().ctrl_lims.resize(1);
  run.script().ctrl_lims[0].F_SWL = 4.5;
  const auto results = run.Analyze(1, 0x100);
  Lines expected = LetsOf("CtrlLim", {"Word0", "Stamp4", "Stamp8", "F_PART", "F_PRCS", "F_TEST",
                                      "F_EFTM", "F_MEAN", "F_SP", "F_SPL", "F_SW", "F_STTM",
                                      "F_FNTM", "Double76", "Word84", "Word88", "Word92"});
  expected.push_back("CtrlLim.Add()");
  expected.push_back("CtrlLim.MoveFirst()");
  EXPECT_EQ(CallsOf(run, "CtrlLim", [&] { results->CtrlLim(); }), expected);
  EXPECT_EQ(results->CtrlLim()->Get("F_SWL"), platform::Cell(std::int32_t{0})) << "never given";
}

TEST(CCResults, DefOppLetsItsColumnsInOrder) {
  Analysis run;
  run.script().def_opps.resize(1);
  const auto results = run.Analyze(ccGraph1U, 0xF00);
  Lines expected = LetsOf("DefOpp", {"Word0", "Stamp4", "Stamp8", "F_PART", "F_TEST", "F_OPPS",
                                     "Word24", "Word28", "Word32"});
  expected.push_back("DefOpp.Add()");
  expected.push_back("DefOpp.MoveFirst()");
  EXPECT_EQ(CallsOf(run, "DefOpp", [&] { results->DefOpp(); }), expected);
}

TEST(CCResults, CellsHaveTheirKindsAndTheTableStandsOnItsFirstRow) {
  Analysis run;
  run.script().spec_lims = {SpecRow(11), SpecRow(12)};
  API_CCCtrlLim ctrl{};
  ctrl.F_EFTM = 1'600'000'000;
  ctrl.F_MEAN = 1.25;
  ctrl.F_STTM = -1;
  run.script().ctrl_lims = {ctrl};
  const auto results = run.Analyze(1, 0x100);

  const auto spec = results->SpecLim();
  EXPECT_EQ(results->SpecLim(), spec) << "the same object";
  EXPECT_EQ(spec->Get("Word0"), platform::Cell(std::int32_t{11}));
  EXPECT_EQ(spec->Get("Stamp4"),
            platform::Cell(platform::Date{platform::TimeStampToDate(1'600'000'000)}));
  EXPECT_EQ(spec->Get("F_USL"), platform::Cell(7.5));
  std::u16string name(256, u' ');
  name[0] = u'N';
  name[255] = u'\0';
  EXPECT_EQ(spec->Get("Name"), platform::Cell(name)) << "all units with their padding";
  EXPECT_EQ(spec->Get("F_EFLAG"), platform::Cell(std::int32_t{6}));
  EXPECT_EQ(spec->Get("F_AFLAG"), platform::Cell(std::int32_t{2})) << "cut to F_EFLAG";
  EXPECT_EQ(spec->Get("Word736"), platform::Cell(std::int32_t{99}));
  EXPECT_TRUE(spec->MoveNext());
  EXPECT_EQ(spec->Get("Word0"), platform::Cell(std::int32_t{12}));
  EXPECT_FALSE(spec->MoveNext());

  const auto limits = results->CtrlLim();
  EXPECT_EQ(limits->Get("F_EFTM"),
            platform::Cell(platform::Date{platform::TimeStampToDate(1'600'000'000)}));
  EXPECT_EQ(limits->Get("F_STTM"), platform::Cell(platform::Date{platform::TimeStampToDate(-1)}));
  EXPECT_EQ(limits->Get("F_MEAN"), platform::Cell(1.25));
}

TEST(CCResults, TheActiveFlagsOfALimitRowNeverShowABitThatIsNotEnabled) {
  Analysis run;
  for (std::int32_t enabled = 0; enabled < 8; ++enabled) {
    for (std::int32_t active = 0; active < 8; ++active) {
      auto row = SpecRow(1);
      row.F_EFLAG = enabled;
      row.F_AFLAG = active;
      run.script().spec_lims.push_back(row);
    }
  }
  const auto table = run.Analyze(1, 0x100)->SpecLim();
  ASSERT_TRUE(table->MoveFirst());
  for (const auto& row : run.script().spec_lims) {
    EXPECT_EQ(table->Get("F_EFLAG"), platform::Cell(row.F_EFLAG));
    EXPECT_EQ(table->Get("F_AFLAG"), platform::Cell(row.F_AFLAG & row.F_EFLAG));
    table->MoveNext();
  }
}

TEST(CCResults, AFailureOfATableLeavesTheRowsForTheNextRead) {
  Analysis run;
  run.script().spec_lims = {SpecRow(1), SpecRow(2)};
  const auto results = run.Analyze(1, 0x100);
  run.log().FailOn("SpecLim.Add", 2);
  const auto caught = FailureOf([&] { results->SpecLim(); });
  EXPECT_EQ(caught.Source(), "CCResults.SpecLim(g)|Outside.Object");
  EXPECT_TRUE(results->SpecLim()->MoveFirst());
  EXPECT_TRUE(results->SpecLim()->MoveNext());
}

TEST(CCResults, WhatWasHandedOutOutlivesTheResult) {
  Analysis run;
  auto results = run.Analyze(1, 0x100);
  const auto data = results->Graphs(ccGraphType1)->GraphData();
  const auto subgroups = results->SubgroupData();
  results = nullptr;
  EXPECT_EQ(data->Count(), 2);
  EXPECT_EQ(subgroups->TotalSubgroups(), 2);
}

TEST(CCResults, NoAnalysisOfEitherRoadGivesOverlays) {
  struct Row {
    std::int32_t asked, word, graphs;
  };
  for (const Row& row : {Row{1, 0x111, 3}, Row{5, 0x510, 2}, Row{11, 0xC00, 1}, Row{13, 0xE00, 1},
                         Row{14, 0xF21, 1}}) {
    Analysis run;
    const auto results = run.Analyze(row.asked, row.word);
    ASSERT_EQ(results->GraphCount(), row.graphs) << row.asked;
    for (std::int32_t index = 1; index <= row.graphs; ++index) {
      const auto data = results->Graphs(ccGraphTypes{index})->GraphData();
      ASSERT_EQ(data->Count(), 2) << row.asked;
      EXPECT_FALSE(data->HasOverlays()) << row.asked << ' ' << index;
    }
  }
}

}  // namespace
}  // namespace orvspc
