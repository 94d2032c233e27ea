// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "platform/NaN.h"
#include "platform/Reports.h"

// Points that depend on the one before.
namespace orvspc::engine::statistics {

struct NeighbourCorrelation {
  std::int64_t count = 0;      // of the points
  double r1 = platform::kNaN;  // at lag 1; NaN: none
  // Standard deviation by moving ranges over that of the points, sqrt(1 - r1).
  double Factor() const;
  // Ljung and Box at lag 1: Q and the probability of one as large by chance.
  double Statistic() const;
  double P() const;
};

// sum (x_t - mean)(x_(t+1) - mean) / sum (x_t - mean)^2 of the used points; one that is not used is
// passed over, one without value leaves its pairs out. One pass.
//   near  a number among the points, about which sums run
// No r1 for fewer than 2 points, or where all are equal.
// Source   Box, Jenkins & Reinsel, Time Series Analysis, ch. 2; Ljung & Box, Biometrika 65 (1978)
NeighbourCorrelation CorrelationOfNeighbours(std::span<const double> points,
                                             std::span<const std::uint8_t> used, double near);

// What limits are made of. Other: they are stored, or widened for the correlation.
enum class LimitsFrom { MovingRanges, Subgroups, Other };

// The notes "correlated" and, where the correlation is positive and rules look for runs,
// "runs-expected". Nothing below 25 points, or where chance alone gives such a correlation in more
// than 1 of 100 series.
//   judges_runs  whether rules look for runs; asked only where it matters
std::vector<Note> NotesOnNeighbours(const NeighbourCorrelation& correlation, LimitsFrom from,
                                    const std::function<bool()>& judges_runs);

}  // namespace orvspc::engine::statistics
