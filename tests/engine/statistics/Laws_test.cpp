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

TEST(FitLaw, AMeanFarAboveTheSpreadIsNoObstacle) {
  const std::pair<double, double> kPlaces[] = {{10.0, 1.0}, {100.0, 0.002}, {1000.0, 0.003},
                                               {5e4, 0.02}, {1e6, 0.1},     {1e7, 0.5}};
  for (const auto& [mean, sd] : kPlaces) {
    std::vector<double> even, skewed;
    for (int i = 0; i < 100; ++i) {
      const double z = NormalQuantile((i + 0.5) / 100.0);
      even.push_back(mean + sd * z);
      skewed.push_back(mean + sd * std::exp(0.4 * z));
    }
    for (const auto& law : kLawCases) {
      const auto& family = FamilyOf(law.kind);
      if (family.kernel == Kernel::Exponential) continue;
      const LawSample sample(family.has_threshold ? skewed : even);
      EXPECT_EQ(FitLaw(sample, law.kind).outcome, LawOutcome::Fitted)
          << static_cast<int>(law.kind) << " at " << mean;
    }
    if (mean < 100.0) continue;
    // There gamma and lognormal laws are normal ones.
    const LawSample sample(even);
    const auto normal = FitLaw(sample, Law::Normal);
    for (const auto kind : {Law::Lognormal, Law::Gamma}) {
      const auto fit = FitLaw(sample, kind);
      EXPECT_NEAR(fit.log_likelihood, normal.log_likelihood, 1e-3) << mean;
      EXPECT_NEAR(fit.law.Quantile(0.00135), normal.law.Quantile(0.00135), 0.02 * sd) << mean;
    }
  }
}

TEST(FitLaw, AGammaLawOfALargeShapeKeepsItsDigits) {
  // Computed with 70 digits.
  struct Expected {
    double base, step, shape, log_likelihood, a2, low, low_error, median_error;
  };
  constexpr Expected kExpected[] = {
      {1000.0, 1.0 / 1024.0, 28597527271.996667, 77.943583910461692, 0.262644640818859,
       999.98226009050362, 0.00302621371092473, 0.00129040522001312},
      {1e7, 1.0 / 16.0, 698181818181817.45, -9.3929608400679412, 0.262644640809216,
       9999998.8646398627, 0.193679953421681, 0.0825859340804263}};
  for (const auto& expected : kExpected) {
    std::vector<double> values;
    for (int i = -10; i <= 10; ++i) values.push_back(expected.base + i * expected.step);
    const LawSample sample(values);
    const auto fit = FitLaw(sample, Law::Gamma);
    ASSERT_EQ(fit.outcome, LawOutcome::Fitted);
    EXPECT_NEAR(fit.law.Location(), expected.shape, 1e-12 * expected.shape);
    EXPECT_NEAR(fit.log_likelihood, expected.log_likelihood, 1e-11);
    EXPECT_NEAR(AndersonDarling(sample, fit.law), expected.a2, 1e-8);
    EXPECT_NEAR(fit.law.Quantile(0.00135), expected.low, 1e-7 * expected.step);
    const auto covariance = CovarianceOf(sample, fit);
    EXPECT_NEAR(fit.law.QuantileError(covariance, 0.00135), expected.low_error,
                1e-10 * expected.low_error);
    EXPECT_NEAR(fit.law.QuantileError(covariance, 0.5), expected.median_error,
                1e-10 * expected.median_error);
  }
}

TEST(FittedLaw, AGammaLawOfALargeShapeHasItsTails) {
  const FittedLaw law(Law::Gamma, 1e12, 1.0);
  struct Expected {
    double x, below, above, density;  // computed with 70 digits
  };
  constexpr Expected kExpected[] = {
      {1e12 - 2e6, -3.783186706901567, -0.02301285408107471, 5.399093051910989e-8},
      {1e12, -0.6931469145984604, -0.6931474465215009, 3.989422804013994e-7},
      {1e12 + 3e6, -0.001350821799010118, -6.60771746660087, 4.431875003038081e-9}};
  for (const auto& expected : kExpected) {
    const auto tails = law.TailsAt(expected.x);
    EXPECT_NEAR(tails.below, expected.below, 1e-12 * std::abs(expected.below));
    EXPECT_NEAR(tails.above, expected.above, 1e-12 * std::abs(expected.above));
    EXPECT_NEAR(law.Density(expected.x), expected.density, 1e-12 * expected.density);
  }
  // The two ways to a tail meet.
  for (const double z : {-5.0, -1.0, 0.0, 2.0, 5.0}) {
    const double x = 1e8 + z * 1e4;
    const auto below = FittedLaw(Law::Gamma, 1e8, 1.0).TailsAt(x);
    const auto above = FittedLaw(Law::Gamma, 1e8 * (1.0 + 1e-15), 1.0).TailsAt(x);
    EXPECT_NEAR(below.below, above.below, 1e-10 * std::abs(below.below)) << z;
    EXPECT_NEAR(below.above, above.above, 1e-10 * std::abs(below.above)) << z;
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
  // Over a centre next to the value nothing is lost: 1e-9 (1 - 3e-9).
  EXPECT_NEAR(BoxCox(1000.0 * (1.0 + 0x1p-30), -5.0, 1000.0), 0x1p-30 * (1.0 - 3.0 * 0x1p-30),
              1e-15 * 0x1p-20);
  EXPECT_DOUBLE_EQ(InverseBoxCox(BoxCox(997.0, -5.0, 1000.0), -5.0, 1000.0), 997.0);
}

}  // namespace
}  // namespace orvspc::engine::statistics
