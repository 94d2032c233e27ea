// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Gage.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string>

#include "engine/statistics/Numerics.h"
#include "tests/engine/studies/cases.h"
#include "tests/engine/studies/notes.h"

namespace orvspc::studies {
namespace {

GageReadings ReadingsOf(const Case& known) {
  const auto parts = known.Cells("part"), operators = known.Cells("operator");
  const auto values = known.Column("y");
  GageReadings readings;
  for (std::size_t i = 0; i < values.size(); ++i) {
    readings.Add(parts[i], operators[i], values[i]);
  }
  return readings;
}

// value(part, operator, trial), counted from 0
template <class Value>
GageReadings Made(int parts, int operators, int trials, Value value) {
  GageReadings readings;
  for (int o = 0; o < operators; ++o)
    for (int p = 0; p < parts; ++p)
      for (int t = 0; t < trials; ++t)
        readings.Add(std::to_string(p), std::to_string(o), value(p, o, t));
  return readings;
}

std::vector<double> SumsOf(const std::vector<AnovaRow>& rows) {
  std::vector<double> sums;
  for (const auto& row : rows)
    if (row.source != kTotal) sums.push_back(row.sum);
  return sums;
}

TEST(StudyGage, CrossedByAnalysisOfVariance) {
  const Case known("grr-crossed-anova");
  GageOptions options;
  options.multiplier = known.Param("study_multiplier");
  options.pool_above = known.Param("pool_above_p");
  options.resamples = 0;
  const auto study = StudyGage(ReadingsOf(known), options);
  ASSERT_EQ(study.anova.size(), 5U);
  known.Check("ss", SumsOf(study.anova));
  known.Check("F_part_full", study.anova[0].test.value);
  known.Check("F_operator_full", study.anova[1].test.value);
  known.Check("F_interaction", study.anova[2].test.value);
  known.Check("p_interaction", study.anova[2].test.p);
  ASSERT_EQ(study.pooled.size(), 4U);
  known.Check("var_repeatability", study.Find(kRepeatability)->variance);
  known.Check("var_operator", study.Find(kOperator)->variance);
  known.Check("var_part", study.Find(kPart)->variance);
  known.Check("sd", {study.Find(kRepeatability)->sd.value, study.Find(kReproducibility)->sd.value,
                     study.Find(kGageRR)->sd.value, study.Find(kPart)->sd.value,
                     study.Find(kTotal)->sd.value});
  known.Check("pct_study_grr", study.Find(kGageRR)->pct_study);
  known.Check("ndc", static_cast<double>(study.ndc));
  known.Check("ndc_raw", study.ndc_raw.value);
  EXPECT_EQ(study.by_study, "marginal");
  EXPECT_EQ(study.by_tolerance, "");
  EXPECT_EQ(study.Find(kInteraction), nullptr);
  EXPECT_NEAR(study.Find(kGageRR)->study_var, 6.0 * 0.302371522323, 1e-9);
}

TEST(StudyGage, CrossedWithThreeParts) {
  const Case known("grr-crossed-3");
  GageOptions options;
  options.lower_limit = known.Param("lsl");
  options.upper_limit = known.Param("usl");
  const auto study = StudyGage(ReadingsOf(known), options);
  known.Check("ss", SumsOf(study.anova));
  known.Check("var", {study.Find(kRepeatability)->variance, study.Find(kOperator)->variance,
                      study.Find(kPart)->variance});
  known.Check("sd_total", study.Find(kTotal)->sd.value);
  known.Check("ndc", static_cast<double>(study.ndc));
  EXPECT_NEAR(study.Find(kTotal)->pct_tolerance, 100.0 * 6.0 * 0.293634487282 / 0.1, 1e-6);
  EXPECT_EQ(study.by_tolerance, "poor");
  // Too few parts to resample.
  EXPECT_TRUE(std::isnan(study.ndc_raw.lower));
  EXPECT_TRUE(Has(study.notes, "few-parts") && Has(study.notes, "few-data"));
}

TEST(StudyGage, AveragesAndRanges) {
  const Case known("grr-average-range");
  GageOptions options;
  options.method = GageMethod::AverageRange;
  options.tables = true;
  const auto readings = ReadingsOf(known);
  const auto study = StudyGage(readings, options);
  known.Check("rbar", study.mean_range);
  known.Check("xdiff", study.operator_range);
  known.Check("rp", study.part_range);
  const auto& ev = *study.Find(kRepeatability);
  const auto& av = *study.Find(kReproducibility);
  const auto& grr = *study.Find(kGageRR);
  const auto& pv = *study.Find(kPart);
  known.Check("EV", ev.sd.value);
  known.Check("AV", av.sd.value);
  known.Check("GRR", grr.sd.value);
  known.Check("PV", pv.sd.value);
  known.Check("TV", study.Find(kTotal)->sd.value);
  known.Check("pct", {ev.pct_study, av.pct_study, grr.pct_study, pv.pct_study});
  known.Check("ndc", static_cast<double>(study.ndc));
  // The constants themselves differ from those of the tables in the fifth digit.
  options.tables = false;
  const double exact = StudyGage(readings, options).Find(kRepeatability)->sd.value;
  EXPECT_NE(exact, ev.sd.value);
  EXPECT_NEAR(exact, ev.sd.value, 1e-4 * exact);
}

TEST(StudyGage, IntervalsByModifiedLargeSamples) {
  const Case known("grr-intervals");
  GageOptions options;
  options.level = 1.0 - known.Param("alpha");
  options.pooling = Pooling::Always;
  const auto study = StudyGage(ReadingsOf(known), options);
  const auto bounds = [&](const char* source) {
    const auto& sd = study.Find(source)->sd;
    return std::vector<double>{sd.lower, sd.upper};
  };
  known.Check("EV", bounds(kRepeatability));
  known.Check("AV", bounds(kReproducibility));
  known.Check("GRR", bounds(kGageRR));
  known.Check("PV", bounds(kPart));
  EXPECT_EQ(study.failed, 0U);
  EXPECT_LT(study.pct_study.lower, study.pct_study.value);
  EXPECT_GT(study.pct_study.upper, study.pct_study.value);
  EXPECT_LT(study.ndc_raw.lower, study.ndc_raw.value);
  // The same draws again.
  EXPECT_EQ(StudyGage(ReadingsOf(known), options).ndc_raw.lower, study.ndc_raw.lower);
}

TEST(StudyGage, Nested) {
  const Case known("grr-nested");
  GageOptions options;
  options.method = GageMethod::Nested;
  options.multiplier = known.Param("multiplier");
  options.tolerance = known.Param("tolerance");
  auto readings = ReadingsOf(known);
  const auto study = StudyGage(readings, options);
  known.Check("ss", SumsOf(study.anova));
  known.Check("F", {study.anova[0].test.value, study.anova[1].test.value});
  known.Check("p", {study.anova[0].test.p, study.anova[1].test.p});
  known.Check("var", {study.Find(kRepeatability)->variance, study.Find(kOperator)->variance,
                      study.Find(kPart)->variance});
  known.Check("pct_study_grr", study.Find(kGageRR)->pct_study);
  known.Check("pct_tolerance_grr", study.Find(kGageRR)->pct_tolerance);
  EXPECT_TRUE(study.Find(kOperator)->is_negative);
  EXPECT_TRUE(Has(study.notes, "negative-component"));
  EXPECT_FALSE(std::isnan(study.ndc_raw.lower));
  // Parts may have the same names with every operator.
  for (auto& part : readings.part_of) part %= 5;
  readings.parts.resize(5);
  EXPECT_EQ(StudyGage(readings, options).Find(kPart)->variance, study.Find(kPart)->variance);
}

TEST(StudyGage, TheInteractionIsKeptOrPooledAsAsked) {
  const auto readings = ReadingsOf(Case("grr-crossed-anova"));
  GageOptions options;
  options.resamples = 0;
  options.pooling = Pooling::Never;
  auto study = StudyGage(readings, options);
  EXPECT_TRUE(study.pooled.empty());
  // (MS_PO - MS_E) / 3 is below 0.
  EXPECT_TRUE(study.Find(kInteraction)->is_negative);
  EXPECT_EQ(study.Find(kInteraction)->variance, 0.0);
  EXPECT_NEAR(study.Find(kRepeatability)->variance, 2.75893333333 / 60.0, 1e-12);
  options.pooling = Pooling::ByLevel;
  options.pool_above = 0.98;
  EXPECT_TRUE(StudyGage(readings, options).pooled.empty());
}

TEST(StudyGage, OneTrialHasNoInteraction) {
  GageOptions options;
  options.resamples = 0;
  const double noise[] = {0.1, -0.2, 0.05, 0.3, -0.1, 0.0};
  const auto study = StudyGage(
      Made(3, 2, 1, [&](int p, int o, int) { return p + 0.2 * o + noise[p * 2 + o]; }), options);
  EXPECT_TRUE(study.anova.empty());
  ASSERT_EQ(study.pooled.size(), 4U);
  EXPECT_EQ(study.pooled[2].degrees, 2.0);
  EXPECT_TRUE(Has(study.notes, "no-interaction"));
  EXPECT_GT(study.Find(kPart)->variance, 0.0);
}

TEST(StudyGage, AllEqualHasNoPercentages) {
  for (const auto method : {GageMethod::Crossed, GageMethod::AverageRange, GageMethod::Nested}) {
    GageOptions options;
    options.method = method;
    const auto study = StudyGage(Made(5, 3, 2, [](int, int, int) { return 0.1; }), options);
    EXPECT_EQ(study.Find(kGageRR)->sd.value, 0.0);
    EXPECT_TRUE(std::isnan(study.Find(kGageRR)->pct_study));
    EXPECT_EQ(study.ndc, 0);
    EXPECT_TRUE(Has(study.notes, "no-variation"));
  }
}

TEST(StudyGage, AGaugeWithoutSpreadHasNoNdc) {
  const auto study = StudyGage(Made(5, 3, 2, [](int p, int, int) { return p; }));
  EXPECT_EQ(study.Find(kGageRR)->pct_study, 0.0);
  EXPECT_EQ(study.by_study, "good");
  EXPECT_EQ(study.ndc, 0);
  EXPECT_TRUE(std::isnan(study.ndc_raw.value));
  EXPECT_TRUE(Has(study.notes, "no-gage-variation"));
}

TEST(StudyGage, NdcIsAtLeastOne) {
  engine::statistics::Draws draws;
  GageOptions options;
  options.resamples = 0;
  const auto study =
      StudyGage(Made(5, 3, 3, [&](int, int, int) { return draws.Normal(); }), options);
  EXPECT_LT(study.ndc_raw.value, 1.0);
  EXPECT_EQ(study.ndc, 1);
}

TEST(StudyGage, NamesTheFirstCellThatIsShort) {
  auto readings = Made(3, 2, 2, [](int p, int o, int t) { return p + o + 0.1 * t; });
  readings.Add("1", "1", 5.0);
  const std::string text = "operator 1 has 3 readings of part 1, others have 2";
  EXPECT_EQ(ImbalanceOf(readings, GageMethod::Crossed), text);
  const auto study = StudyGage(readings);
  EXPECT_TRUE(study.components.empty());
  EXPECT_EQ(study.notes.at(0).code, "unbalanced");
  // A reading without value is none.
  readings.values.back() = platform::kNaN;
  EXPECT_EQ(ImbalanceOf(readings, GageMethod::Crossed), "");
  readings.Add("9", "0", 1.0);
  readings.Add("9", "0", 1.0);
  EXPECT_EQ(ImbalanceOf(readings, GageMethod::Crossed),
            "operator 1 has 0 readings of part 9, others have 2");
  EXPECT_EQ(ImbalanceOf(readings, GageMethod::Nested), "operator 1 has 3 parts, 0 has 4");
}

TEST(StudyGage, LeastAmounts) {
  const auto value = [](int p, int o, int t) { return p + o + 0.1 * t; };
  EXPECT_TRUE(Has(StudyGage(Made(1, 2, 2, value)).notes, "too-few"));
  EXPECT_TRUE(Has(StudyGage(Made(2, 1, 2, value)).notes, "too-few"));
  GageOptions options;
  options.method = GageMethod::Nested;
  EXPECT_TRUE(StudyGage(Made(2, 2, 1, value), options).components.empty());
  EXPECT_TRUE(StudyGage({}, options).components.empty());
  EXPECT_FALSE(StudyGage(Made(2, 2, 2, value)).components.empty());
  EXPECT_TRUE(Has(StudyGage(Made(7, 2, 2, value)).notes, "few-data"));
  EXPECT_FALSE(Has(StudyGage(Made(8, 2, 2, value)).notes, "few-data"));
}

TEST(StudyGage, OneLimitCountsTheDistanceToIt) {
  GageOptions options;
  options.resamples = 0;
  options.upper_limit = 12.0;
  const auto study =
      StudyGage(Made(5, 3, 2, [](int p, int o, int t) { return p + 0.1 * o + 0.3 * t; }), options);
  const auto& rr = *study.Find(kGageRR);
  EXPECT_NEAR(rr.pct_tolerance, 100.0 * 3.0 * rr.sd.value / (12.0 - study.mean), 1e-9);
}

TEST(StudyGage, TheProcessTakesThePlaceOfTheTotal) {
  GageOptions options;
  options.resamples = 0;
  options.process_sd = 2.0;
  const auto readings = ReadingsOf(Case("grr-crossed-anova"));
  const auto study = StudyGage(readings, options);
  const double grr = study.Find(kGageRR)->sd.value;
  EXPECT_NEAR(study.Find(kGageRR)->pct_process, 50.0 * grr, 1e-9);
  EXPECT_EQ(study.Find(kTotal)->pct_process, 100.0);
  EXPECT_NEAR(study.Find(kPart)->pct_process, 50.0 * std::sqrt(4.0 - grr * grr), 1e-9);
  options.process_sd = 0.1;
  EXPECT_TRUE(Has(StudyGage(readings, options).notes, "process-sd"));
}

TEST(StudyGage, RefusesWhatLiesOutside) {
  const auto refuses = [](auto change) {
    GageOptions options;
    change(options);
    EXPECT_THROW(StudyGage({}, options), std::invalid_argument);
  };
  refuses([](GageOptions& o) { o.multiplier = 0.0; });
  refuses([](GageOptions& o) { o.tolerance = -1.0; });
  refuses([](GageOptions& o) { o.process_sd = 0.0; });
  refuses([](GageOptions& o) { o.pool_above = 1.5; });
  refuses([](GageOptions& o) { o.level = 1.0; });
  refuses([](GageOptions& o) { o.lower_limit = o.upper_limit = 1.0; });
}

// Of simulated studies with known variances the intervals hold about as many as their level says.
TEST(StudyGage, IntervalsCoverAsTheirLevelSays) {
  engine::statistics::Draws draws;
  constexpr int kRounds = 1000;
  const double operator_sd = 0.5, interaction_sd = 0.3, error_sd = 0.4;
  const double gage =
      std::sqrt(operator_sd * operator_sd + interaction_sd * interaction_sd + error_sd * error_sd);
  GageOptions options;
  options.resamples = 0;
  options.pooling = Pooling::Never;
  int covered = 0;
  for (int round = 0; round < kRounds; ++round) {
    double of_part[10], of_operator[4], of_both[10][4];
    for (auto& each : of_part) each = draws.Normal();
    for (auto& each : of_operator) each = operator_sd * draws.Normal();
    for (auto& row : of_both)
      for (auto& each : row) each = interaction_sd * draws.Normal();
    const auto study = StudyGage(Made(10, 4, 2,
                                      [&](int p, int o, int) {
                                        return of_part[p] + of_operator[o] + of_both[p][o] +
                                               error_sd * draws.Normal();
                                      }),
                                 options);
    const auto& sd = study.Find(kGageRR)->sd;
    covered += sd.lower <= gage && gage <= sd.upper ? 1 : 0;
  }
  EXPECT_NEAR(covered, 0.90 * kRounds, 4.0 * std::sqrt(0.09 * kRounds));
}

}  // namespace
}  // namespace orvspc::studies
