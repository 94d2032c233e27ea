// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <span>
#include <vector>

#include "tests/certified/chart_data.h"
#include "tests/engine/charts/FakeStore.h"

// Published charts through the whole chart engine: from stored values to points, lines and marks.
// Tolerances are those of the printed digits.
namespace orvspc::engine::test {
namespace {

constexpr std::int32_t kXBarR = 0x110, kXBarS = 0x120, kIxMr = 0x330;
constexpr std::uint32_t kLimitRule = 1U << 1;
const double kD2OfTwo = 2.0 / std::sqrt(std::acos(-1.0));
const double kD3OfTwo = std::sqrt(2.0 - 4.0 / std::acos(-1.0));

std::vector<std::vector<double>> InSubgroups(std::span<const double> values, std::size_t size,
                                             std::size_t count) {
  std::vector<std::vector<double>> subgroups;
  for (std::size_t i = 0; i < count; ++i) {
    const auto part = values.subspan(i * size, size);
    subgroups.emplace_back(part.begin(), part.end());
  }
  return subgroups;
}

struct Expected {
  const char* what;
  double actual, published, tolerance;
};

void Check(const std::vector<Expected>& rows) {
  for (const auto& row : rows) {
    EXPECT_NEAR(row.actual, row.published, row.tolerance) << row.what;
  }
}

// Points marked beyond the limits of the calculated form, counted from 1.
std::vector<std::size_t> Beyond(const std::vector<std::int32_t>& marks) {
  std::vector<std::size_t> places;
  for (std::size_t i = 0; i < marks.size(); ++i) {
    if ((static_cast<std::uint32_t>(marks[i]) & kLimitRule) != 0) places.push_back(i + 1);
  }
  return places;
}

}  // namespace

// Montgomery 8e, example 6.1: phase I of 25 samples, phase II judged by its limits.
TEST(VariableRunCertified, MontgomeryFlowWidth) {
  FakeStore phase1(InSubgroups(certified::kFlowWidth, 5, 25));
  const auto first = Make(phase1, kXBarR);
  const auto& xbar = first.graphs.at(0);
  const auto& range = first.graphs.at(1);
  Check({
      {"centre", xbar.ccl[0], 1.506, 0.0005},
      {"upper limit", xbar.cucl[0], 1.693, 0.0005},
      {"lower limit", xbar.clcl[0], 1.318, 0.0005},
      {"mean range", range.ccl[0], 0.32521, 5e-6},
      {"upper limit of the range", range.cucl[0], 0.68749, 2e-4},
      {"lower limit of the range", range.clcl[0], 0.0, 0.0},
  });

  FakeStore both(InSubgroups(certified::kFlowWidth, 5, 45));
  both.Limit(first.estimates.mean, first.estimates.sp.value, first.estimates.sw.value);
  const auto second = Make(both, kXBarR);
  EXPECT_EQ(Beyond(second.graphs.at(0).oocs), (std::vector<std::size_t>{43, 45}));
  EXPECT_TRUE(Beyond(second.graphs.at(1).oocs).empty());
}

// Piston rings, phase I: limits with exact constants.
TEST(VariableRunCertified, PistonRingsMeanAndRange) {
  FakeStore store(InSubgroups(certified::kPistonRings, 5, 25));
  const auto chart = Make(store, kXBarR);
  const auto& xbar = chart.graphs.at(0);
  const auto& range = chart.graphs.at(1);
  Check({
      {"centre", xbar.ccl[0], 74.001176, 1e-8},
      {"sigma", chart.estimates.sp.value, 0.009785337607333367, 1e-10},
      {"upper limit", xbar.cucl[0], 74.01430440804367, 1e-10},
      {"lower limit", xbar.clcl[0], 73.98804759195633, 1e-10},
      {"mean range", range.ccl[0], 0.02276, 1e-9},
      {"upper limit of the range", range.cucl[0], 0.04812600054263068, 1e-10},
      {"lower limit of the range", range.clcl[0], 0.0, 0.0},
  });
}

TEST(VariableRunCertified, PistonRingsMeanAndDeviation) {
  FakeStore store(InSubgroups(certified::kPistonRings, 5, 25));
  const auto chart = Make(store, kXBarS);
  const auto& sd = chart.graphs.at(1);
  Check({
      {"sigma", chart.estimates.sp.value, 0.00982997672828933, 1e-12},
      {"centre of the deviation", sd.ccl[0], 0.00924003660228554, 1e-9},
      {"upper limit of the deviation", sd.cucl[0], 0.0193024167682403, 1e-9},
      {"lower limit of the deviation", sd.clcl[0], 0.0, 0.0},
  });
}

// Montgomery 6e, table 6.4: the book takes the pooled deviation for the mean one.
TEST(VariableRunCertified, MontgomeryPistonRingsOfVariableSize) {
  std::vector<std::vector<double>> samples;
  std::span<const double> rest(certified::kPistonVarying);
  for (const auto size : certified::kPistonVaryingSizes) {
    const auto sample = rest.first(static_cast<std::size_t>(size));
    samples.emplace_back(sample.begin(), sample.end());
    rest = rest.subspan(sample.size());
  }
  FakeStore store(samples);
  store.settings["sigma_estimator"] = "pooled-as-sbar";
  const auto chart = Make(store, kXBarS);
  const auto& xbar = chart.graphs.at(0);
  const auto& sd = chart.graphs.at(1);
  struct Lines {
    std::int32_t size;
    double lower, upper, upper_sd;
  };
  constexpr Lines kBySize[] = {
      {3, 73.9806390317769, 74.0208653930019, 0.0264294891056122},
      {4, 73.9839971173315, 74.0175073074473, 0.0233202926013609},
      {5, 73.9860636220898, 74.0154408026889, 0.0214982477613804},
  };
  for (std::size_t i = 0; i < xbar.points.size(); ++i) {
    const auto& lines = kBySize[xbar.sizes[i] - 3];
    Check({
        {"centre", xbar.ccl[i], 74.0007522123894, 1e-9},
        {"lower limit", xbar.clcl[i], lines.lower, 1e-9},
        {"upper limit", xbar.cucl[i], lines.upper, 1e-9},
        {"centre of the deviation", sd.ccl[i], 0.0102911774512611, 1e-9},
        {"lower limit of the deviation", sd.clcl[i], 0.0, 1e-9},
        {"upper limit of the deviation", sd.cucl[i], lines.upper_sd, 1e-9},
    });
  }
  Check({
      {"point 2", xbar.points[1], 73.996, 1e-9},
      {"point 13", xbar.points[12], 73.9943333333333, 1e-9},
      {"point 24", xbar.points[23], 74.0052, 1e-9},
      {"deviation 1", sd.points[0], 0.014771594362154, 1e-9},
      {"deviation 20", sd.points[19], 0.00680685928555697, 1e-9},
      {"deviation 25", sd.points[24], 0.0161771443709957, 1e-9},
  });
  EXPECT_TRUE(Beyond(xbar.coocs).empty());
  EXPECT_TRUE(Beyond(sd.coocs).empty());
}

// NIST/SEMATECH e-Handbook 6.3.2.2, flow rate of ten batches. The handbook's limits come from d2
// rounded to 1.128; the chart has d2(2) = 2 / sqrt(pi) and d3(2) = sqrt(2 - 4 / pi).
TEST(VariableRunCertified, HandbookIndividuals) {
  FakeStore store(InSubgroups(certified::kFlowRate, 1, std::size(certified::kFlowRate)));
  const auto chart = Make(store, kIxMr);
  const auto& individuals = chart.graphs.at(0);
  const auto& moving = chart.graphs.at(1);
  const double mean_range = 16.9 / 9.0;
  const double sigma = mean_range / kD2OfTwo;
  Check({
      {"centre", individuals.ccl[0], 50.81, 0.005},
      {"mean moving range", moving.ccl[1], 1.8778, 5e-5},
      {"upper limit", individuals.cucl[0], 50.81 + 3.0 * sigma, 1e-12},
      {"lower limit", individuals.clcl[0], 50.81 - 3.0 * sigma, 1e-12},
      {"upper limit of the moving range", moving.cucl[1], mean_range + 3.0 * kD3OfTwo * sigma,
       1e-12},
  });
}

// Viscosity of 20 batches. Without batch 4 its neighbours make one moving range.
TEST(VariableRunCertified, ViscosityIndividuals) {
  FakeStore store(InSubgroups(certified::kViscosity, 1, 20));
  const auto chart = Make(store, kIxMr);
  EXPECT_NEAR(chart.estimates.mean, 34.088, 1e-9);
  // The printed 0.5076521 and 0.4117415 come from d2 rounded to 1.128.
  EXPECT_NEAR(chart.estimates.sp.value * kD2OfTwo / 1.128, 0.5076521, 5e-8);
  EXPECT_EQ(Beyond(chart.graphs.at(0).coocs), (std::vector<std::size_t>{4}));

  store.data.subgroups[3].Flag = sfDisabled;
  const auto without = Make(store, kIxMr);
  EXPECT_NEAR(without.estimates.mean, 33.98947, 5e-6);
  EXPECT_NEAR(without.estimates.sp.value * kD2OfTwo / 1.128, 0.4117415, 5e-8);
}

// Wheeler, Understanding Statistical Process Control, p. 43.
TEST(VariableRunCertified, WheelerMeanAndRange) {
  FakeStore store(InSubgroups(certified::kWheeler43, 4, 20));
  const auto chart = Make(store, kXBarR);
  const auto& xbar = chart.graphs.at(0);
  const auto& range = chart.graphs.at(1);
  Check({
      {"centre", xbar.ccl[0], 4.763, 0.001},
      {"lower limit", xbar.clcl[0], 1.811, 0.001},
      {"upper limit", xbar.cucl[0], 7.715, 0.002},
      {"mean range", range.ccl[0], 4.05, 0.001},
      {"lower limit of the range", range.clcl[0], 0.0, 0.0},
      {"upper limit of the range", range.cucl[0], 9.24, 0.01},
  });
}

// Wheeler, p. 49.
TEST(VariableRunCertified, WheelerIndividuals) {
  FakeStore store(InSubgroups(certified::kWheeler49, 1, 12));
  const auto chart = Make(store, kIxMr);
  const auto& individuals = chart.graphs.at(0);
  const auto& moving = chart.graphs.at(1);
  Check({
      {"centre", individuals.ccl[0], 41.42, 0.01},
      {"mean moving range", moving.ccl[1], 1.73, 0.01},
      {"lower limit", individuals.clcl[0], 36.82, 0.01},
      {"upper limit", individuals.cucl[0], 46.02, 0.02},
      {"upper limit of the moving range", moving.cucl[1], 5.65, 0.01},
  });
}

}  // namespace orvspc::engine::test
