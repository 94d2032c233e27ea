// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Steps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include "engine/statistics/MeanSteps.h"
#include "engine/statistics/Numerics.h"
#include "tests/engine/studies/cases.h"
#include "tests/engine/studies/notes.h"
#include "tests/engine/studies/simulated_steps.h"

namespace orvspc::studies {
namespace {

using platform::kNaN;

TEST(StudySteps, FlowOfTheNile) {
  const Case known("step-change");
  const auto values = known.Column("flow");
  const auto study = StudySteps(Points(values));
  ASSERT_EQ(study.steps.size(), 1U);
  const auto& step = study.steps[0];
  known.Check("step_after", static_cast<double>(step.after + 1));
  known.Check("gain_over_sigma2", step.gain);
  known.Check("penalty", study.penalty);
  known.Check("means", std::vector{study.segments[0].mean, study.segments[1].mean});
  // Those of the case may also lie within five points of an end.
  std::vector<double> scaled(values);
  for (auto& value : scaled) value /= study.sigma.value;
  const auto further = [&](std::size_t first, std::size_t count, std::size_t least) {
    return engine::statistics::BestStep(std::span(scaled).subspan(first, count), least, 0.0).gain;
  };
  known.Check("further_gains", std::vector{further(0, 28, 1), further(28, 72, 1)});
  EXPECT_EQ(study.segments[0].further, further(0, 28, 5));
  EXPECT_EQ(study.segments[1].further, further(28, 72, 5));
  EXPECT_EQ(step.mean_before, study.segments[0].mean);
  EXPECT_EQ(step.mean, study.segments[1].mean);
  EXPECT_EQ(study.level[27], study.segments[0].mean);
  EXPECT_EQ(study.level[28], study.segments[1].mean);
  // The step makes neighbours alike, and nothing of it is left apart from the levels.
  EXPECT_TRUE(Has(study.notes, "may-wander"));
  EXPECT_EQ(study.notes.size(), 1U);
  EXPECT_LT(study.points.p, 0.01);
  EXPECT_GT(study.neighbours.p, 0.01);
}

// The best of all ways to cut a series, found by trying them all from every beginning.
std::pair<double, std::size_t> BestByTrying(const std::vector<double>& values, double penalty,
                                            std::size_t least) {
  const auto cost_of = [&](std::size_t first, std::size_t end) {
    double mean = 0.0, squares = 0.0;
    for (auto i = first; i < end; ++i) mean += values[i] / static_cast<double>(end - first);
    for (auto i = first; i < end; ++i) squares += (values[i] - mean) * (values[i] - mean);
    return squares;
  };
  std::vector<std::pair<double, std::size_t>> best(values.size() + 1,
                                                   {std::numeric_limits<double>::infinity(), 0});
  best[0] = {-penalty, 0};
  for (auto end = least; end <= values.size(); ++end) {
    for (std::size_t first = 0; first + least <= end; ++first) {
      const double cost = best[first].first + cost_of(first, end) + penalty;
      if (cost < best[end].first) best[end] = {cost, best[first].second + (first > 0 ? 1 : 0)};
    }
  }
  return best.back();
}

TEST(StudySteps, TheSearchFindsTheBestOfAllCuts) {
  engine::statistics::Draws draws;
  for (int series = 0; series < 60; ++series) {
    std::vector<double> values;
    double level = 0.0;
    for (int i = 0; i < 60; ++i) {
      if (draws.Index(9) == 0) level = 4.0 * draws.Normal();
      values.push_back(level + draws.Normal());
    }
    for (const std::size_t least : {1U, 2U, 5U, 12U}) {
      for (const double penalty : {2.0, 12.0}) {
        const auto [cost, count] = BestByTrying(values, penalty, least);
        const auto steps = engine::statistics::StepsOfMean(values, penalty, least, 0.0);
        std::vector<std::size_t> borders{0};
        for (const auto& step : steps) borders.push_back(step.before);
        borders.push_back(values.size());
        double found = penalty * static_cast<double>(steps.size());
        for (std::size_t k = 0; k + 1 < borders.size(); ++k) {
          ASSERT_GE(borders[k + 1] - borders[k], least);
          double mean = 0.0;
          const auto size = static_cast<double>(borders[k + 1] - borders[k]);
          for (auto i = borders[k]; i < borders[k + 1]; ++i) mean += values[i] / size;
          for (auto i = borders[k]; i < borders[k + 1]; ++i) {
            found += (values[i] - mean) * (values[i] - mean);
          }
        }
        EXPECT_NEAR(found, cost, 1e-9 * (1.0 + cost)) << series << " " << least << " " << penalty;
        EXPECT_EQ(steps.size(), count);
      }
    }
  }
}

TEST(StudySteps, TheIntervalOfAPlaceHasTheGainsThatAreNearly) {
  std::vector<double> values(40, 0.0);
  for (std::size_t i = 0; i < values.size(); ++i) {
    values[i] = (i % 4 < 2 ? 0.5 : -0.5) + (i < 20 ? 0.0 : 3.0);
  }
  values[20] = 1.6;  // might belong to either
  const auto study = StudySteps(Points(values));
  ASSERT_EQ(study.steps.size(), 1U);
  const auto& step = study.steps[0];
  EXPECT_LE(step.earliest, step.after);
  EXPECT_GE(step.latest, step.after);
  const double sigma = study.sigma.value;
  const auto gain = [&](std::size_t before) {
    double left = 0.0, right = 0.0, all = 0.0;
    for (std::size_t i = 0; i < 40; ++i) (i < before ? left : right) += values[i];
    all = (left + right) / 40.0;
    const double a = left / double(before) - all, b = right / double(40 - before) - all;
    return (double(before) * a * a + double(40 - before) * b * b) / (sigma * sigma);
  };
  EXPECT_NEAR(step.gain, gain(step.after + 1), 1e-9 * step.gain);
  EXPECT_GE(gain(step.earliest + 1), step.gain - 4.0);
  EXPECT_GE(gain(step.latest + 1), step.gain - 4.0);
  EXPECT_LT(gain(step.earliest), step.gain - 4.0);
  EXPECT_LT(gain(step.latest + 2), step.gain - 4.0);
}

TEST(StudySteps, UnusedPointsAndGapsArePassedOver) {
  const auto values = Case("step-change").Column("flow");
  const auto plain = StudySteps(Points(values));
  Stretch stretch;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i == 10 || i == 60) {
      stretch.points.push_back(i == 10 ? 5000.0 : kNaN);
      stretch.used.push_back(i == 10 ? 0 : 1);
    }
    stretch.points.push_back(values[i]);
    stretch.used.push_back(1);
  }
  const auto study = StudySteps(stretch);
  ASSERT_EQ(study.steps.size(), 1U);
  EXPECT_EQ(study.steps[0].after, plain.steps[0].after + 1);
  EXPECT_DOUBLE_EQ(study.steps[0].gain, plain.steps[0].gain);
  EXPECT_EQ(study.sigma.used, 100);
  EXPECT_EQ(study.sigma.left, 2);
  EXPECT_EQ(study.level.size(), 102U);
}

