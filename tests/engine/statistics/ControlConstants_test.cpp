// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/ControlConstants.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

namespace orvspc::engine::statistics {

namespace {

constexpr std::int32_t kLargest = std::numeric_limits<std::int32_t>::max();

TEST(ControlConstants, BelowTwoThereAreNone) {
  for (const std::int32_t n : {1, 0, -1, std::numeric_limits<std::int32_t>::min()})
    for (const auto constant : {D2, D3, C4, C5, MedianSd})
      EXPECT_TRUE(std::isnan(constant(n))) << n;
}

TEST(ControlConstants, EveryConstantIsMonotonicAcrossTheEndOfTheTable) {
  for (std::int32_t n = 4; n < 3000; ++n) {
    EXPECT_GT(D2(n + 1), D2(n)) << n;
    EXPECT_LT(D3(n + 1), D3(n)) << n;
    EXPECT_GT(C4(n + 1), C4(n)) << n;
    EXPECT_LT(C5(n + 1), C5(n)) << n;
    EXPECT_LT(MedianSd(n + 2), MedianSd(n)) << n << ": odd and even sizes each fall";
  }
}

// The second difference of a smooth function is small: a jump of 1e-9 between table and series
// would show.
TEST(ControlConstants, TableAndSeriesJoinSmoothly) {
  for (std::int32_t n = 90; n <= 110; ++n)
    for (const auto constant : {D2, D3, C4, C5}) {
      const auto second = [&](std::int32_t at) {
        return constant(at + 1) - 2.0 * constant(at) + constant(at - 1);
      };
      EXPECT_NEAR(second(n), (second(n - 2) + second(n + 2)) / 2.0, 1e-6) << n;
      const double fourth = second(n + 1) - 2.0 * second(n) + second(n - 1);
      EXPECT_LT(std::fabs(fourth), 1e-7) << n;
    }
}

TEST(ControlConstants, LargestSizeHasTheirLimits) {
  const double n = static_cast<double>(kLargest);
  EXPECT_NEAR(MedianSd(kLargest) / std::sqrt(std::numbers::pi / (2.0 * n)), 1.0, 1e-9);
  EXPECT_NEAR(MedianSd(kLargest - 1) / std::sqrt(std::numbers::pi / (2.0 * n)), 1.0, 1e-9);
  EXPECT_NEAR(C5(kLargest) * std::sqrt(2.0 * (n - 1.0)), 1.0, 1e-9);
  EXPECT_NEAR((1.0 - C4(kLargest)) * 4.0 * (n - 1.0), 1.0, 1e-6);
  EXPECT_NEAR(D2(kLargest), 12.418096060174597, 1e-12)
      << "twice the mean of the largest, integrated with 40 digits";
  EXPECT_NEAR(D3(kLargest), 0.28065062750510157, 1e-13);
}

TEST(ControlConstants, C5IsTheDeviationThatBelongsToC4) {
  for (const std::int32_t n : {2, 3, 5, 50, 100, 101, 200})
    EXPECT_NEAR(C4(n) * C4(n) + C5(n) * C5(n), 1.0, 1e-15) << n;
}

TEST(ControlConstants, MedianOfUpToTenValues) {
  const double e[] = {0.707106781187, 0.669829160740, 0.546076568290,
                      0.535568540530, 0.463403351932, 0.458744876304,
                      0.410098591999, 0.407555249455, 0.371922620764};
  for (std::int32_t n = 2; n <= 10; ++n) EXPECT_NEAR(MedianSd(n), e[n - 2], 1e-12) << n;
}

}  // namespace
}  // namespace orvspc::engine::statistics
