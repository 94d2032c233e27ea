// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Estimators.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

#include "engine/statistics/Moments.h"
#include "platform/NaN.h"

namespace orvspc::engine::statistics {

namespace {

using platform::kNaN;

// To 12 digits, by hand from tables.
constexpr double kD2Of2 = 1.12837916710, kD3Of2 = 0.852502466427;
constexpr double kD2Of5 = 2.32592894728, kD3Of5 = 0.864081941100;
constexpr double kC4Of2 = 0.797884560803, kC4Of5 = 0.939985602987;

const std::vector<double> kTwoAndFive{1.0, 3.0};
const std::vector<std::int32_t> kSizes{2, 5};

TEST(SigmaFromRanges, OneSizeIsMeanRangeOverD2UnderEverySetting) {
  const std::vector<double> ranges{3, 3, 2};
  const std::vector<std::int32_t> sizes{5, 5, 5};
  for (const auto setting : {EstimatorSetting::Mvlue, EstimatorSetting::Unweighted,
                             EstimatorSetting::Pooled, EstimatorSetting::PooledAsSbar}) {
    const SigmaEstimate sigma = SigmaFromRanges(ranges, sizes, setting);
    EXPECT_NEAR(sigma.value, 8.0 / 3.0 / kD2Of5, 1e-11);
    EXPECT_NEAR(sigma.constant, kD2Of5, 1e-11);
    EXPECT_EQ(sigma.used, 3);
    EXPECT_EQ(sigma.smallest_n, 5);
    EXPECT_EQ(sigma.largest_n, 5);
    EXPECT_EQ(SigmaAt(sigma, 3), sigma.value);
  }
}

TEST(SigmaFromRanges, VaryingSizesAreWeightedByTheInverseVariance) {
  const double f2 = kD2Of2 * kD2Of2 / (kD3Of2 * kD3Of2), f5 = kD2Of5 * kD2Of5 / (kD3Of5 * kD3Of5);
  const SigmaEstimate sigma = SigmaFromRanges(kTwoAndFive, kSizes);
  EXPECT_NEAR(sigma.value, (f2 * 1.0 / kD2Of2 + f5 * 3.0 / kD2Of5) / (f2 + f5), 1e-10);
  EXPECT_EQ(sigma.name, "R-est mvlue");
  EXPECT_TRUE(std::isnan(sigma.constant)) << "several constants were used";
  EXPECT_EQ(sigma.smallest_n, 2);
  EXPECT_EQ(sigma.largest_n, 5);
}

TEST(SigmaFromRanges, UnweightedIsThePlainMean) {
  const SigmaEstimate sigma = SigmaFromRanges(kTwoAndFive, kSizes, EstimatorSetting::Unweighted);
  EXPECT_NEAR(sigma.value, (1.0 / kD2Of2 + 3.0 / kD2Of5) / 2.0, 1e-10);
  EXPECT_EQ(sigma.name, "R-est unweighted");
}

TEST(SigmaFromRanges, RangesCannotBePooledAndTheNameSaysWhatWasDone) {
  EXPECT_EQ(SigmaFromRanges(kTwoAndFive, kSizes, EstimatorSetting::Pooled).name, "R-est mvlue");
  EXPECT_EQ(SigmaFromRanges(kTwoAndFive, kSizes, EstimatorSetting::Pooled).value,
            SigmaFromRanges(kTwoAndFive, kSizes).value);
}

TEST(SigmaFromSds, VaryingSizesUnderEverySetting) {
  const double h2 = kC4Of2 * kC4Of2 / (1 - kC4Of2 * kC4Of2),
               h5 = kC4Of5 * kC4Of5 / (1 - kC4Of5 * kC4Of5);
  const double pooled = std::sqrt((1.0 * 1.0 + 4.0 * 9.0) / 5.0);
  const struct {
    EstimatorSetting setting;
    double value;
    const char* name;
  } rows[] = {
      {EstimatorSetting::Mvlue, (h2 * 1.0 / kC4Of2 + h5 * 3.0 / kC4Of5) / (h2 + h5), "S-est mvlue"},
      {EstimatorSetting::Unweighted, (1.0 / kC4Of2 + 3.0 / kC4Of5) / 2.0, "S-est unweighted"},
      {EstimatorSetting::Pooled, pooled, "S-est pooled"},
      {EstimatorSetting::PooledAsSbar, pooled * (1.0 / kC4Of2 + 1.0 / kC4Of5) / 2.0,
       "S-est pooled-as-sbar"},
  };
  for (const auto& row : rows) {
    const SigmaEstimate sigma = SigmaFromSds(kTwoAndFive, kSizes, row.setting);
    EXPECT_NEAR(sigma.value, row.value, 1e-10) << row.name;
    EXPECT_EQ(sigma.name, row.name);
    EXPECT_EQ(sigma.used, 2);
  }
}

TEST(SigmaFromSds, PooledAsSbarIsDividedByC4OfEachPoint) {
  const SigmaEstimate sigma = SigmaFromSds(kTwoAndFive, kSizes, EstimatorSetting::PooledAsSbar);
  EXPECT_NEAR(SigmaAt(sigma, 2), sigma.sbar / kC4Of2, 1e-10);
  EXPECT_NEAR(SigmaAt(sigma, 5), sigma.sbar / kC4Of5, 1e-10);
  const std::vector<std::int32_t> fives{5, 5};
  const SigmaEstimate one_size = SigmaFromSds(kTwoAndFive, fives, EstimatorSetting::PooledAsSbar);
  EXPECT_NEAR(one_size.value, std::sqrt(5.0) / kC4Of5, 1e-10);
  EXPECT_NEAR(one_size.constant, kC4Of5, 1e-11);
  EXPECT_EQ(SigmaAt(one_size, 5), one_size.value);
}

TEST(SigmaEstimate, SkipsNaNSmallSizesAndUnusedSubgroups) {
  const std::vector<double> statistics{1.0, kNaN, 100.0, 100.0, 3.0};
  const std::vector<std::int32_t> sizes{2, 5, 1, 5, 5};
  const std::vector<std::uint8_t> used{1, 1, 1, 0, 1};
  const auto expect_two = [](const SigmaEstimate& sigma, double value) {
    EXPECT_EQ(sigma.used, 2);
    EXPECT_DOUBLE_EQ(sigma.value, value) << sigma.name;
  };
  for (const auto setting : {EstimatorSetting::Mvlue, EstimatorSetting::Unweighted,
                             EstimatorSetting::Pooled, EstimatorSetting::PooledAsSbar}) {
    expect_two(SigmaFromRanges(statistics, sizes, setting, used),
               SigmaFromRanges(kTwoAndFive, kSizes, setting).value);
    expect_two(SigmaFromSds(statistics, sizes, setting, used),
               SigmaFromSds(kTwoAndFive, kSizes, setting).value);
  }
  expect_two(CvFromRatios(statistics, sizes, used), CvFromRatios(kTwoAndFive, kSizes).value);
}

TEST(CvFromRatios, SolvesForTheBiasOfEachSize) {
  // gamma 0.25 of sizes 2 and 5: each ratio is just its expectation c4 gamma (1 + gamma^2/n).
  const double gamma = 0.25;
  const std::vector<double> ratios{kC4Of2 * gamma * (1.0 + gamma * gamma / 2.0),
                                   kC4Of5 * gamma * (1.0 + gamma * gamma / 5.0)};
  EXPECT_NEAR(CvFromRatios(ratios, kSizes).value, gamma, 1e-11);
  const std::vector<std::int32_t> twos{2, 2};
  const double root = CvFromRatios(ratios, twos).value;
  EXPECT_NEAR(root * (1.0 + root * root / 2.0), (ratios[0] + ratios[1]) / 2.0 / kC4Of2, 1e-11);
  EXPECT_NEAR(CvFromRatios(std::vector<double>{1e-9, 1e-9}, twos).value, 1e-9 / kC4Of2, 1e-18);
  EXPECT_EQ(CvFromRatios(std::vector<double>{0.0, 0.0}, twos).value, 0.0);
}

TEST(SigmaEstimate, NothingToEstimateFrom) {
  const std::vector<double> statistics{kNaN, 2.0};
  const std::vector<std::int32_t> sizes{5, 1};
  for (const SigmaEstimate& sigma :
       {SigmaFromRanges(statistics, sizes), SigmaFromSds(statistics, sizes),
        SigmaFromSds(statistics, sizes, EstimatorSetting::Pooled),
        SigmaFromSds({}, {}, EstimatorSetting::PooledAsSbar),
        SigmaFromMovingRanges(std::vector<double>{4.0}), CvFromRatios({}, {})}) {
    EXPECT_FALSE(sigma.Exists());
    EXPECT_TRUE(std::isnan(sigma.value));
    EXPECT_TRUE(std::isnan(SigmaAt(sigma, 5)));
    EXPECT_EQ(sigma.name, "none");
  }
}

TEST(SigmaEstimate, NoSpreadIsASigmaOfZero) {
  const std::vector<double> zeros(3, 0.0);
  const std::vector<std::int32_t> sizes{5, 4, 5};
  EXPECT_EQ(SigmaFromRanges(zeros, sizes).value, 0.0);
  EXPECT_EQ(SigmaFromSds(zeros, sizes, EstimatorSetting::Pooled).value, 0.0);
  EXPECT_TRUE(SigmaFromRanges(zeros, sizes).Exists());
}

// Normal samples of 2, 5 and 9 with sigma 2: each unbiased estimator finds it, the weighted one
// with the least scatter.
TEST(SigmaEstimate, UnbiasedAndOfLeastScatterOnNormalSamples) {
  std::mt19937_64 random(19690601);
  std::normal_distribution<double> normal(50.0, 2.0);
  const std::vector<std::int32_t> sizes{2, 9, 5, 2, 5, 9, 2};
  std::vector<double> weighted, unweighted, by_sds;
  for (int run = 0; run < 20000; ++run) {
    std::vector<double> ranges, sds;
    for (const std::int32_t n : sizes) {
      std::vector<double> sample(static_cast<std::size_t>(n));
      for (double& x : sample) x = normal(random);
      const SampleSummary summary = Summarise(sample);
      ranges.push_back(summary.range);
      sds.push_back(summary.sd);
    }
    weighted.push_back(SigmaFromRanges(ranges, sizes).value);
    unweighted.push_back(SigmaFromRanges(ranges, sizes, EstimatorSetting::Unweighted).value);
    by_sds.push_back(SigmaFromSds(sds, sizes).value);
  }
  for (const auto* one : {&weighted, &unweighted, &by_sds})
    EXPECT_NEAR(Mean(*one), 2.0, 4.0 * SampleStandardDeviation(*one) / std::sqrt(20000.0));
  EXPECT_LT(SampleVariance(weighted), 0.8 * SampleVariance(unweighted));
  EXPECT_LT(SampleVariance(by_sds), SampleVariance(weighted));
}

TEST(MovingRanges, NoneReachesAcrossAPointThatBeginsAnew) {
  const std::vector<double> points = {1, 3, 50, 10, 13};
  const std::vector<std::uint8_t> used = {1, 1, 0, 1, 1}, anew = {0, 0, 1, 0, 0};
  const auto ranges = MovingRanges(points, used, anew);
  EXPECT_EQ(ranges[1], 2.0);
  EXPECT_TRUE(std::isnan(ranges[2]));
  EXPECT_TRUE(std::isnan(ranges[3]));
  EXPECT_EQ(ranges[4], 3.0);
  for (const auto& sigma : {SigmaFromMovingRanges(points, used, kUsualEstimator, anew),
                            SigmaFromScreenedMovingRanges(points, used, anew)}) {
    EXPECT_EQ(sigma.used, 2);
    EXPECT_NEAR(sigma.value * sigma.constant, 2.5, 1e-12);
  }
}

TEST(MovingRanges, AnUnusedPointIsShownAndForgottenAndNaNBreaksTheChain) {
  const std::vector<double> points{10, 12, 20, 11, kNaN, 15, 14};
  const std::vector<std::uint8_t> used{1, 1, 0, 1, 1, 1, 1};
  const std::vector<double> ranges = MovingRanges(points, used);
  const double expected[] = {kNaN, 2, 8, 1, kNaN, kNaN, 1};
  for (std::size_t i = 0; i < ranges.size(); ++i) {
    if (std::isnan(expected[i]))
      EXPECT_TRUE(std::isnan(ranges[i])) << i;
    else
      EXPECT_EQ(ranges[i], expected[i]) << i;
  }
  const SigmaEstimate sigma = SigmaFromMovingRanges(points, used);
  EXPECT_EQ(sigma.used, 3) << "2, 1 and 1";
  EXPECT_NEAR(sigma.value, 4.0 / 3.0 / kD2Of2, 1e-10);
  EXPECT_EQ(sigma.name, "MR-est");
  EXPECT_NEAR(sigma.constant, kD2Of2, 1e-10);
  EXPECT_EQ(sigma.largest_n, 2);
}

TEST(Centre, WeightedBySizeOrPlain) {
  const std::vector<double> points{1e9 + 1, kNaN, 1e9 + 4, 5, 7};
  const std::vector<std::int32_t> sizes{2, 4, 1, 3, 0};
  const std::vector<std::uint8_t> used{1, 1, 1, 0, 1};
  EXPECT_DOUBLE_EQ(WeightedCentre(points, sizes, used), 1e9 + 2);
  EXPECT_DOUBLE_EQ(
      PlainCentre(std::vector<double>{1, kNaN, 4, 100}, std::vector<std::uint8_t>{1, 1, 1, 0}),
      2.5);
  EXPECT_TRUE(std::isnan(WeightedCentre({}, {})));
  EXPECT_TRUE(std::isnan(PlainCentre(std::vector<double>{kNaN})));
}

TEST(SigmaFromMean, TakesTheCallersConstant) {
  EXPECT_DOUBLE_EQ(SigmaFromMean(std::vector<double>{2, kNaN, 4}, 1.5), 2.0);
  EXPECT_TRUE(std::isnan(SigmaFromMean(std::vector<double>{kNaN}, 1.128)));
}

TEST(EstimatorSetting, NamesReadBack) {
  for (const char* name : {"mvlue", "unweighted", "pooled", "pooled-as-sbar"}) {
    const auto setting = EstimatorSettingFromName(name);
    ASSERT_TRUE(setting.has_value()) << name;
    EXPECT_EQ(NameOf(*setting), name);
  }
  EXPECT_FALSE(EstimatorSettingFromName("MVLUE").has_value());
  EXPECT_EQ(NameOf(static_cast<EstimatorSetting>(9)), "");
}

}  // namespace
}  // namespace orvspc::engine::statistics
