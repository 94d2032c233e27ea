// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Autocorrelation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "engine/statistics/Numerics.h"
#include "tests/engine/studies/cases.h"
#include "tests/engine/studies/notes.h"
#include "tests/engine/studies/simulated_steps.h"

namespace orvspc::studies {
namespace {

using platform::kNaN;

// A series with this phi, mean 10 and innovations of sigma 1.
std::vector<double> SeriesAround10(double phi, std::size_t count) {
  engine::statistics::Draws draws;
  std::vector<double> values;
  double deviation = draws.Normal() / std::sqrt(1.0 - phi * phi);
  for (std::size_t i = 0; i < count; ++i) {
    values.push_back(10.0 + deviation);
    deviation = phi * deviation + draws.Normal();
  }
  return values;
}

TEST(StudyAcf, CertifiedFigures) {
  const Case known("acf-ljung-box");
  AcfOptions options;
  options.lags = static_cast<std::int32_t>(known.Param("lags"));
  options.tested = options.lags;
  const auto study = StudyAcf(Points(known.Column("y")), options);
  known.Check("acf", study.acf);
  known.Check("r1", study.acf[0]);
  known.Check("q1", study.first.value);
  known.Check("q10", study.ljung_box.value);
  known.Check("p1", study.first.p);
  known.Check("bound95", study.bound);
  EXPECT_EQ(study.ljung_box.degrees, std::vector<double>{10.0});
  EXPECT_NEAR(study.factor, std::sqrt(1.307304800606), 1e-10);
  EXPECT_TRUE(Has(study.notes, "correlated"));
  EXPECT_FALSE(Has(study.notes, "runs-expected"));
}

TEST(StudyAcf, LagsByThemselves) {
  EXPECT_EQ(StudyAcf(Points(SeriesAround10(0.5, 200))).acf.size(), 20U);
  EXPECT_EQ(StudyAcf(Points(SeriesAround10(0.5, 200))).ljung_box.degrees[0], 10.0);
  const auto few = StudyAcf(Points(SeriesAround10(0.5, 23)));
  EXPECT_EQ(few.acf.size(), 5U);
  EXPECT_EQ(few.ljung_box.degrees[0], 4.0);
  EXPECT_TRUE(Has(few.notes, "few-data"));
}

TEST(StudyAcf, NeighboursThatLeanOnEachOtherAreNoted) {
  const auto study = StudyAcf(Points(SeriesAround10(0.6, 300)));
  EXPECT_TRUE(Has(study.notes, "correlated"));
  EXPECT_TRUE(Has(study.notes, "runs-expected"));
  EXPECT_FALSE(Has(StudyAcf(Points(SeriesAround10(0.0, 300))).notes, "correlated"));
  // Below 25 points nothing is said.
  std::vector<double> steps(24, 0.0);
  for (std::size_t i = 12; i < 24; ++i) steps[i] = 1.0;
  EXPECT_LT(StudyAcf(Points(steps)).first.p, 0.01);
  EXPECT_FALSE(Has(StudyAcf(Points(steps)).notes, "correlated"));
}

const Note& NoteOf(const AcfStudy& study, const char* code) {
  return *std::ranges::find(study.notes, code, &Note::code);
}

TEST(StudyAcf, TheNoteSaysWhatTheLimitsOfTheChartAreMadeOf) {
  auto stretch = Points(SeriesAround10(0.6, 300));
  const auto text = [&] { return NoteOf(StudyAcf(stretch), "correlated").text; };
  EXPECT_NE(text().find("moving ranges"), std::string::npos);
  stretch.sizes.assign(300, 4.0);
  EXPECT_NE(text().find("inside the subgroups"), std::string::npos);
  stretch.sp.name = "MR-est";  // of the means
  EXPECT_NE(text().find("moving ranges"), std::string::npos);
  stretch.sp.name = "R-est mvlue";
  EXPECT_NE(text().find("inside the subgroups"), std::string::npos);
}

TEST(StudyAcf, TheNoteBlamesNoLimitsThatAreStoredOrWidened) {
  auto stretch = Points(SeriesAround10(0.6, 300));
  const auto text = [&] { return NoteOf(StudyAcf(stretch), "correlated").text; };
  stretch.sp.name = "MR-est ar1";
  EXPECT_TRUE(text().ends_with(").")) << text();
  stretch.sp.name = "MR-est";
  stretch.stored_sigmas.assign(300, 1.0);
  EXPECT_TRUE(text().ends_with(").")) << text();
  stretch.stored_sigmas[7] = kNaN;
  EXPECT_NE(text().find("too narrow"), std::string::npos) << "those of one point are calculated";
  stretch.used.assign(300, 1);
  stretch.used[7] = 0;
  EXPECT_TRUE(text().ends_with(").")) << text();
}

// Pairs by hand: 3 is passed over, so that 5 follows 2; nothing pairs with the point without value.
TEST(StudyAcf, UnusedPointsArePassedOverAndGapsLeavePairsOut) {
  auto stretch = Points({1, 2, 3, 5, kNaN, 4, 2, 6, 1, 3, 2, 5});
  stretch.used.assign(12, 1);
  stretch.used[2] = 0;
  const auto study = StudyAcf(stretch);
  const std::vector<double> values = {1, 2, 5, kNaN, 4, 2, 6, 1, 3, 2, 5};
  double sum = 0, squares = 0, products = 0;
  for (const double value : values) sum += std::isnan(value) ? 0.0 : value;
  const double mean = sum / 10;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (std::isnan(values[i])) continue;
    squares += (values[i] - mean) * (values[i] - mean);
    if (i > 0 && !std::isnan(values[i - 1]))
      products += (values[i] - mean) * (values[i - 1] - mean);
  }
  EXPECT_NEAR(study.acf[0], products / squares, 1e-14);
  EXPECT_EQ(study.mean.used, 10);
  EXPECT_EQ(study.mean.left, 2);
}

TEST(StudyAcf, FittedParametersTakeDegrees) {
  AcfOptions options;
  options.fitted = 1;
  const auto study = StudyAcf(Points(SeriesAround10(0.0, 100)), options);
  EXPECT_EQ(study.ljung_box.degrees, std::vector<double>{9.0});
}

TEST(StudyAcf, TooFewAllEqualAndTooManyLags) {
  const auto few = StudyAcf(Points(SeriesAround10(0.5, 9)));
  EXPECT_TRUE(few.acf.empty() && std::isnan(few.ljung_box.p));
  EXPECT_TRUE(Has(few.notes, "too-few"));
  const auto equal = StudyAcf(Points(std::vector<double>(40, 0.1)));
  EXPECT_TRUE(equal.acf.empty() && std::isnan(equal.bound));
  EXPECT_TRUE(Has(equal.notes, "all-equal"));
  AcfOptions options;
  options.lags = 50;
  const auto long_lags = StudyAcf(Points(SeriesAround10(0.5, 20)), options);
  EXPECT_EQ(long_lags.acf.size(), 19U);
  EXPECT_TRUE(Has(long_lags.notes, "fewer-lags"));
}

TEST(StudyAcf, RefusesWhatLiesOutside) {
  const auto stretch = Points(SeriesAround10(0.5, 50));
  AcfOptions lags, tested, level, fitted;
  lags.lags = 0;
  tested.tested = 0;
  level.level = 0.99999;
  fitted.fitted = 3;
  fitted.tested = 3;
  for (const auto& wrong : {lags, tested, level, fitted}) {
    EXPECT_THROW(StudyAcf(stretch, wrong), std::invalid_argument);
  }
}

// The flow of the Nile, with the exact likelihood of R's arima(Nile, c(1, 0, 0)) as printed. Its
// mean is 919.5685, where the search stops early: by the likelihood of the whole covariance matrix
// 919.5640 is the likelier one.
TEST(StudyAr1, Nile) {
  std::vector<double> flow;
  {
    std::ifstream file(CasesFolder() + "nile.csv");
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line)) flow.push_back(std::stod(line));
  }
  ASSERT_EQ(flow.size(), 100U);
  const auto study = StudyAr1(Points(flow));
  EXPECT_NEAR(study.phi.value, 0.5063, 5e-5);
  EXPECT_NEAR(study.mean.value, 919.5640, 5e-4);
  EXPECT_NEAR(study.spread * study.spread, 21125, 0.5);
  EXPECT_NEAR(study.log_likelihood, -639.95, 5e-3);
  EXPECT_GT(study.ljung_box.p, 0.05);
  EXPECT_EQ(study.ljung_box.degrees, std::vector<double>{9.0});
}

