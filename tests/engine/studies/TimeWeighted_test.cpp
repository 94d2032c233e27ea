// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/TimeWeighted.h"

#include <cmath>
#include <optional>
#include <stdexcept>

#include <gtest/gtest.h>
#include "tests/engine/studies/cases.h"

namespace orvspc::studies {
namespace {

using platform::kNaN;

// Single values about a given mean and sigma.
Stretch Singles(std::vector<double> values, double mean, double sigma) {
  Stretch stretch;
  const auto count = values.size();
  stretch.points = std::move(values);
  stretch.sizes.assign(count, 1.0);
  stretch.centre.assign(count, mean);
  stretch.sigma.assign(count, sigma);
  return stretch;
}

std::vector<double> Signals(const std::vector<std::uint8_t>& signals) {
  std::vector<double> numbers;
  for (std::size_t i = 0; i < signals.size(); ++i)
    if (signals[i] != 0) numbers.push_back(static_cast<double>(i + 1));
  return numbers;
}

TEST(StudyEwma, Individuals) {
  const Case known("ewma-individuals");
  EwmaOptions options;
  options.weight = known.Param("lambda");
  options.width = known.Param("L");
  options.target = known.Param("mu0");
  options.sigma = known.Param("sigma");
  const auto study = StudyEwma(Singles(known.Column("x"), kNaN, kNaN), options);
  known.Check("z", study.z);
  known.Check("ucl", study.upper);
  known.Check("lcl", study.lower);
  known.Check("signals", Signals(study.signals));
}

// The variance of the median of 5 pieces is 0.28683 (Sarhan & Greenberg, Contributions to Order
// Statistics, 1962); A4 of ISO 7870-2 is 0.691 = 3 e / d2.
TEST(StudyEwma, AMedianIsWeighedByItsOwnStandardDeviation) {
  const double deviation = std::sqrt(0.28683);
  auto medians = Singles({10.0, 11.0, 9.0}, 10.0, deviation);
  medians.sizes.assign(3, 5.0);
  EwmaOptions options;
  options.weight = 1.0;
  options.sigma = 1.0;
  options.medians = true;
  EXPECT_NEAR(StudyEwma(medians, options).upper[0], 10.0 + 3.0 * deviation, 3e-5);
  EXPECT_NEAR(StudyEwma(medians, options).upper[0], 10.0 + 0.691 * 2.326, 2e-3);
  options.medians = false;
  EXPECT_DOUBLE_EQ(StudyEwma(medians, options).upper[0], 10.0 + 3.0 / std::sqrt(5.0));
  // Sigma of one piece out of the line in force.
  options.sigma.reset();
  options.medians = true;
  const auto study = StudyEwma(medians, options);
  EXPECT_NEAR(study.sigma.value, 1.0, 1e-5);
  EXPECT_EQ(study.sigma.estimator, "line in force");
}

// The line of stored limits, or of the phase before, is known before the first point.
TEST(StudyEwma, OnePointIsJudgedByALineThatIsNotItsOwnEstimate) {
  auto stretch = Singles({14.0}, 10.0, 1.0);
  const auto study = StudyEwma(stretch);
  EXPECT_EQ(study.mean.value, 10.0);
  EXPECT_EQ(study.sigma.estimator, "line in force");
  EXPECT_DOUBLE_EQ(study.z[0], 10.8);
  EXPECT_DOUBLE_EQ(study.upper[0], 10.6);
  EXPECT_EQ(study.signals[0], 1);
  stretch.mean = {10.0, "mean", kNaN, 1};
  stretch.sp = {1.0, "MR-est mvlue", kNaN, 1};
  EXPECT_EQ(StudyEwma(stretch).notes.back().code, "too-few");
}

TEST(StudyEwma, AWeightOfOneIsTheShewhartChart) {
  EwmaOptions options;
  options.weight = 1.0;
  const auto study = StudyEwma(Singles({9.0, 11.5, 14.0, 6.5}, 10.0, 1.0), options);
  EXPECT_EQ(study.z, (std::vector<double>{9.0, 11.5, 14.0, 6.5}));
  EXPECT_EQ(study.upper, std::vector<double>(4, 13.0));
  EXPECT_EQ(study.lower, std::vector<double>(4, 7.0));
  EXPECT_EQ(Signals(study.signals), (std::vector<double>{3.0, 4.0}));
}

TEST(StudyEwma, BeginsAnewAtARowOfLimitsAndAfterASignalIfAsked) {
  auto stretch = Singles({14.0, 10.0, 10.0}, 10.0, 1.0);
  EwmaOptions options;
  options.weight = 0.5;
  options.width = 2.0;
  EXPECT_DOUBLE_EQ(StudyEwma(stretch, options).z[1], 11.0);
  options.reset = true;
  EXPECT_DOUBLE_EQ(StudyEwma(stretch, options).z[1], 10.0);
  options.reset = false;
  stretch.restart = {0, 1, 0};
  EXPECT_DOUBLE_EQ(StudyEwma(stretch, options).z[1], 10.0);
}

TEST(StudyEwma, APointThatIsNotUsedIsShownAndForgotten) {
  auto stretch = Singles({12.0, 20.0, 10.0}, 10.0, 1.0);
  stretch.used = {1, 0, 1};
  EwmaOptions options;
  options.weight = 0.5;
  const auto study = StudyEwma(stretch, options);
  EXPECT_DOUBLE_EQ(study.z[1], 15.5);
  EXPECT_DOUBLE_EQ(study.z[2], 10.5);
}

TEST(StudyEwma, APointWithoutValueHoldsZ) {
  const auto study = StudyEwma(Singles({12.0, kNaN, 10.0}, 10.0, 1.0));
  EXPECT_TRUE(std::isnan(study.z[1]));
  EXPECT_DOUBLE_EQ(study.z[2], 10.0 + 0.8 * 0.4);
}

TEST(StudyEwma, WithoutSigmaThereAreNoLimits) {
  const auto study = StudyEwma(Singles({10.0, 10.0, 10.0}, 10.0, 0.0));
  EXPECT_EQ(study.centre[0], 10.0);
  EXPECT_TRUE(std::isnan(study.upper[2]) && std::isnan(study.lower[2]));
  EXPECT_EQ(study.notes.back().code, "no-sigma");
}

TEST(StudyEwma, OnePointIsTooFewUnlessSigmaIsGiven) {
  auto one = Singles({10.0}, 10.0, 1.0);
  one.sp = {1.0, "MR-est mvlue", kNaN, 1};
  EXPECT_TRUE(std::isnan(StudyEwma(one).z[0]));
  EwmaOptions options;
  options.sigma = 1.0;
  EXPECT_EQ(StudyEwma(one, options).z[0], 10.0);
}

TEST(StudyEwma, RefusesWhatLiesOutside) {
  const auto stretch = Singles({10.0, 11.0}, 10.0, 1.0);
  const auto with = [](double weight, double width, bool exact, std::optional<double> fir) {
    EwmaOptions options;
    options.weight = weight;
    options.width = width;
    options.exact = exact;
    options.fir = fir;
    return options;
  };
  for (const auto& wrong :
       {with(0.0, 3.0, true, {}), with(1.1, 3.0, true, {}), with(0.2, 0.0, true, {}),
        with(0.2, 6.5, true, {}), with(0.2, 3.0, false, 0.5), with(0.2, 3.0, true, 1.0)}) {
    EXPECT_THROW(StudyEwma(stretch, wrong), std::invalid_argument);
  }
}

TEST(StudyCusum, Individuals) {
  const Case known("cusum-individuals");
  CusumOptions options;
  options.k = known.Param("k");
  options.h = known.Param("h");
  options.target = known.Param("mu0");
  options.sigma = known.Param("sigma");
  const auto study = StudyCusum(Singles(known.Column("x"), kNaN, kNaN), options);
  known.Check("upper", study.upper);
  known.Check("lower", study.lower);
  known.Check("signals", Signals(study.signals));
  ASSERT_FALSE(study.changes.empty());
  const auto& change = study.changes.front();
  known.Check("first_nonzero_counter", study.count_upper[change.point]);
  EXPECT_EQ(change.start, 22U);  // the 23rd point
  EXPECT_NEAR(change.new_mean, 10.0 + 0.5 + 5.28 / 7.0, 1e-12);
}

TEST(StudyCusum, AResetGoesToTheHeadStart) {
  CusumOptions options;
  options.h = 4.0;
  options.head_start = 2.0;
  const auto stretch = Singles({13.0, 10.0, 10.0}, 10.0, 1.0);
  EXPECT_DOUBLE_EQ(StudyCusum(stretch, options).upper[1], 4.0);
  options.reset = true;
  const auto study = StudyCusum(stretch, options);
  EXPECT_DOUBLE_EQ(study.upper[0], 4.5);
  EXPECT_DOUBLE_EQ(study.upper[1], 1.5);
  EXPECT_DOUBLE_EQ(study.lower[1], 1.5);
}

TEST(StudyCusum, TheFiguresAreThoseOfTheLineInForce) {
  auto stretch = Singles({9.0, 11.0, 10.0}, 10.0, 2.0);
  stretch.mean = {10.0, "mean", kNaN, 3};
  stretch.sp = {2.0, "MR-est mvlue", kNaN, 3};
  EXPECT_EQ(StudyCusum(stretch).mean.estimator, "mean");
  EXPECT_EQ(StudyCusum(stretch).sigma.estimator, "MR-est mvlue");
  stretch.centre = {10.0, 12.0, 12.0};
  stretch.sigma = {2.0, 3.0, 3.0};
  const auto study = StudyCusum(stretch);
  EXPECT_EQ(study.mean.value, 12.0);
  EXPECT_EQ(study.mean.estimator, "line in force");
  EXPECT_EQ(study.mean.used, 0);
  EXPECT_EQ(study.sigma.value, 3.0);
}

// Counts of units about a rate, as points or as rates.
Stretch Counted(std::vector<double> counts, double units, double rate, bool as_rates) {
  Stretch stretch;
  const auto count = counts.size();
  stretch.counts = counts;
  stretch.sizes.assign(count, units);
  stretch.points = std::move(counts);
  if (as_rates) {
    for (auto& point : stretch.points) point /= units;
  }
  stretch.centre.assign(count, as_rates ? rate : rate * units);
  stretch.sigma.assign(count, kNaN);
  stretch.mean = {stretch.centre[0], "mean", kNaN, static_cast<std::int32_t>(count)};
  return stretch;
}

// Half widths of 0.6 sigmas by hand, such as 0.6 sqrt(0.35 0.65/50) = 0.0404722 of a proportion.
TEST(StudyEwma, SigmaOfCountsAboutATargetIsThatOfTheTarget) {
  const struct {
    const char* what;
    bool defectives, counted;
    double scale, units, centre, sigma, target, half;
  } rows[] = {
      {"p", true, false, 1.0, 50.0, 0.3, std::sqrt(0.3 * 0.7 / 50.0), 0.35, 0.04047221269},
      {"p of 0", true, false, 1.0, 50.0, 0.0, 0.0, 0.35, 0.04047221269},
      {"p, no line", true, false, 1.0, 50.0, kNaN, kNaN, 0.35, 0.04047221269},
      {"per thousand", true, false, 1e3, 50.0, 300.0, 1e3 * std::sqrt(0.3 * 0.7 / 50.0), 350.0,
       40.47221269},
      {"np", true, true, 1.0, 50.0, 15.0, std::sqrt(50.0 * 0.3 * 0.7), 17.5, 2.023610634},
      {"np of 0", true, true, 1.0, 50.0, 0.0, 0.0, 17.5, 2.023610634},
      {"u", false, false, 1.0, 4.0, 1.0, 0.5, 2.0, 0.4242640687},
      {"u of 0", false, false, 1.0, 4.0, 0.0, 0.0, 2.0, 0.4242640687},
      {"c", false, true, 1.0, 4.0, 5.0, std::sqrt(5.0), 8.0, 1.697056275},
      {"c of 0", false, true, 1.0, 4.0, 0.0, 0.0, 8.0, 1.697056275},
  };
  for (const auto& row : rows) {
    auto stretch = Singles({row.target, row.target}, row.centre, row.sigma);
    stretch.sizes.assign(2, row.units);
    stretch.counts.assign(2, 1.0);
    EwmaOptions options;
    options.target = row.target;
    options.defectives = row.defectives;
    options.counted = row.counted;
    options.scale = row.scale;
    const auto study = StudyEwma(stretch, options);
    EXPECT_NEAR(study.upper[0], row.target + row.half, 1e-8 * row.target) << row.what;
    EXPECT_NEAR(study.lower[0], row.target - row.half, 1e-8 * row.target) << row.what;
    CusumOptions sums;
    static_cast<AboutOptions&>(sums) = options;
    sums.k = 0.0;
    stretch.points[0] = row.target + row.half;
    EXPECT_NEAR(StudyCusum(stretch, sums).upper[0], 0.6, 1e-8) << row.what;
  }
  // How many opportunities there are only sigma says, here 40.
  auto opportunities = Singles({0.8, 0.8}, 0.5, std::sqrt(0.5 / 40.0));
  opportunities.counts.assign(2, kNaN);
  EwmaOptions options;
  options.target = 0.8;
  EXPECT_NEAR(StudyEwma(opportunities, options).upper[0], 0.8 + 0.6 * std::sqrt(0.8 / 40.0), 1e-12);
}

TEST(StudyEwma, ATargetOfCountsNeedsASigma) {
  auto stretch = Singles({0.1, 0.2}, 0.15, 0.05);
  stretch.counts.assign(2, 1.0);
  const auto with = [](double target, bool defectives) {
    EwmaOptions options;
    options.target = target;
    options.defectives = defectives;
    return options;
  };
  for (const auto& wrong : {with(0.0, false), with(-0.1, false), with(1.0, true)}) {
    EXPECT_THROW(StudyEwma(stretch, wrong), std::invalid_argument);
  }
  EXPECT_NO_THROW(StudyEwma(stretch, with(1.0, false)));
}

// Of 4 units a point each the rate of 2 is a count of 8.
TEST(StudyEwma, TheMeanOfCountsIsInTheUnitOfThePoints) {
  auto stretch = Singles({7.0, 9.0}, 8.0, std::sqrt(8.0));
  stretch.counts = stretch.points;
  stretch.sizes.assign(2, 4.0);
  stretch.mean = {2.0, "defects / units", kNaN, 2};
  EwmaOptions options;
  options.counted = true;
  const auto study = StudyEwma(stretch, options);
  EXPECT_EQ(study.mean.value, 8.0);
  EXPECT_EQ(study.mean.estimator, "defects / units");
  EXPECT_EQ(study.mean.used, 2);
}

// Six points, one of them not used, and the phase frozen after the third that is.
TEST(StudyEwma, WhatIsNotInTheEstimatesIsLeft) {
  auto stretch = Singles({9.0, 30.0, 11.0, 10.0, 12.0, 8.0}, 10.0, 2.0);
  stretch.used = {1, 0, 1, 1, 1, 1};
  stretch.mean = {10.0, "mean", kNaN, 3};
  stretch.sp = {2.0, "MR-est mvlue", kNaN, 2};
  EXPECT_EQ(StudyEwma(stretch).mean.left, 1);
  stretch.phase.freeze_after = 3;
  const auto ewma = StudyEwma(stretch);
  const auto cusum = StudyCusum(stretch);
  for (const auto& figure : {ewma.mean, ewma.sigma, cusum.mean, cusum.sigma}) {
    EXPECT_EQ(figure.left, 3) << figure.estimator;
  }
  EwmaOptions options;
  options.target = 10.0;
  EXPECT_EQ(StudyEwma(stretch, options).mean.left, 0);
}

TEST(StudyEwma, OneSideHasOneLimit) {
  const auto stretch = Singles({9.0, 20.0, 10.0, 0.0, 0.0}, 10.0, 1.0);
  EwmaOptions options;
  options.weight = 1.0;
  EXPECT_EQ(Signals(StudyEwma(stretch, options).signals), (std::vector<double>{2.0, 4.0, 5.0}));
  options.sided = Sided::Upper;
  const auto upper = StudyEwma(stretch, options);
  EXPECT_EQ(Signals(upper.signals), std::vector<double>{2.0});
  EXPECT_EQ(upper.upper[0], 13.0);
  EXPECT_TRUE(std::isnan(upper.lower[0]));
  options.sided = Sided::Lower;
  options.weight = 0.5;
  const auto lower = StudyEwma(stretch, options);
  EXPECT_TRUE(std::isnan(lower.upper[0]));
  EXPECT_EQ(lower.z[2], 12.375);  // the average goes on where no limit is
  EXPECT_EQ(Signals(lower.signals), (std::vector<double>{4.0, 5.0}));
}

TEST(StudyCusum, OneSideHasOneArm) {
  const auto stretch = Singles({16.0, 10.0, 2.0}, 10.0, 1.0);
  CusumOptions options;
  options.sided = Sided::Upper;
  const auto upper = StudyCusum(stretch, options);
  EXPECT_EQ(upper.upper, (std::vector<double>{5.5, 5.0, 0.0}));
  EXPECT_TRUE(std::isnan(upper.lower[2]));
  EXPECT_EQ(Signals(upper.signals), std::vector<double>{1.0});
  options.sided = Sided::Lower;
  const auto lower = StudyCusum(stretch, options);
  EXPECT_TRUE(std::isnan(lower.upper[0]));
  EXPECT_EQ(lower.lower, (std::vector<double>{0.0, 0.0, 7.5}));
  ASSERT_EQ(lower.changes.size(), 1U);
  EXPECT_FALSE(lower.changes[0].is_upper);
}

// Reference values between 1 and 2, between 2 and 3, and between 2 and 6 defects a sample.
TEST(StudyCountCusum, ReferenceValuesAreRoundedToQuarters) {
  const struct {
    double rate, shifted, k;
  } rows[] = {{1.0, 2.0, 1.5}, {2.0, 3.0, 2.5}, {2.0, 6.0, 3.75}, {6.0, 2.0, 3.75}};
  for (const auto& row : rows) {
    CountCusumOptions options;
    options.shifted = row.shifted;
    options.h = 10.0;
    options.counted = true;
    const auto study = StudyCountCusum(Counted({2.0, 5.0}, 1.0, row.rate, false), options);
    EXPECT_EQ(study.reference, std::vector<double>(2, row.k)) << row.rate << " " << row.shifted;
    EXPECT_EQ(std::isnan(study.lower[0]), row.shifted > row.rate);
    EXPECT_EQ(std::isnan(study.upper[0]), row.shifted < row.rate);
  }
}

// n ln((1 - 0.02)/(1 - 0.05))/ln(0.05 * 0.98/(0.02 * 0.95)) of 100 is 3.28; as defects 3.27.
TEST(StudyCountCusum, DefectivesHaveTheReferenceOfTheirOdds) {
  CountCusumOptions options;
  options.shifted = 0.05;
  options.h = 4.0;
  options.defectives = true;
  for (const bool as_rates : {false, true}) {
    options.counted = !as_rates;
    const auto study = StudyCountCusum(Counted({3.0, 7.0, 9.0}, 100.0, 0.02, as_rates), options);
    EXPECT_EQ(study.reference, std::vector<double>(3, 3.25));
    EXPECT_EQ(study.upper, (std::vector<double>{0.0, 3.75, 9.5}));
    ASSERT_EQ(study.changes.size(), 1U);
    EXPECT_EQ(study.changes[0].start, 1U);
    EXPECT_DOUBLE_EQ(study.changes[0].new_mean, as_rates ? 0.08 : 8.0);
  }
  // Of few units the two laws differ.
  options.shifted = 0.8;
  const auto wide = Counted({3.0, 7.0}, 10.0, 0.2, true);
  options.counted = false;
  EXPECT_EQ(StudyCountCusum(wide, options).reference[0], 5.0);
  options.defectives = false;
  EXPECT_EQ(StudyCountCusum(wide, options).reference[0], 4.25);
}

TEST(StudyCountCusum, ASumAtHIsASignalAndAResetGoesToTheHeadStart) {
  CountCusumOptions options;
  options.shifted = 2.0;
  options.target = 1.0;
  options.h = 3.0;
  options.head_start = 1.5;
  const auto stretch = Counted({3.0, 1.0, 1.0}, 1.0, 1.0, true);
  EXPECT_EQ(StudyCountCusum(stretch, options).upper, (std::vector<double>{3.0, 2.5, 2.0}));
  options.reset = true;
  const auto study = StudyCountCusum(stretch, options);
  EXPECT_EQ(study.upper, (std::vector<double>{3.0, 1.0, 0.5}));
  EXPECT_EQ(study.signals, (std::vector<std::uint8_t>{1, 0, 0}));
}

TEST(StudyCountCusum, EachPointHasTheReferenceOfItsUnits) {
  auto stretch = Counted({3.0, 3.0, 3.0, 3.0}, 1.0, 1.0, true);
  stretch.sizes = {1.0, 2.0, 0.0, 4.0};
  stretch.used = {1, 0, 1, 1};
  CountCusumOptions options;
  options.shifted = 2.0;
  options.h = 9.0;
  const auto study = StudyCountCusum(stretch, options);
  EXPECT_EQ(study.reference[0], 1.5);
  EXPECT_EQ(study.reference[1], 3.0);
  EXPECT_TRUE(std::isnan(study.reference[2]));
  EXPECT_EQ(study.reference[3], 5.75);
  EXPECT_EQ(study.upper[1], 1.5);  // shown, and then forgotten
  EXPECT_EQ(study.upper[3], 0.0);
  ASSERT_EQ(study.notes.size(), 2U);
  EXPECT_EQ(study.notes[1].code, "references-differ");
}

TEST(StudyCountCusum, WithoutAShiftThereAreNoSums) {
  CountCusumOptions options;
  options.shifted = 2.0;
  options.h = 4.0;
  const auto study = StudyCountCusum(Counted({2.0, 2.0, 2.0}, 1.0, 2.0, true), options);
  EXPECT_TRUE(std::isnan(study.upper[0]));
  EXPECT_EQ(study.notes.back().code, "no-shift");
  EXPECT_EQ(StudyCountCusum(Counted({0.0, 0.0}, 1.0, 0.0, true), options).notes.back().code,
            "no-shift");
  auto one = Counted({2.0}, 1.0, 1.0, true);
  EXPECT_EQ(StudyCountCusum(one, options).notes.back().code, "too-few");
  one.mean = {};  // the line is that of the phase before
  EXPECT_EQ(StudyCountCusum(one, options).upper[0], 0.5);
}

TEST(StudyCountCusum, RefusesWhatLiesOutside) {
  const auto stretch = Counted({1.0, 2.0}, 1.0, 1.0, true);
  CountCusumOptions good;
  good.shifted = 2.0;
  good.h = 4.0;
  EXPECT_NO_THROW(StudyCountCusum(stretch, good));
  const auto refused = [&](auto change) {
    auto options = good;
    change(options);
    EXPECT_THROW(StudyCountCusum(stretch, options), std::invalid_argument);
  };
  refused([](auto& options) { options.shifted = 0.0; });
  refused([](auto& options) { options.shifted = kNaN; });
  refused([](auto& options) { options.defectives = true; });
  refused([](auto& options) { options.target = 0.0; });
  refused([](auto& options) { options.h = 0.0; });
  refused([](auto& options) { options.h = 4.1; });
  refused([](auto& options) { options.head_start = 4.0; });
  refused([](auto& options) { options.head_start = 0.1; });
}

}  // namespace
}  // namespace orvspc::studies
