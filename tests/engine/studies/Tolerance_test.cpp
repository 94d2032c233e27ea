// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Tolerance.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "engine/statistics/Distributions.h"
#include "engine/statistics/ToleranceFactors.h"
#include "tests/engine/studies/cases.h"
#include "tests/engine/studies/notes.h"

namespace orvspc::studies {
namespace {

using namespace engine;
using platform::kNaN;

std::vector<double> NormalQuantiles(int count, double mean, double sd) {
  std::vector<double> values;
  for (int i = 0; i < count; ++i)
    values.push_back(mean + sd * statistics::NormalQuantile((i + 0.5) / count));
  return values;
}

void CheckFactors(const std::string& id) {
  const Case known(id);
  std::vector<double> one, two, howe;
  for (const auto& set : known.Params().at("sets")) {
    const auto n = set[0].get<std::int64_t>();
    const double content = set[1].get<double>(), confidence = set[2].get<double>();
    one.push_back(statistics::OneSidedToleranceFactor(n, content, confidence));
    two.push_back(statistics::TwoSidedToleranceFactor(n, content, confidence));
    howe.push_back(statistics::HoweToleranceFactor(n, content, confidence));
  }
  known.Check("one_sided", one);
  known.Check("two_sided_exact", two);
  if (known.Expected().contains("two_sided_howe")) known.Check("two_sided_howe", howe);
}

TEST(ToleranceFactors, Normal) { CheckFactors("tolerance-normal"); }
TEST(ToleranceFactors, MoreOfThem) { CheckFactors("tolerance-normal-2"); }

TEST(ToleranceFactors, FewestValuesWithoutALaw) {
  const Case known("tolerance-nonparametric");
  known.Check("one_sided_95_95", static_cast<double>(statistics::LeastForRanks(1, 0.95, 0.95)));
  known.Check("two_sided_95_95", static_cast<double>(statistics::LeastForRanks(2, 0.95, 0.95)));
  known.Check("one_sided_99_95", static_cast<double>(statistics::LeastForRanks(1, 0.99, 0.95)));
  known.Check("two_sided_99_95", static_cast<double>(statistics::LeastForRanks(2, 0.99, 0.95)));
}

TEST(ToleranceFactors, TwoValuesAndVeryMany) {
  // The integral by midpoints, and P of the chi-square as an error function.
  EXPECT_NEAR(statistics::TwoSidedToleranceFactor(2, 0.9, 0.95), 31.0922256, 1e-6);
  EXPECT_NEAR(statistics::TwoSidedToleranceFactor(2, 0.95, 0.9), 18.2207426, 1e-6);
  // Both meet z of the content as N grows, one value at a time at the change of the formula.
  EXPECT_NEAR(statistics::OneSidedToleranceFactor(1'000'000'000, 0.99, 0.95), 2.3263, 2e-3);
  EXPECT_NEAR(statistics::OneSidedToleranceFactor(100'000, 0.99, 0.95),
              statistics::OneSidedToleranceFactor(100'001, 0.99, 0.95), 1e-5);
  EXPECT_NEAR(statistics::TwoSidedToleranceFactor(1'000'000, 0.99, 0.95), 2.5758, 6e-3);
  EXPECT_TRUE(std::isnan(statistics::TwoSidedToleranceFactor(1, 0.99, 0.95)));
  EXPECT_TRUE(std::isnan(statistics::OneSidedToleranceFactor(5, 1.0, 0.95)));
  EXPECT_EQ(statistics::ToleranceRanks(0, 0.9, 0.9), 0);
}

TEST(StudyTolerance, MeanAndFactor) {
  const auto values = NormalQuantiles(43, 97.07, 2.68);
  ToleranceOptions options;
  options.content = 0.90;
  options.confidence = 0.99;
  const auto study = StudyTolerance(values, options);
  EXPECT_NEAR(study.factor, 2.2228251738, 1e-8);
  EXPECT_NEAR(study.approximate, 2.2173158967, 1e-8);
  EXPECT_NEAR(study.upper - study.lower, 2.0 * study.factor * study.sd.value, 1e-10);
  EXPECT_NEAR(0.5 * (study.upper + study.lower), 97.07, 1e-10);
  EXPECT_EQ(study.mean.used, 43);
  EXPECT_GT(study.law.ad, 0.0);
  options.sides = Sides::Upper;
  const auto upper = StudyTolerance(values, options);
  EXPECT_TRUE(std::isnan(upper.lower));
  EXPECT_NEAR(upper.upper, upper.mean.value + 1.87395360585 * upper.sd.value, 1e-8);
  EXPECT_TRUE(std::isnan(upper.approximate));
}

TEST(StudyTolerance, LogarithmsAndBack) {
  const auto logs = NormalQuantiles(30, 1.0, 0.4);
  auto values = logs;
  for (auto& value : values) value = std::exp(value);
  const auto plain = StudyTolerance(logs);
  ToleranceOptions options;
  options.law = Law::Lognormal;
  const auto study = StudyTolerance(values, options);
  EXPECT_NEAR(study.lower, std::exp(plain.lower), 1e-9);
  EXPECT_NEAR(study.upper, std::exp(plain.upper), 1e-9);
}

TEST(StudyTolerance, BoxCoxAndJohnsonHoldWhatTheyAreOf) {
  std::vector<double> values;
  for (const double z : NormalQuantiles(400, 0.0, 1.0)) values.push_back(std::exp(0.5 * z) + 3.0);
  for (const auto law : {Law::BoxCox, Law::Johnson}) {
    ToleranceOptions options;
    options.law = law;
    options.content = 0.95;
    const auto study = StudyTolerance(values, options);
    ASSERT_TRUE(study.law.Exists()) << WordOf(law);
    // 97.5 percent lie above and below z of 1.96; the limits are a little further out.
    EXPECT_NEAR(study.lower, std::exp(-0.5 * 2.1) + 3.0, 0.08) << WordOf(law);
    EXPECT_NEAR(study.upper, std::exp(0.5 * 2.1) + 3.0, 0.5) << WordOf(law);
    EXPECT_GT(study.upper, std::exp(0.5 * 1.96) + 3.0) << WordOf(law);
  }
}

TEST(StudyTolerance, BoxCoxLimitsAreTheSameInAnyUnit) {
  ToleranceOptions options;
  options.law = Law::BoxCox;
  const auto study = [&](double unit) {
    std::vector<double> values;
    for (int i = 0; i < 100; ++i)
      values.push_back(unit * (991.0 - 8.7 * std::log1p(-(i + 0.5) / 100.0)));
    return StudyTolerance(values, options);
  };
  const auto kilograms = study(1e-3), grams = study(1.0);
  EXPECT_NEAR(grams.lower, 1e3 * kilograms.lower, 1e-8);
  EXPECT_NEAR(grams.upper, 1e3 * kilograms.upper, 1e-8);
  // Mean and deviation are those of (x^-5 - 1)/-5.
  EXPECT_NEAR(kilograms.mean.value, -0.0005417221090381243, 1e-14);
  EXPECT_NEAR(grams.sd.value, 8.2311302667569205e-18, 1e-27);
  const double edge = grams.factor * 0.0082311302667569205;
  EXPECT_NEAR(kilograms.lower, std::pow(1.0 - 5.0 * (-0.0005417221090381243 - edge), -0.2), 1e-11);
}

TEST(StudyTolerance, WithoutALawLimitsAreValues) {
  std::vector<double> values;
  for (int i = 1; i <= 93; ++i) values.push_back(94 - i);
  ToleranceOptions options;
  options.content = 0.95;
  options.law.reset();
  const auto study = StudyTolerance(values, options);
  EXPECT_EQ(study.lower, 1.0);
  EXPECT_EQ(study.upper, 93.0);
  EXPECT_EQ(study.lower_rank, 1);
  EXPECT_EQ(study.upper_rank, 93);
  EXPECT_EQ(study.least, 93);
  EXPECT_NEAR(study.attained, 1.0 - 93.0 * std::pow(0.95, 92) + 92.0 * std::pow(0.95, 93), 1e-12);
  options.sides = Sides::Lower;
  const auto lower = StudyTolerance(values, options);
  // P(Binomial(93, 0.05) <= r - 1) is 0.0085 for r 1, 0.04998 for r 2.
  EXPECT_EQ(lower.lower_rank, 2);
  EXPECT_EQ(lower.lower, 2.0);
  EXPECT_TRUE(std::isnan(lower.upper));
  EXPECT_EQ(lower.least, 59);
}

TEST(StudyTolerance, TooFewWithoutALawNamesTheFewest) {
  const std::vector<double> values(92, 1.0);
  ToleranceOptions options;
  options.content = 0.95;
  options.law.reset();
  const auto study = StudyTolerance(values, options);
  EXPECT_TRUE(std::isnan(study.lower));
  EXPECT_EQ(study.least, 93);
  ASSERT_TRUE(Has(study.notes, "too-few"));
  EXPECT_NE(study.notes[0].text.find("93 are needed"), std::string::npos);
}

TEST(StudyTolerance, LeastAmountsAndEqualValues) {
  EXPECT_TRUE(Has(StudyTolerance(std::vector<double>{1.0}).notes, "too-few"));
  EXPECT_TRUE(std::isnan(StudyTolerance(std::vector<double>{1.0}).upper));
  const auto two = StudyTolerance(std::vector<double>{1.0, 2.0});
  EXPECT_TRUE(std::isfinite(two.upper));
  EXPECT_TRUE(Has(two.notes, "few-data"));
  const auto flat = StudyTolerance(std::vector<double>(30, 2.5));
  EXPECT_TRUE(std::isnan(flat.lower));
  EXPECT_TRUE(Has(flat.notes, "all-equal"));
  ToleranceOptions options;
  options.law = Law::Lognormal;
  const auto negative = StudyTolerance(std::vector<double>{-1, 2, 3, 4, 5, 6, 7}, options);
  EXPECT_TRUE(std::isnan(negative.lower));
  EXPECT_TRUE(Has(negative.notes, "not-supported"));
}

TEST(StudyTolerance, OptionsOutOfTheirRange) {
  const std::vector<double> values = {1, 2, 3};
  const auto refused = [&](auto change) {
    ToleranceOptions options;
    change(options);
    EXPECT_THROW(StudyTolerance(values, options), std::invalid_argument);
  };
  refused([](auto& options) { options.content = 1.0; });
  refused([](auto& options) { options.content = kNaN; });
  refused([](auto& options) { options.confidence = 0.0; });
  refused([](auto& options) { options.law = Law::Weibull; });
}

}  // namespace
}  // namespace orvspc::studies
