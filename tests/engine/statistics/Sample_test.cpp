// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Sample.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <utility>
#include <vector>

#include "engine/statistics/Moments.h"

namespace orvspc::engine::statistics {

namespace {

constexpr double kShares[] = {0.0, 0.00135, 0.058, 0.25, 0.5, 0.75, 0.99865, 1.0};

Sample SampleOf(const std::vector<double>& values) {
  Sample sample;
  for (std::size_t i = 0; i < values.size(); i += 5) {
    sample.Add({values.data() + i, std::min<std::size_t>(5, values.size() - i)});
  }
  return sample;
}

void ExpectSorted(std::vector<double> values, const char* reason) {
  const auto quantiles = SampleQuantiles(SampleOf(values), kShares);
  std::sort(values.begin(), values.end());
  ASSERT_EQ(quantiles.size(), std::size(kShares));
  for (std::size_t i = 0; i < quantiles.size(); ++i) {
    EXPECT_EQ(quantiles[i], Quantile(values, kShares[i])) << reason << " at " << kShares[i];
  }
}

TEST(SampleQuantiles, AreThoseOfTheSortedSample) {
  std::mt19937_64 random(7);
  std::normal_distribution<double> normal;
  struct Shape {
    const char* reason;
    std::size_t count;
    std::function<double(std::size_t)> value;
  };
  const Shape shapes[] = {
      {"one value", 1, [](std::size_t) { return 4.0; }},
      {"few", 99, [&](std::size_t) { return normal(random); }},
      {"many", 200'001, [&](std::size_t) { return 25.0 + 0.02 * normal(random); }},
      {"both signs", 150'000, [&](std::size_t) { return normal(random); }},
      {"rounded", 150'000, [&](std::size_t) { return std::round(100.0 * normal(random)) / 100.0; }},
      {"all equal", 100'000, [](std::size_t) { return -3.5; }},
      {"nine tenths equal", 300'000,
       [&](std::size_t i) { return i % 10 == 0 ? normal(random) : 0.125; }},
      {"one far outlier", 100'000,
       [&](std::size_t i) { return i == 77 ? 1e300 : 5.0 + 1e-9 * normal(random); }},
      {"two heaps", 120'000, [](std::size_t i) { return i % 2 == 0 ? -1e-300 : 1e300; }},
  };
  for (const auto& shape : shapes) {
    std::vector<double> values;
    for (std::size_t i = 0; i < shape.count; ++i) values.push_back(shape.value(i));
    ExpectSorted(std::move(values), shape.reason);
  }
}

TEST(SampleQuantiles, OfNothingThereIsNone) {
  EXPECT_TRUE(SampleQuantiles(Sample(), kShares).empty());
}

}  // namespace
}  // namespace orvspc::engine::statistics