TEST(StudySteps, TwoSteps) {
  engine::statistics::Draws draws;
  std::vector<double> values;
  for (int i = 0; i < 60; ++i) values.push_back(draws.Normal() + (i < 20 || i >= 40 ? 0.0 : 5.0));
  const auto study = StudySteps(Points(values));
  ASSERT_EQ(study.steps.size(), 2U);
  EXPECT_EQ(study.steps[0].after, 19U);
  EXPECT_EQ(study.steps[1].after, 39U);
  EXPECT_EQ(study.segments[1].first, 20U);
  EXPECT_EQ(study.segments[1].last, 39U);
  EXPECT_EQ(study.segments[1].used, 20);
}

TEST(StudySteps, OptionsMoveTheThresholdAndTheLeastLength) {
  const auto values = Case("step-change").Column("flow");
  StepOptions high;
  high.penalty = 20.0;  // 20 ln 100 = 92.1 is more than the gain
  EXPECT_TRUE(StudySteps(Points(values), high).steps.empty());
  // A step after 35 of 80 points, which a segment of 38 does not let be found where it is.
  engine::statistics::Draws draws;
  std::vector<double> early;
  for (int i = 0; i < 80; ++i) early.push_back(draws.Normal() + (i < 35 ? 0.0 : 3.0));
  const auto found = StudySteps(Points(early));
  ASSERT_EQ(found.steps.size(), 1U);
  EXPECT_NEAR(static_cast<double>(found.steps[0].after), 34.0, 1.0);
  StepOptions late;
  late.least = 38;
  const auto study = StudySteps(Points(early), late);
  ASSERT_EQ(study.steps.size(), 1U);
  EXPECT_EQ(study.steps[0].after, 37U);
  EXPECT_TRUE(std::isnan(study.segments[0].further));
}

