// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Johnson.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "engine/statistics/CapabilityIndices.h"
#include "engine/statistics/Moments.h"
#include "tests/engine/capability/capability_fixture.h"

// The second call: a Johnson curve in place of the normal distribution.
namespace orvspc::engine::capability {
using namespace catalogue;
using namespace store;
using namespace statistics;
using namespace charts;

namespace {

using namespace test;

constexpr std::int32_t kAll = slfUSL | slfTAR | slfLSL;

CapabilityStore SampleOf(const Distribution& law, std::size_t count, unsigned seed) {
  CapabilityStore store;
  std::mt19937_64 random(seed);
  std::normal_distribution<double> score;
  for (std::size_t i = 0; i < count; i += 5) {
    std::vector<double> pieces;
    for (std::size_t j = i; j < std::min(i + 5, count); ++j) {
      pieces.push_back(law.AtScore(score(random)));
    }
    store.Add({pieces});
  }
  return store;
}

struct Family {
  JohnsonParameters of;
  caJohnsonTypes type;
  const char* reason;
};

TEST(JohnsonFit, TenThousandValuesShowTheirFamily) {
  using enum JohnsonFamily;
  // Distributions whose tails ten thousand values show: in simulation 94 percent of such samples
  // and more pass. Far heavier tails do not, since their quantiles scatter by more than the 5
  // percent.
  const Family rows[] = {
      {{Unbounded, 1.0, 2.0, 10.0, 3.0}, caJohnsonTypeU, "SU"},
      {{Unbounded, 0.0, 1.8, 0.0, 1.0}, caJohnsonTypeU, "SU, symmetric"},
      {{Bounded, 0.5, 0.8, 2.0, 6.0}, caJohnsonTypeB, "SB"},
      {{Bounded, 0.0, 0.7, -1.0, 2.0}, caJohnsonTypeB, "SB, symmetric"},
      {{Lognormal, 0.0, 3.0, 1.0, 1.0}, caJohnsonTypeL, "SL"},
      {{Lognormal, 0.0, -3.0, 1.0, -1.0}, caJohnsonTypeL, "SL, long tail below"},
  };
  for (const auto& row : rows) {
    const JohnsonCurve law(row.of);
    int found = 0;
    for (const unsigned seed : {11U, 12U, 13U}) {
      auto store = SampleOf(law, 10'000, seed);
      const auto made = Analyse(store, {}, true);
      found += made.johnson == row.type;
      const auto& got = made.report;
      if (made.johnson == caJohnsonTypeNone) continue;
      const JohnsonCurve fitted(
          {static_cast<JohnsonFamily>(made.johnson), got.gamma, got.delta, got.xi, got.lambda});
      const double spread = law.Quantile(0.99865) - law.Quantile(0.00135);
      for (const double share : {0.00135, 0.5, 0.99865}) {
        EXPECT_NEAR(fitted.Quantile(share), law.Quantile(share), 0.05 * spread)
            << row.reason << " at " << share << " seed " << seed;
      }
    }
    EXPECT_EQ(found, 3) << row.reason;
  }
}

TEST(JohnsonFit, RefitsWhatDependsOnTheLawAndNothingElse) {
  const JohnsonCurve law({JohnsonFamily::Lognormal, 0.0, 1.5, 2.0, 1.0});
  auto store = SampleOf(law, 5'000, 4);
  store.Spec(2.1, 3.0, 7.0, kAll);
  const auto normal = Analyse(store), made = Analyse(store, {}, true);
  ASSERT_NE(made.johnson, caJohnsonTypeNone);
  const auto& got = made.report;
  const JohnsonCurve fitted(
      {static_cast<JohnsonFamily>(made.johnson), got.gamma, got.delta, got.xi, got.lambda});
  const double low = fitted.Quantile(0.00134989803163009), middle = fitted.Quantile(0.5),
               high = fitted.Quantile(0.99865010196837);
  EXPECT_NEAR(made.pps.Ppu, (7.0 - middle) / (high - middle), 1e-9);
  EXPECT_NEAR(made.pps.Ppl, (middle - 2.1) / (middle - low), 1e-9);
  EXPECT_NEAR(made.pps.Pp, 4.9 / (high - low), 1e-9);
  EXPECT_EQ(made.pps.Ppk, std::min<double>(made.pps.Ppu, made.pps.Ppl));
  EXPECT_NEAR(made.pps.Pr * made.pps.Pp, 1.0, 1e-12);
  EXPECT_NEAR(made.pps.Ppm, 4.9 / (6.0 * std::hypot((high - low) / 6.0, middle - 3.0)), 1e-9);
  EXPECT_NEAR(made.results.zUsl, fitted.Score(7.0), 1e-12);
  EXPECT_NEAR(made.results.zLsl, -fitted.Score(2.1), 1e-12);
  EXPECT_NEAR(made.results.zTar, -fitted.Score(3.0), 1e-12);
  EXPECT_NEAR(made.results.ExpAboveUSL, fitted.Above(7.0), 1e-15);
  EXPECT_NEAR(made.results.ExpBelowLSL, fitted.Below(2.1), 1e-15);
  EXPECT_NEAR(NormalAbove(made.summary.ZBench), fitted.Above(7.0) + fitted.Below(2.1), 1e-13);
  EXPECT_EQ(made.results.ActAboveUSL, normal.results.ActAboveUSL);
  EXPECT_EQ(made.summary.Mean, normal.summary.Mean);
  EXPECT_EQ(made.summary.LongTermSD, normal.summary.LongTermSD);
  EXPECT_EQ(std::memcmp(&made.cps, &normal.cps, sizeof made.cps), 0);
  EXPECT_EQ(std::memcmp(made.bins.data(), normal.bins.data(), made.bins.size() * sizeof(API_CABin)),
            0);
  EXPECT_EQ(made.x, normal.x);
  EXPECT_NE(made.y, normal.y);
  EXPECT_EQ(made.chi_square.DegFreedom,
            normal.chi_square.DegFreedom - (made.johnson == caJohnsonTypeL ? 1 : 2));
  EXPECT_GT(made.chi_square.Probability, normal.chi_square.Probability);
  EXPECT_LT(made.chi_square.Value, normal.chi_square.Value / 3.0);
  const double bin = made.bins[0].XMax - made.bins[0].XMin;
  for (std::size_t i = 0; i < made.x.size(); ++i) {
    EXPECT_NEAR(made.y[i], 5'000.0 * bin * fitted.Density(made.x[i]), 1e-6) << i;
  }
  double expected = 0.0;
  for (const double count : got.expected) expected += count;
  EXPECT_NEAR(expected, 5'000.0 * fitted.Between(made.bins.front().XMin, made.bins.back().XMax),
              1e-6);
  ExpectNumbers(made, "after the fit");
}

TEST(JohnsonFit, ALimitOutsideTheSupportHasTheFarthestScore) {
  const JohnsonCurve law({JohnsonFamily::Bounded, 0.0, 0.7, 0.0, 1.0});
  auto store = SampleOf(law, 10'000, 3);
  store.Spec(-5.0, 0.5, 5.0, kAll);
  const auto made = Analyse(store, {}, true);
  ASSERT_EQ(made.johnson, caJohnsonTypeB);
  EXPECT_EQ(made.results.zUsl, 37.5);
  EXPECT_EQ(made.results.zLsl, 37.5);
  EXPECT_EQ(made.results.ExpAboveUSL, 0.0);
  EXPECT_EQ(made.results.ExpBelowLSL, 0.0);
  EXPECT_EQ(made.summary.ZBench, 37.5);
}

struct Unfit {
  Groups groups;
  const char* note;
  const char* reason;
};

TEST(JohnsonFit, AnImpossibleFitLeavesTheNormalResults) {
  Groups two_values, few;
  for (int i = 0; i < 100; ++i) two_values.push_back({i % 2 == 0 ? 1.0 : 2.0});
  for (int i = 0; i < 19; ++i) few.push_back({std::exp(0.2 * i)});
  Groups normal;
  std::mt19937_64 random(1);
  std::normal_distribution<double> noise;
  for (int i = 0; i < 5000; ++i) normal.push_back({noise(random)});
  const Unfit rows[] = {
      {two_values, "johnson-none", "quantiles that coincide"},
      {few, "johnson-none", "fewer than twenty"},
      {Groups(50, {3.0}), "johnson-none", "all equal"},
      {normal, "johnson-normal", "normal values"},
  };
  for (const auto& row : rows) {
    auto store = CapabilityStore();
    for (const auto& pieces : row.groups) store.Add({pieces});
    store.Spec(-3.0, 0.0, 3.0, kAll);
    const auto without = Analyse(store), with = Analyse(store, {}, true);
    EXPECT_EQ(with.johnson, caJohnsonTypeNone) << row.reason;
    EXPECT_TRUE(with.HasNote(row.note)) << row.reason;
    EXPECT_EQ(AllFigures(with), AllFigures(without)) << row.reason;
    EXPECT_TRUE(with.report.law == without.report.law) << row.reason;
  }
}

TEST(JohnsonFit, ASummaryOfAnotherAnalysisIsNotFitted) {
  const JohnsonCurve law({JohnsonFamily::Lognormal, 0.0, 1.5, 2.0, 1.0});
  struct Change {
    void (*make)(API_CASummary&);
    const char* reason;
  };
  const Change changes[] = {
      {[](API_CASummary& summary) { ++summary.PieceCount; }, "count"},
      {[](API_CASummary& summary) { summary.Mean = summary.Mean + 1.0; }, "mean"},
      {[](API_CASummary& summary) { summary.LongTermSD = summary.LongTermSD * 2.0; }, "deviation"},
  };
  for (const auto& change : changes) {
    auto store = SampleOf(law, 1'000, 4);
    Capability made;
    made.bins.resize(21);
    made.x.resize(80);
    made.y.resize(80);
    API_DSInfo info{};
    CapabilityRun run;
    ASSERT_TRUE(run.Process(store, info, {}, Settings().Options(), made.Output()));
    const auto before = made.pps;
    const auto summary = made.summary;
    change.make(made.summary);
    EXPECT_EQ(run.FitJohnson(made.FittedOutput()), 0) << change.reason;
    EXPECT_EQ(std::memcmp(&before, &made.pps, sizeof before), 0) << change.reason;
    made.summary = summary;
    EXPECT_NE(run.FitJohnson(made.FittedOutput()), 0) << "the right one still is";
  }
}

TEST(JohnsonFit, ShiftAndScaleMoveTheCurveAlong) {
  const JohnsonCurve law({JohnsonFamily::Unbounded, 1.0, 1.5, 0.0, 1.0});
  auto store = SampleOf(law, 4'000, 6);
  store.Spec(-6.0, 0.0, 2.0, kAll);
  const auto one = Analyse(store, {}, true);
  auto moved = store;
  for (double& value : moved.data.values) value = 8.0 * value + 64.0;
  moved.specs.clear();
  moved.Spec(16.0, 64.0, 80.0, kAll);
  const auto two = Analyse(moved, {}, true);
  EXPECT_EQ(one.johnson, two.johnson);
  EXPECT_NEAR(one.pps.Ppk, two.pps.Ppk, 1e-9);
  EXPECT_NEAR(one.summary.ZBench, two.summary.ZBench, 1e-9);
  EXPECT_NEAR(one.report.delta, two.report.delta, 1e-9);
  EXPECT_NEAR(8.0 * one.report.lambda, two.report.lambda, 1e-8);
  EXPECT_NEAR(one.chi_square.Value, two.chi_square.Value, 1e-6);
}

}  // namespace
}  // namespace orvspc::engine::capability
