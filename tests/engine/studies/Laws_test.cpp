// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Laws.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <stdexcept>

#include "engine/statistics/Laws.h"
#include "engine/statistics/Numerics.h"
#include "tests/engine/studies/cases.h"
#include "tests/engine/studies/notes.h"

namespace orvspc::studies {
namespace {

using platform::kNaN;

std::vector<double> Values(const LawFigures& law) {
  std::vector<double> values;
  for (const auto& parameter : law.parameters) values.push_back(parameter.value);
  return values;
}

LawFigures FitOf(const std::vector<double>& values, Law law, LawOptions options = {}) {
  options.laws = {law};
  return StudyLaws(values, options).laws.front();
}

// A sample of normal values.
std::vector<double> NormalDraws(std::size_t count, double mean, double sd) {
  engine::statistics::Draws draws(7);
  std::vector<double> values(count);
  for (auto& value : values) value = mean + sd * draws.Normal();
  return values;
}

TEST(StudyLaws, TwoParameters) {
  const Case known("fit-two-parameter");
  const auto values = known.Column("serving");
  LawOptions options;
  options.simulates = false;
  const auto weibull = FitOf(values, Law::Weibull), gamma = FitOf(values, Law::Gamma, options),
             lognormal = FitOf(values, Law::Lognormal);
  known.Check("weibull", Values(weibull));
  known.Check("weibull_loglik", weibull.log_likelihood);
  known.Check("gamma_shape_scale", Values(gamma));
  known.Check("gamma_loglik", gamma.log_likelihood);
  known.Check("lognormal", Values(lognormal));
  known.Check("lognormal_loglik", lognormal.log_likelihood);
  // As published of the fitted law itself; its test takes the divisor N - 1.
  const double of_fit = engine::statistics::AndersonDarling(
      engine::statistics::LawSample(values),
      engine::statistics::FittedLaw::Of(Law::Lognormal, Values(lognormal)));
  known.Check("ad", {weibull.ad, gamma.ad, of_fit});
  EXPECT_DOUBLE_EQ(weibull.aic, 4.0 - 2.0 * weibull.log_likelihood);
  EXPECT_TRUE(weibull.converged);
}

TEST(StudyLaws, ALognormalTestIsTheNormalOneOfTheLogarithms) {
  const auto logarithms = NormalDraws(20, 1.0, 0.4);
  auto values = logarithms;
  for (auto& value : values) value = std::exp(value);
  LawOptions n_minus_1;
  n_minus_1.lognormal_n_minus_1 = true;
  const auto normal = FitOf(logarithms, Law::Normal), lognormal = FitOf(values, Law::Lognormal),
             other = FitOf(values, Law::Lognormal, n_minus_1);
  EXPECT_NEAR(lognormal.ad, normal.ad, 1e-10);
  EXPECT_NEAR(lognormal.p, normal.p, 1e-10);
  EXPECT_NEAR(other.ad, normal.ad, 1e-10);
  // The parameter stays that of maximum likelihood.
  EXPECT_NEAR(Values(lognormal)[1], Values(normal)[1] * std::sqrt(19.0 / 20.0), 1e-12);
  EXPECT_NEAR(Values(other)[1], Values(normal)[1], 1e-12);
}

TEST(StudyLaws, CapabilityOfWeibullAndLognormal) {
  const Case known("capability-weibull-lognormal");
  const auto values = known.Column("x");
  LawOptions options;
  options.limits = {known.Param("lsl"), known.Param("usl")};
  const auto weibull = FitOf(values, Law::Weibull, options);
  known.Check("weibull", Values(weibull));
  known.Check("quantiles", {weibull.low.value, weibull.median.value, weibull.high.value});
  known.Check("Pp", weibull.indices.pp);
  known.Check("Ppl", weibull.indices.ppl);
  known.Check("Ppu", weibull.indices.ppu);
  EXPECT_EQ(weibull.indices.ppk, weibull.indices.ppu);
  known.Check("ppm_above", weibull.ppm_above);
  EXPECT_EQ(weibull.ppm_below, 0.0);
  known.Check("ad_weibull", weibull.ad);
  const auto normal = FitOf(values, Law::Normal, options);
  known.Check("ad_normal", normal.ad);
  known.Check("p_normal", normal.p);
  EXPECT_EQ(normal.p_method, "table");
  options.lognormal_n_minus_1 = true;
  const auto lognormal = FitOf(values, Law::Lognormal, options);
  known.Check("ad_lognormal", lognormal.ad);
  known.Check("lognormal", Values(lognormal));
  known.Check("lognormal_Pp", lognormal.indices.pp);
  known.Check("lognormal_Ppu", lognormal.indices.ppu);
}

TEST(StudyLaws, IndicesOfKnownLaws) {
  const Case known("percentile-index-exact");
  const auto& of = known.Params().at("lognormal");
  const double parameters[] = {of[0], of[1]};
  const auto lognormal = FiguresOfLaw(Law::Lognormal, parameters, {of[2], of[3]});
  known.Check("lognormal", {lognormal.indices.pp, lognormal.indices.ppu, lognormal.indices.ppl});
  const auto& exponential = known.Params().at("exponential");
  const double scale[] = {exponential[0]};
  const auto figures = FiguresOfLaw(Law::Exponential, scale, {kNaN, exponential[2]});
  known.Check("exponential_ppu", figures.indices.ppu);
  EXPECT_TRUE(std::isnan(figures.indices.pp) && std::isnan(figures.indices.ppl));
  EXPECT_EQ(figures.indices.ppk, figures.indices.ppu);
}

TEST(StudyLaws, ExpectedShareFarOutKeepsItsDigits) {
  const double parameters[] = {0.0, 1.0};
  const auto figures = FiguresOfLaw(Law::Normal, parameters, {-9.0, 9.0});
  EXPECT_NEAR(figures.ppm_above, 1e6 * 1.1285884059538407e-19, 1e-26);
  EXPECT_EQ(figures.ppm_above, figures.ppm_below);
}

TEST(StudyLaws, BoxCox) {
  const Case known("box-cox");
  const auto values = known.Column("serving");
  LawOptions options;
  options.simulates = false;
  known.Check("lambda", FitOf(values, Law::BoxCox, options).parameters[0].value);
  options.round_lambda = true;
  EXPECT_EQ(FitOf(values, Law::BoxCox, options).parameters[0].value, 0.5);
}

TEST(StudyLaws, BoxCoxIndicesAreThoseOfTransformedLimits) {
  std::vector<double> values = NormalDraws(200, 3.0, 0.5);
  for (auto& value : values) value *= value;  // lambda near 0.5
  LawOptions options;
  options.simulates = false;
  options.round_lambda = true;
  options.limits = {0.0, 25.0};
  options.laws = {Law::BoxCox};
  const auto study = StudyLaws(values, options);
  const auto& figures = study.laws.front();
  const double mean = figures.parameters[1].value, sd = figures.parameters[2].value;
  ASSERT_EQ(figures.parameters[0].value, 0.5);
  EXPECT_NEAR(figures.indices.ppu, (2.0 * (5.0 - 1.0) - mean) / (3.0 * sd), 1e-12);
  EXPECT_TRUE(std::isnan(figures.indices.ppl));
  EXPECT_TRUE(Has(study.notes, "limit-not-transformed"));
}

TEST(StudyLaws, BoxCoxIsTheSameInAnyUnit) {
  // The documented mean and deviation in kg, g and mg; everything computed with 60 digits.
  struct Expected {
    double unit, mean, sd;
  };
  constexpr Expected kExpected[] = {{1e-3, -0.0005417221090381243, 0.0082311302667569205},
                                    {1.0, 0.1999999999999998, 8.2311302667569205e-18},
                                    {1e3, 0.2, 8.2311302667569205e-33}};
  for (const auto& [unit, mean, sd] : kExpected) {
    std::vector<double> values;
    for (int i = 0; i < 100; ++i)
      values.push_back(unit * (991.0 - 8.7 * std::log1p(-(i + 0.5) / 100.0)));
    LawOptions options;
    options.simulates = false;
    options.limits = {960.0 * unit, 1040.0 * unit};
    const auto figures = FitOf(values, Law::BoxCox, options);
    const auto parameters = Values(figures);
    ASSERT_EQ(parameters.size(), 3U);
    EXPECT_EQ(parameters[0], -5.0);
    EXPECT_NEAR(parameters[1], mean, 1e-15);
    EXPECT_NEAR(parameters[2], sd, 1e-11 * sd);
    EXPECT_NEAR(figures.ad, 4.0455195995656, 1e-9);
    EXPECT_NEAR(figures.indices.pp, 1.63811408721551, 1e-11);
    EXPECT_NEAR(figures.indices.ppu, 1.46420963607685, 1e-11);
    EXPECT_NEAR(figures.indices.ppl, 1.81201853835418, 1e-11);
    EXPECT_NEAR(figures.median.value, unit * 999.45915653454442, unit * 1e-9);
    EXPECT_NEAR(RefittedIndices(figures, values, options).ppk, 1.46420963607685, 1e-11);
    const auto scale = PlotScaleOf(figures);
    EXPECT_NEAR(scale.origin, mean, 1e-15);
    EXPECT_NEAR(ValueAcross(figures, PlotAcross(figures, 970.0 * unit)), 970.0 * unit, 1e-9 * unit);
  }
}

TEST(StudyLaws, ALawThatDoesNotHoldAllValuesIsRefusedAndOthersGoOn) {
  LawOptions options;
  options.laws = {Law::Weibull, Law::Normal};
  const auto study =
      StudyLaws(std::vector<double>{-1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 8.0, 9.0}, options);
  EXPECT_EQ(study.laws[0].law, Law::Normal);
  EXPECT_FALSE(study.laws[1].Exists());
  EXPECT_TRUE(std::isnan(study.laws[1].aic));
  EXPECT_TRUE(Has(study.notes, "not-supported"));
}

TEST(StudyLaws, EqualValuesHaveNoLaw) {
  const auto study = StudyLaws(std::vector<double>(30, 5.0));
  EXPECT_FALSE(study.laws.front().Exists());
  EXPECT_TRUE(study.plot.x.empty());
  EXPECT_TRUE(Has(study.notes, "all-equal"));
}

TEST(StudyLaws, TooFewValues) {
  EXPECT_FALSE(FitOf({1.0, 2.0, 3.0, 4.0}, Law::Normal).Exists());
  EXPECT_TRUE(FitOf({1.0, 2.0, 3.0, 4.0, 5.5}, Law::Normal).Exists());
  EXPECT_FALSE(FitOf({1.0, 2.0, 3.0, 4.0, 5.5}, Law::Weibull3).Exists());
  const std::vector<double> seven{1.0, 2.0, 3.0, 4.0, 5.5, 6.0, 7.5};
  EXPECT_TRUE(std::isnan(FitOf(seven, Law::Normal).ad));
  auto eight = seven;
  eight.push_back(9.0);
  EXPECT_FALSE(std::isnan(FitOf(eight, Law::Normal).ad));
  EXPECT_TRUE(Has(StudyLaws(eight).notes, "few-data"));
}

TEST(StudyLaws, WithoutATestNothingIsSaidOfP) {
  std::vector<double> values{1.0, 2.0, 2.0, 2.0, 2.0, 5.5, 6.0};
  LawOptions options;
  options.laws = {Law::Normal, Law::Logistic};
  const auto text = [](const LawsStudy& study, const char* code) {
    for (const auto& note : study.notes)
      if (note.code == code) return note.text;
    return std::string();
  };
  auto study = StudyLaws(values, options);
  EXPECT_EQ(text(study, "no-p"),
            "The test of Anderson and Darling takes 8 values or more, so there is neither A2 nor "
            "P.");
  EXPECT_FALSE(Has(study.notes, "rounded-values"));
  EXPECT_NE(text(study, "laws-tried"), "");
  EXPECT_EQ(text(study, "laws-tried").find("0.05"), std::string::npos);
  values.push_back(7.0);
  study = StudyLaws(values, options);
  EXPECT_FALSE(Has(study.notes, "no-p"));
  EXPECT_TRUE(Has(study.notes, "rounded-values"));
  EXPECT_NE(text(study, "laws-tried").find("0.05"), std::string::npos);
}

TEST(StudyLaws, AThresholdThatWasSetHasNoPAndSaysSo) {
  const std::vector<double> values{1.0, 1.1, 1.3, 1.8, 2.7, 4.5, 8.0, 16.0, 40.0, 120.0};
  LawOptions options;
  options.draws = 99;
  options.laws = {Law::Weibull3};
  const auto study = StudyLaws(values, options);
  ASSERT_TRUE(Has(study.notes, "threshold-set"));
  EXPECT_TRUE(std::isnan(study.laws.front().ChoiceP()));
  EXPECT_TRUE(Has(study.notes, "no-p"));
}

TEST(StudyLaws, AValueWhereTheLawBeginsIsNoted) {
  std::vector<double> values{0.0, 0.3, 0.5, 0.8, 1.1, 1.9, 2.4, 3.0, 4.2, 6.5};
  LawOptions options;
  options.laws = {Law::Exponential};
  const auto study = StudyLaws(values, options);
  EXPECT_TRUE(std::isinf(study.laws.front().ad));
  EXPECT_EQ(study.laws.front().p_below, 0.01);
  EXPECT_TRUE(Has(study.notes, "endless-a2"));
  values.front() = 0.1;
  EXPECT_FALSE(Has(StudyLaws(values, options).notes, "endless-a2"));
}

TEST(StudyLaws, RoundedValuesAreNoted) {
  std::vector<double> values;
  for (int i = 0; i < 120; ++i) values.push_back(i % 8);
  EXPECT_TRUE(Has(StudyLaws(values).notes, "rounded-values"));
  EXPECT_FALSE(Has(StudyLaws(NormalDraws(120, 0.0, 1.0)).notes, "rounded-values"));
}

TEST(StudyLaws, TheChosenLawHasTheLeastAicOfThoseThatFit) {
  LawOptions options;
  options.laws = LikelihoodLaws();
  options.draws = 99;
  const auto study = StudyLaws(NormalDraws(300, 100.0, 1.0), options);
  ASSERT_EQ(study.laws.size(), 14U);
  const auto& chosen = study.laws[study.chosen];
  EXPECT_GE(chosen.ChoiceP(), 0.05);
  for (const auto& law : study.laws)
    EXPECT_FALSE(law.ChoiceP() >= 0.05 && law.aic < chosen.aic) << WordOf(law.law);
  for (std::size_t i = 1; i < study.laws.size(); ++i) {
    if (!study.laws[i].Exists()) continue;
    EXPECT_GE(study.laws[i - 1].ChoiceP(), study.laws[i].ChoiceP());
  }
  EXPECT_TRUE(Has(study.notes, "laws-tried"));
}

TEST(StudyLaws, SimulatedPIsRepeatableAndCountsItself) {
  LawOptions options;
  options.draws = 199;
  const auto values = Case("fit-two-parameter").Column("serving");
  const auto gamma = FitOf(values, Law::Gamma, options);
  EXPECT_EQ(gamma.p_method, "simulation");
  EXPECT_EQ(gamma.draws, 199);
  EXPECT_EQ(gamma.p, 1.0 / 200.0);  // A2 3.57 is beyond all draws
  options.laws = {Law::Weibull3};
  const auto drawn = NormalDraws(60, 5.0, 1.0);
  EXPECT_EQ(FitOf(drawn, Law::Weibull3, options).p, FitOf(drawn, Law::Weibull3, options).p);
}

TEST(StudyLaws, TheNormalBandIsThatOfTheFormula) {
  LawOptions options;
  const auto values = NormalDraws(40, 10.0, 2.0);
  const auto study = StudyLaws(values, options);
  const auto law = Values(study.laws.front());
  const double z = -3.0, n = 40.0;
  const double error = law[1] * std::sqrt(1.0 / n + z * z / (2.0 * n));
  EXPECT_NEAR(study.laws.front().low.value, law[0] - 2.99997699 * law[1], 1e-6);
  EXPECT_NEAR(study.laws.front().low.upper - study.laws.front().low.value, 1.959963985 * error,
              1e-4);
  ASSERT_EQ(study.plot.x.size(), 40U);
  EXPECT_DOUBLE_EQ(study.plot.p.front(), 0.5 / 40.0);
  options.median_ranks = true;
  EXPECT_DOUBLE_EQ(StudyLaws(values, options).plot.p.front(), 0.7 / 40.4);
}

// The scatter of a quantile over many samples is what the band says.
TEST(StudyLaws, BandsAreAsWideAsSamplesScatter) {
  const struct {
    Law law;
    std::vector<double> parameters;
  } rows[] = {{Law::Weibull, {2.0, 5.0}},        {Law::Gamma, {3.0, 2.0}},
              {Law::LargestExtreme, {5.0, 2.0}}, {Law::Logistic, {5.0, 2.0}},
              {Law::Lognormal, {1.0, 0.4}},      {Law::Exponential, {4.0}},
              {Law::Exponential2, {4.0, 3.0}}};
  for (const auto& row : rows) {
    const auto truth = FiguresOfLaw(row.law, row.parameters, {});
    engine::statistics::Draws draws(11);
    constexpr int kSamples = 400, kValues = 200;
    double inside = 0.0;
    for (int s = 0; s < kSamples; ++s) {
      std::vector<double> values;
      while (values.size() < kValues) {
        const double u = draws.Uniform();
        if (u > 0.0) values.push_back(QuantileOfLaw(truth, u));
      }
      LawOptions options;
      options.simulates = false;
      const auto fit = FitOf(values, row.law, options);
      if (fit.median.lower <= truth.median.value && truth.median.value <= fit.median.upper)
        inside += 1.0 / kSamples;
    }
    EXPECT_NEAR(inside, 0.95, 0.04) << WordOf(row.law);
  }
}

TEST(StudyLaws, AJohnsonCurveHasNoBand) {
  auto values = NormalDraws(400, 0.0, 1.0);
  for (auto& value : values) value = std::exp(0.6 * value);
  LawOptions options;
  options.draws = 99;
  options.laws = {Law::Johnson};
  const auto study = StudyLaws(values, options);
  const auto& johnson = study.laws.front();
  ASSERT_TRUE(johnson.Exists());
  EXPECT_FALSE(johnson.curve.empty());
  EXPECT_TRUE(std::isnan(johnson.low.lower));
  EXPECT_GT(johnson.p, 0.05);
  EXPECT_NEAR(johnson.median.value, 1.0, 0.1);
}

TEST(StudyLaws, RefusesWhatLiesOutside) {
  const auto values = NormalDraws(20, 0.0, 1.0);
  const auto with = [&](auto change) {
    LawOptions options;
    change(options);
    return StudyLaws(values, options);
  };
  EXPECT_THROW(with([](auto& options) { options.laws.clear(); }), std::invalid_argument);
  EXPECT_THROW(with([](auto& options) { options.level = 1.0; }), std::invalid_argument);
  EXPECT_THROW(with([](auto& options) { options.draws = 98; }), std::invalid_argument);
  EXPECT_THROW(with([](auto& options) { options.limits = {2.0, 1.0}; }), std::invalid_argument);
}

TEST(StudyQuantiles, AreHazens) {
  std::vector<double> values(1000);
  std::iota(values.begin(), values.end(), 1.0);
  const auto study = StudyQuantiles(values, {-100.0, 1200.0});
  EXPECT_DOUBLE_EQ(study.low.value, 1.85);
  EXPECT_DOUBLE_EQ(study.median.value, 500.5);
  EXPECT_DOUBLE_EQ(study.high.value, 999.15);
  EXPECT_DOUBLE_EQ(study.indices.pp, 1300.0 / (999.15 - 1.85));
  EXPECT_DOUBLE_EQ(study.indices.ppk, 600.5 / (500.5 - 1.85));
  EXPECT_TRUE(std::isnan(study.low.lower) && std::isnan(study.high.upper));
  // Ranks 470 and 531 of a binomial with 1000 and 0.5.
  EXPECT_EQ(study.median.lower, 469.0);
  EXPECT_EQ(study.median.upper, 532.0);
}

TEST(StudyQuantiles, OuterQuantilesHaveIntervalsFrom2731Values) {
  std::vector<double> values(2731);
  std::iota(values.begin(), values.end(), 1.0);
  const auto enough = StudyQuantiles(values, {});
  EXPECT_EQ(enough.low.lower, 1.0);
  EXPECT_EQ(enough.high.upper, 2731.0);
  values.pop_back();
  EXPECT_TRUE(std::isnan(StudyQuantiles(values, {}).low.lower));
}

TEST(StudyQuantiles, OfFewValuesTheRangeIsNoted) {
  std::vector<double> values(370);
  std::iota(values.begin(), values.end(), 1.0);
  const auto study = StudyQuantiles(values, {0.0, 400.0});
  EXPECT_EQ(study.low.value, 1.0);
  EXPECT_EQ(study.high.value, 370.0);
  EXPECT_TRUE(Has(study.notes, "sample-range"));
  values.push_back(371.0);
  EXPECT_FALSE(Has(StudyQuantiles(values, {}).notes, "sample-range"));
  EXPECT_THROW(StudyQuantiles(values, {}, 0.0), std::invalid_argument);
}

}  // namespace
}  // namespace orvspc::studies
