// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/ChartFormulas.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orvspc::engine::statistics {

namespace {

// Such as P(X <= 1) = 0.9999 of two units at one percent, or P(X <= 62) = 1/2 of 125 coins.
constexpr long double kTie = 1e-12L;

// P(X <= c) by adding up terms from 0, for samples where the first term is a number.
double SlowBinomial(std::int32_t n, double level, double risk) {
  long double term = std::pow(1.0L - static_cast<long double>(level), n), sum = term;
  std::int32_t c = 0;
  while (sum + kTie < 1.0L - static_cast<long double>(risk) && c < n) {
    ++c;
    term *= static_cast<long double>(n - c + 1) / c * level / (1.0L - level);
    sum += term;
  }
  return c;
}

double SlowPoisson(double mean, double risk) {
  long double term = std::exp(-static_cast<long double>(mean)), sum = term;
  int c = 0;
  while (sum + kTie < 1.0L - static_cast<long double>(risk)) {
    ++c;
    term *= mean / c;
    sum += term;
  }
  return c;
}

}  // namespace

TEST(AttributeFormulas, LimitsOfDefectivesStayWithinZeroAndTheFactor) {
  const auto small = DefectivesLimits({1.0, 10.0}, 5.0, 1.0);
  EXPECT_DOUBLE_EQ(small.centre, 0.1);
  EXPECT_EQ(small.lower, 0.0);
  EXPECT_DOUBLE_EQ(small.sigma, std::sqrt(0.1 * 0.9 / 5.0)) << "not that of a cut limit";
  const auto large = DefectivesLimits({9.0, 10.0}, 5.0, 1e6);
  EXPECT_EQ(large.upper, 1e6);
  const auto count = DefectivesLimits({9.0, 10.0}, 5.0, 5.0);
  EXPECT_EQ(count.upper, 5.0);
  EXPECT_DOUBLE_EQ(count.centre, 4.5);
}

TEST(AttributeFormulas, AllLinesLieOnAMeanOfNoneAndOfAll) {
  for (const double sum : {0.0, 10.0}) {
    const auto lines = DefectivesLimits({sum, 10.0}, 7.0, 1e3);
    EXPECT_EQ(lines.centre, 100.0 * sum);
    EXPECT_EQ(lines.upper, lines.centre);
    EXPECT_EQ(lines.lower, lines.centre);
    EXPECT_EQ(lines.sigma, 0.0);
  }
  const auto none = DefectsLimits({0.0, 10.0}, 7.0, 1.0);
  EXPECT_EQ(none.centre, 0.0);
  EXPECT_EQ(none.upper, 0.0);
  EXPECT_EQ(none.lower, 0.0);
}

TEST(AttributeFormulas, ARateOutsideItsRangeHasACentreAndNoLimits) {
  for (const auto& lines :
       {DefectivesLimits({11.0, 10.0}, 5.0, 1.0), DefectivesLimits({-0.1, 1.0}, 5.0, 1.0),
        DefectsLimits({-0.1, 1.0}, 5.0, 1.0)}) {
    EXPECT_FALSE(std::isnan(lines.centre));
    EXPECT_TRUE(std::isnan(lines.upper));
    EXPECT_TRUE(std::isnan(lines.lower));
    EXPECT_TRUE(std::isnan(lines.sigma));
  }
  EXPECT_TRUE(std::isnan(DefectsLimits({0.0, 0.0}, 5.0, 1.0).centre)) << "no rate";
  EXPECT_EQ(DefectsLimits({1.0, 4.0}, 0.0, 1.0).centre, 0.25) << "no units";
  EXPECT_TRUE(std::isnan(DefectsLimits({1.0, 4.0}, 0.0, 0.0).centre)) << "a count of no units";
}

// By hand: P(X <= 1) = 0.99^99 (0.99 + 1) = 0.736, P(X <= 2) = 0.921.
TEST(AttributeFormulas, AcceptsTwoInAHundredAtOnePercentAndTenPercentRisk) {
  EXPECT_EQ(AcceptedDefectives(100, 0.01, 0.10), 2.0);
  EXPECT_EQ(AcceptedDefects(100, 0.01, 0.10), 2.0);
}

TEST(AttributeFormulas, AcceptanceNumbersAgreeWithSlowSums) {
  for (const std::int32_t n : {1, 2, 5, 13, 50, 125, 400, 800}) {
    for (const double level : {0.0001, 0.0065, 0.01, 0.04, 0.15, 0.5}) {
      for (const double risk : {0.0001, 0.01, 0.05, 0.1, 0.5, 0.9, 0.99}) {
        EXPECT_EQ(AcceptedDefectives(n, level, risk), SlowBinomial(n, level, risk))
            << n << ' ' << level << ' ' << risk;
        EXPECT_EQ(AcceptedDefects(n, level, risk), SlowPoisson(n * level, risk))
            << n << ' ' << level << ' ' << risk;
      }
    }
  }
}

TEST(AttributeFormulas, AnAcceptanceNumberThatJustReachesTheProbabilityServes) {
  EXPECT_EQ(AcceptedDefectives(2, 0.01, 0.0001), 1.0);
  EXPECT_EQ(AcceptedDefectives(125, 0.5, 0.5), 62.0);
}

TEST(AttributeFormulas, AcceptanceAtTheEdgesOfItsArguments) {
  EXPECT_TRUE(std::isnan(AcceptedDefectives(0, 0.01, 0.1)));
  EXPECT_TRUE(std::isnan(AcceptedDefects(0, 0.01, 0.1)));
  EXPECT_EQ(AcceptedDefectives(10, 0.0, 0.1), 0.0);
  EXPECT_EQ(AcceptedDefects(10, 0.0, 0.1), 0.0);
  EXPECT_EQ(AcceptedDefectives(10, 1.0, 0.1), 10.0);
  EXPECT_EQ(AcceptedDefectives(10, 0.3, 0.0), 10.0) << "no risk: whatever may come";
  EXPECT_TRUE(std::isnan(AcceptedDefects(10, 0.3, 0.0))) << "no number of defects is the last";
  EXPECT_NEAR(AcceptedDefectives(1'000'000'000, 0.01, 0.1), 1e7 + 1.2816 * std::sqrt(9.9e6), 2.0);
}

}  // namespace orvspc::engine::statistics
