// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <boost/multiprecision/cpp_dec_float.hpp>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "tests/engine/charts/FakeStore.h"

// Points and lines against whole numbers and fractions: sums are integers, the mean is a quotient
// of two of them, and only the root is not exact, but has 50 digits.
namespace orvspc::engine::test {
using namespace catalogue;
using namespace store;
using namespace statistics;
using namespace charts;

namespace {

using Exact = boost::multiprecision::cpp_dec_float_50;

struct Kind {
  const char* name;
  std::int32_t word;
  bool defectives, counted;
  std::int64_t scale;
  bool per_opportunity;
};
constexpr Kind kKinds[] = {
    {"p", 0xD00, true, false, 1, false},       {"np", 0xC00, true, true, 1, false},
    {"ppt", 0x800, true, false, 1000, false},  {"ppm", 0xA00, true, false, 1000000, false},
    {"u", 0xF00, false, false, 1, false},      {"c", 0xE00, false, true, 1, false},
    {"dpto", 0x900, false, false, 1000, true}, {"dpmo", 0xB00, false, false, 1000000, true},
};

struct Subgroup {
  std::int64_t count = 0, size = 0;
};

// Digits in common are counted relative to the exact figure, however small it is.
::testing::AssertionResult Agrees(double figure, const Exact& exact) {
  if (exact == 0) {
    if (figure == 0.0) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << figure << " for an exact 0";
  }
  const Exact error = abs((Exact(figure) - exact) / exact);
  if (error <= Exact(1e-12)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << figure << " is off by " << error << " of itself";
}

struct Lines {
  Exact centre, upper, lower;
};

Lines LinesOf(const Kind& kind, std::int64_t sum, std::int64_t units_sum, std::int64_t units) {
  const Exact mean = Exact(sum) / Exact(units_sum);
  const Exact variance = kind.defectives ? Exact(sum) * Exact(units_sum - sum) /
                                               (Exact(units_sum) * Exact(units_sum) * Exact(units))
                                         : Exact(sum) / (Exact(units_sum) * Exact(units));
  const Exact width = 3 * sqrt(variance);
  const Exact factor = kind.counted ? Exact(units) : Exact(kind.scale);
  Lines lines{factor * mean, factor * (mean + width), factor * (mean - width)};
  // A root that should be whole is not quite: what is 0 to 45 digits is 0.
  if (lines.lower < factor * Exact("1e-45")) lines.lower = 0;
  if (kind.defectives && mean + width > 1) lines.upper = factor;
  return lines;
}

// Shares from 0 to 1 with both ends likely; sizes over four decades.
std::vector<Subgroup> Draw(std::mt19937_64& random, const Kind& kind) {
  const auto below = [&](std::int64_t n) {
    return static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(n));
  };
  const std::int64_t largest[] = {1, 10, 100, 1000, 10000};
  const auto most = largest[below(5)];
  const bool constant = below(3) == 0;
  const auto mood = below(6);
  std::vector<Subgroup> subgroups(static_cast<std::size_t>(1 + below(12)));
  for (auto& subgroup : subgroups) {
    subgroup.size = constant ? most : 1 + below(most);
    const auto n = subgroup.size;
    subgroup.count = mood == 0   ? 0
                     : mood == 1 ? n
                     : mood == 2 ? std::min<std::int64_t>(n, below(3))
                     : mood == 3 ? n - std::min<std::int64_t>(n, below(3))
                                 : below(n + 1);
    if (!kind.defectives && mood == 5) subgroup.count = below(4 * n + 1);
  }
  return subgroups;
}

}  // namespace

TEST(AttributeRunExact, PointsAndLimitsAgreeWithFractionsOnAThousandDataSets) {
  std::mt19937_64 random(20240607);
  int zero_means = 0, full_means = 0, cut_below = 0, cut_above = 0, between = 0;
  for (int set = 0; set < 1000; ++set) {
    for (const auto& kind : kKinds) {
      const auto subgroups = Draw(random, kind);
      const auto opportunities = static_cast<std::int32_t>(1 + random() % 50);
      FakeStore store;
      store.types[1] = kind.defectives ? ttDefectives : ttDefects;
      store.Opportunity(opportunities);
      std::int64_t sum = 0, units_sum = 0;
      const auto units_of = [&](const Subgroup& each) {
        return kind.per_opportunity ? each.size * opportunities : each.size;
      };
      for (const auto& each : subgroups) {
        store.AddCount(static_cast<double>(each.count), static_cast<std::int32_t>(each.size));
        sum += each.count;
        units_sum += units_of(each);
      }
      const auto chart = MakeAttribute(store, kind.word);
      ASSERT_EQ(chart.word, kind.word);
      const auto& graph = chart.graphs.at(0);
      for (std::size_t i = 0; i < subgroups.size(); ++i) {
        const auto units = units_of(subgroups[i]);
        const auto lines = LinesOf(kind, sum, units_sum, units);
        const Exact point = kind.counted
                                ? Exact(subgroups[i].count)
                                : Exact(kind.scale) * Exact(subgroups[i].count) / Exact(units);
        const auto where = std::string(kind.name) + " set " + std::to_string(set) + " point " +
                           std::to_string(i) + " of " + std::to_string(units) + ", mean " +
                           std::to_string(sum) + "/" + std::to_string(units_sum);
        ASSERT_TRUE(Agrees(graph.points[i], point)) << where;
        ASSERT_TRUE(Agrees(graph.ccl[i], lines.centre)) << where;
        ASSERT_TRUE(Agrees(graph.cucl[i], lines.upper)) << where;
        ASSERT_TRUE(Agrees(graph.clcl[i], lines.lower)) << where;
        ASSERT_GE(graph.clcl[i], 0.0) << where;
        const double most = kind.counted ? static_cast<double>(units) : double(kind.scale);
        if (kind.defectives) {
          ASSERT_LE(graph.cucl[i], most) << where;
        }
        ASSERT_EQ(graph.ucl[i], graph.cucl[i]) << where;
        ASSERT_EQ(graph.cl[i], graph.ccl[i]) << where;
        ASSERT_EQ(graph.lcl[i], graph.clcl[i]) << where;
        zero_means += sum == 0;
        full_means += kind.defectives && sum == units_sum;
        cut_below += lines.lower == 0 && sum != 0;
        cut_above += kind.defectives && graph.cucl[i] == most && sum != units_sum;
        between += lines.lower > 0;
      }
    }
  }
  // The sets say something about every case.
  for (const int seen : {zero_means, full_means, cut_below, cut_above, between}) {
    EXPECT_GT(seen, 500);
  }
}

}  // namespace orvspc::engine::test
