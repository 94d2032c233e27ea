// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "engine/statistics/CapabilityIndices.h"
#include "engine/statistics/ControlConstants.h"
#include "engine/statistics/Estimators.h"
#include "tests/certified/CorrectDigits.h"
#include "tests/certified/chart_data.h"
#include "tests/certified/nist_anova.h"
#include "tests/certified/nist_univariate.h"
#include "tests/engine/capability/capability_fixture.h"

// What a whole capability analysis answers for data with certified figures.
namespace orvspc::certified {
namespace {

using engine::test::Analyse;

struct AnovaCase {
  const char* name;
  Treatments treatments;
  std::int32_t between_degrees, within_degrees;
  double between, within, f;
  double digits;  // of f
  const char* reason;
};

std::vector<AnovaCase> AnovaCases() {
  return {
      {"SiRstv", SiRstv(), 4, 20, 5.11462616000000E-02, 2.16636560000000E-01, 1.18046237440255E+00,
       12, "lower difficulty"},
      {"SmLs01", SimonLesage(1.0), 8, 180, 1.68, 1.80, 21.0, 14, "lower difficulty"},
      {"AtmWtAg", AtmWtAg(), 1, 46, 3.63834187500000E-09, 1.04951729166667E-08,
       1.59467335677930E+01, 9, "seven constant digits"},
      {"SmLs04", SimonLesage(1e6), 8, 180, 1.68, 1.80, 21.0, 10, "seven constant digits"},
      {"SmLs07", SimonLesage(1e12), 8, 180, 1.68, 1.80, 21.0, 4,
       "thirteen constant digits: doubles hold three more"},
  };
}

TEST(Anova, NistSets) {
  for (const auto& row : AnovaCases()) {
    const auto made = Analyse(row.treatments);
    ASSERT_TRUE(made.done) << row.name;
    EXPECT_EQ(made.anova.DFBetween, row.between_degrees) << row.name;
    EXPECT_EQ(made.anova.DFWithin, row.within_degrees) << row.name;
    const double least = row.digits - 1.0;
    EXPECT_GE(CorrectDigits(made.anova.SSBetween, row.between), least) << row.name;
    EXPECT_GE(CorrectDigits(made.anova.SSWithin, row.within), least) << row.name;
    const double digits = CorrectDigits(made.anova.FRatio, row.f);
    EXPECT_GE(digits, row.digits) << row.name << ", " << row.reason;
    RecordProperty(std::string("digits_") + row.name, std::to_string(digits));
  }
}

struct UnivariateRow {
  const char* name;
  std::vector<double> values;
  double mean, sd, sd_digits;
};

std::vector<UnivariateRow> UnivariateRows() {
  return {
      {"Lew", {std::begin(kLew), std::end(kLew)}, -177.435, 277.332168044316, 13},
      {"Michelso", {std::begin(kMichelso), std::end(kMichelso)}, 299.8524, 0.0790105478190518, 13},
      {"NumAcc1", {std::begin(kNumAcc1), std::end(kNumAcc1)}, 10000002, 1, 13},
      {"NumAcc2", NumAcc(1.2, 1.1, 1.3), 1.2, 0.1, 13},
      {"NumAcc3", NumAcc(1000000.2, 1000000.1, 1000000.3), 1000000.2, 0.1, 9},
      {"NumAcc4", NumAcc(10000000.2, 10000000.1, 10000000.3), 10000000.2, 0.1, 8},
  };
}

// As single values, and in subgroups of up to seven: the long-term figures are the same.
TEST(Capability, NistUnivariateSets) {
  for (const auto& row : UnivariateRows()) {
    for (const std::size_t size : {1U, 7U}) {
      Treatments groups;
      for (std::size_t i = 0; i < row.values.size(); i += size) {
        groups.emplace_back(row.values.begin() + static_cast<std::ptrdiff_t>(i),
                            row.values.begin() +
                                static_cast<std::ptrdiff_t>(std::min(i + size, row.values.size())));
      }
      const auto made = Analyse(groups);
      EXPECT_GE(CorrectDigits(made.summary.Mean, row.mean), 14.0) << row.name;
      EXPECT_GE(CorrectDigits(made.summary.LongTermSD, row.sd), row.sd_digits) << row.name;
      EXPECT_EQ(made.moments.SD, made.summary.LongTermSD) << row.name;
    }
  }
}

// Moments of Michelson's data as R 4.2.2 computes them.
TEST(Capability, MichelsonsMoments) {
  Treatments groups;
  for (const double value : kMichelso) groups.push_back({value});
  const auto made = Analyse(groups);
  EXPECT_EQ(made.summary.PieceCount, 100);
  EXPECT_GE(CorrectDigits(made.moments.Mean, 299.8524), 9.0);
  EXPECT_GE(CorrectDigits(made.moments.SD, 0.0790105478190507), 9.0);
  EXPECT_GE(CorrectDigits(made.moments.Variance, 0.00624266666666649), 9.0);
  EXPECT_GE(CorrectDigits(made.moments.Skewness, -0.0185388637747557), 9.0);
  EXPECT_GE(CorrectDigits(made.moments.Kurtosis, 0.339684598420194), 9.0);
  EXPECT_EQ(made.summary.Minimum, 299.62);
  EXPECT_EQ(made.summary.Maximum, 300.07);
  EXPECT_EQ(made.chi_square.DegFreedom, 7);
  EXPECT_NEAR(made.chi_square.Value, 20.0, 1e-9);
  EXPECT_NEAR(made.chi_square.Probability, 0.00556968307294557, 1e-9);
}

// Piston rings, the first 25 samples of 5, 73.95 to 74.05, target 74: computed by R 4.2.2 with a
// package for quality control. It has d2(5) with three decimals, so that its short-term figures
// are those of the plain functions with that constant.
TEST(Capability, PistonRings) {
  engine::test::CapabilityStore store;
  std::vector<double> ranges;
  for (std::size_t i = 0; i < 25; ++i) {
    store.Add({{kPistonRings + 5 * i, kPistonRings + 5 * i + 5}});
    const auto [least, most] = std::minmax_element(kPistonRings + 5 * i, kPistonRings + 5 * i + 5);
    ranges.push_back(*most - *least);
  }
  store.Spec(73.95, 74.0, 74.05, slfUSL | slfTAR | slfLSL);
  const auto made = Analyse(store);
  constexpr double kTolerance = 1e-8;
  EXPECT_NEAR(made.pps.Pp, 1.6550863376768, kTolerance);
  EXPECT_NEAR(made.pps.Ppl, 1.69401396833852, kTolerance);
  EXPECT_NEAR(made.pps.Ppu, 1.61615870701507, kTolerance);
  EXPECT_NEAR(made.pps.Ppk, 1.61615870701507, kTolerance);
  EXPECT_NEAR(made.pps.Ppm, 1.64391424889008, kTolerance);

  const double sigma = engine::statistics::SigmaFromMean(ranges, 2.326);
  EXPECT_NEAR(sigma, 0.0097850386930353, 1e-12);
  EXPECT_NEAR(made.summary.ShortTermSD, sigma * 2.326 / engine::statistics::D2(5), 1e-14);
  const auto cp = engine::statistics::IndicesOf(
      engine::statistics::Reach::OfNormal(made.summary.Mean, sigma), {74.05, 73.95, 74.0});
  EXPECT_NEAR(cp.p, 1.7032806092559, kTolerance);
  EXPECT_NEAR(cp.lower, 1.74334176918515, kTolerance);
  EXPECT_NEAR(cp.upper, 1.66321944932665, kTolerance);
  EXPECT_NEAR(cp.k, 1.66321944932665, kTolerance);
  EXPECT_NEAR(cp.m, 1.69111113310692, kTolerance);
  EXPECT_NEAR(made.cps.Cp, cp.p * engine::statistics::D2(5) / 2.326, 1e-12);
  const auto by_sd = Analyse(store, {.short_term = caShortTermSigmaSD});
  EXPECT_NEAR(by_sd.summary.ShortTermSD, 0.00982997672828933, 1e-12);
}

// Pooled deviation, and divided by c4 of its degrees and one, from the test suite of a public
// package; the latter is no figure of a result.
TEST(Capability, PooledDeviation) {
  const Treatments groups{{1, 2, 3}, {2, 4, 6}};
  const auto made = Analyse(groups, {.short_term = caShortTermSigmaPooled});
  EXPECT_NEAR(made.summary.ShortTermSD, 1.5811388300841898, 1e-12);
  EXPECT_NEAR(made.summary.ShortTermSD / engine::statistics::C4(5), 1.6820883480127695, 1e-9);
  EXPECT_EQ(made.summary.ShortTermSD, std::sqrt(made.anova.MSWithin));
  EXPECT_EQ(made.report.short_term.name, "pooled");
}

}  // namespace
}  // namespace orvspc::certified
