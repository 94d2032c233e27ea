// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/TimeWeighted.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "platform/NaN.h"

namespace orvspc::engine::statistics {

namespace {

using platform::kNaN;

void ExpectSeries(const std::vector<double>& series, const std::vector<double>& expected,
                  const char* reason) {
  ASSERT_EQ(series.size(), expected.size()) << reason;
  for (std::size_t i = 0; i < series.size(); ++i) {
    if (std::isnan(expected[i]))
      EXPECT_TRUE(std::isnan(series[i])) << reason << " " << i;
    else
      EXPECT_NEAR(series[i], expected[i], 1e-12) << reason << " " << i;
  }
}

struct Steady {
  std::vector<double> points, centre, sigma;
  std::vector<std::uint8_t> used, restart;

  Steady(std::vector<double> values, double at, double spread)
      : points(std::move(values)),
        centre(points.size(), at),
        sigma(points.size(), spread),
        used(points.size(), 1),
        restart(points.size(), 0) {}

  SequenceInput Input() const { return {points, centre, sigma, used, restart}; }
};

TEST(Cusum, StandardisesByTheCentreAndSigmaOfEachPoint) {
  Steady chart({12, 26, 7}, 10, 1);  // y = 2, 2, -3
  chart.centre = {10, 20, 10};
  chart.sigma = {1, 3, 1};
  const CusumSeries series = Cusum(chart.Input());
  ExpectSeries(series.up, {1.5, 3.0, 0.0}, "up");
  ExpectSeries(series.down, {0.0, 0.0, 2.5}, "down");
  ExpectSeries(series.points, {1.5, 3.0, -2.5}, "the larger of both, down as a negative");
}

TEST(Cusum, DoesNotResetAfterASignal) {
  const CusumSeries series = Cusum(Steady({4, 4, 4}, 0, 1).Input());
  ExpectSeries(series.points, {3.5, 7.0, 10.5}, "past h = 5");
}

TEST(Cusum, AnUnusedPointIsShownAndForgotten) {
  Steady chart({2, 9, 2}, 0, 1);
  chart.used[1] = 0;
  ExpectSeries(Cusum(chart.Input()).points, {1.5, 10.0, 3.0}, "the third goes on from the first");
}

TEST(Cusum, APointWithoutValueOrSigmaLeavesTheSums) {
  Steady chart({2, kNaN, 2, 2, 2}, 0, 1);
  chart.sigma[2] = 0;
  chart.sigma[3] = kNaN;
  ExpectSeries(Cusum(chart.Input()).points, {1.5, kNaN, kNaN, kNaN, 3.0}, "sums wait");
}

TEST(Cusum, ARestartBeginsWithTheHeadStart) {
  Steady chart({2, 2, 2}, 0, 1);
  chart.restart[2] = 1;
  ExpectSeries(Cusum(chart.Input()).points, {1.5, 3.0, 1.5}, "from 0");
  ExpectSeries(Cusum(chart.Input(), {0.5, 5.0, 2.5}).points, {4.0, 5.5, 4.0}, "from 2.5");
}

TEST(Cusum, EqualSumsShowTheUpperOne) {
  ExpectSeries(Cusum(Steady({0}, 0, 1).Input(), {0.0, 5.0, 1.0}).points, {1.0}, "1 up, 1 down");
}

TEST(Ewma, VarianceOfConstantSigmaHasTheClosedForm) {
  const EwmaSeries series = Ewma(Steady(std::vector<double>(30, 5.0), 4.0, 2.0).Input());
  for (int i = 1; i <= 30; ++i) {
    const double variance = 4.0 * 0.2 / 1.8 * (1.0 - std::pow(0.8, 2 * i));
    const std::size_t at = static_cast<std::size_t>(i - 1);
    EXPECT_NEAR(series.sigma[at], std::sqrt(variance), 1e-13) << i;
    EXPECT_NEAR(series.upper[at], 4.0 + 3.0 * std::sqrt(variance), 1e-13) << i;
    EXPECT_NEAR(series.lower[at], 4.0 - 3.0 * std::sqrt(variance), 1e-13) << i;
    EXPECT_NEAR(series.points[at], 5.0 - std::pow(0.8, i), 1e-13) << i;
    EXPECT_EQ(series.centre[at], 4.0);
  }
  EXPECT_NEAR(EwmaAsymptoticSigma(2.0, 0.2), 2.0 / 3.0, 1e-15);
}

TEST(Ewma, AnUnusedPointAndAPointWithoutValueLeaveItAsItWas) {
  Steady chart({10, 100, kNaN, 10}, 0, 1);
  chart.used[1] = 0;
  const EwmaSeries series = Ewma(chart.Input());
  ExpectSeries(series.points, {2.0, 21.6, kNaN, 3.6}, "0.2 x + 0.8 z");
  EXPECT_EQ(series.sigma[1], series.sigma[2]) << "shown against what stands before them";
  EXPECT_EQ(series.sigma[1], series.sigma[3]) << "and then forgotten";
}

TEST(Ewma, ARestartBeginsAtTheCentre) {
  Steady chart({10, 10, 10}, 0, 1);
  chart.restart[2] = 1;
  const EwmaSeries series = Ewma(chart.Input());
  ExpectSeries(series.points, {2.0, 3.6, 2.0}, "points");
  EXPECT_EQ(series.sigma[2], series.sigma[0]);
}

TEST(Ewma, AStepOfTheCentreIsNoSignal) {
  Steady chart({10, 30, 10}, 10, 1);
  chart.centre = {10, 30, 10};
  ExpectSeries(Ewma(chart.Input()).points, {10, 30, 10}, "every point is on its centre");
}

TEST(Ewma, WithoutSigmaThereArePointsButNoLimits) {
  const EwmaSeries series = Ewma(Steady({10, 10}, 0, kNaN).Input());
  ExpectSeries(series.points, {2.0, 3.6}, "points");
  EXPECT_TRUE(std::isnan(series.upper[1]) && std::isnan(series.lower[1]));
  EXPECT_EQ(series.centre[1], 0.0);
}

TEST(Ewma, AMissingSigmaInTheMiddleCostsTheLimitsThereOnly) {
  Steady chart({10, 10, 10}, 0, 1);
  chart.sigma[1] = kNaN;
  const EwmaSeries series = Ewma(chart.Input());
  EXPECT_TRUE(std::isnan(series.upper[1]));
  EXPECT_NEAR(series.sigma[2], std::sqrt(0.04 + 0.64 * 0.04), 1e-15);
}

TEST(MovingCentreEwma, RawPointsAgainstTheEwmaOfThoseBefore) {
  Steady chart({10, 20, 90, kNaN, 20}, 0, 1);
  chart.used[2] = 0;
  const EwmaSeries series = MovingCentreEwma(chart.Input(), [](double centre, std::size_t i) {
    return 1.0 + centre + static_cast<double>(i);
  });
  ExpectSeries(series.points, {10, 20, 90, kNaN, 20}, "points are raw");
  ExpectSeries(series.centre, {0, 2, 5.6, 5.6, 5.6}, "0.2 x + 0.8 z, one point late");
  ExpectSeries(series.sigma, {1, 4, 8.6, 9.6, 10.6}, "sigma follows the centre");
  ExpectSeries(series.upper, {3, 14, 31.4, 34.4, 37.4}, "three sigma up");
  ExpectSeries(series.lower, {-3, -10, -20.2, -23.2, -26.2}, "and down");
}

TEST(MovingCentreEwma, ARestartBeginsAtTheCentreLine) {
  Steady chart({10, 10, 10}, 1, 1);
  chart.restart[2] = 1;
  const EwmaSeries series =
      MovingCentreEwma(chart.Input(), [](double, std::size_t) { return 1.0; });
  ExpectSeries(series.centre, {1, 2.8, 1}, "centre");
}

TEST(TimeWeighted, NothingInNothingOut) {
  EXPECT_TRUE(Cusum({}).points.empty());
  EXPECT_TRUE(Ewma({}).points.empty());
  EXPECT_TRUE(MovingCentreEwma({}, [](double, std::size_t) { return 1.0; }).points.empty());
}

}  // namespace
}  // namespace orvspc::engine::statistics
