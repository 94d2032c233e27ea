// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Neighbours.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace orvspc::engine::statistics {
namespace {

// By hand: mean 3, deviations -2 0 -1 2 1, products 0 0 -2 2, squares 10.
TEST(CorrelationOfNeighbours, FiguresByHandWhateverTheSumsRunAbout) {
  const std::vector<double> points{1, 3, 2, 5, 4};
  for (const double near : {0.0, 3.0, -1000.0, 2.5}) {
    const auto found = CorrelationOfNeighbours(points, {}, near);
    EXPECT_EQ(found.count, 5);
    EXPECT_NEAR(found.r1, 0.0, 1e-9) << near;
  }
  const auto found = CorrelationOfNeighbours(std::vector<double>{1, 2, 4, 5, 3}, {}, 3.0);
  EXPECT_NEAR(found.r1, 0.3, 1e-15);
  EXPECT_NEAR(found.Statistic(), 5.0 * 7.0 * 0.09 / 4.0, 1e-14);
  EXPECT_NEAR(found.Factor(), std::sqrt(0.7), 1e-15);
}

// Mean 3 of 1 2 4 5 3; the gap leaves the product of 2 and 4 out.
TEST(CorrelationOfNeighbours, UnusedPointsArePassedOverAndGapsLeavePairsOut) {
  const std::vector<double> passed{1, 2, 99, 4, 5, 3};
  const std::vector<std::uint8_t> used{1, 1, 0, 1, 1, 1};
  EXPECT_NEAR(CorrelationOfNeighbours(passed, used, 3.0).r1, 0.3, 1e-15);
  const std::vector<double> gap{1, 2, platform::kNaN, 4, 5, 3};
  EXPECT_NEAR(CorrelationOfNeighbours(gap, {}, 2.0).r1, 0.4, 1e-15);
}

TEST(CorrelationOfNeighbours, NoneOfOnePointOrOfEqualOnes) {
  EXPECT_TRUE(std::isnan(CorrelationOfNeighbours(std::vector<double>{1}, {}, 1.0).r1));
  const std::vector<double> equal(30, 0.1);
  EXPECT_TRUE(std::isnan(CorrelationOfNeighbours(equal, {}, 0.2).r1));
  EXPECT_TRUE(
      NotesOnNeighbours(CorrelationOfNeighbours(equal, {}, 0.2), LimitsFrom::MovingRanges, [] {
        return true;
      }).empty());
}

// Q = N (N + 2) r1^2 / (N - 1) is 6.6349 at P = 0.01.
TEST(NotesOnNeighbours, SayNothingBelow25PointsOrAboveOnePercent) {
  const auto codes = [](std::int64_t count, double r1, bool judges_runs) {
    std::string all;
    for (const auto& note :
         NotesOnNeighbours({count, r1}, LimitsFrom::MovingRanges, [&] { return judges_runs; })) {
      all += note.code + " ";
    }
    return all;
  };
  const double just = std::sqrt(6.634896601 * 99.0 / (100.0 * 102.0));
  EXPECT_EQ(codes(100, just + 1e-6, true), "correlated runs-expected ");
  EXPECT_EQ(codes(100, just - 1e-6, true), "");
  EXPECT_EQ(codes(100, just + 1e-6, false), "correlated ");
  EXPECT_EQ(codes(100, -just - 1e-6, true), "correlated ") << "no runs where points alternate";
  EXPECT_EQ(codes(25, 0.9, true), "correlated runs-expected ");
  EXPECT_EQ(codes(24, 0.9, true), "");
}

TEST(NotesOnNeighbours, NameTheFactorOfMovingRanges) {
  const auto text = [](double r1, LimitsFrom from) {
    return NotesOnNeighbours({100, r1}, from, [] { return false; }).at(0).text;
  };
  EXPECT_EQ(text(0.75, LimitsFrom::MovingRanges),
            "Neighbours are correlated (r1 = 0.75): limits from moving ranges are too narrow by "
            "the factor 0.5.");
  EXPECT_EQ(text(-0.44, LimitsFrom::MovingRanges),
            "Neighbours are correlated (r1 = -0.44): limits from moving ranges are too wide by "
            "the factor 1.2.");
  EXPECT_EQ(text(0.75, LimitsFrom::Subgroups).find("factor"), std::string::npos);
  EXPECT_EQ(text(0.75, LimitsFrom::Other), "Neighbours are correlated (r1 = 0.75).");
}

}  // namespace
}  // namespace orvspc::engine::statistics
