// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/RareEvents.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

#include "tests/engine/studies/cases.h"

namespace orvspc::studies {
namespace {

using platform::kNaN;

std::vector<double> LimitsOf(const GStudy& study) {
  return {study.lower, study.centre, study.upper};
}

TEST(StudyG, OpportunitiesBetweenEvents) {
  const Case known("g-chart");
  const auto between = known.Column("between");
  GOptions options;
  options.alpha = known.Param("alpha");
  const auto unbiased = StudyG(between, options);
  known.Check("mean", unbiased.mean.value);
  known.Check("p_unbiased", unbiased.p.value);
  known.Check("prob_limits_p_unbiased", LimitsOf(unbiased));
  options.unbiased = false;
  const auto likely = StudyG(between, options);
  known.Check("p_ml", likely.p.value);
  known.Check("prob_limits_p_ml", LimitsOf(likely));
  options.probability = false;
  const auto sigmas = StudyG(between, options);
  known.Check("sigma_limits", std::vector<double>{sigmas.lower, sigmas.upper});
  EXPECT_EQ(sigmas.centre, sigmas.mean.value);
}

// Each limit by adding up the probabilities.
TEST(StudyG, LimitsAreTheLeastCountsThatReachTheShare) {
  for (const double level : {1.0, 5.0, 60.0, 2000.0}) {
    std::vector<double> between(40, level);
    between[0] = level + 1.0;
    for (const double alpha : {0.0001, 0.0027, 0.1}) {
      GOptions options;
      options.alpha = alpha;
      const auto study = StudyG(between, options);
      const auto least = [&](double share) {
        double x = 0.0, sum = study.p.value;
        for (double term = sum; sum < share; ++x) sum += term *= 1.0 - study.p.value;
        return x;
      };
      EXPECT_EQ(LimitsOf(study), (std::vector{least(alpha / 2), least(0.5), least(1 - alpha / 2)}))
          << level << ' ' << alpha;
    }
  }
}

TEST(StudyG, ALongGapAndTwoZerosInARow) {
  std::vector<double> between(30, 3.0);
  between[4] = 100.0;
  between[10] = between[11] = 0.0;
  GOptions options;
  options.run_rule = 0;
  const auto study = StudyG(between, options);
  EXPECT_EQ(study.lower, 0.0);
  EXPECT_EQ(study.marks[4], 2U);
  EXPECT_EQ(std::ranges::count(study.marks, 0U), 29);
  EXPECT_EQ(study.zeros[10], 0);
  EXPECT_EQ(study.zeros[11], 1);
  EXPECT_EQ(study.notes.back().code, "no-lower-limit");
}

TEST(StudyG, BelowALowerLimitIsASignal) {
  std::vector<double> between(30, 3000.0);
  between[7] = 0.0;
  GOptions options;
  options.run_rule = 0;
  const auto study = StudyG(between, options);
  EXPECT_GT(study.lower, 0.0);
  EXPECT_EQ(study.marks[7], 2U);
  EXPECT_TRUE(std::ranges::all_of(study.zeros, [](auto zero) { return zero == 0; }));
}

TEST(StudyG, RunsAreCountedAboutTheMedian) {
  // The mean is above most counts, and the median in the middle of them.
  std::vector<double> between = {1, 20, 1, 20, 1, 20, 1, 20, 1, 20};
  between.insert(between.end(), 9, 15.0);
  GOptions options;
  for (const auto& [rule, length] : {std::pair{2, 9}, {9, 8}, {10, 7}}) {
    options.run_rule = rule;
    const auto study = StudyG(between, options);
    ASSERT_LT(study.centre, 15.0);
    // The 20 before is of the run too.
    for (std::size_t i = 9; i < between.size(); ++i) {
      const bool marked = (study.marks[i] >> rule & 1U) != 0;
      EXPECT_EQ(marked, i - 9 + 1 >= static_cast<std::size_t>(length)) << rule << ' ' << i;
    }
  }
}

TEST(StudyG, TooFewAndAllEqual) {
  const std::vector<double> two = {1, 2}, equal(25, 4.0), few = {1, 2, 4};
  EXPECT_TRUE(std::isnan(StudyG(two).upper));
  EXPECT_EQ(StudyG(two).notes[0].code, "too-few");
  EXPECT_TRUE(std::isnan(StudyG(equal).upper));
  EXPECT_EQ(StudyG(equal).notes[0].code, "all-equal");
  EXPECT_FALSE(std::isnan(StudyG(few).upper));
  EXPECT_EQ(StudyG(few).notes[0].code, "few-data");
}

TEST(StudyG, RefusesWhatLiesOutside) {
  const std::vector<double> right = {1, 2, 3};
  for (const auto& wrong : {std::vector<double>{1, -2, 3}, {1, 2.5, 3}, {1, kNaN, 3}}) {
    EXPECT_THROW(StudyG(wrong), std::invalid_argument);
  }
  GOptions options;
  options.alpha = 0.2;
  EXPECT_THROW(StudyG(right, options), std::invalid_argument);
  options.alpha = 0.0027;
  options.run_rule = 3;
  EXPECT_THROW(StudyG(right, options), std::invalid_argument);
}

TEST(StudyT, Power) {
  const Case known("t-chart-power");
  TOptions options;
  options.law = TimeLaw::Power;
  const auto study = StudyT(known.Column("hours"), options);
  known.Check("cl", study.centre);
  known.Check("ucl", study.upper);
  known.Check("lcl", study.lower);
  known.Check("transformed_cl", study.transformed_centre);
  known.Check("transformed_mr", study.transformed_range);
  EXPECT_TRUE(std::isnan(study.shape.value));
}

// The likelihood falls off whichever way the parameters are moved.
TEST(StudyT, WeibullIsTheMostLikely) {
  const auto times = Case("t-chart-power").Column("hours");
  const auto study = StudyT(times);
  const auto likelihood = [&](double shape, double scale) {
    double sum = 0.0;
    for (const double time : times) {
      const double share = time / scale;
      sum += std::log(shape / scale) + (shape - 1) * std::log(share) - std::pow(share, shape);
    }
    return sum;
  };
  const double shape = study.shape.value, scale = study.scale.value;
  for (const double step : {1e-4, 1e-2, 0.3}) {
    EXPECT_GT(likelihood(shape, scale), likelihood(shape * (1 + step), scale));
    EXPECT_GT(likelihood(shape, scale), likelihood(shape * (1 - step), scale));
    EXPECT_GT(likelihood(shape, scale), likelihood(shape, scale * (1 + step)));
    EXPECT_GT(likelihood(shape, scale), likelihood(shape, scale * (1 - step)));
  }
  const auto below = [&](double time) { return -std::expm1(-std::pow(time / scale, shape)); };
  EXPECT_NEAR(below(study.lower), 0.00135, 1e-12);
  EXPECT_NEAR(below(study.centre), 0.5, 1e-12);
  EXPECT_NEAR(1 - below(study.upper), 0.00135, 1e-12);
}

TEST(StudyT, WeibullFollowsTheUnit) {
  auto times = Case("t-chart-power").Column("hours");
  const auto hours = StudyT(times);
  for (auto& time : times) time *= 3.6e12;
  const auto tiny = StudyT(times);
  EXPECT_NEAR(tiny.shape.value / hours.shape.value, 1.0, 1e-11);
  EXPECT_NEAR(tiny.upper / hours.upper / 3.6e12, 1.0, 1e-10);
}

TEST(StudyT, ExponentialHasTheMeanAsScale) {
  const auto times = Case("t-chart-power").Column("hours");
  TOptions options;
  options.law = TimeLaw::Exponential;
  const auto study = StudyT(times, options);
  double sum = 0.0;
  for (const double time : times) sum += time;
  const double mean = sum / static_cast<double>(times.size());
  EXPECT_NEAR(study.scale.value, mean, 1e-12 * mean);
  EXPECT_EQ(study.shape.value, 1.0);
  EXPECT_NEAR(study.upper, -std::log(0.00135) * mean, 1e-9);
  EXPECT_NEAR(study.centre, std::numbers::ln2 * mean, 1e-9);
}

// A stamp of whole hours gives times of 0 that are not shorter than half an hour.
TEST(StudyT, ATimeOfZeroIsJudgedAsHalfOfTheResolution) {
  auto times = Case("t-chart-power").Column("hours");
  times[3] = 0.0;
  TOptions options;
  const auto median = StudyT(times, options).centre;
  for (const auto law : {TimeLaw::Weibull, TimeLaw::Exponential}) {
    options.law = law;
    options.resolution = 2.0 * median;
    EXPECT_EQ(StudyT(times, options).marks[3], 0U);
    options.resolution = 1e-9;
    EXPECT_NE(StudyT(times, options).marks[3], 0U);
  }
}

TEST(StudyT, ATimeOfZeroIsHalfOfTheResolution) {
  auto times = Case("t-chart-power").Column("hours");
  times[3] = 0.0;
  TOptions options;
  options.resolution = 0.5;
  const auto zero = StudyT(times, options);
  EXPECT_EQ(zero.notes.back().code, "zero-times");
  times[3] = 0.25;
  EXPECT_EQ(zero.upper, StudyT(times, options).upper);
  times[3] = 0.0;
  options.law = TimeLaw::Power;
  const auto power = StudyT(times, options);
  EXPECT_TRUE(std::ranges::none_of(power.notes,
                                   [](const Note& note) { return note.code == "zero-times"; }));
}

TEST(StudyT, TheOpenTimeIsOverdueAboveTheUpperLimit) {
  const auto times = Case("t-chart-power").Column("hours");
  TOptions options;
  const auto plain = StudyT(times, options);
  options.open = plain.upper;
  EXPECT_FALSE(StudyT(times, options).overdue);
  options.open = plain.upper * 1.001;
  const auto late = StudyT(times, options);
  EXPECT_TRUE(late.overdue);
  EXPECT_EQ(late.upper, plain.upper);
}

TEST(StudyT, TooFewAndAllEqual) {
  const std::vector<double> two = {1, 2}, equal(25, 4.0);
  for (const auto law : {TimeLaw::Weibull, TimeLaw::Exponential, TimeLaw::Power}) {
    TOptions options;
    options.law = law;
    EXPECT_TRUE(std::isnan(StudyT(two, options).upper));
    EXPECT_TRUE(std::isnan(StudyT(equal, options).upper));
    EXPECT_EQ(StudyT(equal, options).notes[0].code, "all-equal");
  }
}

TEST(StudyT, RefusesWhatLiesOutside) {
  const std::vector<double> right = {1, 2, 3}, wrong = {1, -2, 3};
  EXPECT_THROW(StudyT(wrong), std::invalid_argument);
  TOptions options;
  options.resolution = 0.0;
  EXPECT_THROW(StudyT(right, options), std::invalid_argument);
  options.resolution = 1.0;
  options.open = -1.0;
  EXPECT_THROW(StudyT(right, options), std::invalid_argument);
}

TEST(StudyG, TheOpenCountIsOverdueAboveTheUpperLimit) {
  const auto between = Case("g-chart").Column("between");
  GOptions options;
  options.open = 352.0;
  EXPECT_FALSE(StudyG(between, options).overdue);
  options.open = 353.0;
  const auto late = StudyG(between, options);
  EXPECT_TRUE(late.overdue);
  EXPECT_EQ(late.open, 353.0);
  EXPECT_EQ(late.upper, 352.0);
  options.open = -1.0;
  EXPECT_THROW(StudyG(between, options), std::invalid_argument);
}

TEST(StudyG, TakesTheMeanOfAnotherStretch) {
  const auto between = Case("g-chart").Column("between");
  const auto judged_by = StudyG(between);
  const std::vector<double> two = {1.0, 400.0};
  const auto study = StudyG(two, {}, &judged_by);
  EXPECT_EQ(LimitsOf(study), LimitsOf(judged_by));
  EXPECT_EQ(study.marks, (std::vector<std::uint32_t>{0, 2}));
  const auto without = StudyG(two);
  EXPECT_TRUE(std::isnan(StudyG(two, {}, &without).upper));
}

// Subgroups of counts, one after the other.
Stretch CountsOf(const std::vector<double>& counts, const std::vector<double>& sizes) {
  Stretch stretch;
  stretch.counts = counts;
  stretch.sizes = sizes;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    stretch.times.push_back(static_cast<std::int32_t>(100 * (i + 1)));
    stretch.subgroups.push_back(static_cast<std::int32_t>(i + 1));
  }
  return stretch;
}

TEST(UnitsBetween, AreTheSizesOfTheSubgroupsBetweenTwoEvents) {
  auto counts = CountsOf({0, 1, 0, 0, 1, 2, 0, 0, 1, 0, 0}, {9, 1, 5, 6, 1, 1, 7, 100, 1, 3, 4});
  counts.used.assign(11, 1);
  counts.used[7] = 0;
  const auto between = UnitsBetweenEvents(counts);
  EXPECT_EQ(between.stretch.points, (std::vector<double>{11, 0, 7}));
  EXPECT_EQ(between.stretch.times, (std::vector<std::int32_t>{500, 600, 900}));
  EXPECT_EQ(between.stretch.subgroups, (std::vector<std::int32_t>{5, 6, 9}));
  EXPECT_EQ(between.open, 7.0);
  ASSERT_EQ(between.notes.size(), 1U);
  EXPECT_EQ(between.notes[0].code, "several-events");
}

TEST(UnitsBetween, OfSubgroupsWithSeveralUnitsThePlaceOfAnEventIsNotKnown) {
  const auto between = UnitsBetweenEvents(CountsOf({1, 0, 1}, {20, 20, 20}));
  EXPECT_EQ(between.stretch.points, std::vector<double>{20});
  EXPECT_EQ(between.open, 0.0);
  ASSERT_EQ(between.notes.size(), 1U);
  EXPECT_EQ(between.notes[0].code, "place-unknown");
}

// A gap across the border of two phases is no gap of either, but its units are not forgotten.
TEST(UnitsBetween, UnitsSinceTheLastEventGoOnAcrossABorder) {
  const auto quiet = UnitsBetweenEvents(CountsOf({0, 0}, {5, 6}), 100.0);
  EXPECT_TRUE(quiet.stretch.points.empty());
  EXPECT_EQ(quiet.open, 111.0);
  const auto events = UnitsBetweenEvents(CountsOf({0, 1, 0, 1, 0}, {5, 1, 3, 1, 2}), 100.0);
  EXPECT_EQ(events.stretch.points, std::vector<double>{3});
  EXPECT_EQ(events.open, 2.0);
}

// The fourth gap ends at the sixth subgroup that counts.
TEST(UnitsBetween, ThoseThatEndInTheFirstPointsOfAFrozenPhaseAreTheBase) {
  auto counts = CountsOf({1, 1, 0, 1, 0, 1, 1, 0, 1}, std::vector<double>(9, 1.0));
  EXPECT_EQ(UnitsBetweenEvents(counts).base, 5U);
  counts.phase.freeze_after = 6;
  EXPECT_EQ(UnitsBetweenEvents(counts).base, 3U);
  counts.used.assign(9, 1);
  counts.used[2] = 0;
  EXPECT_EQ(UnitsBetweenEvents(counts).base, 4U);
}

TEST(StudyG, MeanAndChanceAreThoseOfTheBase) {
  const std::vector<double> between = {6, 4, 24, 90, 200};
  GOptions options;
  options.base = 3;
  const auto study = StudyG(between, options);
  const auto alone = StudyG(std::vector<double>{6, 4, 24});
  EXPECT_EQ(LimitsOf(study), LimitsOf(alone));
  EXPECT_NEAR(study.mean.value, 34.0 / 3.0, 1e-12);
  EXPECT_NEAR(study.p.value, (2.0 / 3.0) / (37.0 / 3.0), 1e-12);
  EXPECT_EQ(study.mean.used, 3);
  EXPECT_EQ(study.mean.left, 2);
  EXPECT_EQ(study.p.left, 2);
  EXPECT_EQ(study.marks.size(), 5U);
  EXPECT_NE(study.marks[4], 0U);
  options.base = 2;
  EXPECT_TRUE(std::isnan(StudyG(between, options).upper));
}

TEST(UnitsBetween, FractionsAreRoundedWithANote) {
  const auto between =
      UnitsBetweenEvents(CountsOf({1, 0, 0, 1, 0, 1, 0}, {1, 1.25, 1.5, 1, 1.25, 1, 0.5}));
  EXPECT_EQ(between.stretch.points, (std::vector<double>{3, 1}));
  EXPECT_EQ(between.open, 0.5);
  EXPECT_EQ(between.notes.back().code, "fractional-units");
  EXPECT_NO_THROW(StudyG(between.stretch.points));
  // Ten tenths are a whole one.
  std::vector<double> counts(12, 0.0);
  counts.front() = counts.back() = 1.0;
  const auto tenths = UnitsBetweenEvents(CountsOf(counts, std::vector<double>(12, 0.1)));
  EXPECT_EQ(tenths.stretch.points, std::vector<double>{1});
  EXPECT_TRUE(tenths.notes.empty());
}

TEST(UnitsBetween, WithoutAnEventThereIsNothing) {
  const auto between = UnitsBetweenEvents(CountsOf({0, 0, kNaN}, {5, 5, 5}));
  EXPECT_TRUE(between.stretch.points.empty());
  EXPECT_FALSE(between.open);
  EXPECT_TRUE(between.notes.empty());
}

TEST(SecondsBetween, CountOnlyTheTimeInTheSpans) {
  const std::vector<std::int64_t> stamps = {0, 100, 100, 250, 400, 1000};
  EXPECT_EQ(SecondsBetween(stamps), (std::vector<double>{100, 0, 150, 150, 600}));
  const std::vector<TimeSpan> running = {{-50, 40}, {60, 90}, {95, 300}, {500, 700}, {900, 2000}};
  EXPECT_EQ(SecondsBetween(stamps, running), (std::vector<double>{75, 0, 150, 50, 300}));
  EXPECT_EQ(SecondsBetween(stamps, {}), std::vector<double>(5, 0.0));
}

}  // namespace
}  // namespace orvspc::studies
