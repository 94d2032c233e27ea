// SPDX-License-Identifier: Apache-2.0
#include "chart/chart_run.h"

#include <gtest/gtest.h>

#include <vector>

#include "chart/CCResults.h"
#include "frame/Friend.h"
#include "tests/chart/analysis.h"
#include "tests/chart/record_builder.h"
#include "tests/fake/FailureOf.h"

namespace orvspc {
namespace {

using chart_test::ArrayOf;
using chart_test::VectorOf;
using fake::FailureOf;

TEST(ChartRun, TheLimitsCallFillsTheEstimatesAndTheAverageSizesOfTheThreeGraphsInOrder) {
  fake::FakeScope scope;
  scope.script().mean_estimate = 1.5;
  scope.script().sp_estimate = 2.5;
  scope.script().sw_estimate = 3.5;
  scope.script().average_sizes = {4.5, 5.5, 6.5};
  API_CCResults record;
  record.Graphs.Dimension(0, 2);
  ReadEstimates(scope.platform->CtrlChrt(), record);
  EXPECT_EQ(record.MeanEstimate, 1.5);
  EXPECT_EQ(record.SPEstimate, 2.5);
  EXPECT_EQ(record.SWEstimate, 3.5);
  EXPECT_EQ(record.Graphs[0].AverageSize, 4.5);
  EXPECT_EQ(record.Graphs[1].AverageSize, 5.5);
  EXPECT_EQ(record.Graphs[2].AverageSize, 6.5);
}

TEST(CCModule, MaskArrayCutsEveryElement) {
  auto array = ArrayOf<std::int32_t>({0, 1, 7, -1, 8});
  MaskArray(array, 6);
  EXPECT_EQ(VectorOf(array), (std::vector<std::int32_t>{0, 0, 6, 6, 0}));
  MaskArray(array, 0);
  EXPECT_EQ(VectorOf(array), std::vector<std::int32_t>(5, 0));
}

TEST(CCModule, MaskArrayOfAnArrayWithoutBoundsFailsWithSubscript) {
  Array<std::int32_t> array;
  const auto caught = FailureOf([&] { MaskArray(array, 6); });
  EXPECT_EQ(caught.Number(), 9);
  EXPECT_EQ(caught.Source(), "CCModule.MaskArray|orvSPCAnalysis6");
}

TEST(CCModule, EachRoadFetchesAndMasksGraphAfterGraph) {
  for (const bool variable : {true, false}) {
    fake::FakeScope scope;
    CCResults results;
    auto processing = std::make_shared<CCProcessing>();
    processing->Graph1Type(ccGraph1XBar);
    processing->Graph2Type(ccGraph2Range);
    results.Processing(Friend{}, processing);
    API_CCResults record = chart_test::Record(std::vector<API_SubgroupData>(2));
    record.AlarmMask = ArrayOf<std::int32_t>({1, 2, 4});
    for (const int graph : {1, 2}) {
      scope.script().integers[{platform::ChartData::cOOCs, graph}] = {7, 6};
      scope.script().integers[{platform::ChartData::OOCs, graph}] = {3, 5};
    }
    LoadAlarms({scope.platform->CtrlChrt(), variable ? kVariablePath : kAttributePath}, record,
               results);
    EXPECT_EQ(VectorOf(record.Graphs[0].cOOCs), (std::vector<std::int32_t>{1, 0}));
    EXPECT_EQ(VectorOf(record.Graphs[0].OOCs), (std::vector<std::int32_t>{1, 1}));
    EXPECT_EQ(VectorOf(record.Graphs[1].cOOCs), (std::vector<std::int32_t>{2, 2}));
    EXPECT_EQ(VectorOf(record.Graphs[1].OOCs), (std::vector<std::int32_t>{2, 0}));
    EXPECT_FALSE(record.Graphs[2].cOOCs.IsDimensioned());
    const std::string call = variable ? "VLXCRT_VAR_DATA" : "VLXCRT_ATTR_DATA";
    EXPECT_EQ(scope.log().Lines(),
              (std::vector<std::string>{call + "(0, [2 x 4], 4, 1)", call + "(0, [2 x 4], 8, 1)",
                                        call + "(0, [2 x 4], 4, 2)", call + "(0, [2 x 4], 8, 2)"}));
  }
}

}  // namespace
}  // namespace orvspc
