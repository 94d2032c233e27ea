// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "platform/NaN.h"
#include "tests/engine/charts/FakeStore.h"

// Each kind of chart against figures worked by hand from small samples.
namespace orvspc::engine::test {
using namespace catalogue;
using namespace store;
using namespace statistics;
using namespace charts;

namespace {

using platform::kNaN;

// Closed forms: 2/sqrt(pi), sqrt(2 - 4/pi), 3/sqrt(pi), sqrt(2 + (3 sqrt(3) - 9)/pi), sqrt(pi)/2.
constexpr double kD2of2 = 1.1283791670955126, kD3of2 = 0.8525024664274173;
constexpr double kD2of3 = 1.692568750643269, kD3of3 = 0.8883680040452043;
constexpr double kC4of3 = 0.886226925452758;
constexpr double kMedianSdOf3 = 0.669829160740;

void Near(const std::vector<double>& actual, const std::vector<double>& expected, const char* what,
          double tolerance = 1e-10) {
  ASSERT_EQ(actual.size(), expected.size()) << what;
  for (std::size_t i = 0; i < actual.size(); ++i) {
    if (std::isnan(expected[i])) {
      EXPECT_TRUE(std::isnan(actual[i])) << what << " " << i << ": " << actual[i];
    } else {
      EXPECT_NEAR(actual[i], expected[i], tolerance) << what << " " << i;
    }
  }
}

std::vector<double> Same(double value, std::size_t count) {
  return std::vector<double>(count, value);
}

using Sizes = std::vector<std::int32_t>;

// Means 2, 5, 2; ranges 2, 4, 0; medians 2, 5, 2; deviations 1, 2, 0.
FakeStore Threes() { return FakeStore({{1, 2, 3}, {3, 5, 7}, {2, 2, 2}}); }

}  // namespace

TEST(VariableRun, MeanAndRange) {
  auto store = Threes();
  const auto chart = Make(store, 0x110);
  EXPECT_EQ(chart.word, 0x110);
  EXPECT_EQ(store.asked_types, ttVariable);
  const double sigma = 2.0 / kD2of3, half = 3.0 * sigma / std::sqrt(3.0);
  Near(chart.graphs[0].points, {2, 5, 2}, "means");
  Near(chart.graphs[0].ccl, Same(3.0, 3), "centre");
  Near(chart.graphs[0].cucl, Same(3.0 + half, 3), "upper");
  Near(chart.graphs[0].clcl, Same(3.0 - half, 3), "lower");
  Near(chart.graphs[0].ucl, Same(3.0 + half, 3), "upper in force");
  Near(chart.graphs[1].points, {2, 4, 0}, "ranges");
  Near(chart.graphs[1].ccl, Same(2.0, 3), "mean range");
  Near(chart.graphs[1].cucl, Same(2.0 + 3.0 * kD3of3 * sigma, 3), "upper of the range");
  Near(chart.graphs[1].clcl, Same(0.0, 3), "lower of the range");
  EXPECT_EQ(chart.graphs[0].sizes, (Sizes{3, 3, 3}));
  EXPECT_NEAR(chart.estimates.mean, 3.0, 1e-12);
  EXPECT_NEAR(chart.estimates.sp.value, sigma, 1e-12);
  EXPECT_EQ(chart.estimates.sw.value, chart.estimates.sp.value);
  EXPECT_EQ(chart.average_sizes, (std::array<double, 3>{3, 3, 0}));
}

TEST(VariableRun, MeanAndDeviation) {
  auto store = Threes();
  const auto chart = Make(store, 0x120);
  const double sigma = 1.0 / kC4of3, spread = std::sqrt(1.0 - kC4of3 * kC4of3) * sigma;
  Near(chart.graphs[1].points, {1, 2, 0}, "deviations");
  Near(chart.graphs[1].ccl, Same(1.0, 3), "mean deviation");
  Near(chart.graphs[1].cucl, Same(1.0 + 3.0 * spread, 3), "upper of the deviation");
  Near(chart.graphs[0].cucl, Same(3.0 + std::sqrt(3.0) * sigma, 3), "upper of the mean");
}

TEST(VariableRun, Medians) {
  FakeStore store({{1, 2, 9}, {3, 4, 5}, {2, 3, 7}});
  const auto chart = Make(store, 0x210);
  const double sigma = 5.0 / kD2of3;
  Near(chart.graphs[0].points, {2, 4, 3}, "medians");
  Near(chart.graphs[0].ccl, Same(3.0, 3), "centre");
  Near(chart.graphs[0].cucl, Same(3.0 + 3.0 * sigma * kMedianSdOf3, 3), "upper");
}

TEST(VariableRun, IndividualsAndMovingRanges) {
  FakeStore store({{1}, {3}, {2}, {6}});
  const auto chart = Make(store, 0x330);
  const double sigma = 7.0 / 3.0 / kD2of2;
  Near(chart.graphs[0].points, {1, 3, 2, 6}, "values");
  Near(chart.graphs[0].cucl, Same(3.0 + 3.0 * sigma, 4), "upper");
  Near(chart.graphs[1].points, {kNaN, 2, 1, 4}, "moving ranges");
  EXPECT_EQ(chart.graphs[1].sizes, (Sizes{0, 2, 2, 2}));
  Near(chart.graphs[1].ccl, Same(7.0 / 3.0, 4), "mean moving range, at the first point too");
  Near(chart.graphs[1].cucl, Same(7.0 / 3.0 + 3.0 * kD3of2 * sigma, 4), "upper");
  Near(chart.graphs[1].clcl, Same(0.0, 4), "lower");
  EXPECT_EQ(chart.average_sizes, (std::array<double, 3>{1, 2, 0}));
}

// Differences of the means judge the means; the third graph looks inside the subgroups.
TEST(VariableRun, ThreeWayChart) {
  auto store = Threes();
  const auto chart = Make(store, 0x131);
  const double sigma_of_mean = 3.0 / kD2of2, sw = 2.0 / kD2of3;
  Near(chart.graphs[0].cucl, Same(3.0 + 3.0 * sigma_of_mean, 3), "upper");
  Near(chart.graphs[1].points, {kNaN, 3, 3}, "moving ranges of the means");
  Near(chart.graphs[1].ccl, Same(3.0, 3), "centre of the moving ranges");
  Near(chart.graphs[2].points, {2, 4, 0}, "ranges inside");
  Near(chart.graphs[2].ccl, Same(2.0, 3), "centre of the ranges");
  EXPECT_NEAR(chart.estimates.sp.value, sigma_of_mean * std::sqrt(3.0), 1e-12);
  EXPECT_NEAR(chart.estimates.sw.value, sw, 1e-12);
  EXPECT_EQ(chart.average_sizes, (std::array<double, 3>{3, 2, 3}));
}

// Individuals with several pieces: sigma between subgroups for the means, within for the ranges.
TEST(VariableRun, IndividualsOfSubgroupMeans) {
  auto store = Threes();
  const auto chart = Make(store, 0x310);
  Near(chart.graphs[0].points, {2, 5, 2}, "means");
  Near(chart.graphs[0].cucl, Same(3.0 + 9.0 / kD2of2, 3), "upper");
  Near(chart.graphs[1].ccl, Same(2.0, 3), "mean range");
  EXPECT_NEAR(chart.estimates.sw.value, 2.0 / kD2of3, 1e-12);
}

TEST(VariableRun, MovingAverageWithItsStartUp) {
  FakeStore store({{1, 3}, {2, 6}, {5, 7}, {8, 10}});  // means 2, 4, 6, 9; ranges 2, 4, 2, 2
  const auto chart = Make(store, 0x410);
  const double sigma = 2.5 / kD2of2, mean = 5.25;
  Near(chart.graphs[0].points, {2, 3, 4, 19.0 / 3.0}, "averages of up to three");
  EXPECT_EQ(chart.graphs[0].sizes, (Sizes{2, 4, 6, 6}));
  Near(chart.graphs[0].ccl, Same(mean, 4), "centre");
  const double full = 3.0 * sigma / std::sqrt(6.0);
  Near(chart.graphs[0].cucl,
       {mean + 3.0 * sigma / std::sqrt(2.0), mean + 3.0 * sigma / 2.0, mean + full, mean + full},
       "wider at the start");
}

// The averages are judged by what is inside the subgroups, as beside any other second graph; the
// moving ranges of the means by themselves.
TEST(VariableRun, MovingAverageWithMovingRange) {
  FakeStore store({{1, 3}, {2, 6}, {5, 7}, {8, 10}});  // means 2, 4, 6, 9; ranges 2, 4, 2, 2
  const auto chart = Make(store, 0x430), ranges = Make(store, 0x410);
  EXPECT_DOUBLE_EQ(chart.estimates.sp.value, 2.5 / kD2of2);
  Near(chart.graphs[0].cucl, ranges.graphs[0].cucl, "upper of the average");
  Near(chart.graphs[1].points, {kNaN, 2, 2, 3}, "moving ranges");
  Near(chart.graphs[1].ccl, Same(7.0 / 3.0, 4), "their mean");
  Near(chart.graphs[1].cucl, Same(7.0 / 3.0 * (1.0 + 3.0 * kD3of2 / kD2of2), 4), "their limit");
  store.Limit(5.0, 2.0, 1.0);
  const auto stored = Make(store, 0x430);
  Near(stored.graphs[1].ucl, chart.graphs[1].cucl, "a sigma inside the subgroups is not theirs");
  store.limits[0].chart_word = 0x130;
  Near(Make(store, 0x430).graphs[1].cl, Same(kD2of2 * 2.0 / std::sqrt(2.0), 4),
       "that of a three-way chart is");
}

TEST(VariableRun, CoefficientOfVariation) {
  FakeStore store({{1, 2, 3}, {3, 5, 7}, {-1, -2, -3}});
  const auto chart = Make(store, 0x140);
  // gamma (1 + gamma^2/3) = 0.45/c4(3), so the centre line is the mean of the points.
  double gamma = 0.45 / kC4of3;
  for (int step = 0; step < 50; ++step) gamma = 0.45 / kC4of3 / (1.0 + gamma * gamma / 3.0);
  const double centre = 0.45;
  const double spread = gamma * std::sqrt(1.0 - kC4of3 * kC4of3 + gamma * gamma / 3.0);
  Near(chart.graphs[1].points, {0.5, 0.4, kNaN}, "none where the mean is not positive");
  EXPECT_EQ(chart.graphs[1].sizes, (Sizes{3, 3, 0}));
  Near(chart.graphs[1].ccl, Same(centre, 3), "centre");
  Near(chart.graphs[1].cucl, Same(centre + 3.0 * spread, 3), "upper");
  Near(chart.graphs[1].clcl, Same(std::max(0.0, centre - 3.0 * spread), 3), "lower");
  const auto notes = TakeNotes();
  ASSERT_FALSE(notes.empty());
  EXPECT_EQ(notes.back().code, "cv-large");
}

TEST(VariableRun, TheCentreLineOfVariationIsTheMeanOfItsPoints) {
  std::mt19937_64 random(20250611);
  for (const double gamma : {0.1, 0.2, 0.3}) {
    std::normal_distribution<double> normal(1.0, gamma);
    for (const std::size_t n : {2U, 3U, 5U}) {
      FakeStore store(std::vector<std::vector<double>>(20000, std::vector<double>(n)));
      for (auto& value : store.data.values) value = normal(random);
      const auto chart = Make(store, 0x140);
      double sum = 0.0;
      int count = 0;
      for (const double point : chart.graphs[1].points) {
        if (std::isnan(point)) continue;
        sum += point;
        ++count;
      }
      EXPECT_NEAR(chart.graphs[1].ccl[0] / (sum / count), 1.0, 0.003) << gamma << " " << n;
    }
  }
}

TEST(VariableRun, ReadingsInsideThePieces) {
  FakeStore store;
  store.AddWithReadings({{1, 2}, {3, 6}});  // ranges 1, 3
  store.AddWithReadings({{2, 4}, {4, 4}});  // ranges 2, 0
  const auto chart = Make(store, 0x111);
  const double sw = 1.5 / kD2of2;
  Near(chart.graphs[2].points, {2, 1}, "mean of the ranges inside the pieces");
  EXPECT_EQ(chart.graphs[2].sizes, (Sizes{4, 4}));
  Near(chart.graphs[2].ccl, Same(1.5, 2), "centre");
  Near(chart.graphs[2].cucl, Same(1.5 + 3.0 * sw * kD3of2 * std::sqrt(2.0) / 2.0, 2), "upper");
  Near(chart.graphs[0].points, {3, 3.5}, "pieces are the means of their readings");
  EXPECT_NEAR(chart.estimates.sp.value, 2.0 / kD2of2, 1e-12) << "ranges 3 and 1 of the pieces";
  EXPECT_NEAR(chart.estimates.sw.value, sw, 1e-12);
  EXPECT_EQ(chart.average_sizes, (std::array<double, 3>{2, 2, 2}));
}

// Every line steps with the size of its subgroup, the centre of the range too.
TEST(VariableRun, StepsWithTheSizeOfTheSubgroup) {
  FakeStore store({{1, 2, 3}, {3, 5}, {2, 2, 5}});
  const auto chart = Make(store, 0x110);
  const double sigma = chart.estimates.sp.value;
  Near(chart.graphs[0].ccl, Same(23.0 / 8.0, 3), "centre weighted by size");
  const double mean = 23.0 / 8.0;
  Near(chart.graphs[0].cucl,
       {mean + 3 * sigma / std::sqrt(3.0), mean + 3 * sigma / std::sqrt(2.0),
        mean + 3 * sigma / std::sqrt(3.0)},
       "upper");
  Near(chart.graphs[1].ccl, {kD2of3 * sigma, kD2of2 * sigma, kD2of3 * sigma}, "range");
  // Least variance: weights d2^2 / d3^2.
  const double f3 = kD2of3 * kD2of3 / kD3of3 / kD3of3, f2 = kD2of2 * kD2of2 / kD3of2 / kD3of2;
  EXPECT_NEAR(sigma, (f3 * 5.0 / kD2of3 + f2 * 2.0 / kD2of2) / (2 * f3 + f2), 1e-10);
}

TEST(VariableRun, EstimatorIsASettingOfTheDatabase) {
  FakeStore store({{1, 2, 3}, {3, 5}, {2, 2, 5}});
  store.settings["sigma_estimator"] = "unweighted";
  EXPECT_NEAR(Make(store, 0x110).estimates.sp.value, (5.0 / kD2of3 + 2.0 / kD2of2) / 3.0, 1e-10);
  store.settings["sigma_estimator"] = "guess";
  TakeNotes();
  Make(store, 0x110);
  ASSERT_EQ(TakeNotes().at(0).code, "setting-unknown");
}

TEST(VariableRun, WithoutSecondGraphSigmaComesFromWhatSuitsTheSizes) {
  FakeStore constant({{1, 2, 3}, {3, 5, 7}, {2, 2, 2}});
  EXPECT_NEAR(Make(constant, 0x100).estimates.sp.value, 2.0 / kD2of3, 1e-12) << "ranges";
  FakeStore varying({{1, 2, 3}, {3, 5}});
  const double h3 = kC4of3 * kC4of3 / (1 - kC4of3 * kC4of3);
  const double c4of2 = std::sqrt(2.0 / std::acos(-1.0)), h2 = c4of2 * c4of2 / (1 - c4of2 * c4of2);
  EXPECT_NEAR(Make(varying, 0x100).estimates.sp.value,
              (h3 / kC4of3 + h2 * std::sqrt(2.0) / c4of2) / (h3 + h2), 1e-12)
      << "deviations";
  FakeStore single({{1}, {3}, {2}});
  EXPECT_NEAR(Make(single, 0x100).estimates.sp.value, 1.5 / kD2of2, 1e-12) << "moving ranges";
}

TEST(VariableRun, ThirdGraphWithoutSecondLeavesAnEmptyOneBetween) {
  auto store = Threes();
  const auto chart = Make(store, 0x101);
  ASSERT_EQ(chart.graphs.size(), 3U);
  Near(chart.graphs[1].points, Same(kNaN, 3), "nothing");
  Near(chart.graphs[1].ccl, Same(kNaN, 3), "no lines");
  EXPECT_EQ(chart.graphs[1].sizes, (Sizes{0, 0, 0}));
  Near(chart.graphs[2].points, {2, 4, 0}, "ranges");
}

// y = (x - 4) / 1 with k 0.5: up 0, 1.5, 3, 4.5, 6; down 2.5 at the first point.
TEST(VariableRun, CusumInSigmas) {
  FakeStore store({{1}, {6}, {6}, {6}, {6}});
  store.Limit(4.0, 1.0, 1.0);
  const auto chart = Make(store, 0x330, 16);
  Near(chart.graphs[0].points, {-2.5, 1.5, 3, 4.5, 6}, "the larger of both sums, signed");
  Near(chart.graphs[0].ucl, Same(5, 5), "decision interval");
  Near(chart.graphs[0].clcl, Same(-5, 5), "both forms");
  Near(chart.graphs[0].ccl, Same(0, 5), "centre");
  EXPECT_EQ(chart.graphs[0].oocs, (Sizes{0, 0, 0, 0, 2}));
  EXPECT_EQ(chart.graphs[0].coocs, chart.graphs[0].oocs);
  Near(chart.graphs[1].points, {kNaN, 5, 0, 0, 0}, "graph 2 as without");
}

TEST(VariableRun, CusumExactlyAtTheDecisionIntervalDoesNotSignal) {
  FakeStore store({{9.5}, {4.5}});
  store.Limit(4.0, 1.0, 1.0);
  EXPECT_EQ(Make(store, 0x330, 16).graphs[0].oocs, (Sizes{0, 0}));
}

TEST(VariableRun, CusumOfAMovingAverageAccumulatesTheMeans) {
  FakeStore store({{4, 4}, {6, 6}, {6, 6}});
  store.Limit(4.0, std::sqrt(2.0), 1.0);
  Near(Make(store, 0x410, 16).graphs[0].points, {0, 1.5, 3}, "means in sigmas of the mean");
}

// Target 10, limits 4 and 16: green 7 to 13.
TEST(VariableRun, PreControl) {
  FakeStore store({{10, 11}, {8, 13.5}, {14, 10}, {6.5, 17}, {13, 4}});
  store.Spec(4, 10, 16, slfUSL | slfTAR | slfLSL);
  const auto chart = Make(store, 0x500);
  Near(chart.graphs[0].points, {11, 13.5, 14, 17, 4}, "piece farthest from the target");
  Near(chart.graphs[0].ucl, Same(13, 5), "upper line");
  Near(chart.graphs[0].cl, Same(10, 5), "target");
  Near(chart.graphs[0].lcl, Same(7, 5), "lower line");
  EXPECT_TRUE(chart.graphs[0].cucl.empty()) << "nothing calculated";
  const std::int32_t red = 1 << 16, two_yellow = 1 << 17;
  EXPECT_EQ(chart.graphs[0].oocs, (Sizes{0, 0, two_yellow, red, 0}))
      << "13.5 and 14 follow each other; 6.5 follows a green piece; the limit itself is yellow";
  EXPECT_EQ(chart.graphs[0].coocs, (Sizes{0, 0, 0, 0, 0}));
}

TEST(VariableRun, PreControlNeedsLimits) {
  FakeStore store({{1.0}, {2.0}});
  TakeNotes();
  EXPECT_EQ(Make(store, 0x500).word, 0);
  EXPECT_EQ(TakeNotes().at(0).code, "no-limits");
  store.Spec(0, 0, 5, slfUSL);
  EXPECT_EQ(Make(store, 0x500).word, 0) << "one limit without target";
  store.specs[0].F_EFLAG = slfUSL | slfTAR;
  const auto chart = Make(store, 0x500);
  EXPECT_EQ(chart.word, 0x500);
  EXPECT_TRUE(std::isnan(chart.graphs[0].lcl[0])) << "a side without limit has no line";
  EXPECT_EQ(chart.graphs[0].ucl[0], 2.5);
}

TEST(VariableRun, PreControlKeepsTheOtherGraphs) {
  FakeStore store({{1, 2, 3}, {3, 5, 7}, {2, 2, 2}});
  store.Spec(0, 5, 10, slfUSL | slfTAR | slfLSL);
  const auto chart = Make(store, 0x510);
  Near(chart.graphs[1].points, {2, 4, 0}, "ranges");
  Near(chart.graphs[1].ccl, Same(2.0, 3), "and their lines");
}

}  // namespace orvspc::engine::test
