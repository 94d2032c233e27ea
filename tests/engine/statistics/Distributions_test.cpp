// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Distributions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/certified/CorrectDigits.h"

namespace orvspc::engine::statistics {

namespace {

using certified::CorrectDigits;

struct Row {
  double argument, wanted;
  const char* reason;
};

// Abramowitz & Stegun table 26.1 and R 4.2.2 (pnorm, lower.tail=FALSE).
TEST(NormalAbove, KeepsItsDigitsFarOut) {
  constexpr Row kRows[] = {
      {0.0, 0.5, "the middle"},
      {1.0, 0.158655253931457, "one sigma"},
      {-1.0, 0.841344746068543, "the other side"},
      {3.0, 0.00134989803163009, "the customary limit"},
      {6.0, 9.86587645037698e-10, "six sigmas"},
      {37.5, 4.60535300958195e-308, "the farthest score that has a tail"},
  };
  for (const auto& row : kRows) {
    EXPECT_GE(CorrectDigits(NormalAbove(row.argument), row.wanted),
              row.argument < 8.0 ? 13.0 : 12.0)
        << row.reason;
    EXPECT_EQ(NormalBelow(-row.argument), NormalAbove(row.argument)) << row.reason;
  }
}

TEST(NormalQuantile, InvertsTheTails) {
  EXPECT_GE(CorrectDigits(NormalQuantile(0.975), 1.95996398454005), 14.0);
  for (const double z : {-3.0, -0.5, 0.25, 1.0, 5.0, 8.0}) {
    EXPECT_NEAR(NormalUpperQuantile(NormalAbove(z)), z, 1e-12 * (1.0 + std::fabs(z))) << z;
  }
  EXPECT_NEAR(NormalUpperQuantile(NormalAbove(37.0)), 37.0, 1e-11);
}

TEST(NormalQuantile, EndsAreInfiniteAndNothingElseHasOne) {
  EXPECT_EQ(NormalQuantile(0.0), -INFINITY);
  EXPECT_EQ(NormalQuantile(1.0), INFINITY);
  for (const double share : {-0.1, 1.1, std::nan("")}) {
    EXPECT_TRUE(std::isnan(NormalQuantile(share))) << share;
  }
}

// R 4.2.2: pchisq, pf with lower.tail=FALSE; qchisq.
TEST(ChiSquareAbove, AgreesWithTables) {
  EXPECT_GE(CorrectDigits(ChiSquareAbove(20.0, 7.0), 0.00556968307294557), 13.0);
  EXPECT_EQ(ChiSquareAbove(0.0, 3.0), 1.0);
  EXPECT_EQ(ChiSquareAbove(INFINITY, 3.0), 0.0);
  EXPECT_GE(CorrectDigits(ChiSquareQuantile(0.95, 1.0), 3.84145882069412), 13.0);
  EXPECT_GE(CorrectDigits(ChiSquareQuantile(0.025, 11.0), 3.81574825223610), 13.0);
}

TEST(FAbove, AgreesWithTables) {
  // With 2 and d degrees the tail is (1 + 2 f/d)^(-d/2).
  EXPECT_GE(CorrectDigits(FAbove(3.0, 2.0, 10.0), std::pow(1.6, -5.0)), 14.0);
  EXPECT_GE(CorrectDigits(FAbove(21.0, 2.0, 180.0), std::pow(1.0 + 42.0 / 180.0, -90.0)), 13.0);
  EXPECT_EQ(FAbove(0.0, 2.0, 10.0), 1.0);
  EXPECT_EQ(FAbove(INFINITY, 2.0, 10.0), 0.0);
}

TEST(Tails, ArgumentsOutsideGiveNoNumberAndNothingIsThrown) {
  EXPECT_TRUE(std::isnan(ChiSquareAbove(-1.0, 3.0)));
  EXPECT_TRUE(std::isnan(ChiSquareAbove(1.0, 0.0)));
  EXPECT_TRUE(std::isnan(ChiSquareQuantile(1.5, 3.0)));
  EXPECT_TRUE(std::isnan(FAbove(std::nan(""), 2.0, 3.0)));
  EXPECT_TRUE(std::isnan(FAbove(1.0, 0.0, 3.0)));
  EXPECT_EQ(FAbove(std::numeric_limits<double>::max(), 5e6, 1.0) >= 0.0, true);
}

TEST(NormalDistribution, SharesScoresAndDensity) {
  const NormalDistribution law(10.0, 2.0);
  EXPECT_EQ(law.Score(16.0), 3.0);
  EXPECT_EQ(law.AtScore(-1.0), 8.0);
  EXPECT_GE(CorrectDigits(law.Between(8.0, 12.0), 0.682689492137086), 13.0);
  EXPECT_GE(CorrectDigits(law.Between(26.0, INFINITY), NormalAbove(8.0)), 13.0)
      << "the upper tail has all its digits";
  EXPECT_EQ(law.Between(12.0, 8.0), 0.0);
  EXPECT_GE(CorrectDigits(law.Density(10.0), 0.199471140200716), 14.0);
  EXPECT_GE(CorrectDigits(law.Quantile(0.5), 10.0), 15.0);
}

}  // namespace
}  // namespace orvspc::engine::statistics
