// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/TimeWeighted.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "engine/statistics/RunRules.h"
#include "tests/certified/chart_data.h"

namespace orvspc::certified {
namespace {

using namespace engine::statistics;

// NIST/SEMATECH e-Handbook 6.3.2.4; its limits are those after many points, to which ours have come
// at the 20th.
TEST(Ewma, HandbookExample) {
  const double printed[] = {50.6,  49.52, 50.56, 50.18, 50.16, 49.21, 49.75, 49.85, 50.26, 50.33,
                            50.11, 49.36, 49.52, 50.05, 49.38, 49.92, 50.73, 51.23, 51.94, 51.99};
  const std::vector<double> centre(20, 50.0), sigma(20, 2.0539);
  const EwmaSeries series = Ewma({kEwmaHandbook, centre, sigma, {}, {}}, {0.3, 3.0});
  const double half_width = 3.0 * EwmaAsymptoticSigma(2.0539, 0.3);
  EXPECT_NEAR(50.0 + half_width, 52.5884, 0.001);
  EXPECT_NEAR(50.0 - half_width, 47.4115, 0.001);
  EXPECT_NEAR(series.upper.back(), 52.5884, 0.001);
  EXPECT_NEAR(series.lower.back(), 47.4115, 0.001);
  for (std::size_t i = 0; i < 20; ++i) {
    EXPECT_NEAR(series.points[i], printed[i], 0.005) << i;
    EXPECT_LE(series.points[i], 50.0 + half_width) << i;
    EXPECT_GE(series.points[i], 50.0 - half_width) << i;
  }
}

// R package qcc, its own test of the cusum: h = 1, k = 1/2. A sum of exactly h does not signal.
TEST(Cusum, DeterministicSequenceWithSumsOnTheDecisionInterval) {
  const double points[] = {1.5, 0.5, 0.6, -1.5, -0.5, -0.8};
  const double up[] = {1.0, 1.0, 1.1, 0, 0, 0}, down[] = {0, 0, 0, 1.0, 1.0, 1.3};
  const std::vector<double> centre(6, 0.0), sigma(6, 1.0), upper(6, 1.0), lower(6, -1.0);
  const CusumSeries series = Cusum({points, centre, sigma, {}, {}}, {0.5, 1.0, 0.0});
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_NEAR(series.up[i], up[i], 1e-12) << i;
    EXPECT_NEAR(series.down[i], down[i], 1e-12) << i;
    EXPECT_EQ(series.points[i], series.up[i] >= series.down[i] ? series.up[i] : -series.down[i])
        << i;
  }
  RunInput input;
  input.points = series.points;
  input.centre = centre;
  input.sigma = sigma;
  input.ucl = upper;
  input.lcl = lower;
  const std::vector<RunRule> rules = SelectRules(StandardRules(), std::vector<std::int32_t>{1});
  EXPECT_EQ(EvaluateRules(input, rules), (std::vector<std::uint32_t>{0, 0, 2, 0, 0, 2}));
}

}  // namespace
}  // namespace orvspc::certified
