// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Moments.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

#include "engine/statistics/SampleSums.h"
#include "tests/certified/CorrectDigits.h"
#include "tests/certified/nist_univariate.h"

namespace orvspc::certified {
namespace {

using namespace engine::statistics;

struct UnivariateCase {
  const char* name;
  std::vector<double> values;
  double mean, sd, sd_digits;
  const char* reason;
};

// Certified by NIST/ITL, Statistical Reference Datasets. The standard deviation has the divisor n
// - 1.
std::vector<UnivariateCase> UnivariateCases() {
  return {
      {"Lew", {std::begin(kLew), std::end(kLew)}, -177.435, 277.332168044316, 13, "integers"},
      {"Michelso",
       {std::begin(kMichelso), std::end(kMichelso)},
       299.8524,
       0.0790105478190518,
       13,
       "5 digits"},
      {"NumAcc1", {std::begin(kNumAcc1), std::end(kNumAcc1)}, 10000002, 1, 13, "exact in doubles"},
      {"NumAcc2", NumAcc(1.2, 1.1, 1.3), 1.2, 0.1, 13, "two constant digits"},
      {"NumAcc3", NumAcc(1000000.2, 1000000.1, 1000000.3), 1000000.2, 0.1, 9,
       "the data round at the 10th digit"},
      {"NumAcc4", NumAcc(10000000.2, 10000000.1, 10000000.3), 10000000.2, 0.1, 8,
       "the data round at the 9th digit"},
  };
}

TEST(Moments, NistUnivariateSets) {
  for (const UnivariateCase& row : UnivariateCases()) {
    EXPECT_GE(CorrectDigits(Mean(row.values), row.mean), 14.0) << row.name;
    EXPECT_GE(CorrectDigits(SampleStandardDeviation(row.values), row.sd), row.sd_digits)
        << row.name << row.reason;
  }
}

TEST(SampleSummary, NistUnivariateSets) {
  for (const UnivariateCase& row : UnivariateCases()) {
    const SampleSummary summary = Summarise(row.values);
    EXPECT_GE(CorrectDigits(summary.mean, row.mean), 14.0) << row.name;
    EXPECT_GE(CorrectDigits(summary.sd, row.sd), row.sd_digits) << row.name;
  }
}

TEST(DeviationSums, NistUnivariateSetsInOnePieceAndMergedFromUnequalCuts) {
  for (const UnivariateCase& row : UnivariateCases()) {
    const std::span<const double> values(row.values);
    for (const std::size_t cut : {values.size(), values.size() / 3}) {
      ExtentSums extent(values[0]), later = extent;
      extent.Add(values.first(cut));
      later.Add(values.subspan(cut));
      extent.Merge(later);
      EXPECT_GE(CorrectDigits(extent.Mean(), row.mean), 14.0) << row.name << cut;
      DeviationSums sums(extent.Origin(), extent.Shift()), rest = sums;
      sums.Add(values.first(cut));
      rest.Add(values.subspan(cut));
      sums.Merge(rest);
      const double sd = std::sqrt(sums.Squares() / static_cast<double>(values.size() - 1));
      EXPECT_GE(CorrectDigits(sd, row.sd), row.sd_digits) << row.name << cut;
    }
  }
}

// Michelson's data: the moments as R 4.2.2 computes them, G1 and G2 as their formulas are stated.
TEST(CentralMoments, MichelsonsData) {
  const CentralMoments moments = CentralMomentsOf(kMichelso);
  EXPECT_EQ(moments.count, 100);
  EXPECT_GE(CorrectDigits(moments.m2 * 100.0 / 99.0, 0.00624266666666649), 9.0);
  EXPECT_GE(CorrectDigits(SampleSkewness(moments), -0.0185388637747557), 9.0);
  EXPECT_GE(CorrectDigits(SampleKurtosis(moments), 0.339684598420194), 9.0);
  EXPECT_GE(CorrectDigits(Median(kMichelso), 299.85), 15.0);
  const SampleSummary summary = Summarise(kMichelso);
  EXPECT_EQ(summary.smallest, 299.62);
  EXPECT_EQ(summary.largest, 300.07);
}

}  // namespace
}  // namespace orvspc::certified
