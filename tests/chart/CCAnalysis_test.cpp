// SPDX-License-Identifier: Apache-2.0
#include "chart/CCAnalysis.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "tests/chart/analysis.h"
#include "tests/chart/record_builder.h"
#include "tests/fake/FailureOf.h"

namespace orvspc {
namespace {

using chart_test::Analysis;
using fake::FailureOf;
using platform::ChartData;
using Lines = std::vector<std::string>;

// One data call of a road as the log writes it.
std::string Data(const char* road, const char* array, int code, int graph) {
  return std::string("VLXCRT_") + road + "_DATA(0, " + array + ", " + std::to_string(code) + ", " +
         std::to_string(graph) + ")";
}

void Append(Lines& lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
}

// Every call before the process call but the END of the road.
Lines Preparation() {
  return {"MakeRuleDef()", "RuleDef.FirstSetting(100)", "RuleDef.SecondSetting(256)",
          "RuleDef.Read(database, 0)", "Database.DatabaseValue(0)"};
}

TEST(CCAnalysis, TheVariableRoadCallsInItsOrder) {
  Analysis run;
  run.Ask(1, 1, 2);
  run.processing->GroupBy(ccGroupByTest);
  run.processing->Cusum(ccCusumStandard);
  run.processing->EWMA(ccEwmaWanderingMean);
  run.script().chart_word = 0x112;
  run.script().ctrl_lims.resize(1);
  run.script().spec_lims.resize(2);
  run.script().def_opps.resize(1);  // this road never asks for them
  run.Analyze();

  Lines expected = Preparation();
  Append(expected, {"VLXCRT_VAR_END()", "Database.ConnectionHandle()",
                    "VLXCRT_VCHART_PROCESS_LT(0, 77, DSInfo, [18], 274, 19, 2, zeros, 0)",
                    Data("VAR", "[1 x 28]", 12, 0), Data("VAR", "[2 x 64]", 13, 0),
                    Data("VAR", "[4 x 32]", 37, 0)});
  for (int graph = 1; graph <= 3; ++graph) expected.push_back(Data("VAR", "[2 x 8]", 1, graph));
  for (int graph = 1; graph <= 3; ++graph) expected.push_back(Data("VAR", "[2 x 4]", 3, graph));
  Append(expected,
         {"Database.DatabaseValue(0)", "Database.ConnectionHandle()",
          "VLXDBL_GETALARMMASK(0, 77, DSInfo, [18], 274, 3, [3])", "Database.DatabaseValue(0)"});
  for (int graph = 1; graph <= 3; ++graph)
    Append(expected, {Data("VAR", "[2 x 4]", 4, graph), Data("VAR", "[2 x 4]", 8, graph)});
  Append(expected, {Data("VAR", "[1 x 100]", 15, 0), Data("VAR", "[2 x 744]", 16, 0),
                    Data("VAR", "[2 x 8]", 18, 1), Data("VAR", "[2 x 8]", 19, 1),
                    Data("VAR", "[2 x 8]", 20, 1), "VLXCRT_VAR_LIMITS(0)"});
  for (int graph = 1; graph <= 3; ++graph)
    for (int code : {5, 6, 7}) expected.push_back(Data("VAR", "[2 x 8]", code, graph));
  for (int graph = 1; graph <= 3; ++graph)
    for (int code : {9, 10, 11}) expected.push_back(Data("VAR", "[2 x 8]", code, graph));
  Append(expected, {"VLXCRT_VAR_END()", "Database.DatabaseValue(5)"});
  EXPECT_EQ(run.log().Lines(), expected);
  EXPECT_EQ(run.database->value, 5) << "the database has its value back";
}

TEST(CCAnalysis, TheAttributeRoadCallsInItsOrder) {
  Analysis run;
  run.Ask(11, 3);
  run.processing->GroupBy(ccGroupByTest);
  run.processing->EWMA(ccEwmaWanderingMean);
  run.processing->EWMAWeight(0.3);
  run.processing->AQLValue(2.5);
  run.processing->AQLProducerRisk(7.25);
  run.script().chart_word = 0xC12;
  run.script().ctrl_lims.resize(1);
  run.script().spec_lims.resize(1);
  run.script().def_opps.resize(3);
  run.Analyze();

  Lines expected = Preparation();
  Append(expected, {"VLXCRT_ATTR_END()",
                    "Database.ConnectionHandle()",
                    "VLXCRT_ATTR_PROCESS_LT(0, 77, DSInfo, [18], 3120, 3, 2, 2.5, 7.25, 0)",
                    Data("ATTR", "[1 x 28]", 12, 0),
                    Data("ATTR", "[2 x 64]", 13, 0),
                    Data("ATTR", "[4 x 32]", 37, 0),
                    Data("ATTR", "[2 x 8]", 1, 1),
                    Data("ATTR", "[2 x 4]", 3, 1),
                    "Database.DatabaseValue(0)",
                    "Database.ConnectionHandle()",
                    "VLXDBL_GETALARMMASK(0, 77, DSInfo, [18], 3090, 1, [3])",
                    "Database.DatabaseValue(0)",
                    Data("ATTR", "[2 x 4]", 4, 1),
                    Data("ATTR", "[2 x 4]", 8, 1),
                    Data("ATTR", "[1 x 100]", 15, 0),
                    Data("ATTR", "[1 x 744]", 16, 0),
                    Data("ATTR", "[2 x 8]", 18, 1),
                    Data("ATTR", "[2 x 8]", 19, 1),
                    Data("ATTR", "[2 x 8]", 20, 1),
                    Data("ATTR", "[3 x 40]", 17, 0)});
  for (int code : {5, 6, 7, 9, 10, 11}) expected.push_back(Data("ATTR", "[2 x 8]", code, 1));
  Append(expected, {"VLXCRT_ATTR_END()", "Database.DatabaseValue(5)"});
  EXPECT_EQ(run.log().Lines(), expected);
}

TEST(CCAnalysis, TheAttributeCallGetsTheEWMAOptionAndTheAQLValuesWhateverEconomicSays) {
  for (const bool economic : {false, true}) {
    for (const std::int32_t ewma : {0, 1, 2}) {
      Analysis run;
      run.processing->Economic(economic);
      run.processing->EWMA(ccEWMATypes{ewma});
      run.processing->EWMAWeight(0.3);
      run.processing->AQLValue(0.5);
      run.processing->AQLProducerRisk(99.0);
      run.Analyze(ccGraph1P, 0);
      const std::string option = std::to_string(ewma);
      EXPECT_EQ(run.log().LinesOf({"VLXCRT_ATTR_PROCESS_LT"}),
                Lines{"VLXCRT_ATTR_PROCESS_LT(0, 77, DSInfo, [18], 3328, " + option + ", " +
                      option + ", 0.5, 99, 0)"});
    }
  }
}

TEST(CCAnalysis, TheFlatSelectionReachesTheChartLibrary) {
  Analysis run;
  run.select->MaximumItems(40);
  run.select->Descriptors()->Add(dtPart)->AddItemID(7);
  API_DSInfo seen{};
  std::vector<std::int32_t> cells;
  run.script().rewrite = [&](API_DSInfo& info, std::span<std::int32_t> filter) {
    seen = info;
    cells.assign(filter.begin(), filter.end());
    info.Count = 1;
  };
  run.Analyze(1, 0x100);
  EXPECT_EQ(seen.Count, 40);
  EXPECT_EQ(seen.AllPart, ftItemList);
  ASSERT_GE(cells.size(), 3U);
  EXPECT_EQ((std::vector(cells.begin(), cells.begin() + 3)), (std::vector{0, 1, 7}));
  EXPECT_EQ(run.select->MaximumItems(), 40) << "what the library writes back is dropped";
}

TEST(CCAnalysis, TheAlarmMaskIsAskedForTheSelectionAsTheProcessCallLeftIt) {
  for (const std::int32_t word : {0x100, 0xD00}) {
    Analysis run;
    run.select->MaximumItems(40);
    run.select->Descriptors()->Add(dtPart)->AddItemID(7);
    API_DSInfo left{};
    std::vector<std::int32_t> cells;
    run.script().rewrite = [&](API_DSInfo& info, std::span<std::int32_t> filter) {
      info.SubgroupEnd = 123;
      filter.back() = 456;
      left = info;
      cells.assign(filter.begin(), filter.end());
    };
    run.Analyze(word == 0x100 ? ccGraph1XBar : ccGraph1P, word);
    const API_DSInfo& seen = run.platform->world().alarm_mask_info;
    EXPECT_EQ(seen.Count, 40);
    EXPECT_EQ(seen.SubgroupEnd, 123);
    EXPECT_EQ(std::memcmp(&seen, &left, sizeof left), 0);
    EXPECT_EQ(run.platform->world().alarm_mask_filter, cells);
  }
}

TEST(CCAnalysis, NoDataGivesAnEmptyResultThatKeepsTheRequest) {
  for (const std::int32_t graph1 : {1, 12}) {
    Analysis run;
    run.Ask(graph1, 1);
    const auto results = run.Analyze();
    ASSERT_NE(results, nullptr);
    EXPECT_EQ(results->TotalSubgroups(), 0);
    EXPECT_EQ(results->TotalGroups(), 0);
    EXPECT_EQ(results->Processing()->Graph1Type(), graph1);
    EXPECT_EQ(results->Processing()->Graph2Type(), 1);
    EXPECT_EQ(results->GraphCount(), 2);
    EXPECT_EQ(results->MeanEstimate(), 0.0);
    const std::string road = graph1 == 1 ? "VLXCRT_VAR_" : "VLXCRT_ATTR_";
    EXPECT_EQ(run.log().Count(road + "DATA"), 0);
    EXPECT_EQ(run.log().Count("VLXCRT_VAR_LIMITS"), 0);
    EXPECT_EQ(run.log().Count(road + "END"), 2) << "before and after";
    EXPECT_EQ(run.database->value, 5);
  }
}

TEST(CCAnalysis, ABestGuessComesBackAsWhatWasDrawn) {
  Analysis run;
  const auto results = run.Analyze(ccGraph1BestGuessVariable, 0x112);
  EXPECT_EQ(run.log().Count("VLXCRT_VCHART_PROCESS_LT(0, 77, DSInfo, [18], 0, 0, 2"), 1);
  EXPECT_EQ(results->Processing()->Graph1Type(), ccGraph1XBar);
  EXPECT_EQ(results->Processing()->Graph2Type(), ccGraph2Range);
  EXPECT_EQ(results->Processing()->Graph3Type(), ccGraph3Sd);
  EXPECT_EQ(results->GraphCount(), 3);
}

TEST(CCAnalysis, APcChartHasNoCalculatedLimitsOnAnyGraph) {
  Analysis run;
  const auto results = run.Analyze(ccGraph1Pc, 0x510);
  for (int code : {5, 6, 7})
    for (int graph : {1, 2}) EXPECT_EQ(run.log().Count(Data("VAR", "[2 x 8]", code, graph)), 0);
  for (const auto index : {ccGraphType1, ccGraphType2}) {
    const auto data = results->Graphs(index)->GraphData();
    EXPECT_TRUE(data->HasControlLimits());
    EXPECT_EQ(data->GetcCLs(), std::vector<double>{});
    EXPECT_EQ(FailureOf([&] { data->cCL(); }).Number(), 9);
    EXPECT_EQ(data->CL(), 0.0);
  }
}

TEST(CCAnalysis, TheChartThatWasDrawnDecidesOnCalculatedLimits) {
  Analysis run;
  run.Analyze(ccGraph1BestGuessVariable, 0x500);
  EXPECT_EQ(run.log().Count(Data("VAR", "[2 x 8]", 6, 1)), 0);
  run.Analyze(ccGraph1Pc, 0x100);
  EXPECT_EQ(run.log().Count(Data("VAR", "[2 x 8]", 6, 1)), 1);
}

TEST(CCAnalysis, AnAttributeRunHasCalculatedLimitsWhateverItsWord) {
  Analysis run;
  const auto results = run.Analyze(ccGraph1U, 0x500);
  EXPECT_EQ(results->Processing()->Graph1Type(), ccGraph1Pc);
  for (const int code : {5, 6, 7})
    EXPECT_EQ(run.log().Count(Data("ATTR", "[2 x 8]", code, 1)), 1) << code;
}

TEST(CCAnalysis, AnyWordButZeroIsAResult) {
  for (const auto& [asked, back] :
       {std::pair{ccGraph1XBar, ccGraph1XBar}, std::pair{ccGraph1U, ccGraph1XBar}}) {
    Analysis run;
    const auto results = run.Analyze(asked, std::numeric_limits<std::int32_t>::min() + 0x100);
    EXPECT_EQ(results->Processing()->Graph1Type(), back) << asked;
    EXPECT_EQ(results->TotalSubgroups(), 2) << asked;
    EXPECT_EQ(results->Graphs(ccGraphType1)->GraphData()->Count(), 2) << asked;
  }
}

TEST(CCAnalysis, WithoutLimitRowsThereAreNoSpecificationLimitsButMarksOfZero) {
  Analysis run;
  const auto results = run.Analyze(1, 0x111);
  for (const int code : {18, 19, 20})
    EXPECT_EQ(run.log().Count(Data("VAR", "[2 x 8]", code, 1)), 0) << code;
  for (const auto index : {ccGraphType1, ccGraphType2, ccGraphType3}) {
    const auto data = results->Graphs(index)->GraphData();
    EXPECT_FALSE(data->HasSpecificationLimits()) << index;
    EXPECT_EQ(data->GetUSLs(), std::vector<double>{}) << index;
    EXPECT_EQ(data->GetTargets(), std::vector<double>{}) << index;
    EXPECT_EQ(data->GetLSLs(), std::vector<double>{}) << index;
    EXPECT_EQ(FailureOf([&] { data->USL(); }).Number(), 9) << index;
  }
  const auto first = results->Graphs(ccGraphType1)->GraphData();
  EXPECT_EQ(first->GetOOSs(), (std::vector<std::int32_t>{0, 0}));
  EXPECT_EQ(first->AFlag(), 0);
  EXPECT_EQ(first->EFlag(), 0);
}

TEST(CCAnalysis, OnlyTheFirstGraphHasSpecificationLimitsAndTheirMarks) {
  Analysis run;
  run.script().spec_lims.resize(1);
  const auto results = run.Analyze(1, 0x111);
  const auto first = results->Graphs(ccGraphType1)->GraphData();
  EXPECT_TRUE(first->HasSpecificationLimits());
  EXPECT_EQ(first->GetUSLs()->size(), 2U);
  for (const auto index : {ccGraphType2, ccGraphType3}) {
    const auto data = results->Graphs(index)->GraphData();
    EXPECT_FALSE(data->HasSpecificationLimits());
    EXPECT_EQ(data->GetUSLs(), std::vector<double>{});
    EXPECT_EQ(data->GetTargets(), std::vector<double>{});
    EXPECT_EQ(data->GetLSLs(), std::vector<double>{});
    EXPECT_EQ(data->GetOOSs(), std::nullopt);
    EXPECT_EQ(data->GetAFlags(), std::nullopt);
    EXPECT_EQ(data->GetEFlags(), std::nullopt);
  }
}

TEST(CCAnalysis, USLOnTheSecondGraphFailsWithSubscript) {
  Analysis run;
  run.script().spec_lims.resize(1);
  const auto results = run.Analyze(1, 0x110);
  const auto second = results->Graphs(ccGraphType2)->GraphData();
  ASSERT_EQ(second->Count(), 2);
  EXPECT_FALSE(second->HasSpecificationLimits());
  const auto caught = FailureOf([&] { second->USL(); });
  EXPECT_EQ(caught.Number(), 9);
  EXPECT_EQ(caught.Source(), "CCGraphData.USL(g)|orvSPCAnalysis6");
}

TEST(CCAnalysis, AChartTypeOutsideTheEnumerationTakesTheAttributeRoad) {
  for (const std::int32_t type : {20, 15, -1}) {
    Analysis run;
    run.Analyze(type, 0);
    EXPECT_EQ(run.log().Count("VLXCRT_ATTR_PROCESS_LT(0, 77, DSInfo, [18], 0, 0, "), 1) << type;
    EXPECT_EQ(run.log().Count("VLXCRT_VAR_"), 0) << type;
  }
}

TEST(CCAnalysis, TheRoadFollowsTheChartForEveryTypeInside) {
  for (std::int32_t type = 0; type <= 14; ++type) {
    Analysis run;
    run.Analyze(type, 0);
    EXPECT_EQ(run.log().Count("VLXCRT_VCHART_PROCESS_LT"), type <= 5 ? 1 : 0) << type;
    EXPECT_EQ(run.log().Count("VLXCRT_ATTR_PROCESS_LT"), type <= 5 ? 0 : 1) << type;
  }
}

TEST(CCAnalysis, ANpChartComesBackAsAPChart) {
  Analysis run;
  const auto results = run.Analyze(ccGraph1Np, 0xC00);
  EXPECT_EQ(results->Processing()->Graph1Type(), ccGraph1P);
  EXPECT_EQ(results->GraphCount(), 1);
}

TEST(CCAnalysis, TheSecondGraphOfAnAttributeRequestGoesIntoTheWordAndIsGoneAfterwards) {
  Analysis run;
  run.Ask(12, 3, 1);
  run.script().chart_word = 0xD31;
  const auto results = run.Analyze();
  EXPECT_EQ(run.log().Count("VLXCRT_ATTR_PROCESS_LT(0, 77, DSInfo, [18], 3377, "), 1);
  EXPECT_EQ(results->Processing()->Graph2Type(), ccGraph2None);
  EXPECT_EQ(results->Processing()->Graph3Type(), ccGraph3None);
  EXPECT_EQ(results->GraphCount(), 1);
}

struct Attribute {
  ccGraph1Types asked;
  std::int32_t word;
};

TEST(CCAnalysis, EveryAttributeAnalysisHasEstimatesOfZeroAndNoLimitsCall) {
  for (const Attribute& row :
       {Attribute{ccGraph1BestGuessAttribute, 0xD00}, Attribute{ccGraph1Ppt, 0x800},
        Attribute{ccGraph1Dpto, 0x900}, Attribute{ccGraph1Ppm, 0xA00},
        Attribute{ccGraph1Dpmo, 0xB00}, Attribute{ccGraph1Np, 0xC00}, Attribute{ccGraph1P, 0xD00},
        Attribute{ccGraph1C, 0xE00}, Attribute{ccGraph1U, 0xF00}}) {
    Analysis run;
    run.script().mean_estimate = 3.0;
    run.script().sp_estimate = 4.0;
    run.script().sw_estimate = 5.0;
    const auto results = run.Analyze(row.asked, row.word);
    ASSERT_EQ(results->TotalSubgroups(), 2) << row.asked;
    EXPECT_EQ(run.log().Count("VLXCRT_VAR_LIMITS"), 0) << row.asked;
    EXPECT_EQ(results->MeanEstimate(), 0.0) << row.asked;
    EXPECT_EQ(results->SPEstimate(), 0.0) << row.asked;
    EXPECT_EQ(results->SWEstimate(), 0.0) << row.asked;
  }
}

TEST(CCAnalysis, AWordWithoutAFirstGraphRunsNoPassOnTheAttributeRoad) {
  Analysis run;
  run.script().spec_lims.resize(1);
  const auto results = run.Analyze(ccGraph1BestGuessAttribute, 0x611);
  EXPECT_EQ(results->GraphCount(), 0);
  EXPECT_EQ(run.log().Count(Data("ATTR", "[2 x 8]", 1, 1)), 0);
  EXPECT_EQ(run.log().Count(Data("ATTR", "[2 x 8]", 18, 1)), 1) << "asked whatever the count";
  EXPECT_EQ(results->Graphs(ccGraphType1), nullptr);
  EXPECT_EQ(results->TotalSubgroups(), 2);
}

TEST(CCAnalysis, TheVariableRoadNeverFetchesDefectOpportunities) {
  for (std::int32_t type = ccGraph1XBar; type <= ccGraph1Pc; ++type) {
    Analysis run;
    run.script().def_opps.resize(2);
    const auto results = run.Analyze(type, type * 0x100);
    ASSERT_EQ(results->TotalSubgroups(), 2) << type;
    EXPECT_EQ(run.log().Count("VLXCRT_VAR_DATA(0, [2 x 40], 17"), 0) << type;
    EXPECT_EQ(FailureOf([&] { results->DefOpp(); }).Number(), 9) << "rows told but not there";
  }
}

TEST(CCAnalysis, WithoutDefectOpportunitiesNothingIsFetchedAndTheTableIsEmpty) {
  for (const std::int32_t count : {0, 2}) {
    Analysis run;
    run.script().def_opps.resize(static_cast<std::size_t>(count));
    const auto results = run.Analyze(ccGraph1U, 0xF00);
    EXPECT_EQ(run.log().Count(Data("ATTR", "[2 x 40]", 17, 0)), count == 0 ? 0 : 1);
    ASSERT_NE(results->DefOpp(), nullptr);
    EXPECT_EQ(results->DefOpp()->MoveFirst(), count != 0);
  }
}

TEST(CCAnalysis, TheEstimatesAreThoseOfTheLimitsCall) {
  Analysis run;
  run.script().mean_estimate = 1.5;
  run.script().sp_estimate = 2.5;
  run.script().sw_estimate = 3.5;
  run.script().average_sizes = {5, 5, 0};
  const auto results = run.Analyze(1, 0x100);
  EXPECT_EQ(results->MeanEstimate(), 1.5);
  EXPECT_EQ(results->SPEstimate(), 2.5);
  EXPECT_EQ(results->SWEstimate(), 3.5);
  EXPECT_EQ(results->Graphs(ccGraphType1)->AverageSize(), 0.0) << "is not handed out";
}

TEST(CCAnalysis, EachArrayLandsInItsField) {
  Analysis run;
  auto& doubles = run.script().doubles;
  auto& integers = run.script().integers;
  run.script().alarm_mask = {-1, -1, -1};
  run.script().spec_lims.resize(1);
  for (const int graph : {1, 2}) {
    for (const int code : {1, 5, 6, 7, 9, 10, 11, 18, 19, 20})
      doubles[{ChartData{code}, graph}] = {100.0 * graph + code, 0};
    for (const int code : {3, 4, 8}) integers[{ChartData{code}, graph}] = {100 * graph + code, 0};
  }
  const auto results = run.Analyze(1, 0x110);
  for (const int graph : {1, 2}) {
    const auto data = results->Graphs(ccGraphTypes{graph})->GraphData();
    const int at = 100 * graph;
    EXPECT_EQ(data->Point(), at + 1);
    EXPECT_EQ(data->Size(), at + 3);
    EXPECT_EQ(data->cOOC(), at + 4);
    EXPECT_EQ(data->cUCL(), at + 5);
    EXPECT_EQ(data->cCL(), at + 6);
    EXPECT_EQ(data->cLCL(), at + 7);
    EXPECT_EQ(data->OOC(), at + 8);
    EXPECT_EQ(data->UCL(), at + 9);
    EXPECT_EQ(data->CL(), at + 10);
    EXPECT_EQ(data->LCL(), at + 11);
    if (graph == 1) {
      EXPECT_EQ(data->USL(), 118);
      EXPECT_EQ(data->Target(), 119);
      EXPECT_EQ(data->LSL(), 120);
    }
  }
}

TEST(CCAnalysis, WhatTheLibraryDoesNotWriteStaysZero) {
  Analysis run;
  const auto results = run.Analyze(1, 0x100);
  EXPECT_EQ(results->Graphs(ccGraphType1)->GraphData()->GetPoints(), (std::vector{0.0, 0.0}));
}

TEST(CCAnalysis, AMaskOfZeroLosesTheMarksOfItsGraphAndNothingElse) {
  Analysis run;
  run.script().alarm_mask = {6, 0, 0};
  for (const int graph : {1, 2}) {
    run.script().integers[{ChartData::cOOCs, graph}] = {3, 15};
    run.script().integers[{ChartData::OOCs, graph}] = {2, 8};
    run.script().doubles[{ChartData::Points, graph}] = {1, 2};
    run.script().doubles[{ChartData::UCLs, graph}] = {3, 4};
  }
  const auto results = run.Analyze(1, 0x110);
  const auto first = results->Graphs(ccGraphType1)->GraphData();
  EXPECT_EQ(first->GetcOOCs(), (std::vector<std::int32_t>{2, 6}));
  EXPECT_EQ(first->GetOOCs(), (std::vector<std::int32_t>{2, 0}));
  const auto second = results->Graphs(ccGraphType2)->GraphData();
  EXPECT_EQ(second->GetcOOCs(), (std::vector<std::int32_t>{0, 0}));
  EXPECT_EQ(second->GetOOCs(), (std::vector<std::int32_t>{0, 0}));
  EXPECT_EQ(second->GetPoints(), (std::vector{1.0, 2.0}));
  EXPECT_EQ(second->GetUCLs(), (std::vector{3.0, 4.0}));
}

TEST(CCAnalysis, GroupsAndMarksReachTheHost) {
  Analysis run;
  run.processing->GroupBy(ccGroupByPart);
  run.script().subgroups[1].Part = 2;
  API_CCSpecLim row{};
  row.F_PART = 1;
  row.F_TEST_ = 1;
  row.F_EFLAG = row.F_AFLAG = slfUSL;
  row.F_USL = 10.5;
  run.script().spec_lims = {row};
  const auto results = run.Analyze(1, 0x100);
  EXPECT_EQ(results->TotalSubgroups(), 2);
  EXPECT_EQ(results->TotalGroups(), 1);
  EXPECT_EQ(results->Graphs(ccGraphType1)->GraphData()->GetOOSs(),
            (std::vector<std::int32_t>{slfUSL, 0}));
}

TEST(CCAnalysis, TheHostsObjectsStayAsTheyWere) {
  Analysis run;
  run.Ask(5, 1, 2);
  run.processing->Cusum(ccCusumStandard);
  run.processing->Economic(true);
  run.script().chart_word = 0x110;
  const auto results = run.Analyze();
  EXPECT_EQ(run.processing->Graph1Type(), 5);
  EXPECT_EQ(run.processing->Graph3Type(), 2);
  EXPECT_EQ(run.processing->Cusum(), ccCusumStandard);
  EXPECT_TRUE(run.processing->Economic());
  EXPECT_NE(results->Processing(), run.processing);
  EXPECT_NE(results->DataSelect(), run.select);
  EXPECT_EQ(results->Processing()->Cusum(), ccCusumNone) << "corrected before the analysis";
  EXPECT_FALSE(results->Processing()->Economic());
}

TEST(CCAnalysis, ABadDescriptorFailsBeforeAnyNativeCall) {
  Analysis run;
  run.select->Descriptors()->Add(dtPart);
  const auto caught = FailureOf([&] { run.Analyze(1, 0x100); });
  EXPECT_EQ(caught.Number(), -2147221504);
  EXPECT_TRUE(caught.Source().starts_with("CCAnalysis.AnalyzeDataSelect|DataSelect.API_GetData|"))
      << caught.Source();
  EXPECT_EQ(run.log().Count("VLX"), 0);
  EXPECT_EQ(run.log().Count("Database.DatabaseValue"), 0);
}

TEST(CCAnalysis, WrongAndMissingObjectsFail) {
  Analysis run;
  const auto no_database =
      FailureOf([&] { CCAnalysis().AnalyzeDataSelect(run.select, run.select, run.processing); });
  EXPECT_EQ(no_database.Number(), 13);
  EXPECT_EQ(no_database.Source(),
            "CCAnalysis.AnalyzeDataSelect|Support.ResolveDatabase|orvSPCAnalysis6");
  EXPECT_EQ(FailureOf([&] {
              CCAnalysis().AnalyzeDataSelect(nullptr, run.select, run.processing);
            }).Number(),
            91);
  EXPECT_EQ(FailureOf([&] {
              CCAnalysis().AnalyzeDataSelect(run.database, nullptr, run.processing);
            }).Source(),
            "CCAnalysis.AnalyzeDataSelect|orvSPCAnalysis6");
  EXPECT_EQ(FailureOf([&] {
              CCAnalysis().AnalyzeDataSelect(run.database, run.select, nullptr);
            }).Number(),
            91);
}

struct BadTotals {
  API_CCTotals totals;
  std::int32_t number;
  const char* reason;
};

TEST(CCAnalysis, CountsThatCannotBeLengthsFail) {
  const auto least = std::numeric_limits<std::int32_t>::min();
  for (const BadTotals& row :
       {BadTotals{{0, 4, 0, 0, 0, 0, 0}, 9, "no subgroups"},
        BadTotals{{2, 0, 0, 0, 0, 0, 0}, 9, "no tests"},
        BadTotals{{-3, 4, 0, 0, 0, 0, 0}, 9, "negative"},
        BadTotals{{least, 4, 0, 0, 0, 0, 0}, 6, "the upper bound leaves 32 bits"},
        BadTotals{{2, 4, -1, 0, 0, 0, 0}, 9, "negative limit rows"},
        BadTotals{{2, 4, 0, -1, 0, 0, 0}, 9, "negative control limits"}}) {
    Analysis run;
    run.script().totals = row.totals;
    const auto caught = FailureOf([&] { run.Analyze(1, 0x100); });
    EXPECT_EQ(caught.Number(), row.number) << row.reason;
    EXPECT_EQ(caught.Source(),
              "CCAnalysis.AnalyzeDataSelect|CCAnalysis.AnalyzeVariableDataSelect|orvSPCAnalysis6")
        << row.reason;
  }
}

TEST(CCAnalysis, AFailureInTheMiddleLeavesTheRunOpenAndTheNextAnalysisStartsClean) {
  for (const bool variable : {true, false}) {
    Analysis run;
    const std::string end = variable ? "VLXCRT_VAR_END" : "VLXCRT_ATTR_END";
    run.log().FailOn("Database.ConnectionHandle", 2);  // of the alarm mask
    const auto caught =
        FailureOf([&] { run.Analyze(variable ? 1 : 12, variable ? 0x100 : 0xD00); });
    EXPECT_EQ(caught.Number(), -2147217900);
    EXPECT_EQ(caught.Source(), std::string("CCAnalysis.AnalyzeDataSelect|CCAnalysis.Analyze") +
                                   (variable ? "Variable" : "Attribute") +
                                   "DataSelect|CCAnalysis.GetAlarmMask|Outside.Object");
    EXPECT_EQ(run.log().Count(end), 1) << "only the one before the run";
    EXPECT_EQ(run.log().Count("Database.DatabaseValue"), 2) << "taken twice, never given back";
    EXPECT_EQ(run.database->value, 0);

    run.log().Clear();
    const auto results = run.Analyze();
    EXPECT_EQ(results->TotalSubgroups(), 2);
    const auto lines = run.log().LinesOf({"VLXCRT_"});
    EXPECT_EQ(lines.front(), end + "()");
    EXPECT_TRUE(lines.at(1).starts_with(variable ? "VLXCRT_VCHART_" : "VLXCRT_ATTR_PROCESS"));
    EXPECT_EQ(lines.back(), end + "()");
  }
}

TEST(CCAnalysis, AFailureOfTheDatabaseLeavesBeforeTheRunIsOpened) {
  Analysis run;
  run.log().FailOn("Database.DatabaseValue");
  const auto caught = FailureOf([&] { run.Analyze(1, 0x100); });
  EXPECT_EQ(caught.Source(),
            "CCAnalysis.AnalyzeDataSelect|CCAnalysis.AnalyzeVariableDataSelect|Outside.Object");
  EXPECT_EQ(run.log().Count("VLXCRT_"), 0);
}

TEST(CCAnalysis, TestRowsOutsideTheTestsEndTheAnalysis) {
  Analysis run;
  run.script().subgroups[1].Test_End = 4;
  API_CCSpecLim row{};
  row.F_PART = row.F_TEST_ = 1;
  row.F_EFLAG = row.F_AFLAG = slfUSL;
  run.script().spec_lims = {row};
  const auto caught = FailureOf([&] { run.Analyze(1, 0x100); });
  EXPECT_EQ(caught.Number(), 9);
  EXPECT_EQ(caught.Source(),
            "CCAnalysis.AnalyzeDataSelect|CCAnalysis.AnalyzeVariableDataSelect|"
            "CCAnalysis.ProcessSpecLim|orvSPCAnalysis6");
}

TEST(CCAnalysis, WithoutAPlatformItFailsWithItsWords) {
  Analysis run;
  const platform::Scope none(nullptr);
  const auto caught = FailureOf([&] { run.Analyze(); });
  EXPECT_EQ(caught.Number(), -2147221504);
  EXPECT_EQ(caught.Description(), "No platform is installed");
  EXPECT_EQ(caught.Source(), "CCAnalysis.AnalyzeDataSelect|Support.ResolveRuleDef|orvSPCAnalysis6");
}

}  // namespace
}  // namespace orvspc
