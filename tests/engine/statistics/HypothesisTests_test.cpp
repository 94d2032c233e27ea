// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/HypothesisTests.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "engine/statistics/Histogram.h"
#include "engine/statistics/Moments.h"
#include "tests/certified/nist_univariate.h"

namespace orvspc::engine::statistics {

namespace {

TEST(ChiSquareCells, AtLeastFiveValuesAreExpectedInEach) {
  struct Row {
    std::int64_t count;
    std::int32_t cells;
  };
  constexpr Row kRows[] = {{0, 0},  {1, 0},  {4, 0},    {5, 1},           {20, 4},
                           {25, 5}, {99, 9}, {100, 10}, {5'000'000, 2236}};
  for (const auto& row : kRows) EXPECT_EQ(ChiSquareCells(row.count), row.cells) << row.count;
}

// Michelson's 100 values in 10 cells: computed by R 4.2.2.
TEST(ChiSquare, MichelsonsData) {
  const NormalDistribution law(Mean(certified::kMichelso),
                               SampleStandardDeviation(certified::kMichelso));
  const auto edges = EqualProbabilityEdges(law, 10);
  constexpr double kBreaks[] = {299.751143908748, 299.785903045279, 299.810966828214,
                                299.832382906593, 299.8524,         299.872417093407,
                                299.893833171786, 299.918896954721, 299.953656091252};
  ASSERT_EQ(edges.size(), std::size(kBreaks));
  for (std::size_t i = 0; i < edges.size(); ++i) EXPECT_NEAR(edges[i], kBreaks[i], 1e-9) << i;
  IntervalCounter counter(edges, IntervalCounter::EdgeGoes::Down);
  counter.Add(certified::kMichelso);
  const auto counts = counter.Counts();
  EXPECT_EQ(std::vector(counts.begin(), counts.end()),
            (std::vector<std::int64_t>{9, 8, 18, 4, 16, 7, 13, 4, 9, 12}));
  const auto test = ChiSquareOf(counts, law.FittedParameters());
  EXPECT_EQ(test.degrees, 7);
  EXPECT_NEAR(test.value, 20.0, 1e-9);
  EXPECT_NEAR(test.probability, 0.00556968307294557, 1e-9);
}

TEST(ChiSquare, WithoutDegreesThereIsNoTest) {
  const std::vector<std::int64_t> three{5, 5, 6}, none(10);
  for (const auto& test : {ChiSquareOf(three, 2), ChiSquareOf({}, 2), ChiSquareOf(none, 2)}) {
    EXPECT_EQ(test.degrees, 0);
    EXPECT_EQ(test.value, 0.0);
    EXPECT_EQ(test.probability, 1.0);
  }
}

struct AnovaRow {
  double within, between;
  std::int64_t count, groups;
  double f, probability;
  const char* reason;
};

TEST(Anova, TheEndsOfTheTable) {
  constexpr AnovaRow kRows[] = {
      {0.0, 0.0, 1, 1, 0.0, 1.0, "one value"},
      {4.0, 0.0, 5, 1, 0.0, 1.0, "one group"},
      {0.0, 4.0, 5, 5, 0.0, 1.0, "single values"},
      {0.0, 4.0, 6, 3, 0.0, 0.0, "nothing within, something between"},
      {0.0, 0.0, 6, 3, 0.0, 1.0, "all equal"},
      {6.0, 4.0, 6, 3, 1.0, 0.4647580015448900, "by hand: (1 + 2/3)^(-3/2)"},
  };
  for (const auto& row : kRows) {
    const auto table =
        AnovaOf(row.within, row.between, row.within + row.between, row.count, row.groups);
    EXPECT_EQ(table.within_degrees, row.count - row.groups) << row.reason;
    EXPECT_EQ(table.between_degrees, row.groups - 1) << row.reason;
    EXPECT_EQ(table.total_degrees, row.count - 1) << row.reason;
    EXPECT_NEAR(table.f, row.f, 1e-14) << row.reason;
    EXPECT_NEAR(table.probability, row.probability, 1e-14) << row.reason;
  }
}

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

TEST(Window, HoldsWhatItMust) {
  const WindowInput input{8.0, 13.0, 10.0, 1.0, 14.0, kNone};
  const auto usual = DefaultWindow(input);
  EXPECT_EQ(usual.low, 7.0);
  EXPECT_EQ(usual.high, 14.0);
  const auto sigmas = SigmaWindow(input, 2.0);
  EXPECT_EQ(sigmas.low, 8.0);
  EXPECT_EQ(sigmas.high, 12.0);
  for (const double none : {0.0, -1.0, kNone}) EXPECT_EQ(SigmaWindow(input, none).high, 14.0);
  const auto limits = LimitWindow({8.0, 13.0, 10.0, 1.0, 12.0, 9.5});
  EXPECT_EQ(limits.low, 9.5);
  EXPECT_EQ(limits.high, 12.0);
  EXPECT_EQ(LimitWindow(input).low, 7.0) << "a missing limit is the default's";
}

TEST(Window, IsNeverEmptyNorBeyondTheNumbers) {
  constexpr double kMost = std::numeric_limits<double>::max();
  const WindowInput rows[] = {
      {3.0, 3.0, 3.0, 0.0, kNone, kNone},          {0.0, 0.0, 0.0, 0.0, kNone, kNone},
      {1e15, 1e15, 1e15, 0.0, kNone, kNone},       {-kMost, kMost, 0.0, 0.0, kNone, kNone},
      {5e-324, 5e-324, 5e-324, 0.0, kNone, kNone}, {kMost, kMost, kMost, 0.0, kNone, kNone},
  };
  for (const auto& input : rows) {
    for (const auto& window : {DefaultWindow(input), SigmaWindow(input, 3.0), LimitWindow(input)}) {
      EXPECT_LT(window.low, window.high) << input.smallest;
      EXPECT_TRUE(std::isfinite(window.Width())) << input.smallest;
    }
  }
}

TEST(BinEdges, EndExactlyAtTheWindow) {
  const auto edges = BinEdges({0.1, 0.7}, 6);
  ASSERT_EQ(edges.size(), 7U);
  EXPECT_EQ(edges.front(), 0.1);
  EXPECT_EQ(edges.back(), 0.7);
  EXPECT_NEAR(edges[3], 0.4, 1e-15);
  EXPECT_GT(CountingEdges(edges).back(), 0.7) << "the last bin is closed";
}

// Yields of plants under three conditions (Dobson, An Introduction to Statistical Modelling, 1983),
// with the figures that R 4.2 prints for bartlett.test and leveneTest.
const std::vector<std::vector<double>> kYields = {
    {4.17, 5.58, 5.18, 6.11, 4.50, 4.61, 5.17, 4.53, 5.33, 5.14},
    {4.81, 4.17, 4.41, 3.59, 5.87, 3.83, 6.03, 4.89, 4.32, 4.69},
    {6.31, 5.12, 5.54, 5.50, 5.37, 5.29, 4.92, 6.15, 5.80, 5.26}};

TEST(SpreadTests, YieldsOfPlants) {
  std::vector<double> variances;
  for (const auto& group : kYields) variances.push_back(SampleVariance(group));
  const auto bartlett = BartlettOf(variances, std::vector{9.0, 9.0, 9.0});
  EXPECT_NEAR(bartlett.value, 2.8786, 5e-5);
  EXPECT_EQ(bartlett.degrees, 2.0);
  EXPECT_NEAR(bartlett.probability, 0.2371, 5e-5);
  const auto levene = LeveneOf(kYields);
  EXPECT_NEAR(levene.value, 1.1192, 5e-5);
  EXPECT_EQ(levene.degrees, 2.0);
  EXPECT_EQ(levene.within_degrees, 27.0);
  EXPECT_NEAR(levene.probability, 0.3412, 5e-5);
}

TEST(SpreadTests, NothingToCompare) {
  EXPECT_TRUE(std::isnan(BartlettOf(std::vector{1.0}, std::vector{4.0}).value));
  EXPECT_TRUE(std::isnan(BartlettOf(std::vector{1.0, 0.0}, std::vector{4.0, 4.0}).value));
  EXPECT_EQ(BartlettOf(std::vector{3.0, 3.0}, std::vector{4.0, 7.0}).value, 0.0);
  const std::vector<std::vector<double>> one = {{1.0, 2.0, 3.0}, {}};
  EXPECT_TRUE(std::isnan(LeveneOf(one).value));
  const std::vector<std::vector<double>> equal = {{1.0, 1.0}, {2.0, 2.0}};
  EXPECT_TRUE(std::isnan(LeveneOf(equal).value));
}

}  // namespace
}  // namespace orvspc::engine::statistics
