// SPDX-License-Identifier: Apache-2.0
// Published charts of variables. Where the source worked with a rounded constant, that constant is
// the argument.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <span>
#include <vector>

#include "engine/statistics/ChartFormulas.h"
#include "engine/statistics/ControlConstants.h"
#include "engine/statistics/Estimators.h"
#include "engine/statistics/Moments.h"
#include "engine/statistics/RunRules.h"
#include "tests/certified/chart_data.h"

namespace orvspc::certified {
namespace {

using namespace engine::statistics;

struct Subgroups {
  std::vector<std::int32_t> sizes;
  std::vector<double> means, ranges, sds;

  void Add(std::span<const double> pieces) {
    const SampleSummary summary = Summarise(pieces);
    sizes.push_back(summary.count);
    means.push_back(summary.mean);
    ranges.push_back(summary.range);
    sds.push_back(summary.sd);
  }
};

Subgroups Cut(std::span<const double> values, std::size_t size) {
  Subgroups result;
  for (std::size_t i = 0; i + size <= values.size(); i += size) result.Add(values.subspan(i, size));
  return result;
}

Subgroups Cut(std::span<const double> values, std::span<const std::int32_t> sizes) {
  Subgroups result;
  for (const std::int32_t n : sizes) {
    result.Add(values.first(static_cast<std::size_t>(n)));
    values = values.subspan(static_cast<std::size_t>(n));
  }
  return result;
}

std::vector<std::size_t> Beyond(std::span<const double> points, PointLimits limits) {
  std::vector<std::size_t> numbers;  // counted from 1
  for (std::size_t i = 0; i < points.size(); ++i)
    if (Above(points[i], limits.upper, limits.sigma) ||
        Above(limits.lower, points[i], limits.sigma))
      numbers.push_back(i + 1);
  return numbers;
}

// Montgomery 8e, example 6.1. Tolerances are half a unit of the last printed digit; the book's
// upper range limit comes from a rounded D4.
TEST(VariablesCharts, MontgomeryFlowWidthMeanAndRange) {
  const Subgroups phase1 = Cut(std::span(kFlowWidth).first(125), 5);
  const Subgroups all = Cut(kFlowWidth, 5);
  const SigmaEstimate sigma = SigmaFromRanges(phase1.ranges, phase1.sizes);
  const PointLimits mean = MeanLimits(WeightedCentre(phase1.means, phase1.sizes), sigma.value, 5);
  const PointLimits range = RangeLimits(sigma.value, 5);
  EXPECT_NEAR(mean.centre, 1.506, 0.0005);
  EXPECT_NEAR(mean.upper, 1.693, 0.0005);
  EXPECT_NEAR(mean.lower, 1.318, 0.0005);
  EXPECT_NEAR(range.centre, 0.32521, 5e-6);
  EXPECT_NEAR(range.upper, 0.68749, 0.0002);
  EXPECT_EQ(range.lower, 0.0);
  EXPECT_EQ(Beyond(all.means, mean), (std::vector<std::size_t>{43, 45}));
  EXPECT_EQ(Beyond(all.ranges, range), std::vector<std::size_t>{});
}

// Montgomery 6e, table 6.4: the pooled standard deviation stands for Sbar and is divided by c4(n)
// at each sample. Limits as computed by the R package qicharts2, the book
// has 74.001, 73.986, 74.015 and 0.0103.
TEST(VariablesCharts, MontgomeryPistonRingsOfVaryingSampleSize) {
  const Subgroups samples = Cut(kPistonVarying, kPistonVaryingSizes);
  const SigmaEstimate sigma =
      SigmaFromSds(samples.sds, samples.sizes, EstimatorSetting::PooledAsSbar);
  const double centre = WeightedCentre(samples.means, samples.sizes);
  EXPECT_NEAR(sigma.sbar, 0.0102911774512611, 1e-9);
  EXPECT_NEAR(centre, 74.0007522123894, 1e-9);
  const struct {
    std::int32_t n;
    double mean_lower, mean_upper, sd_upper;
  } rows[] = {
      {3, 73.9806390317769, 74.0208653930019, 0.0264294891056122},
      {4, 73.9839971173315, 74.0175073074473, 0.0233202926013609},
      {5, 73.9860636220898, 74.0154408026889, 0.0214982477613804},
  };
  for (const auto& row : rows) {
    const double at_n = SigmaAt(sigma, row.n);
    const PointLimits mean = MeanLimits(centre, at_n, row.n), sd = SdLimits(at_n, row.n);
    EXPECT_NEAR(mean.lower, row.mean_lower, 1e-9) << row.n;
    EXPECT_NEAR(mean.upper, row.mean_upper, 1e-9) << row.n;
    EXPECT_NEAR(sd.centre, sigma.sbar, 1e-15) << "one centre line for all sizes";
    EXPECT_NEAR(sd.upper, row.sd_upper, 1e-9) << row.n;
    EXPECT_EQ(sd.lower, 0.0);
  }
  for (std::size_t i = 0; i < samples.sizes.size(); ++i) {
    const double at_n = SigmaAt(sigma, samples.sizes[i]);
    const double mean[] = {samples.means[i]}, sd[] = {samples.sds[i]};
    EXPECT_TRUE(Beyond(mean, MeanLimits(centre, at_n, samples.sizes[i])).empty()) << i;
    EXPECT_TRUE(Beyond(sd, SdLimits(at_n, samples.sizes[i])).empty()) << i;
  }
}

TEST(VariablesCharts, MontgomeryPistonRingsOfVaryingSampleSizePoints) {
  const double means[] = {74.0102, 73.996,   74.008,   74.003,  74.0034, 73.99625,         73.99875,
                          73.9968, 74.00425, 73.998,   73.9942, 74.0014, 73.9943333333333, 73.9902,
                          74.008,  73.9966,  73.99925, 74.0074, 73.9982, 74.0076666666667, 73.9998,
                          74.0016, 74.0024,  74.0052,  73.9982};
  const double sds[] = {
      0.014771594362154,   0.00458257569495601, 0.0147478812037539,  0.00908295106229517,
      0.012218837915282,   0.00991211380079988, 0.00549999999999913, 0.0122556109598837,
      0.00639661368746201, 0.00628490254499114, 0.00286356421265902, 0.00421900462194977,
      0.0100166528008746,  0.0153035943490421,  0.00871779788707733, 0.00779743547584841,
      0.0115289490703453,  0.0069856996786299,  0.00846758525200744, 0.00680685928555697,
      0.0121531888819359,  0.00743639697703421, 0.0119289563667573,  0.00870057469366474,
      0.0161771443709957};
  const Subgroups samples = Cut(kPistonVarying, kPistonVaryingSizes);
  ASSERT_EQ(samples.means.size(), std::size(means));
  for (std::size_t i = 0; i < std::size(means); ++i) {
    EXPECT_NEAR(samples.means[i], means[i], 1e-9) << i;
    EXPECT_NEAR(samples.sds[i], sds[i], 1e-9) << i;
  }
}

// R package qcc 3.0, whose table has d2(5) = 2.326 and d3(5) = 0.8640855; exact constants give the
// second block.
TEST(VariablesCharts, PistonRingsMeanAndRange) {
  const Subgroups phase1 = Cut(std::span(kPistonRings).first(125), 5);
  const double centre = WeightedCentre(phase1.means, phase1.sizes);
  const double rounded = SigmaFromMean(phase1.ranges, 2.326);
  EXPECT_NEAR(centre, 74.001176, 1e-8);
  EXPECT_NEAR(rounded, 0.0097850386930353, 1e-12);
  EXPECT_NEAR(MeanLimits(centre, rounded, 5).lower, 73.9880479929919, 1e-8);
  EXPECT_NEAR(MeanLimits(centre, rounded, 5).upper, 74.014304007008, 1e-8);
  EXPECT_NEAR(PlainCentre(phase1.ranges), 0.0227600000000001, 1e-9);
  EXPECT_NEAR(PlainCentre(phase1.ranges) + 3.0 * 0.8640855 * rounded, 0.0481253301547724, 1e-8);

  const SigmaEstimate exact = SigmaFromRanges(phase1.ranges, phase1.sizes);
  EXPECT_NEAR(exact.value, 0.009785337607333367, 1e-10);
  EXPECT_NEAR(MeanLimits(centre, exact.value, 5).upper, 74.01430440804367, 1e-10);
  EXPECT_NEAR(MeanLimits(centre, exact.value, 5).lower, 73.98804759195633, 1e-10);
  EXPECT_NEAR(RangeLimits(exact.value, 5).upper, 0.04812600054263068, 1e-10);
  EXPECT_EQ(RangeLimits(exact.value, 5).lower, 0.0);
  EXPECT_NEAR(RangeLimits(exact.value, 5).centre, 0.0227600000000001, 1e-9);
}

// R package qcc 3.0, printed in its vignette to 7 digits.
TEST(VariablesCharts, PistonRingsStandardDeviation) {
  const Subgroups phase1 = Cut(std::span(kPistonRings).first(125), 5);
  const SigmaEstimate sigma = SigmaFromSds(phase1.sds, phase1.sizes, EstimatorSetting::Unweighted);
  const PointLimits limits = SdLimits(sigma.value, 5);
  EXPECT_NEAR(sigma.value, 0.00982997672828933, 1e-9);
  EXPECT_NEAR(limits.centre, 0.00924003660228554, 1e-9);
  EXPECT_NEAR(limits.upper, 0.0193024167682403, 1e-9);
  EXPECT_EQ(limits.lower, 0.0);
}

// R package qcc 3.0: its five estimators. The last one divides the pooled deviation by c4 of its
// degrees of freedom + 1.
TEST(VariablesCharts, PistonRingsFiveEstimators) {
  const Subgroups phase1 = Cut(std::span(kPistonRings).first(125), 5);
  EXPECT_NEAR(SigmaFromMean(phase1.ranges, 2.326), 0.0097850386930353, 1e-12);
  const auto from_sds = [&](EstimatorSetting setting) {
    return SigmaFromSds(phase1.sds, phase1.sizes, setting).value;
  };
  EXPECT_NEAR(from_sds(EstimatorSetting::Unweighted), 0.00982997672828933, 1e-12);
  EXPECT_NEAR(from_sds(EstimatorSetting::Mvlue), 0.00982997672828933, 1e-12);
  EXPECT_NEAR(from_sds(EstimatorSetting::Pooled) / C4(25 * 4 + 1), 0.00988754721015943, 1e-12);
}

// jaspQualityControl, test of the process capability study.
TEST(VariablesCharts, PooledStandardDeviationOfTwoSmallGroups) {
  const double values[] = {1, 2, 3, 2, 4, 6};
  const Subgroups groups = Cut(values, 3);
  const double pooled = SigmaFromSds(groups.sds, groups.sizes, EstimatorSetting::Pooled).value;
  EXPECT_NEAR(pooled, 1.5811388300841898, 1e-12);
  EXPECT_NEAR(pooled / C4(5), 1.6820883480127695, 1e-9);
}

// NIST/SEMATECH e-Handbook 6.3.2.2, worked with d2 = 1.128 and D4 = 3.267.
TEST(VariablesCharts, HandbookIndividuals) {
  const std::vector<double> ranges = MovingRanges(kFlowRate);
  const double mean_range = PlainCentre(ranges);
  const PointLimits limits = MeanLimits(PlainCentre(kFlowRate), SigmaFromMean(ranges, 1.128), 1);
  EXPECT_NEAR(limits.centre, 50.81, 0.005);
  EXPECT_NEAR(mean_range, 1.8778, 5e-5);
  EXPECT_NEAR(limits.upper, 55.8041, 0.0005);
  EXPECT_NEAR(limits.lower, 45.8159, 0.0005);
  EXPECT_NEAR(3.267 * mean_range, 6.1349, 0.0005);
  EXPECT_NEAR(MovingRangeLimits(SigmaFromMovingRanges(kFlowRate).value).upper,
              3.26653191929 * mean_range, 1e-9);
}

// R package qcc: printed in its vignette, d2 = 1.128. Leaving batch 4 out makes 3 and 5 neighbours.
TEST(VariablesCharts, ViscosityIndividuals) {
  const double centre = PlainCentre(kViscosity);
  const double by_ranges = SigmaFromMean(MovingRanges(kViscosity), 1.128);
  EXPECT_NEAR(centre, 34.088, 1e-9);
  EXPECT_NEAR(by_ranges, 0.5076521, 5e-8);
  EXPECT_NEAR(MeanLimits(centre, by_ranges, 1).lower, 32.56504, 5e-6);
  EXPECT_NEAR(MeanLimits(centre, by_ranges, 1).upper, 35.61096, 5e-6);
  const double by_sd = SampleStandardDeviation(kViscosity) / C4(20);
  EXPECT_NEAR(by_sd, 0.5769854, 5e-8);
  EXPECT_NEAR(MeanLimits(centre, by_sd, 1).lower, 32.35704, 5e-6);
  EXPECT_NEAR(MeanLimits(centre, by_sd, 1).upper, 35.81896, 5e-6);

  std::vector<std::uint8_t> used(20, 1);
  used[3] = 0;
  std::vector<double> ranges = MovingRanges(kViscosity, used);
  ranges.erase(ranges.begin() + 3);
  EXPECT_NEAR(PlainCentre(kViscosity, used), 33.98947, 5e-6);
  EXPECT_NEAR(SigmaFromMean(ranges, 1.128), 0.4117415, 5e-8);
  EXPECT_NEAR(SigmaFromMovingRanges(kViscosity, used).value * D2(2) / 1.128, 0.4117415, 5e-8);
}

TEST(VariablesCharts, ViscosityBreaksOneOfTheWesternElectricRulesOnce) {
  const PointLimits limits =
      MeanLimits(PlainCentre(kViscosity), SigmaFromMean(MovingRanges(kViscosity), 1.128), 1);
  const std::vector<double> centre(20, limits.centre), sigma(20, limits.sigma),
      upper(20, limits.upper), lower(20, limits.lower);
  const std::vector<RunRule> rules = SelectRules(StandardRules(), RuleSet("western-electric"));
  RunInput input;
  input.points = kViscosity;
  input.centre = centre;
  input.sigma = sigma;
  input.ucl = upper;
  input.lcl = lower;
  int marked = 0;
  for (const std::uint32_t marks : EvaluateRules(input, rules)) marked += marks != 0 ? 1 : 0;
  EXPECT_EQ(marked, 1);
}

// Wheeler, Understanding Statistical Process Control, p. 43; asserted to these digits by the R
// package ggQC.
TEST(VariablesCharts, WheelerMeanAndRange) {
  const Subgroups samples = Cut(kWheeler43, 4);
  const SigmaEstimate sigma = SigmaFromRanges(samples.ranges, samples.sizes);
  const PointLimits mean = MeanLimits(WeightedCentre(samples.means, samples.sizes), sigma.value, 4);
  const PointLimits range = RangeLimits(sigma.value, 4);
  EXPECT_NEAR(mean.centre, 4.763, 0.001);
  EXPECT_NEAR(mean.lower, 1.811, 0.001);
  EXPECT_NEAR(mean.upper, 7.715, 0.002);
  EXPECT_NEAR(range.centre, 4.05, 0.001);
  EXPECT_NEAR(range.upper, 9.24, 0.01);
  EXPECT_EQ(range.lower, 0.0);
}

// Wheeler, p. 49, and the same with E2 = 2.66 = 3/d2 and D4 = 3.268 to more digits (R package
// ggQC).
TEST(VariablesCharts, WheelerIndividuals) {
  const SigmaEstimate sigma = SigmaFromMovingRanges(kWheeler49);
  const PointLimits limits = MeanLimits(PlainCentre(kWheeler49), sigma.value, 1);
  EXPECT_NEAR(limits.centre, 41.42, 0.01);
  EXPECT_NEAR(MovingRangeLimits(sigma.value).centre, 1.73, 0.01);
  EXPECT_NEAR(MovingRangeLimits(sigma.value).upper, 5.65, 0.01);
  EXPECT_NEAR(limits.lower, 36.82, 0.01);
  EXPECT_NEAR(limits.upper, 46.02, 0.02);

  const std::vector<double> ranges = MovingRanges(kWheeler49);
  const PointLimits rounded = MeanLimits(limits.centre, SigmaFromMean(ranges, 3.0 / 2.66), 1);
  EXPECT_NEAR(rounded.lower, 36.8221212121212, 0.001);
  EXPECT_NEAR(rounded.upper, 46.0112121212121, 0.001);
  EXPECT_NEAR(3.268 * PlainCentre(ranges), 5.64472727272727, 0.001);
}

}  // namespace
}  // namespace orvspc::certified