// Where points depend on the one before, most series would have a hint without any step; a step
// alone does not look so, since the levels are taken off first.
TEST(StudySteps, NoHintWhereNeighboursAreCorrelated) {
  const auto study = StudySteps(Points(Series(0.8, 0.0, 200)));
  EXPECT_TRUE(study.steps.empty());
  EXPECT_TRUE(Has(study.notes, "correlated"));
  EXPECT_LT(study.neighbours.p, 0.01);
  EXPECT_EQ(study.segments.size(), 1U);
  const auto step = StudySteps(Points(Series(0.0, 3.0, 200)));
  EXPECT_EQ(step.steps.size(), 1U);
  EXPECT_GT(step.neighbours.p, 0.01);
}

// The levels of a wandering series take so much of its correlation away that what is left shows
// none; the points themselves are explained as well without a step.
TEST(StudySteps, NoHintWhereAnAutoregressionExplainsThePointsAsWell) {
  engine::statistics::Draws draws;
  int refused = 0;
  for (int i = 0; i < 200; ++i) {
    const auto study = StudySteps(Points(Series(draws, 0.7, 0.0, 24)));
    // Below 25 points the residuals are not tested.
    if (!Has(study.notes, "correlated")) continue;
    EXPECT_TRUE(study.steps.empty());
    EXPECT_EQ(study.segments.size(), 1U);
    ++refused;
  }
  EXPECT_GT(refused, 20);
}

// N ln RSS of the levels and 3 ln N a step against the likelihood by a grid of phi and 2 ln N.
TEST(StudySteps, HintsAreWeighedAgainstAnAutoregressionByLikelihood) {
  engine::statistics::Draws draws;
  int hints = 0, refused = 0;
  for (int series = 0; series < 300; ++series) {
    const auto values = Series(draws, series % 2 == 0 ? 0.5 : 0.0, series % 3 == 0 ? 2.0 : 0.0, 24);
    const auto study = StudySteps(Points(values));
    const double sigma = study.sigma.value, n = 24.0, ln = std::log(n);
    std::vector<double> scaled(values);
    for (auto& value : scaled) value /= sigma;
    const auto steps = engine::statistics::StepsOfMean(scaled, 3.0 * ln, 5, 4.0);
    if (steps.empty()) {
      EXPECT_TRUE(study.steps.empty() && !Has(study.notes, "correlated"));
      continue;
    }
    double left = 0.0;
    std::size_t first = 0;
    for (std::size_t k = 0; k <= steps.size(); ++k) {
      const auto end = k < steps.size() ? steps[k].before : values.size();
      double mean = 0.0;
      for (auto i = first; i < end; ++i) mean += values[i] / static_cast<double>(end - first);
      for (; first < end; ++first) left += (values[first] - mean) * (values[first] - mean);
    }
    double least = std::numeric_limits<double>::infinity();
    for (double phi = -0.998; phi < 0.999; phi += 0.001) {
      double weights = 1.0 - phi * phi, sum = weights * values[0];
      for (std::size_t i = 1; i < values.size(); ++i) {
        sum += (1.0 - phi) * (values[i] - phi * values[i - 1]);
        weights += (1.0 - phi) * (1.0 - phi);
      }
      const double mean = sum / weights;
      double squares = (1.0 - phi * phi) * (values[0] - mean) * (values[0] - mean);
      for (std::size_t i = 1; i < values.size(); ++i) {
        squares += std::pow(values[i] - mean - phi * (values[i - 1] - mean), 2.0);
      }
      least = std::min(least, n * std::log(squares / n) - std::log(1.0 - phi * phi));
    }
    const double levels = n * std::log(left / n) + 3.0 * ln * static_cast<double>(steps.size());
    const double correlation = least + 2.0 * ln;
    if (std::abs(levels - correlation) < 0.01) continue;  // as near as the grid
    EXPECT_EQ(!study.steps.empty(), levels < correlation) << series;
    EXPECT_EQ(study.steps.empty(), Has(study.notes, "correlated")) << series;
    (study.steps.empty() ? refused : hints) += 1;
  }
  EXPECT_GT(hints, 20);
  EXPECT_GT(refused, 10);
}

