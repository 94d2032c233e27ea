// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Bias.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "tests/engine/studies/cases.h"
#include "tests/engine/studies/notes.h"

namespace orvspc::studies {
namespace {

Type1Options Type1With(double reference, double tolerance) {
  Type1Options options;
  options.reference = reference;
  options.tolerance = tolerance;
  return options;
}

TEST(StudyType1, Published) {
  const Case known("type-1");
  const auto values = known.Column("y");
  auto options = Type1With(known.Param("reference"), known.Param("tolerance"));
  options.percent = known.Param("percent");
  options.multiplier = known.Param("multiplier");
  const auto study = StudyType1(values, options);
  known.Check("Cg", study.cg);
  known.Check("Cgk", study.cgk);
  known.Check("pct_repeat", study.pct_repeat);
  known.Check("pct_repeat_bias", study.pct_repeat_bias);
  known.Check("t", study.test.value);
  known.Check("p", study.test.p);
  EXPECT_TRUE(study.notes.empty());
  options.percent = 15.0;
  options.multiplier = 4.0;
  const auto narrow = StudyType1(values, options);
  known.Check("Cg_15pct_4s", narrow.cg);
  known.Check("Cgk_15pct_4s", narrow.cgk);
}

TEST(StudyType1, LeastAmounts) {
  std::vector<double> values;
  for (int i = 0; i < 24; ++i) values.push_back(i % 3);
  const auto options = Type1With(1.0, 10.0);
  EXPECT_TRUE(std::isnan(StudyType1(values, options).cg));
  EXPECT_TRUE(Has(StudyType1(values, options).notes, "too-few"));
  values.push_back(platform::kNaN);
  EXPECT_TRUE(std::isnan(StudyType1(values, options).cg));
  values.push_back(1.0);
  EXPECT_GT(StudyType1(values, options).cg, 0.0);
  EXPECT_TRUE(Has(StudyType1(values, options).notes, "few-data"));
}

TEST(StudyType1, AllEqualHasNoIndices) {
  const auto study = StudyType1(std::vector<double>(50, 0.1), Type1With(0.0, 1.0));
  EXPECT_EQ(study.sd, 0.0);
  EXPECT_DOUBLE_EQ(study.bias.value, 0.1);
  EXPECT_TRUE(std::isnan(study.cg) && std::isnan(study.cgk) && std::isnan(study.test.p));
  EXPECT_TRUE(Has(study.notes, "no-variation"));
}

TEST(StudyType1, ABiasBeyondTheShareHasNoPercentage) {
  std::vector<double> values;
  for (int i = 0; i < 50; ++i) values.push_back(i % 3);
  const auto study = StudyType1(values, Type1With(0.0, 5.0));
  EXPECT_LT(study.cgk, 0.0);
  EXPECT_TRUE(std::isnan(study.pct_repeat_bias));
  EXPECT_TRUE(Has(study.notes, "bias-too-large"));
}

TEST(StudyType1, ACoarseResolutionIsNoted) {
  const std::vector<double> values(50, 1.0);
  auto options = Type1With(1.0, 10.0);
  options.resolution = 0.5;
  EXPECT_FALSE(Has(StudyType1(values, options).notes, "coarse"));
  options.resolution = 0.51;
  EXPECT_TRUE(Has(StudyType1(values, options).notes, "coarse"));
}

TEST(StudyType1, RefusesWhatLiesOutside) {
  const auto refuses = [](auto change) {
    auto options = Type1With(0.0, 1.0);
    change(options);
    EXPECT_THROW(StudyType1({}, options), std::invalid_argument);
  };
  refuses([](Type1Options& o) { o.tolerance = 0.0; });
  refuses([](Type1Options& o) { o.percent = 0.0; });
  refuses([](Type1Options& o) { o.multiplier = -1.0; });
  refuses([](Type1Options& o) { o.resolution = 0.0; });
  refuses([](Type1Options& o) { o.level = 0.0; });
  refuses([](Type1Options& o) { o.reference = platform::kNaN; });
}

TEST(StudyBias, OfSummaryFigures) {
  const Case known("bias");
  BiasOptions options;
  options.reference = known.Param("reference");
  const auto study = StudyBiasOf(static_cast<std::size_t>(known.Param("n")), known.Param("mean"),
                                 known.Param("s"), options);
  known.Check("t", study.test.value);
  known.Check("ci", {study.bias.lower, study.bias.upper});
}

TEST(StudyBias, OfReadings) {
  BiasOptions options;
  options.reference = 2.0;
  options.process_sd = 0.5;
  const std::vector<double> values{1.0, 2.0, platform::kNaN, 6.0};
  const auto study = StudyBias(values, options);
  EXPECT_EQ(study.count, 3U);
  EXPECT_EQ(study.bias.value, 1.0);
  EXPECT_NEAR(study.sd, std::sqrt(7.0), 1e-14);
  EXPECT_NEAR(study.test.value, std::sqrt(3.0 / 7.0), 1e-14);
  EXPECT_NEAR(study.pct_bias, 100.0 / 3.0, 1e-12);
  EXPECT_TRUE(Has(study.notes, "few-data"));
}

TEST(StudyBias, OneReadingHasNoTest) {
  const auto study = StudyBias(std::vector<double>{3.0}, {});
  EXPECT_EQ(study.bias.value, 3.0);
  EXPECT_TRUE(std::isnan(study.test.p));
  EXPECT_TRUE(Has(study.notes, "too-few"));
  EXPECT_TRUE(Has(StudyBias(std::vector<double>(12, 3.0), {}).notes, "no-variation"));
}

TEST(StudyLinearity, Published) {
  const Case known("linearity");
  const auto study = StudyLinearity(known.Column("reference"), known.Column("y"));
  known.Check("slope", study.slope.value);
  known.Check("intercept", study.intercept.value);
  known.Check("t_slope", study.slope_test.value);
  known.Check("t_intercept", study.intercept_test.value);
  known.Check("s", study.s);
  known.Check("r2", study.r2);
  std::vector<double> bias, p;
  for (const auto& each : study.biases) {
    bias.push_back(each.bias.value);
    p.push_back(each.test.p);
  }
  known.Check("bias", bias);
  known.Check("p_bias", p);
  known.Check("p_bias_all", study.bias_test.p);
  EXPECT_EQ(study.is_acceptable, false);
  EXPECT_NEAR(study.pct_linearity, 13.1666666667, 1e-9);
  EXPECT_TRUE(study.notes.empty());
}

TEST(StudyLinearity, NoBiasWithinTheBandIsAcceptable) {
  std::vector<double> references, values;
  for (const double reference : {1.0, 2.0, 3.0, 4.0, 5.0}) {
    for (const double noise : {-0.3, -0.1, 0.0, 0.1, 0.3}) {
      references.push_back(reference);
      values.push_back(reference + noise);
    }
  }
  EXPECT_EQ(StudyLinearity(references, values).is_acceptable, true);
  // A bias that is the same everywhere lies outside in the middle first, where the band is narrow.
  for (double& value : values) value += 0.1;
  const auto study = StudyLinearity(references, values);
  EXPECT_LT(std::abs(study.LineAt(1.0)), study.HalfBandAt(1.0));
  EXPECT_GT(std::abs(study.LineAt(3.0)), study.HalfBandAt(3.0));
  EXPECT_EQ(study.is_acceptable, false);
}

TEST(StudyLinearity, TheProcessSetsWhatThePercentagesAreOf) {
  LinearityOptions options;
  options.process_sd = 2.5;
  const Case known("linearity");
  const auto study = StudyLinearity(known.Column("reference"), known.Column("y"), options);
  EXPECT_NEAR(study.linearity, 0.131666666667 * 15.0, 1e-9);
  EXPECT_NEAR(
      study.pct_bias,
      100.0 * (0.491666666667 + 0.125 + 0.025 - 0.291666666667 - 0.616666666667) / -5.0 / 15.0,
      1e-9);
}

TEST(StudyLinearity, LeastAmounts) {
  const auto of = [](std::vector<double> references) {
    auto values = references;
    for (std::size_t i = 0; i < values.size(); ++i) values[i] += i % 2 == 0 ? 0.1 : -0.1;
    return StudyLinearity(references, values);
  };
  EXPECT_TRUE(Has(of({1.0, 1.0, 1.0}).notes, "too-few"));
  EXPECT_TRUE(Has(of({1.0, 2.0}).notes, "too-few"));
  EXPECT_FALSE(std::isnan(of({1.0, 2.0, 2.0}).s));
  EXPECT_TRUE(Has(of({1.0, 2.0, 2.0}).notes, "few-data"));
  EXPECT_TRUE(std::isnan(StudyLinearity({}, {}).s));
}

TEST(StudyLinearity, ReadingsOnALineHaveNoTests) {
  const std::vector<double> references{1.0, 2.0, 3.0, 4.0}, values{1.5, 3.0, 4.5, 6.0};
  const auto study = StudyLinearity(references, values);
  EXPECT_EQ(study.slope.value, 0.5);
  EXPECT_TRUE(std::isnan(study.slope_test.p));
  EXPECT_EQ(study.is_acceptable, false);
  EXPECT_TRUE(Has(study.notes, "no-variation"));
}

TEST(StudyLinearity, RefusesWhatLiesOutside) {
  LinearityOptions options;
  options.level = 1.0;
  EXPECT_THROW(StudyLinearity({}, {}, options), std::invalid_argument);
  const std::vector<double> one{1.0};
  EXPECT_THROW(StudyLinearity(one, {}), std::invalid_argument);
}

}  // namespace
}  // namespace orvspc::studies
