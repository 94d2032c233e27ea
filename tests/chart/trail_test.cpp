// SPDX-License-Identifier: Apache-2.0
#ifdef ORVSPC_FAIL_POINTS

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "chart/chart_codes.h"
#include "chart/chart_run.h"
#include "chart/groups.h"
#include "chart/spec_limits.h"
#include "frame/Friend.h"
#include "frame/Trail.h"
#include "tests/chart/analysis.h"
#include "tests/chart/record_builder.h"
#include "tests/fake/FailureOf.h"

// Every procedure with a handler puts its own name in front of a failure.
namespace orvspc {
namespace {

using chart_test::Analysis;
using fake::FailureOf;

// Takes the hook away, whatever happens.
struct Hook {
  explicit Hook(FailPoint::Hook hook) { FailPoint::Set(std::move(hook)); }
  ~Hook() { FailPoint::Set({}); }
};

// The procedures that the body enters.
std::set<std::string> Entered(const std::function<void()>& body) {
  std::set<std::string> names;
  const Hook hook([&](std::string_view name) { names.insert(std::string(name)); });
  body();
  return names;
}

// Everything that the chart classes do, once.
void Everything(Analysis& run) {
  API_CCSpecLim row{};
  run.script().spec_lims = {row};
  run.script().rules = {{0, "zero"}};
  run.script().alarm_mask = {-1, -1, -1};
  for (const int graph : {1, 2, 3}) {
    run.script().integers[{platform::ChartData::cOOCs, graph}] = {1, 1};
    run.script().integers[{platform::ChartData::OOCs, graph}] = {1, 1};
  }
  run.Ask(12);
  run.script().chart_word = 0xD00;
  run.Analyze();
  run.Ask(1, 1, 2);
  run.script().chart_word = 0x112;
  const auto results = run.Analyze();
  results->SubgroupData();
  results->CtrlLim();
  results->TotalSubgroups();
  results->TotalGroups();
  results->MeanEstimate();
  results->SpecLim();
  results->DefOpp();
  const auto graph = results->Graphs(ccGraphType1);
  graph->AverageSize();
  const auto data = graph->GraphData();
  data->MoveTo(1), data->MoveFirst(), data->MoveLast(), data->MovePrev(), data->MoveNext();
  data->AFlag(), data->EFlag(), data->GetAFlags(), data->GetEFlags(), data->GetOOSs(), data->OOS();
  data->cOOC(), data->cOOCRuleDef(), data->cOOCText();
  data->cCL(), data->CL(), data->cLCL(), data->cUCL(), data->LCL(), data->LSL(), data->Point();
  data->Target(), data->UCL(), data->USL();
  data->GetcCLs(), data->GetCLs(), data->GetcLCLs(), data->GetcUCLs(), data->GetLCLs();
  data->GetLSLs(), data->GetTargets(), data->GetUCLs(), data->GetUSLs(), data->GetOverlays();
  data->GetPoints(), data->Overlay(), data->OOC(), data->OOCText(), data->Size();
  data->GetcOOCs(), data->OOCRuleDef(), data->GetOOCs(), data->GetSizes();
  data->HasControlLimits(), data->HasSpecificationLimits(), data->HasOverlays();
  CCProcessing processing;
  processing.IsAttribute();
  processing.AllowGroupBy(Friend{});
  chart_codes::GetAPIProcessing(processing);
  processing.SetXML(processing.GetXML());
}

const std::vector<std::string>& Procedures() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> all;
    const auto add = [&](const std::string& module, std::initializer_list<const char*> procedures) {
      for (const char* procedure : procedures) all.push_back(module + "." + procedure);
    };
    add("CCProcessing",
        {"FixProcessing", "IsVariable", "IsAttribute", "FixEWMA", "AllowEWMA", "FixIndividual",
         "AllowIndividual", "FixCUSUM", "AllowCUSUM", "AllowGroupBy", "FixEconomic",
         "AllowEconomic", "GraphCount", "GetXML", "CreateXMLNode", "SetXML", "SetXMLNode"});
    add("CCAnalysis", {"AnalyzeDataSelect",
                       "AnalyzeVariableDataSelect",
                       "AnalyzeAttributeDataSelect",
                       "GetVariableTotals",
                       "GetAttributeTotals",
                       "GetAPIChartID",
                       "GetAPIGraph1",
                       "GetAPIGraph2",
                       "GetAPIGraph3",
                       "GetAPIProcessingEx",
                       "GetAPIProcessing",
                       "GetAPIGroupBy",
                       "GetAPICusum",
                       "GetAPIEWMA",
                       "Graph1FromAPI",
                       "Graph2FromAPI",
                       "Graph3FromAPI",
                       "BuildGroupInformation",
                       "BuildGroupIDs",
                       "GetAlarmMask",
                       "ProcessSpecLim"});
    add("CCModule", {"LoadVariableAlarms", "LoadAttributeAlarms", "MaskArray"});
    add("CCResults",
        {"Structure(l)", "SubgroupData(g)", "CtrlLim(g)", "GraphCount(g)", "TotalSubgroups(g)",
         "TotalGroups(g)", "MeanEstimate(g)", "SpecLim(g)", "DefOpp(g)", "Graphs(g)"});
    add("CCGraph", {"Load", "GraphData(g)"});
    add("CCGraphData",
        {"Load",       "MoveTo",         "MoveFirst",        "MoveLast",
         "MoveNext",   "MovePrev",       "GetOOCRuleDef",    "GetOOCText",
         "AFlag(g)",   "EFlag(g)",       "GetAFlags",        "GetEFlags",
         "GetOOSs",    "OOS(g)",         "cOOC(g)",          "cOOCText(g)",
         "cCL(g)",     "CL(g)",          "cLCL(g)",          "cUCL(g)",
         "LCL(g)",     "LSL(g)",         "Point(g)",         "Target(g)",
         "UCL(g)",     "USL(g)",         "GetcCLs",          "GetCLs",
         "GetcLCLs",   "GetcUCLs",       "GetLCLs",          "GetLSLs",
         "GetTargets", "GetUCLs",        "GetUSLs",          "GetOverlays",
         "GetPoints",  "Overlay(g)",     "OOC(g)",           "OOCText(g)",
         "Size(g)",    "cOOCRuleDef(g)", "GetcOOCs",         "OOCRuleDef(g)",
         "GetOOCs",    "GetSizes",       "HasControlLimits", "HasSpecificationLimits",
         "HasOverlays"});
    return all;
  }();
  return names;
}

