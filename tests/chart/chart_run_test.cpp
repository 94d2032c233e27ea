// SPDX-License-Identifier: Apache-2.0
#include "chart/chart_run.h"

#include <gtest/gtest.h>

#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

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

}  // namespace
}  // namespace orvspc
