// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Johnson.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace orvspc::engine::statistics {

namespace {

JohnsonQuantiles QuantilesOf(const JohnsonCurve& law, double z) {
  return {z, law.AtScore(3.0 * z), law.AtScore(z), law.AtScore(-z), law.AtScore(-3.0 * z)};
}

struct SimulatedLaw {
  JohnsonParameters of;
  const char* reason;
};

std::vector<SimulatedLaw> Laws() {
  using enum JohnsonFamily;
  return {
      {{Unbounded, 1.0, 2.0, 10.0, 3.0}, "SU, skewed"},
      {{Unbounded, 0.0, 1.2, -5.0, 0.5}, "SU, symmetric with long tails"},
      {{Unbounded, -2.0, 1.5, 1e6, 100.0}, "SU, the other way, far from 0"},
      {{Bounded, 0.5, 0.8, 2.0, 6.0}, "SB, skewed"},
      {{Bounded, 0.0, 0.5, -1.0, 2.0}, "SB, two peaks"},
      {{Lognormal, 1.0, 1.5, 3.0, 1.0}, "SL"},
      {{Lognormal, -0.5, 0.7, -20.0, 1.0}, "SL, very skewed"},
      {{Lognormal, -1.0, -1.5, 8.0, -1.0}, "SL with the long tail below"},
  };
}

TEST(FitJohnson, RecoversTheLawItsQuantilesCameFrom) {
  for (const auto& [of, reason] : Laws()) {
    const JohnsonCurve law(of);
    for (const double z : {0.4, 0.524, 0.8}) {
      const auto fit = FitJohnson(QuantilesOf(law, z));
      ASSERT_TRUE(fit.curve.has_value()) << reason << " z " << z;
      const auto& got = fit.curve->Parameters();
      EXPECT_EQ(got.family, of.family) << reason;
      const double scale = std::fabs(of.lambda);
      EXPECT_NEAR(got.gamma, of.gamma, 1e-9) << reason << " z " << z;
      EXPECT_NEAR(got.delta, of.delta, 1e-9) << reason << " z " << z;
      EXPECT_NEAR(got.xi, of.xi, 1e-9 * (scale + std::fabs(of.xi))) << reason << " z " << z;
      EXPECT_NEAR(got.lambda, of.lambda, 1e-8 * scale) << reason << " z " << z;
    }
  }
}

// Quantiles of SU(1, 2, 10, 3), worked out with 16 digits.
TEST(FitJohnson, TheWorkedExample) {
  const auto fit = FitJohnson(
      {0.524, 10.86974475895811, 9.279240247403289, 7.486262464784179, 4.987134457324446});
  ASSERT_TRUE(fit.curve.has_value());
  const auto& of = fit.curve->Parameters();
  EXPECT_EQ(of.family, JohnsonFamily::Unbounded);
  EXPECT_NEAR(of.gamma, 1.0, 1e-9);
  EXPECT_NEAR(of.delta, 2.0, 1e-9);
  EXPECT_NEAR(of.xi, 10.0, 1e-9);
  EXPECT_NEAR(of.lambda, 3.0, 1e-8);
  EXPECT_NEAR(fit.curve->Quantile(0.00135), -0.8804513873327622, 1e-9);
  EXPECT_NEAR(fit.curve->Quantile(0.5), 8.436714083518758, 1e-9);
  EXPECT_NEAR(fit.curve->Quantile(0.99865), 13.525550327993905, 1e-9);
}

TEST(FitJohnson, NormalQuantilesNeedNoCurve) {
  const NormalDistribution law(5.0, 0.1);
  const double z = 0.524;
  const auto fit =
      FitJohnson({z, law.AtScore(3.0 * z), law.AtScore(z), law.AtScore(-z), law.AtScore(-3.0 * z)});
  EXPECT_TRUE(fit.normal_serves);
  EXPECT_FALSE(fit.curve.has_value());
}

TEST(FitJohnson, QuantilesThatDoNotRiseHaveNoCurve) {
  constexpr JohnsonQuantiles kRows[] = {
      {0.524, 1.0, 1.0, 1.0, 1.0},
      {0.524, 3.0, 2.0, 2.0, 1.0},
      {0.524, 1.0, 2.0, 3.0, 4.0},
      {0.524, INFINITY, 2.0, 1.0, 0.0},
      {0.524, std::numeric_limits<double>::quiet_NaN(), 2.0, 1.0, 0.0},
  };
  for (const auto& row : kRows) {
    const auto fit = FitJohnson(row);
    EXPECT_FALSE(fit.curve.has_value()) << row.at_3z;
    EXPECT_FALSE(fit.normal_serves) << row.at_3z;
  }
}

TEST(JohnsonCurve, ScoreQuantileAndSlopeBelongTogether) {
  for (const auto& [of, reason] : Laws()) {
    const JohnsonCurve law(of);
    for (const double score : {-3.0, -1.0, 0.0, 0.5, 2.5}) {
      const double x = law.AtScore(score);
      EXPECT_NEAR(law.Score(x), score, 1e-7) << reason;
      const double step = 1e-5 * std::fabs(of.lambda) / std::fabs(of.delta);
      const double slope = (law.Score(x + step) - law.Score(x - step)) / (2.0 * step);
      if (!std::isfinite(slope)) continue;
      EXPECT_NEAR(law.Slope(x) / slope, 1.0, 1e-3) << reason << " at " << score;
      EXPECT_GT(law.Slope(x), 0.0) << reason;
    }
  }
}

TEST(JohnsonCurve, OutsideTheSupportThereIsNothing) {
  const JohnsonCurve bounded({JohnsonFamily::Bounded, 0.5, 0.8, 2.0, 6.0});
  EXPECT_TRUE(bounded.Supports(2.1, 7.9));
  EXPECT_FALSE(bounded.Supports(2.0, 7.9));
  EXPECT_FALSE(bounded.Supports(2.1, 8.0));
  EXPECT_EQ(bounded.Below(1.0), 0.0);
  EXPECT_EQ(bounded.Above(1.0), 1.0);
  EXPECT_EQ(bounded.Above(9.0), 0.0);
  EXPECT_EQ(bounded.Density(9.0), 0.0);
  const JohnsonCurve reflected({JohnsonFamily::Lognormal, -1.0, -1.5, 8.0, -1.0});
  EXPECT_EQ(reflected.Above(8.0), 0.0);
  EXPECT_TRUE(reflected.Supports(-1e6, 7.9));
  EXPECT_FALSE(reflected.Supports(0.0, 8.1));
}

}  // namespace
}  // namespace orvspc::engine::statistics