TEST(StudySteps, TooFewTooManyAndAllEqual) {
  const auto few = StudySteps(Points(Series(0.0, 9.0, 19)));
  EXPECT_TRUE(few.steps.empty() && few.segments.empty() && std::isnan(few.penalty));
  EXPECT_TRUE(Has(few.notes, "too-few"));
  const auto twenty = StudySteps(Points(Series(0.0, 9.0, 20)));
  EXPECT_EQ(twenty.steps.size(), 1U);
  EXPECT_TRUE(Has(twenty.notes, "few-data"));
  EXPECT_FALSE(Has(StudySteps(Points(Series(0.0, 9.0, 30))).notes, "few-data"));
  const auto many = StudySteps(Points(std::vector<double>(20001, 1.0)));
  EXPECT_TRUE(many.steps.empty());
  EXPECT_TRUE(Has(many.notes, "too-many"));
  const auto equal = StudySteps(Points(std::vector<double>(30, 0.1)));
  EXPECT_TRUE(equal.steps.empty() && std::isnan(equal.neighbours.p));
  EXPECT_TRUE(Has(equal.notes, "all-equal"));
  EXPECT_EQ(equal.sigma.value, 0.0);
}

TEST(StudySteps, RefusesWhatLiesOutside) {
  const auto with = [](double penalty, std::int32_t least) {
    StepOptions options;
    options.penalty = penalty;
    options.least = least;
    return options;
  };
  for (const auto& wrong :
       {with(0.99, 5), with(20.01, 5), with(kNaN, 5), with(3.0, 1), with(3.0, 1001)}) {
    EXPECT_THROW(StudySteps({}, wrong), std::invalid_argument);
  }
}

// Shares of 4000 series; the standard error of 4 % is 0.3 %.
TEST(StudySteps, SharesOfFalseHintsAndOfStepsFound) {
  EXPECT_NEAR(ShareOfHints({30, 0.0, 0.0}, 4000), 0.029, 0.01);
  EXPECT_NEAR(ShareOfHints({100, 0.0, 0.0}, 1000), 0.010, 0.01);
  EXPECT_NEAR(ShareOfHints({30, 0.4, 0.0}, 2000), 0.23, 0.03);
  EXPECT_NEAR(ShareOfHints({50, 0.7, 0.0}, 2000), 0.105, 0.025);
  EXPECT_NEAR(ShareOfHints({30, 0.0, 1.5}, 4000), 0.82, 0.03);
  EXPECT_NEAR(ShareOfHints({30, 0.0, 2.0}, 4000), 0.97, 0.015);
}

}  // namespace
}  // namespace orvspc::studies
