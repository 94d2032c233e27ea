// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Moments.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "platform/NaN.h"

namespace orvspc::engine::statistics {

namespace {

using platform::kNaN;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(Moments, OfNothingAndOfOneValue) {
  const std::vector<double> none, one{7.5};
  EXPECT_TRUE(std::isnan(Mean(none)));
  EXPECT_TRUE(std::isnan(SumOfSquares(none)));
  EXPECT_TRUE(std::isnan(SampleVariance(none)));
  EXPECT_TRUE(std::isnan(Median(none)));
  EXPECT_TRUE(std::isnan(Quantile(none, 0.5)));
  EXPECT_EQ(Mean(one), 7.5);
  EXPECT_EQ(SumOfSquares(one), 0.0);
  EXPECT_TRUE(std::isnan(SampleVariance(one)));
  EXPECT_TRUE(std::isnan(SampleStandardDeviation(one)));
  EXPECT_EQ(Median(one), 7.5);
}

TEST(Moments, AValueThatIsNoNumberMakesTheResultNoNumber) {
  for (const double bad : {kNaN, kInfinity}) {
    const std::vector<double> values{1.0, bad, 2.0};
    EXPECT_TRUE(std::isnan(SampleVariance(values)));
    EXPECT_FALSE(std::isfinite(Mean(values)));
  }
}

// By hand: 2, 4, 4, 10 has mean 5 and squares 9 + 1 + 1 + 25.
TEST(Moments, DivisorIsOneLessThanTheNumber) {
  const std::vector<double> values{2, 4, 4, 10};
  EXPECT_DOUBLE_EQ(Mean(values), 5.0);
  EXPECT_DOUBLE_EQ(SumOfSquares(values), 36.0);
  EXPECT_DOUBLE_EQ(SampleVariance(values), 12.0);
  const CentralMoments moments = CentralMomentsOf(values);
  EXPECT_DOUBLE_EQ(moments.m2, 9.0);
  EXPECT_DOUBLE_EQ(moments.m3, (-27.0 - 1.0 - 1.0 + 125.0) / 4.0);
  EXPECT_DOUBLE_EQ(moments.m4, (81.0 + 1.0 + 1.0 + 625.0) / 4.0);
}

TEST(Moments, ACommonOffsetCostsNoDigits) {
  const std::vector<double> near{2, 4, 4, 10, 3, -7, 11};
  for (const double offset : {1e6, -1e9, 1e14}) {
    std::vector<double> far = near;
    for (double& x : far) x += offset;
    EXPECT_DOUBLE_EQ(SampleVariance(far), SampleVariance(near)) << offset;
    EXPECT_DOUBLE_EQ(Summarise(far).sd, Summarise(near).sd) << offset;
    EXPECT_NEAR(SampleSkewness(CentralMomentsOf(far)), SampleSkewness(CentralMomentsOf(near)),
                1e-13)
        << offset;
  }
}

TEST(Moments, EqualValuesHaveNoSpread) {
  const std::vector<double> values(7, 0.1);
  EXPECT_EQ(SampleVariance(values), 0.0);
  EXPECT_EQ(Mean(values), 0.1);
  EXPECT_EQ(SampleSkewness(CentralMomentsOf(values)), 0.0);
  EXPECT_EQ(SampleKurtosis(CentralMomentsOf(values)), 0.0);
}

TEST(CentralMoments, TooFewValuesHaveNoShape) {
  const std::vector<double> values{1, 2, 9};
  EXPECT_EQ(SampleSkewness(CentralMomentsOf(std::vector<double>{1, 2})), 0.0);
  EXPECT_GT(SampleSkewness(CentralMomentsOf(values)), 1.0);
  EXPECT_EQ(SampleKurtosis(CentralMomentsOf(values)), 0.0);
  EXPECT_TRUE(std::isnan(CentralMomentsOf({}).mean));
}

// 1, 2, 3, 4, 10 by hand: mean 4, m2 = 10, m3 = 36, m4 = 278.8.
TEST(CentralMoments, SkewnessAndKurtosisByHand) {
  const CentralMoments moments = CentralMomentsOf(std::vector<double>{1, 2, 3, 4, 10});
  EXPECT_NEAR(SampleSkewness(moments), std::sqrt(20.0) / 3.0 * 36.0 / std::pow(10.0, 1.5), 1e-14);
  EXPECT_NEAR(SampleKurtosis(moments), 4.0 / 6.0 * (6.0 * (2.788 - 3.0) + 6.0), 1e-14);
}

TEST(SampleSummary, SkipsWhatIsNotFinite) {
  const SampleSummary summary = Summarise(std::vector<double>{kNaN, 3, kInfinity, 1, 8, kNaN});
  EXPECT_EQ(summary.count, 3);
  EXPECT_DOUBLE_EQ(summary.mean, 4.0);
  EXPECT_DOUBLE_EQ(summary.sd, std::sqrt(13.0));
  EXPECT_DOUBLE_EQ(summary.range, 7.0);
  EXPECT_EQ(summary.smallest, 1.0);
  EXPECT_EQ(summary.largest, 8.0);
}

TEST(SampleSummary, OfOnePieceHasAMeanOnly) {
  const SampleSummary one = Summarise(std::vector<double>{kNaN, 3}), none = Summarise({});
  EXPECT_EQ(one.count, 1);
  EXPECT_EQ(one.mean, 3.0);
  EXPECT_EQ(one.largest, 3.0);
  EXPECT_TRUE(std::isnan(one.sd) && std::isnan(one.range));
  EXPECT_EQ(none.count, 0);
  EXPECT_TRUE(std::isnan(none.mean) && std::isnan(none.sd) && std::isnan(none.range) &&
              std::isnan(none.smallest));
}

TEST(Median, OfOddEvenShortAndLongSamples) {
  EXPECT_EQ(Median(std::vector<double>{9, 1, 5}), 5.0);
  EXPECT_EQ(Median(std::vector<double>{9, 1, 5, 6}), 5.5);
  EXPECT_EQ(Median(std::vector<double>{9, kNaN, 5}), 7.0);
  EXPECT_TRUE(std::isnan(Median(std::vector<double>{kNaN, kNaN})));
  for (const std::size_t count : {31U, 32U, 33U, 1000U}) {
    std::vector<double> values(count);
    for (std::size_t i = 0; i < count; ++i) values[i] = static_cast<double>(i * 7919 % count);
    EXPECT_DOUBLE_EQ(Median(values), static_cast<double>(count - 1) / 2.0) << count;
  }
}

TEST(Quantile, HazensPositionsClampedToTheSample) {
  const std::vector<double> sorted{10, 20, 30, 50};
  const struct {
    double p, value;
    const char* reason;
  } rows[] = {
      {0.0, 10, "clamped"},       {0.125, 10, "position 1"},
      {0.25, 15, "position 1.5"}, {0.5, 25, "position 2.5, the median"},
      {0.625, 30, "position 3"},  {0.75, 40, "position 3.5"},
      {0.875, 50, "position 4"},  {1.0, 50, "clamped"},
      {-1.0, 10, "clamped"},      {2.0, 50, "clamped"},
  };
  for (const auto& row : rows)
    EXPECT_DOUBLE_EQ(Quantile(sorted, row.p), row.value) << row.p << " " << row.reason;
  EXPECT_TRUE(std::isnan(Quantile(sorted, kNaN)));
  EXPECT_EQ(Quantile(std::vector<double>{7}, 0.99), 7.0);
}

}  // namespace
}  // namespace orvspc::engine::statistics
