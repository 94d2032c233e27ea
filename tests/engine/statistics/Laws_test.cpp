// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Laws.h"

#include "tests/engine/statistics/law_samples.h"
#include "tests/engine/studies/cases.h"

namespace orvspc::engine::statistics {
namespace {

TEST(FitLaw, SolvesTheLikelihoodEquations) {
  for (const auto& law : kLawCases) {
    const int without = CheckFits(law, 12);
    if (!FamilyOf(law.kind).has_threshold) {
      EXPECT_EQ(without, 0);
    }
    EXPECT_LT(without, 8);
  }
}

TEST(FitLaw, AThresholdNextToTheSmallestValueIsNoSolution) {
  // An exponential sample has its likelihood without bound at the smallest value.
  const LawSample sample(SampleOf({Law::Weibull3, {0.7, 3.0, 20.0}}, 50, 3));
  const auto fit = FitLaw(sample, Law::Weibull3);
  ASSERT_EQ(fit.outcome, LawOutcome::ThresholdSet);
  EXPECT_DOUBLE_EQ(fit.law.Threshold(), sample.Smallest() - sample.Range() / 50.0);
}

TEST(FitLaw, ALongLowerTailHasNoThreshold) {
  auto values = SampleOf({Law::LargestExtreme, {10.0, 2.0}}, 200, 5);
  for (auto& value : values) value = -value;
  EXPECT_EQ(FitLaw(LawSample(values), Law::Lognormal3).outcome, LawOutcome::NoThreshold);
}

TEST(FitLaw, IsTheSameAtAnyScaleAndOrigin) {
  const auto values = SampleOf({Law::Weibull3, {2.2, 3.0, 20.0}}, 200, 17);
  auto moved = values;
  for (auto& value : moved) value = 1000.0 * value - 7.0;
  for (const auto kind :
       {Law::Weibull3, Law::Gamma3, Law::Lognormal3, Law::Loglogistic3, Law::LargestExtreme}) {
    const LawSample a(values), b(moved);
    const auto of_a = FitLaw(a, kind), of_b = FitLaw(b, kind);
    ASSERT_TRUE(of_a.Exists() && of_b.Exists());
    EXPECT_NEAR(AndersonDarling(a, of_a.law), AndersonDarling(b, of_b.law), 1e-7);
  }
}

TEST(FitLaw, ManyValuesAreFittedAsFew) {
  // Each value ten times: condensed for the search, with the same maximum.
  const auto values = SampleOf({Law::Gamma3, {3.0, 1.5, 20.0}}, 900, 23);
  std::vector<double> tenfold;
  for (int i = 0; i < 10; ++i) tenfold.insert(tenfold.end(), values.begin(), values.end());
  for (const auto kind : {Law::Weibull3, Law::Gamma3, Law::Lognormal3, Law::Loglogistic3}) {
    const auto few = FitLaw(LawSample(values), kind), many = FitLaw(LawSample(tenfold), kind);
    ASSERT_EQ(few.outcome, LawOutcome::Fitted);
    EXPECT_NEAR(many.log_likelihood, 10.0 * few.log_likelihood, 1e-8 * -few.log_likelihood);
    EXPECT_NEAR(many.law.Threshold(), few.law.Threshold(), 1e-6);
  }
}

TEST(FittedLaw, TailsAndQuantilesAgree) {
  for (const auto& law : kLawCases) {
    const auto fitted = FittedLaw::Of(law.kind, law.parameters);
    for (const double share : {1e-6, 1e-4, 0.01, 0.3, 0.5, 0.9, 0.9999}) {
      const auto tails = fitted.TailsAt(fitted.Quantile(share));
      EXPECT_NEAR(tails.below, std::log(share), 2e-11 * std::max(1.0, -std::log(share)));
      EXPECT_NEAR(tails.above, std::log1p(-share), 1e-10);
    }
    EXPECT_EQ(FittedLaw::Of(law.kind, fitted.Parameters()).Quantile(0.25), fitted.Quantile(0.25));
  }
}

TEST(FittedLaw, DensityIsTheSlopeOfTheProportionBelow) {
  for (const auto& law : kLawCases) {
    const auto fitted = FittedLaw::Of(law.kind, law.parameters);
    const double x = fitted.Quantile(0.3), step = 1e-5 * std::abs(x);
    const double slope =
        (std::exp(fitted.TailsAt(x + step).below) - std::exp(fitted.TailsAt(x - step).below)) /
        (2.0 * step);
    EXPECT_NEAR(fitted.Density(x), slope, 1e-6 * slope);
  }
}

TEST(FittedLaw, TailsThatUnderflowKeepTheirLogarithm) {
  EXPECT_NEAR(FittedLaw(Law::Normal, 0.0, 1.0).TailsAt(-50.0).below, -1254.8313611, 1e-6);
  EXPECT_NEAR(FittedLaw(Law::Gamma, 3.0, 1.0).TailsAt(2000.0).above,
              2.0 * std::log(2000.0) - 2000.0 - std::log(2.0) + std::log1p(2.0 / 2000.0), 1e-5);
  EXPECT_NEAR(FittedLaw(Law::SmallestExtreme, 0.0, 1.0).TailsAt(-800.0).below, -800.0, 1e-9);
}

TEST(AndersonDarling, PointsOfTheNormalTable) {
  const studies::Case known("ad-critical-values");
  std::vector<double> p;
  // So many values that the statistic is not modified.
  for (const double point : {0.631, 0.752, 0.873, 1.035})
    p.push_back(AndersonDarlingP(Law::Normal, point, 1'000'000'000).p);
  known.Check("normal_p", p);
}

TEST(AndersonDarling, BetweenTheColumnsOfATableAndOutside) {
  constexpr std::size_t kMany = 1'000'000'000'000;
  EXPECT_NEAR(AndersonDarlingP(Law::Exponential, 1.321, kMany).p, 0.05, 1e-6);
  EXPECT_NEAR(AndersonDarlingP(Law::Weibull, 0.637, kMany).p, 0.10, 1e-5);
  EXPECT_NEAR(AndersonDarlingP(Law::Loglogistic, 1.0099999, kMany).p, 0.005, 1e-6);
  EXPECT_NEAR(AndersonDarlingP(Law::Exponential, 0.5 * (1.321 + 1.591), kMany).p,
              std::sqrt(0.05 * 0.025), 1e-6);
  const auto low = AndersonDarlingP(Law::SmallestExtreme, 0.3, 50);
  EXPECT_TRUE(std::isnan(low.p) && std::isnan(low.below));
  EXPECT_EQ(low.above, 0.25);
  const auto high = AndersonDarlingP(Law::SmallestExtreme, 2.0, 50);
  EXPECT_TRUE(std::isnan(high.p) && std::isnan(high.above));
  EXPECT_EQ(high.below, 0.01);
  EXPECT_TRUE(std::isnan(AndersonDarlingP(Law::Gamma, 0.5, 50).p));
}

TEST(AndersonDarling, TheNormalPFallsAsTheStatisticGrows) {
  double before = 1.0;
  for (double a = 0.05; a < 12.0; a += 0.05) {
    const double p = AndersonDarlingP(Law::Normal, a, 1'000'000'000).p;
    EXPECT_GE(p, 0.0);
    EXPECT_LE(p, before + 5e-3) << a;  // the four pieces meet within that
    before = p;
  }
}

TEST(BoxCox, FindsTheTransformOfASample) {
  auto values = SampleOf({Law::Normal, {10.0, 0.5}}, 3000, 29);
  for (const double lambda : {-1.0, 0.0, 0.5, 2.0}) {
    auto back = values;
    for (auto& value : back)
      value = InverseBoxCox(lambda == 0.0 ? value : (value * 10.0 - 1.0) / lambda, lambda);
    const LawSample sample(back);
    const auto fit = FitBoxCox(sample);
    EXPECT_NEAR(fit.lambda, lambda, 0.6) << lambda;
    EXPECT_FALSE(fit.at_edge);
    EXPECT_GE(fit.log_likelihood, BoxCoxLogLikelihood(sample, fit.lambda + 1e-3));
    EXPECT_GE(fit.log_likelihood, BoxCoxLogLikelihood(sample, fit.lambda - 1e-3));
  }
  EXPECT_DOUBLE_EQ(InverseBoxCox(BoxCox(3.7, -0.4), -0.4), 3.7);
  EXPECT_TRUE(std::isnan(BoxCox(0.0, 0.5)));
  EXPECT_TRUE(std::isnan(InverseBoxCox(3.0, -0.4)));
}

}  // namespace
}  // namespace orvspc::engine::statistics