TEST(StudyAr1, ResidualsAndLimits) {
  const auto values = SeriesAround10(0.7, 120);
  const auto study = StudyAr1(Points(values));
  const double phi = study.phi.value, mean = study.mean.value;
  EXPECT_NEAR(phi, 0.7, 0.2);
  double ranges = 0.0;
  EXPECT_DOUBLE_EQ(study.residuals[0], (values[0] - mean) * std::sqrt(1 - phi * phi));
  for (std::size_t i = 1; i < values.size(); ++i) {
    EXPECT_NEAR(study.residuals[i], values[i] - mean - phi * (values[i - 1] - mean), 1e-12);
    EXPECT_NEAR(study.fitted[i] + study.residuals[i], values[i], 1e-12);
    ranges += std::abs(study.residuals[i] - study.residuals[i - 1]);
  }
  EXPECT_NEAR(study.upper, 3 * ranges / 119 / 1.1283791670955126, 1e-12);
  EXPECT_EQ(study.lower, -study.upper);
}

TEST(StudyAr1, AFrozenPhaseIsJudgedByItsFirstPoints) {
  auto values = SeriesAround10(0.5, 100);
  const auto base = StudyAr1(Points(values));
  for (int i = 0; i < 40; ++i) values.push_back(i % 2 == 0 ? 40.0 : -20.0);
  auto stretch = Points(values);
  stretch.phase.freeze_after = 100;
  const auto study = StudyAr1(stretch);
  EXPECT_EQ(study.phi.value, base.phi.value);
  EXPECT_EQ(study.mean.value, base.mean.value);
  EXPECT_EQ(study.upper, base.upper);
  EXPECT_EQ(study.phi.used, 100);
  EXPECT_EQ(study.phi.left, 40);
  EXPECT_EQ(study.sigma.used, 100);
  EXPECT_EQ(study.sigma.left, 40);
  EXPECT_EQ(study.ljung_box.p, base.ljung_box.p);
  EXPECT_EQ(std::ranges::count(study.signals, 1), std::ranges::count(base.signals, 1) + 40);
  stretch.phase.freeze_after = 40;
  EXPECT_TRUE(Has(StudyAr1(stretch).notes, "too-few"));
}

