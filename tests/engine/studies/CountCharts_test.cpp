// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/CountCharts.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <numeric>
#include <stdexcept>

#include "tests/engine/studies/cases.h"

namespace orvspc::studies {
namespace {

using platform::kNaN;

// Rates about their own mean: proportions of bad units, or defects a unit.
Stretch Rates(const std::vector<double>& counts, const std::vector<double>& sizes,
              bool proportions) {
  Stretch stretch;
  stretch.counts = counts;
  stretch.sizes = sizes;
  const double rate = std::accumulate(counts.begin(), counts.end(), 0.0) /
                      std::accumulate(sizes.begin(), sizes.end(), 0.0);
  const double spread = proportions ? rate * (1.0 - rate) : rate;
  stretch.mean.value = rate;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    stretch.points.push_back(counts[i] / sizes[i]);
    stretch.centre.push_back(rate);
    stretch.sigma.push_back(std::sqrt(spread / sizes[i]));
  }
  return stretch;
}

LaneyOptions OfProportions() {
  LaneyOptions options;
  options.most = 1.0;
  return options;
}

TEST(StudyLaney, Proportions) {
  const Case known("laney-p-u");
  const auto counts = known.Column("defectives"), sizes = known.Column("size");
  const auto study = StudyLaney(Rates(counts, sizes, true), OfProportions());
  known.Check("p", study.mean.value);
  known.Check("sigma_z", study.sigma_z.value);
  known.Check("ucl", study.upper);
  known.Check("lcl", study.lower);
  EXPECT_EQ(study.sigma_z.used, 20);
  EXPECT_TRUE(study.notes.empty());
}

TEST(StudyLaney, Rates) {
  const Case known("laney-p-u");
  const auto study = StudyLaney(Rates(known.Column("defectives"), known.Column("size"), false));
  known.Check("u_sigma_z", study.sigma_z.value);
}

// Every z by hand: rate 0.1, sigma 0.03 at each size of 100.
TEST(StudyLaney, LimitsAreCutAtZeroAndAtTheMost) {
  const auto low =
      StudyLaney(Rates({0, 20, 0, 20, 10}, {100, 100, 100, 100, 100}, true), OfProportions());
  const double z = 0.1 / 0.03;
  EXPECT_NEAR(low.sigma_z.value, (2 * z + 2 * z + 2 * z + z) / 4 * std::sqrt(std::numbers::pi) / 2,
              1e-12);
  EXPECT_EQ(low.lower[0], 0.0);
  const auto high =
      StudyLaney(Rates({100, 80, 100, 80, 90}, {100, 100, 100, 100, 100}, true), OfProportions());
  EXPECT_EQ(high.upper[0], 1.0);
}

TEST(StudyLaney, APointThatIsNotUsedIsNotInTheFactor) {
  auto stretch = Rates({10, 12, 90, 11, 9}, {100, 100, 100, 100, 100}, true);
  stretch.used = {1, 1, 0, 1, 1};
  const auto study = StudyLaney(stretch, OfProportions());
  EXPECT_EQ(study.sigma_z.used, 4);
  EXPECT_EQ(study.sigma_z.left, 1);
  const double step = 0.01 / stretch.sigma[0];
  EXPECT_NEAR(study.sigma_z.value, (2 + 1 + 2) * step / 3 * std::sqrt(std::numbers::pi) / 2, 1e-12);
  EXPECT_GT(stretch.points[2], study.upper[2]);
  EXPECT_EQ(study.signals[2], 0);
}

// Steps of 0.02 in the first 15 points, of 0.3 later.
TEST(StudyLaney, AFrozenPhaseHasTheFactorOfItsFirstPoints) {
  std::vector<double> counts;
  for (int i = 0; i < 40; ++i) counts.push_back(i < 15 ? 10 + 2 * (i % 2) : 5 + 30 * (i % 2));
  auto stretch = Rates(counts, std::vector<double>(40, 100.0), true);
  stretch.phase.freeze_after = 15;
  const auto study = StudyLaney(stretch, OfProportions());
  EXPECT_EQ(study.sigma_z.used, 15);
  EXPECT_EQ(study.sigma_z.left, 25);
  EXPECT_EQ(study.mean.left, 25);
  const double step = 0.02 / stretch.sigma[0];
  EXPECT_NEAR(study.sigma_z.value, step * std::sqrt(std::numbers::pi) / 2, 1e-12);
  // One that is not used is not counted as one of the first.
  stretch.used.assign(40, 1);
  stretch.used[3] = 0;
  EXPECT_EQ(StudyLaney(stretch, OfProportions()).sigma_z.used, 15);
  EXPECT_GT(StudyLaney(stretch, OfProportions()).sigma_z.value, study.sigma_z.value);
}

TEST(StudyLaney, APointWithoutSizeHasNoLimits) {
  auto stretch = Rates({10, 12, 9, 11, 9}, {100, 100, 100, 100, 100}, true);
  stretch.points[2] = stretch.sigma[2] = kNaN;
  const auto study = StudyLaney(stretch, OfProportions());
  EXPECT_TRUE(std::isnan(study.upper[2]) && std::isnan(study.z[2]));
  EXPECT_EQ(study.sigma_z.used, 4);
}

TEST(StudyLaney, TheFloorNeverNarrows) {
  const auto stretch = Rates({10, 10, 10, 10, 11}, {100, 100, 100, 100, 100}, true);
  auto options = OfProportions();
  const auto narrow = StudyLaney(stretch, options);
  EXPECT_LT(narrow.sigma_z.value, 0.9);
  EXPECT_EQ(narrow.notes.back().code, "underdispersed");
  options.floor = true;
  const auto floored = StudyLaney(stretch, options);
  EXPECT_NEAR(floored.upper[0], stretch.centre[0] + 3 * stretch.sigma[0], 1e-15);
  EXPECT_GT(floored.upper[0], narrow.upper[0]);
}

TEST(StudyLaney, TwoSubgroupsAreTooFew) {
  const auto study = StudyLaney(Rates({10, 20}, {100, 100}, true), OfProportions());
  EXPECT_TRUE(std::isnan(study.sigma_z.value) && std::isnan(study.upper[0]));
  ASSERT_FALSE(study.notes.empty());
  EXPECT_EQ(study.notes[0].code, "too-few");
  const auto few = StudyLaney(Rates({10, 20, 12}, {100, 100, 100}, true), OfProportions());
  EXPECT_FALSE(std::isnan(few.upper[0]));
  EXPECT_EQ(few.notes[0].code, "few-data");
}

TEST(StudyLaney, WithoutSpreadThereAreNoLimits) {
  for (const double count : {0.0, 10.0}) {
    const auto study =
        StudyLaney(Rates({count, count, count}, {100, 100, 100}, true), OfProportions());
    EXPECT_TRUE(std::isnan(study.upper[0])) << count;
    EXPECT_EQ(study.notes.back().code, "no-sigma") << count;
  }
}

TEST(StudyLaney, TakesTheFactorOfAnotherStretch) {
  const auto base = Rates({10, 14, 8, 13}, {100, 100, 100, 100}, true);
  const auto later = Rates({10, 30, 2}, {100, 100, 100}, true);
  EXPECT_EQ(StudyLaney(later, OfProportions(), &base).sigma_z.value,
            StudyLaney(base, OfProportions()).sigma_z.value);
}

TEST(StudyLaney, RefusesWhatLiesOutside) {
  LaneyOptions options;
  options.most = 0.0;
  EXPECT_THROW(StudyLaney({}, options), std::invalid_argument);
}

std::vector<std::vector<double>> Pairs(const Case& known, const char* name) {
  return known.Expected().at(name).at("value").get<std::vector<std::vector<double>>>();
}

TEST(ExactLimits, Published) {
  const Case known("probability-limits");
  const double alpha = known.Param("alpha");
  std::vector<std::vector<double>> binomial, poisson;
  std::vector<double> risks;
  for (const auto& pair : known.Params().at("binomial")) {
    const auto limits = BinomialLimits(pair[0], pair[1], alpha);
    binomial.push_back({limits.lower, limits.upper});
  }
  for (const auto& mean : known.Params().at("poisson")) {
    const auto limits = PoissonLimits(mean, alpha);
    poisson.push_back({limits.lower, limits.upper});
    risks.push_back(limits.risk_above);
  }
  EXPECT_EQ(binomial, Pairs(known, "binomial"));
  EXPECT_EQ(poisson, Pairs(known, "poisson"));
  known.Check("risk_above", risks);
}

// By sums of the probabilities of single counts.
TEST(ExactLimits, AreTheNarrowestWhoseRisksAreKept) {
  for (const double mean : {0.2, 1.0, 7.3, 42.0, 300.0}) {
    for (const double alpha : {0.0001, 0.0027, 0.1}) {
      const auto limits = PoissonLimits(mean, alpha);
      std::vector<double> at_most;
      double term = std::exp(-mean), sum = term;
      for (int c = 0; c < 600; ++c) {
        at_most.push_back(sum);
        term *= mean / (c + 1);
        sum += term;
      }
      const auto up = static_cast<std::size_t>(limits.upper);
      const auto low = static_cast<std::size_t>(limits.lower);
      EXPECT_LE(1 - at_most[up], alpha / 2);
      if (up > 0) {
        EXPECT_GT(1 - at_most[up - 1], alpha / 2);
      }
      if (low > 0) {
        EXPECT_LE(at_most[low - 1], alpha / 2);
      }
      EXPECT_GT(at_most[low], alpha / 2);
    }
  }
}

TEST(ExactLimits, OfNothingAndOfAll) {
  const auto none = BinomialLimits(50, 0.0), all = BinomialLimits(50, 1.0);
  EXPECT_EQ(none.lower, 0.0);
  EXPECT_EQ(none.upper, 0.0);
  EXPECT_EQ(all.lower, 50.0);
  EXPECT_EQ(all.upper, 50.0);
  EXPECT_EQ(PoissonLimits(0.0).upper, 0.0);
  EXPECT_TRUE(std::isnan(PoissonLimits(kNaN).upper));
  EXPECT_TRUE(std::isnan(BinomialLimits(50, kNaN).lower));
}

TEST(ExactLimits, RefusesWhatLiesOutside) {
  EXPECT_THROW(PoissonLimits(1.0, 0.00009), std::invalid_argument);
  EXPECT_THROW(PoissonLimits(1.0, 0.2), std::invalid_argument);
  EXPECT_THROW(PoissonLimits(-1.0), std::invalid_argument);
  EXPECT_THROW(BinomialLimits(0.5, 0.1), std::invalid_argument);
  EXPECT_THROW(BinomialLimits(0.0, 0.1), std::invalid_argument);
  EXPECT_THROW(BinomialLimits(10, 1.1), std::invalid_argument);
}

}  // namespace
}  // namespace orvspc::studies
