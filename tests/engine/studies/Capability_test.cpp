// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Capability.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <stdexcept>

#include "engine/statistics/EffectiveDegrees.h"
#include "tests/engine/studies/cases.h"
#include "tests/engine/studies/coverage.h"
#include "tests/engine/studies/notes.h"

namespace orvspc::studies {
namespace {

using engine::statistics::EffectiveDegrees;
using platform::kNaN;

Interval Named(const std::vector<NamedInterval>& indices, const std::string& name) {
  for (const auto& each : indices)
    if (each.name == name) return each.interval;
  ADD_FAILURE() << name;
  return {};
}

bool IsThere(const std::vector<NamedInterval>& indices, const std::string& name) {
  return std::ranges::any_of(indices, [&](const auto& each) { return each.name == name; });
}

// N values whose sigmas are 1 and whose mean is 0.
CapabilitySample Standard(std::size_t count) {
  CapabilitySample sample;
  sample.values.assign(count, 0.0);
  sample.sizes.assign(count, 1);
  sample.streams = {count};
  sample.mean = 0.0;
  sample.overall = 1.0;
  sample.within.value = 1.0;
  sample.within.name = "MR-est";
  sample.within.used = static_cast<std::int32_t>(count) - 1;
  return sample;
}

TEST(StudyIndices, PublishedIntervals) {
  const Case known("capability-intervals");
  std::vector<std::vector<double>> p, k, m;
  for (const auto& row : known.Params().at("cp")) {
    IndexOptions options;
    const double cp = row[0].get<double>();
    options.limits = {-3.0 * cp, 3.0 * cp};
    const auto pp = Named(StudyIndices(Standard(row[1].get<std::size_t>()), options).indices, "Pp");
    EXPECT_NEAR(pp.value, cp, 1e-12);
    EXPECT_EQ(pp.method, "chi-square");
    p.push_back({pp.lower, pp.upper});
  }
  for (const auto& row : known.Params().at("cpk")) {
    IndexOptions options;
    options.limits = {-100.0, 3.0 * row[0].get<double>()};
    const auto ppk =
        Named(StudyIndices(Standard(row[1].get<std::size_t>()), options).indices, "Ppk");
    EXPECT_EQ(ppk.method, "Bissell");
    k.push_back({ppk.lower, ppk.upper});
  }
  for (const auto& row : known.Params().at("cpm")) {
    IndexOptions options;
    const double cpm = row[0].get<double>(), off = row[2].get<double>();
    const double tau = std::hypot(1.0, off);
    options.limits = {-3.0 * cpm * tau, 3.0 * cpm * tau};
    options.target = -off;
    const auto ppm =
        Named(StudyIndices(Standard(row[1].get<std::size_t>()), options).indices, "Ppm");
    EXPECT_NEAR(ppm.value, cpm, 1e-12);
    m.push_back({ppm.lower, ppm.upper});
  }
  known.Check("cp", p);
  known.Check("cpk", k);
  known.Check("cpm", m);
}

// The pooled deviation over c4 is 6 percent too large for subgroups of 5, however many there are.
TEST(StudyIndices, BoundsOfPooledAsSbarAreThoseOfThePooledDeviation) {
  engine::statistics::Draws draws;
  const auto drawn = DrawnSample(draws, 50, 5, "S-est pooled");
  const auto sbar = CapabilitySampleOf(drawn.values, drawn.sizes, "S-est pooled-as-sbar");
  const auto pooled = StudyIndices(drawn, WideLimits()), other = StudyIndices(sbar, WideLimits());
  for (const auto* const name : {"Cp", "Cpk", "Cpu", "Cpl", "Cr", "Cpm"}) {
    EXPECT_NEAR(Named(other.indices, name).lower, Named(pooled.indices, name).lower, 1e-12) << name;
    EXPECT_NEAR(Named(other.indices, name).upper, Named(pooled.indices, name).upper, 1e-12) << name;
    EXPECT_NE(Named(other.indices, name).value, Named(pooled.indices, name).value) << name;
  }
}

// At the bounds of Ppu the noncentral t leaves half of the risk beyond t.
TEST(StudyIndices, OneSideByTheNoncentralT) {
  IndexOptions options;
  options.limits.upper = 4.0;
  const auto study = StudyIndices(Standard(20), options);
  const auto ppu = Named(study.indices, "Ppu");
  const double root = 3.0 * std::sqrt(20.0);
  const double t = ppu.value * root;
  EXPECT_NEAR(engine::statistics::NoncentralTBelow(t, 19.0, ppu.lower * root), 0.975, 1e-10);
  EXPECT_NEAR(engine::statistics::NoncentralTBelow(t, 19.0, ppu.upper * root), 0.025, 1e-10);
  EXPECT_EQ(ppu.method, "noncentral t");
  for (const auto* const name : {"Pp", "Ppk"}) {
    EXPECT_EQ(Named(study.indices, name).lower, ppu.lower) << name;
    EXPECT_EQ(Named(study.indices, name).method, "noncentral t") << name;
  }
  EXPECT_FALSE(IsThere(study.indices, "Ppl"));
  EXPECT_DOUBLE_EQ(Named(study.indices, "Pr").upper, 1.0 / ppu.lower);
}

TEST(StudyIndices, ALowerBoundHasAllOfTheRiskBelowIt) {
  auto options = WideLimits();
  const auto wide = StudyIndices(Standard(30), options);
  options.bound = Bound::Lower;
  const auto one = StudyIndices(Standard(30), options);
  for (const auto& [name, interval] : one.indices) {
    EXPECT_TRUE(std::isnan(interval.upper)) << name;
    EXPECT_GT(interval.lower, Named(wide.indices, name).lower) << name;
  }
  options.bound = Bound::Both;
  options.level = 0.9;
  EXPECT_NEAR(Named(StudyIndices(Standard(30), options).indices, "Ppk").lower,
              Named(one.indices, "Ppk").lower, 1e-12);
}

TEST(StudyIndices, AnIndexMayBeBelowZeroAndItsRatioHasThenNoBounds) {
  IndexOptions options;
  options.limits.upper = 0.05;
  auto study = StudyIndices(Standard(20), options);
  EXPECT_LT(Named(study.indices, "Ppu").lower, 0.0);
  EXPECT_GT(Named(study.indices, "Ppu").upper, 0.0);
  EXPECT_TRUE(std::isnan(Named(study.indices, "Pr").lower));
  options.limits.upper = -2.0;
  study = StudyIndices(Standard(20), options);
  EXPECT_LT(Named(study.indices, "Ppu").lower, Named(study.indices, "Ppu").value);
  EXPECT_LT(Named(study.indices, "Ppu").upper, 0.0);
}

TEST(StudyIndices, NoLimitsNoSpreadNoSigma) {
  auto study = StudyIndices(Standard(20), {});
  EXPECT_TRUE(study.indices.empty());
  EXPECT_TRUE(Has(study.notes, "no-limits"));
  auto flat = Standard(20);
  flat.overall = flat.within.value = 0.0;
  study = StudyIndices(flat, WideLimits());
  EXPECT_TRUE(std::isnan(Named(study.indices, "Cpk").value));
  EXPECT_TRUE(std::isnan(Named(study.indices, "Ppk").lower));
  EXPECT_TRUE(Has(study.notes, "all-equal"));
  auto single = Standard(20);
  single.within.value = kNaN;
  study = StudyIndices(single, WideLimits());
  EXPECT_TRUE(std::isnan(Named(study.indices, "Cp").value));
  EXPECT_FALSE(std::isnan(Named(study.indices, "Pp").lower));
  EXPECT_TRUE(Has(study.notes, "no-sigma"));
  EXPECT_TRUE(StudyIndices({}, WideLimits()).indices.empty());
}

TEST(StudyIndices, OptionsOutOfTheirRange) {
  const auto sample = Standard(20);
  for (const double level : {0.0, 1.0, kNaN}) {
    auto options = WideLimits();
    options.level = level;
    EXPECT_THROW(StudyIndices(sample, options), std::invalid_argument) << level;
  }
  auto options = WideLimits();
  options.limits = {4.0, 4.0};
  EXPECT_THROW(StudyIndices(sample, options), std::invalid_argument);
  options = WideLimits();
  options.resamples = 99;
  EXPECT_THROW(StudyBetweenWithin(sample, options, true), std::invalid_argument);
}

TEST(EffectiveDegreesOf, OneSubgroupHasThoseOfItsDeviation) {
  for (const std::int32_t n : {2, 3, 5, 10, 25, 100}) {
    const std::int32_t sizes[] = {n};
    EXPECT_NEAR(EffectiveDegrees("S-est mvlue", sizes, 0), n - 1.0, 1e-8 * n) << n;
    EXPECT_EQ(EffectiveDegrees("pooled", sizes, 0), n - 1.0);
  }
}

TEST(EffectiveDegreesOf, SeveralSubgroups) {
  const std::vector<std::int32_t> sizes(25, 5), mixed = {1, 3, 5};
  // Less than 100, of which ranges of 5 keep about 91 percent.
  const double of_ranges = EffectiveDegrees("R-est mvlue", sizes, 0),
               of_deviations = EffectiveDegrees("S-est mvlue", sizes, 0);
  EXPECT_NEAR(of_ranges, 91.0, 1.0);
  EXPECT_GT(of_deviations, of_ranges);
  EXPECT_LT(of_deviations, 100.0);
  EXPECT_EQ(EffectiveDegrees("S-est pooled", mixed, 0), 6.0);
  EXPECT_LT(EffectiveDegrees("R-est unweighted", mixed, 0),
            EffectiveDegrees("R-est mvlue", mixed, 0));
  // Where the series takes over from the root.
  const std::vector<std::int32_t> below(1317, 5), above(1318, 5);
  const double step =
      EffectiveDegrees("S-est mvlue", above, 0) - EffectiveDegrees("S-est mvlue", below, 0);
  EXPECT_NEAR(step, EffectiveDegrees("S-est mvlue", below, 0) / 1317.0, 1e-3);
}

TEST(EffectiveDegreesOf, MovingRangesHaveSixTenthsEach) {
  EXPECT_NEAR(EffectiveDegrees("MR-est", {}, 1000), 605.0, 1.0);
  EXPECT_NEAR(EffectiveDegrees("MR-est", {}, 1), 0.5 / 0.570796, 1e-6);
  EXPECT_TRUE(std::isnan(EffectiveDegrees("MR-est", {}, 0)));
  const std::int32_t single[] = {1, 1};
  EXPECT_TRUE(std::isnan(EffectiveDegrees("R-est mvlue", single, 0)));
}

// Four subgroups of 2 by hand: ranges 2, means 0, 4, 0, 4.
TEST(StudyBetweenWithin, ByHand) {
  const std::vector<double> values = {-1, 1, 3, 5, -1, 1, 3, 5};
  const auto sample = CapabilitySampleOf(values, std::vector<std::int32_t>(4, 2), "pooled");
  EXPECT_DOUBLE_EQ(sample.within.value, std::sqrt(2.0));
  IndexOptions options;
  options.limits = {-10.0, 20.0};
  const auto study = StudyBetweenWithin(sample, options, false);
  const double means = 4.0 / (2.0 / std::sqrt(std::acos(-1.0)));
  EXPECT_DOUBLE_EQ(study.within.value, std::sqrt(2.0));
  EXPECT_NEAR(study.means.value, means, 1e-12);
  EXPECT_DOUBLE_EQ(study.harmonic_size, 2.0);
  const double between = std::sqrt(means * means - 1.0), both = std::hypot(between, std::sqrt(2.0));
  EXPECT_NEAR(study.between.value, between, 1e-12);
  EXPECT_NEAR(study.both.value, both, 1e-12);
  EXPECT_NEAR(Named(study.indices, "Cp").value, 30.0 / (6.0 * both), 1e-12);
  EXPECT_NEAR(Named(study.indices, "Cpk").value, 12.0 / (3.0 * both), 1e-12);
  EXPECT_NEAR(Named(study.indices, "Cpu").value, 18.0 / (3.0 * both), 1e-12);
  EXPECT_TRUE(std::isnan(Named(study.indices, "Cp").lower));
  EXPECT_TRUE(Has(study.notes, "few-data"));
}

// 4 and 12 pieces have the harmonic mean 6.
TEST(StudyBetweenWithin, UnequalSizesHaveTheirHarmonicMean) {
  std::vector<double> values;
  for (int i = 0; i < 16; ++i) values.push_back(i % 4);
  const std::int32_t sizes[] = {4, 12};
  const auto study =
      StudyBetweenWithin(CapabilitySampleOf(values, sizes, "pooled"), WideLimits(), false);
  EXPECT_DOUBLE_EQ(study.harmonic_size, 6.0);
  // Both means are 1.5: nothing is between.
  EXPECT_EQ(study.between.value, 0.0);
  EXPECT_DOUBLE_EQ(study.both.value, study.within.value);
}

TEST(StudyBetweenWithin, SinglePiecesAreLeftOut) {
  const std::vector<double> values = {-1, 1, 100, 3, 5, -1, 1};
  const std::int32_t sizes[] = {2, 1, 2, 2};
  const auto study =
      StudyBetweenWithin(CapabilitySampleOf(values, sizes, "pooled"), WideLimits(), false);
  EXPECT_EQ(study.within.left, 1);
  EXPECT_TRUE(Has(study.notes, "single-pieces"));
  EXPECT_NEAR(study.means.value, 4.0 / 1.1283791670955126, 1e-12);
  const std::int32_t ones[] = {1, 1, 1};
  const auto none = StudyBetweenWithin(
      CapabilitySampleOf(std::vector<double>{1, 2, 3}, ones, "MR-est"), WideLimits(), false);
  EXPECT_TRUE(std::isnan(none.both.value));
  EXPECT_TRUE(none.indices.empty());
  EXPECT_TRUE(Has(none.notes, "too-few"));
}

// No range of means reaches from one stream into the next.
TEST(StudyBetweenWithin, StreamsAreApart) {
  const std::vector<double> values = {0, 2, 1, 3, 100, 102, 101, 103};
  auto sample = CapabilitySampleOf(values, std::vector<std::int32_t>(4, 2), "pooled");
  const auto together = StudyBetweenWithin(sample, WideLimits(), false);
  sample.streams = {2, 2};
  const auto apart = StudyBetweenWithin(sample, WideLimits(), false);
  EXPECT_NEAR(apart.means.value, 1.0 / 1.1283791670955126, 1e-12);
  EXPECT_GT(together.means.value, 10.0);
}

TEST(StudyBetweenWithin, IntervalsAreTheSameForASeed) {
  engine::statistics::Draws draws;
  const auto sample = DrawnSample(draws, 30, 3, "S-est mvlue", 1.0);
  auto options = WideLimits();
  options.resamples = 200;
  const auto one = StudyBetweenWithin(sample, options, true),
             two = StudyBetweenWithin(sample, options, true);
  const auto cpk = Named(one.indices, "Cpk");
  EXPECT_EQ(cpk.lower, Named(two.indices, "Cpk").lower);
  EXPECT_LT(cpk.lower, cpk.value);
  EXPECT_LT(cpk.value, cpk.upper);
  EXPECT_EQ(cpk.method, "bootstrap");
  EXPECT_EQ(one.bootstrap.draws, 200);
  EXPECT_EQ(one.bootstrap.failed, 0);
  options.seed = 5;
  EXPECT_NE(cpk.lower, Named(StudyBetweenWithin(sample, options, true).indices, "Cpk").lower);
}

TEST(StudyQuantileIndices, OfTheValuesAndOfALaw) {
  engine::statistics::Draws draws;
  auto sample = DrawnSample(draws, 100, 1, "MR-est");
  auto options = WideLimits();
  options.resamples = 200;
  LawOptions how;
  how.limits = options.limits;
  const auto law = StudyLaws(sample.values, how).laws.front();
  const auto of_law = StudyQuantileIndices(sample, &law, how, options);
  EXPECT_EQ(Named(of_law.indices, "Ppk").value, law.indices.ppk);
  EXPECT_LT(Named(of_law.indices, "Ppk").lower, law.indices.ppk);
  EXPECT_GT(Named(of_law.indices, "Ppk").upper, law.indices.ppk);
  const auto plain = StudyQuantileIndices(sample, nullptr, {}, options);
  EXPECT_EQ(plain.indices.size(), 4U);
  EXPECT_EQ(Named(plain.indices, "Pp").value,
            StudyQuantiles(sample.values, options.limits).indices.pp);
  EXPECT_TRUE(std::isnan(Named(plain.indices, "Ppk").lower));
  EXPECT_EQ(plain.bootstrap.draws, 0);
  EXPECT_TRUE(Has(plain.notes, "no-interval"));
  options.limits.upper = kNaN;
  const auto one = StudyQuantileIndices(sample, nullptr, {}, options);
  EXPECT_EQ(one.indices.size(), 2U);
  EXPECT_FALSE(IsThere(one.indices, "Pp"));
}

TEST(StudyQuantileIndices, WithoutALawBoundsComeOfTheQuantiles) {
  std::vector<double> values(2731);
  std::iota(values.begin(), values.end(), 1.0);
  const auto of = [](const std::vector<double>& of_values, const IndexOptions& how) {
    const std::vector<std::int32_t> singles(of_values.size(), 1);
    return StudyQuantileIndices(CapabilitySampleOf(of_values, singles, "MR-est"), nullptr, {}, how);
  };
  IndexOptions options;
  options.limits = {-500.0, 3400.0};
  const auto study = of(values, options);
  const auto quantiles = StudyQuantiles(values, options.limits);
  const auto &low = quantiles.low, &median = quantiles.median, &high = quantiles.high;
  const auto pp = Named(study.indices, "Pp"), ppu = Named(study.indices, "Ppu"),
             ppl = Named(study.indices, "Ppl"), ppk = Named(study.indices, "Ppk");
  EXPECT_EQ(pp.method, "order statistics");
  EXPECT_EQ(pp.lower, 3900.0 / (2731.0 - 1.0));
  EXPECT_EQ(pp.upper, 3900.0 / (high.lower - low.upper));
  // Above the quantile the limit is the further from the median the lower that lies.
  EXPECT_EQ(ppu.lower, (3400.0 - median.lower) / (high.upper - median.lower));
  EXPECT_EQ(ppu.upper, (3400.0 - median.upper) / (high.lower - median.upper));
  EXPECT_EQ(ppl.lower, (median.upper + 500.0) / (median.upper - low.lower));
  EXPECT_EQ(ppl.upper, (median.lower + 500.0) / (median.lower - low.upper));
  EXPECT_EQ(ppk.lower, std::min(ppu.lower, ppl.lower));
  EXPECT_EQ(ppk.upper, std::min(ppu.upper, ppl.upper));
  EXPECT_FALSE(Has(study.notes, "no-interval"));
  values.pop_back();
  const auto fewer = of(values, options);
  EXPECT_TRUE(std::isnan(Named(fewer.indices, "Pp").lower));
  ASSERT_TRUE(Has(fewer.notes, "no-interval"));
  EXPECT_NE(fewer.notes.back().text.find("2731 are needed"), std::string::npos);
  // One bound has all of the risk: 0.99865^2218 is the first below 0.05.
  options.bound = Bound::Lower;
  values.resize(2218);
  EXPECT_FALSE(std::isnan(Named(of(values, options).indices, "Pp").lower));
  EXPECT_TRUE(std::isnan(Named(of(values, options).indices, "Pp").upper));
  values.pop_back();
  EXPECT_TRUE(std::isnan(Named(of(values, options).indices, "Pp").lower));
}

TEST(StudyQuantileIndices, WithoutALawBoundsHoldTheIndicesOfTheProcess) {
  engine::statistics::Draws draws;
  const double reach = engine::statistics::NormalQuantile(0.99865);
  const std::map<std::string, double> right = {
      {"Pp", 4.0 / reach}, {"Ppk", 3.7 / reach}, {"Ppu", 3.7 / reach}, {"Ppl", 4.3 / reach}};
  std::map<std::string, int> hits;
  constexpr Coverage kAtLeast{100, 0.93, 1.0};
  for (int i = 0; i < kAtLeast.samples; ++i) {
    const auto sample = DrawnSample(draws, 3000, 1, "MR-est");
    for (const auto& [name, interval] :
         StudyQuantileIndices(sample, nullptr, {}, WideLimits()).indices)
      hits[name] += Holds(interval, right.at(name)) ? 1 : 0;
  }
  EXPECT_EQ(hits.size(), 4U);
  for (const auto& [name, count] : hits) ExpectCovered("order statistics " + name, count, kAtLeast);
}

// Five values give samples without three different ones so often that there is no interval.
TEST(StudyQuantileIndices, ManyFailedResamplesGiveNoInterval) {
  const std::vector<double> values = {1, 1, 1, 2, 3};
  const auto sample = CapabilitySampleOf(values, std::vector<std::int32_t>(5, 1), "MR-est");
  auto options = WideLimits();
  LawFigures law;
  law.law = Law::Normal;
  law.parameters = {{"mean", 1.6}, {"sd", 0.9}};
  law.indices.ppk = 0.9;
  const auto study = StudyQuantileIndices(sample, &law, {}, options);
  EXPECT_TRUE(std::isnan(Named(study.indices, "Ppk").lower));
  EXPECT_GT(study.bootstrap.failed, 100);
  EXPECT_TRUE(Has(study.notes, "no-interval"));
}

// Box-Cox with lambda 0 takes logarithms: the indices are those of the logarithms.
TEST(StudyTransformed, IsTheAnalysisOfTransformedValues) {
  engine::statistics::Draws draws;
  const auto plain = DrawnSample(draws, 30, 4, "R-est mvlue");
  auto skewed = plain;
  for (auto& value : skewed.values) value = std::exp(value);
  const double parameters[] = {0.0, plain.mean, plain.overall};
  IndexOptions options = WideLimits();
  const auto expected = StudyIndices(plain, options);
  const auto law = FiguresOfLaw(Law::BoxCox, parameters, {});
  options.limits = {std::exp(-4.0), std::exp(4.0)};
  const auto study = StudyTransformed(skewed, law, options);
  EXPECT_NEAR(study.within.value, plain.within.value, 1e-12);
  EXPECT_EQ(study.within.name, "R-est mvlue");
  for (const auto* const name : {"Cp", "Cpk", "Cpu", "Cpl"}) {
    const auto found = Named(study.indices, name), wanted = Named(expected.indices, name);
    EXPECT_NEAR(found.value, wanted.value, 1e-12) << name;
    EXPECT_NEAR(found.lower, wanted.lower, 1e-12) << name;
    EXPECT_NEAR(found.upper, wanted.upper, 1e-12) << name;
  }
}

TEST(StudyTransformed, BoxCoxIndicesAreTheSameInAnyUnit) {
  const auto study = [](double unit) {
    std::vector<double> values;
    for (int i = 0; i < 100; ++i)
      values.push_back(unit * (991.0 - 8.7 * std::log1p(-((37 * i % 100) + 0.5) / 100.0)));
    IndexOptions options;
    options.limits = {960.0 * unit, 1040.0 * unit};
    LawOptions how;
    how.laws = {Law::BoxCox};
    how.simulates = false;
    const auto sample = CapabilitySampleOf(values, std::vector<std::int32_t>(25, 4), "pooled");
    return StudyTransformed(sample, StudyLaws(values, how).laws[0], options);
  };
  const auto kilograms = study(1e-3), grams = study(1.0);
  for (const char* const name : {"Cp", "Cpk", "Cpu", "Cpl"}) {
    const auto a = Named(kilograms.indices, name), b = Named(grams.indices, name);
    EXPECT_GT(a.value, 1.0) << name;
    EXPECT_NEAR(a.value, b.value, 1e-9) << name;
    EXPECT_NEAR(a.lower, b.lower, 1e-9) << name;
  }
  // What is shown beside them is of (x^-5 - 1)/-5.
  EXPECT_NEAR(kilograms.mean, -0.0005417221090381243, 1e-14);
  EXPECT_NEAR(kilograms.limits.lower, (std::pow(0.96, -5.0) - 1.0) / -5.0, 1e-14);
  EXPECT_NEAR(kilograms.limits.upper, (std::pow(1.04, -5.0) - 1.0) / -5.0, 1e-14);
  EXPECT_NEAR(grams.within.value, 1e-15 * kilograms.within.value, 1e-25 * kilograms.within.value);
}

TEST(StudyTransformed, ValuesAndLimitsWithoutATransform) {
  const std::vector<double> values = {1, 2, 3, 4, 5, 6};
  const auto sample = CapabilitySampleOf(values, std::vector<std::int32_t>(3, 2), "pooled");
  const double parameters[] = {0.5, 2.0, 1.0};
  const auto law = FiguresOfLaw(Law::BoxCox, parameters, {});
  IndexOptions options;
  options.limits = {-1.0, 20.0};
  const auto study = StudyTransformed(sample, law, options);
  EXPECT_TRUE(std::isnan(study.limits.lower));
  EXPECT_FALSE(IsThere(study.indices, "Cpl"));
  EXPECT_EQ(Named(study.indices, "Cpk").value, Named(study.indices, "Cpu").value);
  EXPECT_TRUE(std::isnan(Named(study.indices, "Cp").value));
  EXPECT_TRUE(std::isnan(Named(study.indices, "Cp").lower));
  EXPECT_TRUE(Has(study.notes, "limit-not-transformed"));
  options.limits = {1.0, 20.0};
  const auto both = StudyTransformed(sample, law, options);
  EXPECT_FALSE(std::isnan(Named(both.indices, "Cp").value));
  EXPECT_FALSE(Has(both.notes, "limit-not-transformed"));
  // With one limit alone Cp is of that.
  options.limits = {kNaN, 20.0};
  const auto one = StudyTransformed(sample, law, options);
  EXPECT_EQ(Named(one.indices, "Cp").value, Named(one.indices, "Cpu").value);
  EXPECT_FALSE(Has(one.notes, "limit-not-transformed"));
  options.limits = {-1.0, kNaN};
  const auto none = StudyTransformed(sample, law, options);
  EXPECT_TRUE(none.indices.empty());
  EXPECT_TRUE(Has(none.notes, "limit-not-transformed"));
  EXPECT_FALSE(Has(none.notes, "no-limits"));
  options.limits = {-1.0, 20.0};
  auto negative = sample;
  negative.values[0] = -1.0;
  EXPECT_TRUE(Has(StudyTransformed(negative, law, options).notes, "not-transformed"));
  LawFigures weibull;
  weibull.law = Law::Weibull;
  EXPECT_THROW(StudyTransformed(sample, weibull, options), std::invalid_argument);
}

// ln x as a Johnson curve: nothing has a transform from 0 down.
TEST(StudyTransformed, AJohnsonCurveEndsToo) {
  const std::vector<double> values = {1, 2, 3, 4, 5, 6};
  const auto sample = CapabilitySampleOf(values, std::vector<std::int32_t>(3, 2), "pooled");
  const double parameters[] = {-1.0, 1.5, 0.0, 1.0};
  auto law = FiguresOfLaw(Law::Johnson, parameters, {});
  law.curve = "SL";
  IndexOptions options;
  options.limits = {-1.0, 20.0};
  const auto study = StudyTransformed(sample, law, options);
  EXPECT_TRUE(std::isnan(Named(study.indices, "Cp").value));
  EXPECT_GT(Named(study.indices, "Cpk").value, 0.0);
  EXPECT_TRUE(Has(study.notes, "limit-not-transformed"));
}

// Short forms of the simulations of Capability_slow_test.
TEST(CapabilityCoverage, InAFewSamples) {
  constexpr Coverage kFew{200, 0.89, 0.995}, kAtLeast{200, 0.89, 1.0};
  CheckIndices("R-est mvlue", 25, 5, kFew);
  CheckIndices("MR-est", 30, 1, kFew);
  CheckBootstrap(200, {40, 0.8, 1.0});
  CheckTolerances(kFew, kAtLeast);
  CheckCounts({60, 0.86, 1.0});
}

}  // namespace
}  // namespace orvspc::studies