TEST(ChartTrail, ExactlyTheseProceduresHaveAHandler) {
  Analysis run;
  std::set<std::string> entered;
  for (const auto& name : Entered([&] { Everything(run); }))
    if (name.starts_with("CC")) entered.insert(name);
  std::set<std::string> expected(Procedures().begin(), Procedures().end());
  expected.insert("CCProcessing.Class_Initialize");
  EXPECT_EQ(entered, expected);
}

TEST(ChartTrail, AFailureInsideEachProcedureCarriesItsName) {
  for (const std::string& failing : Procedures()) {
    Analysis run;
    const Hook hook([&](std::string_view name) {
      if (name == failing) FailMessage("told to fail");
    });
    const auto caught = FailureOf([&] { Everything(run); });
    EXPECT_EQ(caught.Number(), -2147221504) << failing;
    EXPECT_TRUE(caught.Source().ends_with(failing + "|orvSPCAnalysis6")) << caught.Source();
  }
}

// Fails once in each procedure that the read enters; the read after it must find everything.
template <class Read, class Check>
void ExpectAFailedReadLosesNothing(const std::set<std::string>& procedures, Read&& read,
                                   Check&& check) {
  const auto analyzed = [](Analysis& run) {
    run.processing->GroupBy(ccGroupByPart);
    return run.Analyze(1, 0x100);
  };
  std::set<std::string> entered;
  {
    Analysis run;
    const auto results = analyzed(run);
    entered = Entered([&] { read(*results); });
  }
  EXPECT_EQ(entered, procedures);
  for (const std::string& failing : entered) {
    SCOPED_TRACE(failing);
    Analysis run;
    const auto results = analyzed(run);
    {
      const Hook hook([&](std::string_view name) {
        if (name == failing) FailMessage("told to fail");
      });
      EXPECT_EQ(fake::DescriptionOf([&] { read(*results); }), "told to fail");
    }
    check(*results);
  }
}

TEST(CCResults, AFailedFirstReadOfSubgroupDataLosesNothing) {
  ExpectAFailedReadLosesNothing(
      {"CCResults.SubgroupData(g)", "SubgroupData.LoadStructures", "SubgroupData.LoadGroupArrays"},
      [](CCResults& results) { results.SubgroupData(); },
      [](CCResults& results) {
        const auto data = results.SubgroupData();
        ASSERT_EQ(data->TotalSubgroups(), 2);
        EXPECT_EQ(data->TotalTests(), 4);
        EXPECT_EQ(data->TotalGroups(), 2);
        ASSERT_TRUE(data->MoveTo(2));
        EXPECT_EQ(data->Sgrp(), 2);
        EXPECT_EQ(data->GroupIndex(), 2);
        EXPECT_EQ(data->GroupID(), 1);
        EXPECT_EQ(data->TestData()->Val(), 12.0);
      });
}

TEST(CCResults, AFailedFirstReadOfAGraphLosesNothing) {
  ExpectAFailedReadLosesNothing(
      {"CCResults.Graphs(g)", "CCResults.GraphCount(g)", "CCProcessing.GraphCount", "CCGraph.Load",
       "CCGraph.GraphData(g)", "CCGraphData.Load"},
      [](CCResults& results) { results.Graphs(ccGraphType1)->GraphData(); },
      [](CCResults& results) {
        const auto data = results.Graphs(ccGraphType1)->GraphData();
        EXPECT_EQ(data->Count(), 2);
        EXPECT_EQ(data->GetPoints()->size(), 2U);
        EXPECT_EQ(data->GetLCLs()->size(), 2U);
        EXPECT_EQ(data->GetOOSs()->size(), 2U);
      });
}

TEST(CCProcessing, AConstructorThatFailsLogsAndLeavesAnObjectWithTheDefaults) {
  Analysis run;
  const Hook hook([](std::string_view name) {
    if (name == "CCProcessing.Class_Initialize") FailOverflow();
  });
  const CCProcessing processing;
  EXPECT_EQ(processing.GroupThreshold(), 3600);
  EXPECT_EQ(processing.AQLValue(), 1.0);
  EXPECT_EQ(
      run.log().Lines(),
      (std::vector<std::string>{
          "MakeErrorLog(orvError6.Error)",
          "ErrorLog.Log(CCProcessing.Class_Initialize, 6, Overflow, orvSPCAnalysis6, tests)"}));
}

}  // namespace
}  // namespace orvspc

#endif
