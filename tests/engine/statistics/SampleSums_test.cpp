// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/SampleSums.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "engine/statistics/Histogram.h"
#include "engine/statistics/Moments.h"

namespace orvspc::engine::statistics {

namespace {

std::vector<double> Normal(std::size_t count, double mean, double sd, unsigned seed) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> noise(mean, sd);
  std::vector<double> values(count);
  for (double& value : values) value = noise(random);
  return values;
}

// Everything in one go and in two parts that are merged.
template <class Sums>
std::vector<Sums> WholeAndMerged(const Sums& empty, std::span<const double> values) {
  std::vector<Sums> both{empty, empty};
  both[0].Add(values);
  auto behind = empty;
  both[1].Add(values.first(values.size() / 3));
  behind.Add(values.subspan(values.size() / 3));
  both[1].Merge(behind);
  return both;
}

TEST(DeviationSums, AreTheCentralMomentsOfTheSample) {
  for (const double offset : {0.0, 1e6, 1e15}) {
    const auto values = Normal(10'001, offset, 2.0, 3);
    const auto wanted = CentralMomentsOf(values);
    for (const auto& extent : WholeAndMerged(ExtentSums(values[0]), values)) {
      EXPECT_EQ(extent.Count(), 10'001);
      EXPECT_NEAR(extent.Mean(), wanted.mean, 1e-15 * (1.0 + offset));
      const DeviationSums empty(extent.Origin(), extent.Shift());
      for (const auto& sums : WholeAndMerged(empty, values)) {
        const double n = 10'001.0;
        EXPECT_NEAR(sums.Squares() / n / wanted.m2, 1.0, 1e-13) << offset;
        EXPECT_NEAR(sums.Cubes() / n, wanted.m3, 1e-11) << offset;
        EXPECT_NEAR(sums.Fourths() / n / wanted.m4, 1.0, 1e-12) << offset;
      }
    }
  }
}

TEST(DeviationSums, UpperAndLowerPartsByHand) {
  const std::vector<double> values{1.0, 2.0, 6.0};
  DeviationSums sums(1.0, 2.0);
  sums.Add(values);
  EXPECT_EQ(sums.First(), 0.0);
  EXPECT_EQ(sums.Squares(), 14.0);
  EXPECT_EQ(sums.SquaresAbove(), 9.0);
  EXPECT_EQ(sums.Absolutes(), 6.0);
  EXPECT_EQ(sums.Cubes(), 18.0);
}

TEST(DeviationSums, PartsOfAnyCutGiveTheWhole) {
  const auto values = Normal(1001, 1e6, 40.0, 7);
  const auto all = std::span(values);
  for (const std::size_t cut : {0U, 1U, 13U, 500U, 1000U, 1001U}) {
    ExtentSums extent(values[0]), later = extent;
    extent.Add(all.first(cut));
    later.Add(all.subspan(cut));
    extent.Merge(later);
    EXPECT_EQ(extent.Count(), 1001);
    EXPECT_NEAR(extent.Mean(), Mean(values), 1e-9) << cut;
    DeviationSums sums(extent.Origin(), extent.Shift()), rest = sums;
    sums.Add(all.first(cut));
    rest.Add(all.subspan(cut));
    sums.Merge(rest);
    EXPECT_NEAR(sums.Squares() / 1000.0 / SampleVariance(values), 1.0, 1e-12) << cut;
  }
}

TEST(ExtentSums, OfOneValueAndAnEmptyPart) {
  ExtentSums sums(0.0), empty(0.0);
  sums.Merge(empty);
  EXPECT_EQ(sums.Count(), 0);
  EXPECT_TRUE(std::isnan(sums.Shift()));
  sums.Add(std::vector<double>{3.0});
  sums.Merge(empty);
  EXPECT_EQ(sums.Mean(), 3.0);
  EXPECT_EQ(sums.Smallest(), 3.0);
  EXPECT_EQ(sums.Largest(), 3.0);
  DeviationSums deviations(sums.Origin(), sums.Shift());
  deviations.Add(std::vector<double>{3.0});
  EXPECT_EQ(deviations.Squares(), 0.0);
}

TEST(ExtentSums, NothingHasNoMean) {
  const ExtentSums sums(0.0);
  EXPECT_EQ(sums.Count(), 0);
  EXPECT_TRUE(std::isnan(sums.Mean()));
}

TEST(BeyondCounts, CountStrictly) {
  const std::vector<double> upper{2.0, std::nan("")}, lower{2.0}, values{1.0, 2.0, 2.0, 3.0};
  for (const auto& counts : WholeAndMerged(BeyondCounts(upper, lower), values)) {
    EXPECT_EQ(counts.Above(0), 1);
    EXPECT_EQ(counts.Above(1), 0) << "there is no such limit";
    EXPECT_EQ(counts.Below(0), 1);
  }
}

TEST(ValueCounts, CountUpToTheirMost) {
  const std::vector<double> values{0.0, -0.0, 1.0, 1.0, -1.0, 5e-324, 0.0};
  for (const auto& counts : WholeAndMerged(ValueCounts(100, values.size()), values)) {
    EXPECT_EQ(counts.Different(), 4U) << "0.0 and -0.0 are one number";
    EXPECT_FALSE(counts.Full());
    const auto sorted = counts.Sorted();
    ASSERT_EQ(sorted.size(), 4U);
    const double wanted[] = {-1.0, 0.0, 5e-324, 1.0};
    const std::int64_t times[] = {1, 3, 1, 2};
    for (std::size_t i = 0; i < 4; ++i) {
      EXPECT_EQ(sorted[i].value, wanted[i]);
      EXPECT_EQ(sorted[i].count, times[i]);
    }
  }
  for (const auto& counts : WholeAndMerged(ValueCounts(3, values.size()), values)) {
    EXPECT_TRUE(counts.Full());
    EXPECT_TRUE(counts.Sorted().empty());
  }
  const auto many = Normal(5'000, 0.0, 1.0, 9);
  for (const auto& counts : WholeAndMerged(ValueCounts(6'000, many.size()), many)) {
    EXPECT_EQ(counts.Different(), 5'000U);
  }
}

// Rounded values, as a gauge shows them, and those that are no more than the fewest for the table.
TEST(ValueCounts, GiveWhatTheSampleGives) {
  for (const double step : {0.5, 0.01}) {
    auto values = Normal(20'001, 3.0, 2.0, 11);
    for (double& value : values) value = std::round(value / step) * step;
    Sample sample;
    sample.Add(values);
    ValueCounts counts(values.size() + 1, values.size());
    counts.Add(values);
    const auto sorted = counts.Sorted();
    EXPECT_LT(sorted.size(), 2'000U);

    std::vector<double> proportions;
    for (int i = 0; i <= 1000; ++i) proportions.push_back(i / 1000.0);
    EXPECT_EQ(SampleQuantiles(sorted, proportions), SampleQuantiles(sample, proportions));

    const std::vector<double> edges{-1.0, 0.0, 0.5, 3.0, 3.01, 7.0};
    for (const auto goes : {IntervalCounter::EdgeGoes::Up, IntervalCounter::EdgeGoes::Down}) {
      IntervalCounter of_all(edges, goes), of_different(edges, goes);
      of_all.Add(values);
      of_different.Add(sorted);
      EXPECT_TRUE(std::ranges::equal(of_all.Counts(), of_different.Counts()));
    }
    const std::vector<double> upper{3.0, 4.005, std::nan("")}, lower{0.0, 3.0};
    BeyondCounts of_all(upper, lower), of_different(upper, lower);
    of_all.Add(values);
    of_different.Add(sorted);
    for (std::size_t i = 0; i < upper.size(); ++i)
      EXPECT_EQ(of_all.Above(i), of_different.Above(i));
    for (std::size_t i = 0; i < lower.size(); ++i)
      EXPECT_EQ(of_all.Below(i), of_different.Below(i));
  }
}

TEST(ValueCounts, QuantilesOfNothingAreNone) {
  const double half[] = {0.5};
  EXPECT_TRUE(SampleQuantiles(std::span<const CountedValue>(), half).empty());
}

struct EdgeCase {
  std::vector<double> edges;
  const char* reason;
};

TEST(IntervalCounter, CountsAsASearchDoes) {
  std::vector<double> fine;
  for (int i = 0; i <= 3000; ++i) fine.push_back(-4.0 + 8.0 * i / 3000.0);
  std::vector<double> crowded;
  for (int i = 0; i < 500; ++i) crowded.push_back(1e-9 * i);
  crowded.push_back(1e6);
  const EdgeCase cases[] = {
      {{}, "no edge"},
      {{0.5}, "one edge"},
      {{-1.0, 0.0, 1.0}, "three edges"},
      {{0.0, 0.0, 0.0, 1.0}, "edges that coincide"},
      {fine, "more edges than values need"},
      {crowded, "edges in a heap"},
      {{-1.7e308, 0.0, 1.7e308}, "a width beyond the largest number"},
  };
  auto values = Normal(20'000, 0.0, 1.0, 11);
  values.insert(values.end(), {-1.0, 0.0, 1.0, 0.5, -4.0, 4.0, 1e300, -1e300, 1e6});
  for (const auto& [edges, reason] : cases) {
    using enum IntervalCounter::EdgeGoes;
    for (const auto goes : {Down, Up}) {
      std::vector<std::int64_t> wanted(edges.size() + 1);
      for (const double x : values) {
        const auto place = goes == Up ? std::upper_bound(edges.begin(), edges.end(), x)
                                      : std::lower_bound(edges.begin(), edges.end(), x);
        ++wanted[static_cast<std::size_t>(place - edges.begin())];
      }
      for (const auto& counter : WholeAndMerged(IntervalCounter(edges, goes), values)) {
        const auto counts = counter.Counts();
        EXPECT_EQ(std::vector(counts.begin(), counts.end()), wanted) << reason;
      }
    }
  }
}

// Groups of 1 to 7 values.
Sample RaggedSample(const std::vector<double>& values, std::vector<std::vector<double>>& groups) {
  Sample sample;
  std::mt19937_64 random(5);
  for (std::size_t at = 0; at < values.size();) {
    const auto size = std::min<std::size_t>(1 + random() % 7, values.size() - at);
    groups.emplace_back(values.begin() + static_cast<std::ptrdiff_t>(at),
                        values.begin() + static_cast<std::ptrdiff_t>(at + size));
    sample.Add(groups.back());
    at += size;
  }
  return sample;
}

TEST(SpreadSums, EstimateAsTheColumnsOfAChartDo) {
  const auto values = Normal(100'000, 50.0, 0.5, 21);
  std::vector<std::vector<double>> groups;
  const auto sample = RaggedSample(values, groups);
  ASSERT_GT(sample.Blocks().size(), 2U);
  SpreadSums whole(0.0, Mean(values)), first = whole, second = whole;
  for (std::size_t i = 0; i < sample.Blocks().size(); ++i) {
    whole.Add(sample.Blocks()[i]);
    (i == 0 ? first : second).Add(sample.Blocks()[i]);
  }
  first.Merge(second);
  std::vector<double> ranges, sds;
  std::vector<std::int32_t> sizes;
  for (const auto& group : groups) {
    const auto summary = Summarise(group);
    ranges.push_back(summary.range);
    sds.push_back(summary.sd);
    sizes.push_back(summary.count);
  }
  for (const auto* sums : {&whole, &first}) {
    EXPECT_EQ(sums->Groups(), static_cast<std::int64_t>(groups.size()));
    EXPECT_EQ(sums->SmallestSize(), 1);
    EXPECT_EQ(sums->LargestSize(), 7);
    for (const auto setting : {EstimatorSetting::Mvlue, EstimatorSetting::Unweighted,
                               EstimatorSetting::Pooled, EstimatorSetting::PooledAsSbar}) {
      const auto expect = [&](const SigmaEstimate& got, const SigmaEstimate& wanted) {
        EXPECT_NEAR(got.value / wanted.value, 1.0, 1e-12) << wanted.name;
        EXPECT_EQ(got.name, wanted.name);
        EXPECT_EQ(got.used, wanted.used);
        EXPECT_EQ(got.smallest_n, wanted.smallest_n);
        EXPECT_EQ(got.largest_n, wanted.largest_n);
        EXPECT_EQ(std::isnan(got.sbar), std::isnan(wanted.sbar));
      };
      expect(SigmaFromRangeSums(sums->BySize(), setting), SigmaFromRanges(ranges, sizes, setting));
      expect(SigmaFromSdSums(sums->BySize(), setting), SigmaFromSds(sds, sizes, setting));
    }
    EXPECT_NEAR((sums->Within() + sums->Between()) / SumOfSquares(values), 1.0, 1e-12);
  }
}

TEST(SpreadSums, OneSizeIsDividedOnce) {
  Sample sample;
  for (const std::vector<double>& group : {std::vector{1.0, 2.0}, {3.0, 6.0}}) sample.Add(group);
  SpreadSums sums(0.0, 3.0);
  sums.Add(sample.Blocks()[0]);
  EXPECT_EQ(sums.Within(), 5.0);
  EXPECT_EQ(sums.Between(), 2.0 * (1.5 * 1.5 + 1.5 * 1.5));
  const auto estimate = SigmaFromRangeSums(sums.BySize());
  EXPECT_NEAR(estimate.value, 2.0 / 1.12837916709551, 1e-14);
  EXPECT_NEAR(estimate.constant, 1.12837916709551, 1e-14);
}

TEST(SpreadSums, SingleValuesHaveNothingInside) {
  Sample sample;
  for (const double value : {1.0, 2.0, 4.0}) sample.Add({&value, 1});
  SpreadSums sums(0.0, 7.0 / 3.0);
  sums.Add(sample.Blocks()[0]);
  EXPECT_EQ(sums.Within(), 0.0);
  EXPECT_FALSE(SigmaFromRangeSums(sums.BySize()).Exists());
  EXPECT_FALSE(SigmaFromSdSums(sums.BySize()).Exists());
}

TEST(MovingRangeSums, AreThoseOfTheWholeSeries) {
  const auto values = Normal(1000, 3.0, 1.0, 4);
  MovingRangeSums whole, first, second;
  whole.Add(values);
  first.Add(std::span(values).first(400));
  second.Add(std::span(values).subspan(400));
  first.Append(second);
  const auto wanted = SigmaFromMovingRanges(values);
  for (const auto* sums : {&whole, &first}) {
    EXPECT_EQ(sums->Count(), 999);
    EXPECT_NEAR(SigmaFromMovingRangeSum(sums->Sum(), sums->Count()).value / wanted.value, 1.0,
                1e-12);
  }
}

TEST(MovingRangeSums, NoRangeCrossesABreak) {
  const std::vector<double> one{1.0, 2.0}, other{100.0, 103.0};
  MovingRangeSums sums;
  sums.Add(one);
  sums.Break();
  sums.Add(other);
  EXPECT_EQ(sums.Count(), 2);
  EXPECT_EQ(sums.Sum(), 4.0);
}

TEST(Sample, GroupsStayTogetherAndMoveAlong) {
  Sample sample, behind;
  sample.Add(std::vector<double>{1, 2, 3});
  sample.Add({});
  sample.Add(std::vector<double>{4});
  behind.Add(std::vector<double>{5, 6, 7});
  sample.Append(std::move(behind));
  EXPECT_EQ(sample.Count(), 7U);
  EXPECT_EQ(sample.Groups(), 3U);
  sample.Shift(1, 2, -5.0);
  std::vector<std::vector<double>> groups;
  for (const auto& block : sample.Blocks()) {
    ForEachGroup(block, [&](std::span<const double> group) {
      groups.emplace_back(group.begin(), group.end());
    });
  }
  EXPECT_EQ(groups, (std::vector<std::vector<double>>{{1, 2, 3}, {4}, {0, 1, 2}}));
}

}  // namespace
}  // namespace orvspc::engine::statistics