TEST(StudyAr1, SigmaSaysHowManyPointsAreLeftOutAsPhiDoes) {
  auto values = SeriesAround10(0.5, 60);
  values[30] = kNaN;
  auto stretch = Points(values);
  stretch.used.assign(60, 1);
  stretch.used[10] = stretch.used[11] = 0;
  const auto study = StudyAr1(stretch);
  EXPECT_EQ(study.phi.used, 57);
  EXPECT_EQ(study.phi.left, 3);
  EXPECT_EQ(study.sigma.used, 57);
  EXPECT_EQ(study.sigma.left, 3);
}

TEST(StudyAr1, ALateShockIsASignal) {
  auto values = SeriesAround10(0.7, 120);
  values[100] += 12.0;
  const auto study = StudyAr1(Points(values));
  EXPECT_EQ(study.signals[100], 1);
}

TEST(StudyAr1, KnownParametersHold) {
  const Ar1Parameters known{0.5, 10.0, 1.0};
  const auto study = StudyAr1(Points({10.0, 12.0, 11.0, 20.0}), known);
  EXPECT_EQ(study.residuals, (std::vector<double>{0.0, 2.0, 0.0, 9.5}));
  EXPECT_EQ(study.upper, 3.0);
  EXPECT_EQ(study.signals, (std::vector<std::uint8_t>{0, 0, 0, 1}));
  EXPECT_EQ(study.phi.estimator, "given");
}

TEST(StudyAr1, UnusedPointsArePassedOverAndGapsStartAnew) {
  auto stretch = Points({12.0, 50.0, 11.0, kNaN, 14.0});
  stretch.used = {1, 0, 1, 1, 1};
  const auto study = StudyAr1(stretch, Ar1Parameters{0.6, 10.0, 1.0});
  EXPECT_DOUBLE_EQ(study.residuals[1], 50.0 - 11.2);
  EXPECT_EQ(study.signals[1], 0);
  EXPECT_DOUBLE_EQ(study.residuals[2], 11.0 - 11.2);
  EXPECT_TRUE(std::isnan(study.residuals[3]));
  EXPECT_DOUBLE_EQ(study.residuals[4], 4.0 * 0.8);
}

TEST(StudyAr1, GapsDoNotBendTheEstimate) {
  auto values = SeriesAround10(0.7, 400);
  for (std::size_t i = 20; i < values.size(); i += 20) values[i] = kNaN;
  EXPECT_NEAR(StudyAr1(Points(values)).phi.value, 0.7, 0.1);
}

TEST(StudyAr1, WanderingIsNoted) {
  std::vector<double> walk(200);
  const auto steps = SeriesAround10(0.0, 200);
  double level = 0.0;
  for (std::size_t i = 0; i < walk.size(); ++i) walk[i] = level += steps[i] - 10.0;
  const auto study = StudyAr1(Points(walk));
  EXPECT_GT(study.phi.value, 0.95);
  EXPECT_TRUE(Has(study.notes, "wandering"));
  EXPECT_LE(std::abs(study.phi.value), 0.999);
}

TEST(StudyAr1, TooFewAndAllEqual) {
  const auto few = StudyAr1(Points(SeriesAround10(0.5, 49)));
  EXPECT_TRUE(std::isnan(few.phi.value) && std::isnan(few.upper));
  EXPECT_TRUE(Has(few.notes, "too-few"));
  const auto equal = StudyAr1(Points(std::vector<double>(60, 0.1)));
  EXPECT_TRUE(std::isnan(equal.phi.value) && std::isnan(equal.residuals[5]));
  EXPECT_TRUE(Has(equal.notes, "all-equal"));
}

TEST(StudyAr1, RefusesWhatLiesOutside) {
  EXPECT_THROW(StudyAr1({}, Ar1Parameters{1.0, 0.0, 1.0}), std::invalid_argument);
  EXPECT_THROW(StudyAr1({}, Ar1Parameters{0.5, 0.0, 0.0}), std::invalid_argument);
}

}  // namespace
}  // namespace orvspc::studies
