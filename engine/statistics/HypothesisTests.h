// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "engine/statistics/Distributions.h"
#include "platform/NaN.h"

namespace orvspc::engine::statistics {

// Goodness of fit of a sample to a distribution whose parameters were estimated from it, over cells
// of equal probability.
//   cells          min(floor(sqrt N), floor(N/5)), so that each expects 5 values or more
//   value          sum (observed - N/cells)^2 / (N/cells)
//   degrees        cells - 1 - parameters; below 1 there is no test: degrees 0, value 0,
//                  probability 1
struct ChiSquareTest {
  std::int32_t degrees = 0;
  double value = 0.0;
  double probability = 1.0;  // of a larger value
};

std::int32_t ChiSquareCells(std::int64_t count);

// The cells - 1 inner edges, ascending. A value on an edge belongs to the cell below it.
std::vector<double> EqualProbabilityEdges(const Distribution& distribution, std::int32_t cells);

ChiSquareTest ChiSquareOf(std::span<const std::int64_t> observed, int parameters);

// One-way analysis of variance of k groups of unequal sizes, N values in all.
//   between  sum n_i (mean_i - mean)^2, k - 1 degrees      within  sum (x - mean_i)^2, N - k
//   total    about the mean of all, N - 1; its mean square is the sample variance
//   f        between/within of the mean squares, with the probability of a larger one
// No degrees: mean square 0, f 0, probability 1. Nothing within, but something between: f 0 (there
// is none), probability 0.
struct AnovaTable {
  std::int64_t within_degrees = 0, between_degrees = 0, total_degrees = 0;
  double within_squares = 0.0, between_squares = 0.0, total_squares = 0.0;
  double within_mean = 0.0, between_mean = 0.0, total_mean = 0.0;
  double f = 0.0, probability = 1.0;
};

// count >= groups >= 1.
AnovaTable AnovaOf(double within_squares, double between_squares, double total_squares,
                   std::int64_t count, std::int64_t groups);

// Whether groups have one variance. A value of NaN: fewer than two groups, or one that does not
// spread.
struct SpreadTest {
  double value = platform::kNaN;
  double degrees = 0.0, within_degrees = 0.0;  // the second of an F alone
  double probability = platform::kNaN;         // of a larger value
};

// Bartlett's chi-square of variances with so many degrees of freedom each, above 0:
//   (nu ln s^2 - sum nu_i ln s_i^2) / (1 + (sum 1/nu_i - 1/nu) / (3 (k - 1))), k - 1 degrees, with
//   nu = sum nu_i and s^2 the pooled variance
// Source   Bartlett, Proc. Royal Society A 160 (1937)
SpreadTest BartlettOf(std::span<const double> variances, std::span<const double> degrees);

// F of the analysis of variance of the distances from the median of each group, the test of Levene
// with the centre of Brown and Forsythe. Groups without a value are left out.
// Source   Brown & Forsythe, J. American Statistical Association 69 (1974)
SpreadTest LeveneOf(std::span<const std::vector<double>> groups);

}  // namespace orvspc::engine::statistics
