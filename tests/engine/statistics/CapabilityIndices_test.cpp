// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/CapabilityIndices.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "engine/statistics/Estimators.h"
#include "engine/statistics/Moments.h"

namespace orvspc::engine::statistics {

namespace {

// NIST/SEMATECH e-Handbook 6.1.6: usl 20, lsl 8, mean 16, sigma 2, target 14.
TEST(IndicesOf, HandbookExample) {
  const auto indices = IndicesOf(Reach::OfNormal(16.0, 2.0), {20.0, 8.0, 14.0});
  EXPECT_NEAR(indices.p, 1.0, 1e-9);
  EXPECT_NEAR(indices.upper, 0.6667, 5e-5);
  EXPECT_NEAR(indices.lower, 1.3333, 5e-5);
  EXPECT_NEAR(indices.k, 0.6667, 5e-5);
  EXPECT_NEAR(indices.ratio, 1.0, 1e-9);
  EXPECT_NEAR(indices.m, 12.0 / (6.0 * std::sqrt(4.0 + 4.0)), 1e-12);
  EXPECT_NEAR(AimRatio(16.0, 2.0, {20.0, 8.0, 14.0}), 1.0 / 3.0, 1e-12);
}

// Three subgroups of four; sigma with d2 = 2.059 of a printed table. Figures of a published test
// suite of R, tolerance 1e-6.
const std::vector<double> kTwelve{10.0,  10.02, 9.98, 10.01, 10.03, 9.99,
                                  10.01, 10.0,  9.97, 10.04, 10.02, 9.99};
constexpr double kTolerance = 1e-6;

double SigmaOfTwelve() { return SigmaFromMean(std::vector<double>{0.04, 0.04, 0.07}, 2.059); }

TEST(IndicesOf, TwoLimitsWithPrintedConstants) {
  const Tolerance limits{10.1, 9.9, 10.0};
  const double mean = Mean(kTwelve);
  const auto cp = IndicesOf(Reach::OfNormal(mean, SigmaOfTwelve()), limits);
  EXPECT_NEAR(cp.p, 1.372667, kTolerance);
  EXPECT_NEAR(cp.lower, 1.4413, kTolerance);
  EXPECT_NEAR(cp.upper, 1.304033, kTolerance);
  EXPECT_NEAR(cp.k, 1.304033, kTolerance);
  EXPECT_NEAR(cp.m, 1.344463, kTolerance);
  const auto pp = IndicesOf(Reach::OfNormal(mean, SampleStandardDeviation(kTwelve)), limits);
  EXPECT_NEAR(pp.p, 1.612598, kTolerance);
  EXPECT_NEAR(pp.lower, 1.693228, kTolerance);
  EXPECT_NEAR(pp.upper, 1.531968, kTolerance);
  EXPECT_NEAR(pp.k, 1.531968, kTolerance);
  EXPECT_NEAR(pp.m, 1.567395, kTolerance);
}

TEST(IndicesOf, OneLimitHasItsIndexAndTheLowerOneNone) {
  const Tolerance limits{10.1, std::nullopt, std::nullopt};
  const double mean = Mean(kTwelve);
  const auto cp = IndicesOf(Reach::OfNormal(mean, SigmaOfTwelve()), limits);
  EXPECT_NEAR(cp.upper, 1.304033, kTolerance);
  EXPECT_NEAR(cp.k, 1.304033, kTolerance);
  EXPECT_EQ(cp.lower, 0.0);
  EXPECT_EQ(cp.p, cp.k) << "with one limit the potential is that limit's index";
  EXPECT_EQ(cp.m, cp.k) << "no target to miss";
  const auto pp = IndicesOf(Reach::OfNormal(mean, SampleStandardDeviation(kTwelve)), limits);
  EXPECT_NEAR(pp.upper, 1.531968, kTolerance);
  EXPECT_NEAR(pp.k, 1.531968, kTolerance);
}

TEST(IndicesOf, OneLimitWithATargetJudgesTheDistanceOfTheTwo) {
  const auto indices = IndicesOf(Reach::OfNormal(12.0, 1.5), {std::nullopt, 4.0, 10.0});
  EXPECT_NEAR(indices.m, 6.0 / (3.0 * 2.5), 1e-12);
  EXPECT_NEAR(indices.lower, 8.0 / 4.5, 1e-12);
}

struct Degenerate {
  Reach reach;
  Tolerance limits;
  const char* reason;
};

TEST(IndicesOf, WithoutSpreadOrLimitsThereAreNone) {
  const Degenerate rows[] = {
      {Reach::OfNormal(1.0, 0.0), {2.0, 0.0, 1.0}, "no spread"},
      {Reach::OfNormal(1.0, 1.0), {}, "no limits"},
      {Reach::OfNormal(1.0, 1.0), {std::nullopt, std::nullopt, 1.0}, "a target is no limit"},
  };
  for (const auto& [reach, limits, reason] : rows) {
    const auto indices = IndicesOf(reach, limits);
    for (const double index :
         {indices.p, indices.k, indices.upper, indices.lower, indices.ratio, indices.m}) {
      EXPECT_EQ(index, 0.0) << reason;
    }
  }
}

// The same published suite; intervals of 95 percent. Those of one-sided indices are two bounds that
// hold with 95 percent each.
TEST(ConfidenceIntervals, TwelveValues) {
  const auto expect = [](ConfidenceInterval got, double lower, double upper) {
    EXPECT_NEAR(got.lower, lower, kTolerance);
    EXPECT_NEAR(got.upper, upper, kTolerance);
  };
  const Tolerance limits{10.1, 9.9, 10.0};
  const double mean = Mean(kTwelve);
  const auto cp = IndicesOf(Reach::OfNormal(mean, SigmaOfTwelve()), limits);
  const auto pp = IndicesOf(Reach::OfNormal(mean, SampleStandardDeviation(kTwelve)), limits);
  expect(IntervalOfP(cp.p, 11, 0.95), 0.80846, 1.937713);
  expect(IntervalOfK(cp.lower, 12, 11, 0.9), 0.911657, 1.970943);
  expect(IntervalOfK(cp.upper, 12, 11, 0.9), 0.820114, 1.787953);
  expect(IntervalOfK(cp.k, 12, 11, 0.95), 0.727408, 1.880659);
  expect(IntervalOfP(pp.p, 11, 0.95), 0.949773, 2.27641);
  expect(IntervalOfK(pp.lower, 12, 11, 0.9), 1.078708, 2.307749);
  expect(IntervalOfK(pp.upper, 12, 11, 0.9), 0.971902, 2.092035);
  expect(IntervalOfK(pp.k, 12, 11, 0.95), 0.864608, 2.199329);
}

// k -+ z sqrt(1/(9 n) + k^2/(2(n - 1))) with z 1.959963985 and 1.644853627, worked apart.
TEST(ConfidenceIntervals, AnIndexAtOrBelowZeroHasItsBoundsTheRightWayRound) {
  const auto expect = [](ConfidenceInterval got, double lower, double upper) {
    EXPECT_NEAR(got.lower, lower, 1e-9);
    EXPECT_NEAR(got.upper, upper, 1e-9);
  };
  expect(IntervalOfK(-0.5, 20, 19, 0.95), -0.715903203524, -0.284096796476);
  expect(IntervalOfK(0.0, 20, 19, 0.95), -0.146087090096, 0.146087090096);
  expect(IntervalOfK(-1.2, 50, 49, 0.9), -1.413932800221, -0.986067199779);
  // One more published interval, which the mirror image of its index has mirrored.
  expect(IntervalOfK(1.33, 20, 19, 0.95), 0.882606050559, 1.777393949441);
  expect(IntervalOfK(-1.33, 20, 19, 0.95), -1.777393949441, -0.882606050559);
}

// Montgomery's piston rings, the first 25 samples of 5: 125 values, lsl 73.95, usl 74.05.
TEST(ConfidenceIntervals, PistonRings) {
  const auto expect = [](ConfidenceInterval got, double lower, double upper) {
    EXPECT_NEAR(got.lower, lower, 1e-8);
    EXPECT_NEAR(got.upper, upper, 1e-8);
  };
  expect(IntervalOfP(1.7032806092559, 124, 0.95), 1.49141088992072, 1.91482637762929);
  expect(IntervalOfK(1.74334176918515, 125, 124, 0.9), 1.55476454822974, 1.93191899014056);
  expect(IntervalOfK(1.66321944932665, 125, 124, 0.9), 1.48270982126942, 1.84372907738388);
  expect(IntervalOfK(1.66321944932665, 125, 124, 0.95), 1.44812896099511, 1.87830993765819);
  expect(IntervalOfP(1.6550863376768, 124, 0.95), 1.44921146542526, 1.86064642514888);
  expect(IntervalOfK(1.69401396833852, 125, 124, 0.9), 1.51040679915507, 1.87762113752196);
  expect(IntervalOfK(1.61615870701507, 125, 124, 0.9), 1.4403745472707, 1.79194286675945);
  expect(IntervalOfK(1.61615870701507, 125, 124, 0.95), 1.40669896147519, 1.82561845255496);
}

}  // namespace
}  // namespace orvspc::engine::statistics
