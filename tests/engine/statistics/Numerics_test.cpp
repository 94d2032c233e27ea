// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Numerics.h"

#include <cmath>
#include <numbers>

#include <gtest/gtest.h>
#include "engine/statistics/Distributions.h"

namespace orvspc::engine::statistics {
namespace {

TEST(Root, IsExactToTwelveDigits) {
  EXPECT_NEAR(Root([](double x) { return x * x - 2.0; }, 0.0, 2.0), std::numbers::sqrt2, 2e-12);
  EXPECT_TRUE(std::isnan(Root([](double x) { return x * x + 1.0; }, 0.0, 2.0)));
}

TEST(GaussLegendre, IntegratesPolynomialsOfTwiceItsOrderLessOne) {
  for (const std::size_t order : {1U, 2U, 5U, 40U, 60U}) {
    const auto& rule = GaussLegendre(order);
    const auto power = static_cast<double>(2 * order - 2);
    double sum = 0.0, whole = 0.0;
    for (std::size_t i = 0; i < order; ++i) {
      sum += rule.weights[i] * std::pow(rule.nodes[i], power);
      whole += rule.weights[i];
    }
    EXPECT_NEAR(sum, 2.0 / (power + 1.0), 1e-13) << order;
    EXPECT_NEAR(whole, 2.0, 1e-13) << order;
  }
}

TEST(Integral, OfTheNormalDensityIsItsShare) {
  EXPECT_NEAR(Integral(NormalDensity, -1.96, 1.96), 1.0 - 2.0 * NormalAbove(1.96), 1e-12);
}

// The first figures of the generator are laid down: its 10000th draw is in the C++ standard.
TEST(Draws, AreTheSameOnEveryMachine) {
  std::mt19937_64 engine;
  engine.discard(9999);
  EXPECT_EQ(engine(), 9981545732273789042U);
  Draws draws, again;
  for (int i = 0; i < 100; ++i) EXPECT_EQ(draws.Uniform(), again.Uniform());
  for (int i = 0; i < 1000; ++i) EXPECT_LT(draws.Index(7), 7U);
}

// Computed with 30 digits from sums and the incomplete beta and gamma functions.
TEST(Distributions, AgreeWithThirtyDigits) {
  EXPECT_NEAR(StudentQuantile(0.975, 10.0), 2.2281388519862747, 1e-12);
  EXPECT_NEAR(StudentAbove(2.2281388519862747, 10.0), 0.025, 1e-14);
  EXPECT_NEAR(FQuantile(0.95, 3.0, 20.0), 3.0983912121407801, 1e-12);
  EXPECT_NEAR(FAbove(FQuantile(0.999, 4.0, 7.0), 4.0, 7.0), 0.001, 1e-13);
  EXPECT_NEAR(BinomialAtMost(2.0, 10.0, 0.25), 0.5255928039550781, 1e-14);
  EXPECT_NEAR(PoissonAtMost(3.0, 2.5), 0.75757613313306597, 1e-14);
  EXPECT_NEAR(HypergeometricAtMost(1.0, 5.0, 4.0, 20.0), 0.75128998968008256, 1e-12);
  EXPECT_NEAR(NoncentralChiSquareBelow(5.0, 3.0, 2.0), 0.59340518008315563, 1e-13);
  // The one-sided tolerance factor of n 10, share 0.95, confidence 0.95.
  EXPECT_NEAR(
      NoncentralTQuantile(0.95, 9.0, NormalQuantile(0.95) * std::sqrt(10.0)) / std::sqrt(10.0),
      2.9109634130781665, 1e-9);
  EXPECT_NEAR(Digamma(1.0), -0.5772156649015329, 1e-15);
  EXPECT_NEAR(Trigamma(1.0), std::numbers::pi * std::numbers::pi / 6.0, 1e-14);
}

}  // namespace
}  // namespace orvspc::engine::statistics
