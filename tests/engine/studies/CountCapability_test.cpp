// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/CountCapability.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <stdexcept>

#include "engine/statistics/Distributions.h"
#include "tests/engine/studies/cases.h"
#include "tests/engine/studies/notes.h"

namespace orvspc::studies {
namespace {

using platform::kNaN;

Stretch Counts(const std::vector<double>& counts, const std::vector<double>& sizes) {
  Stretch stretch;
  stretch.counts = counts;
  stretch.sizes = sizes;
  const double rate = std::accumulate(counts.begin(), counts.end(), 0.0) /
                      std::accumulate(sizes.begin(), sizes.end(), 0.0);
  for (std::size_t i = 0; i < counts.size(); ++i) {
    stretch.points.push_back(counts[i] / sizes[i]);
    stretch.centre.push_back(rate);
    stretch.sigma.push_back(std::sqrt(rate * (1.0 - rate) / sizes[i]));
  }
  return stretch;
}

CountCapabilityOptions Defects(double opportunities = 1.0) {
  CountCapabilityOptions options;
  options.defectives = false;
  options.opportunities = opportunities;
  return options;
}

TEST(StudyCountCapability, Published) {
  const Case known("capability-attributes");
  const auto stretch = Counts(known.Column("defectives"), known.Column("size"));
  const auto bad = StudyCountCapability(stretch, {});
  known.Check("p", bad.rate.value);
  known.Check("p_ci", {bad.rate.lower, bad.rate.upper});
  known.Check("ppm", bad.per_million.value);
  known.Check("z", bad.z.value);
  EXPECT_EQ(bad.rate.method, "Clopper-Pearson");
  const auto defects = StudyCountCapability(stretch, Defects(10.0));
  known.Check("dpu", defects.rate.value);
  known.Check("dpu_ci", {defects.rate.lower, defects.rate.upper});
  known.Check("yield_", defects.yield.value);
  EXPECT_DOUBLE_EQ(defects.per_million.value, 1e5 * defects.rate.value);
  EXPECT_DOUBLE_EQ(defects.yield.lower, std::exp(-defects.rate.upper));
}

TEST(StudyCountCapability, NoBadUnitHasABoundOfZAndNoValue) {
  const std::vector<double> none(25, 0.0), sizes(25, 40.0);
  const auto study = StudyCountCapability(Counts(none, sizes), {});
  EXPECT_EQ(study.rate.value, 0.0);
  EXPECT_EQ(study.rate.lower, 0.0);
  // 1 - 0.025^(1/1000)
  EXPECT_NEAR(study.rate.upper, 1.0 - std::pow(0.025, 0.001), 1e-12);
  EXPECT_TRUE(std::isnan(study.z.value));
  EXPECT_TRUE(std::isnan(study.z.upper));
  EXPECT_NEAR(study.z.lower, -engine::statistics::NormalQuantile(study.rate.upper), 1e-12);
  EXPECT_EQ(study.stable, true);
  const auto defects = StudyCountCapability(Counts(none, sizes), Defects());
  // -ln(0.025)/1000
  EXPECT_NEAR(defects.rate.upper, -std::log(0.025) / 1000.0, 1e-12);
  EXPECT_EQ(defects.yield.value, 1.0);
}

TEST(StudyCountCapability, AllBad) {
  const std::vector<double> all(25, 4.0);
  const auto study = StudyCountCapability(Counts(all, all), {});
  EXPECT_EQ(study.rate.upper, 1.0);
  EXPECT_TRUE(std::isnan(study.z.value));
  EXPECT_TRUE(std::isnan(study.z.lower));
}

TEST(StudyCountCapability, CumulatesAndFindsSignals) {
  std::vector<double> counts(24, 5.0), sizes(24, 100.0);
  counts.push_back(25.0);
  sizes.push_back(100.0);
  auto stretch = Counts(counts, sizes);
  auto study = StudyCountCapability(stretch, {});
  EXPECT_EQ(study.stable, false);
  EXPECT_TRUE(Has(study.notes, "not-stable"));
  EXPECT_EQ(study.signals.back(), 1);
  EXPECT_DOUBLE_EQ(study.cumulated[0], 0.05);
  EXPECT_DOUBLE_EQ(study.cumulated[24], 145.0 / 2500.0);
  EXPECT_EQ(study.bad, 145.0);
  // What is forgotten is in no figure.
  stretch.used.assign(25, 1);
  stretch.used[24] = 0;
  study = StudyCountCapability(stretch, {});
  EXPECT_EQ(study.stable, true);
  EXPECT_EQ(study.subgroups, 24);
  EXPECT_EQ(study.units, 2400.0);
  EXPECT_DOUBLE_EQ(study.rate.value, 0.05);
  EXPECT_DOUBLE_EQ(study.cumulated[24], 0.05);
}

TEST(StudyCountCapability, SubgroupsWithoutASizeAreNamed) {
  auto stretch = Counts(std::vector<double>(25, 5.0), std::vector<double>(25, 100.0));
  stretch.sizes.assign(25, 0.0);
  const auto none = StudyCountCapability(stretch, Defects());
  EXPECT_EQ(none.subgroups, 0);
  EXPECT_TRUE(std::isnan(none.rate.value));
  EXPECT_FALSE(Has(none.notes, "too-few"));
  ASSERT_TRUE(Has(none.notes, "no-size"));
  EXPECT_EQ(none.notes[0].text, "25 subgroups have no size, so there is no rate of them.");
  // The others have one.
  stretch.sizes.assign(25, 100.0);
  stretch.sizes[3] = 0.0;
  const auto most = StudyCountCapability(stretch, Defects());
  EXPECT_EQ(most.subgroups, 24);
  EXPECT_DOUBLE_EQ(most.rate.value, 0.05);
  ASSERT_TRUE(Has(most.notes, "no-size"));
  EXPECT_EQ(most.notes[0].text, "1 subgroup has no size, so there is no rate of it.");
  // Not those that are not used.
  stretch.used.assign(25, 1);
  stretch.used[3] = 0;
  EXPECT_FALSE(Has(StudyCountCapability(stretch, Defects()).notes, "no-size"));
}

TEST(StudyCountCapability, WithoutLimitsNothingIsKnownOfStability) {
  auto stretch = Counts(std::vector<double>(25, 5.0), std::vector<double>(25, 100.0));
  stretch.centre.assign(25, kNaN);
  stretch.sigma.assign(25, kNaN);
  const auto study = StudyCountCapability(stretch, {});
  EXPECT_FALSE(study.stable);
  EXPECT_EQ(std::accumulate(study.signals.begin(), study.signals.end(), 0), 0);
  EXPECT_TRUE(Has(study.notes, "no-limits"));
  EXPECT_FALSE(Has(study.notes, "not-stable"));
  EXPECT_DOUBLE_EQ(study.rate.value, 0.05);
}

TEST(StudyCountCapability, LeastAmountsAndOptions) {
  const auto one = StudyCountCapability(Counts({1.0}, {20.0}), {});
  EXPECT_DOUBLE_EQ(one.rate.value, 0.05);
  EXPECT_TRUE(Has(one.notes, "few-data"));
  const auto none = StudyCountCapability({}, {});
  EXPECT_TRUE(std::isnan(none.rate.value));
  EXPECT_TRUE(Has(none.notes, "too-few"));
  for (const double level : {0.0, 1.0, kNaN}) {
    CountCapabilityOptions options;
    options.level = level;
    EXPECT_THROW(StudyCountCapability({}, options), std::invalid_argument);
  }
  EXPECT_THROW(StudyCountCapability({}, Defects(0.0)), std::invalid_argument);
}

}  // namespace
}  // namespace orvspc::studies
