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
  EXPECT_TRUE(std::isnan(StudyEwma(Singles({10.0}, 10.0, 1.0)).z[0]));
  EwmaOptions options;
  options.sigma = 1.0;
  EXPECT_EQ(StudyEwma(Singles({10.0}, 10.0, 1.0), options).z[0], 10.0);
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

}  // namespace
}  // namespace orvspc::studies
