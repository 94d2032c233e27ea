// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <span>
#include <vector>

// Where the mean of a series changes.
namespace orvspc::engine::statistics {

struct MeanStep {
  std::size_t before = 0;  // values before the step
  // What it takes from the sum of squares between the steps beside it.
  double gain = 0.0;
  // The first and the last place at which it would take at most `tolerance` less.
  std::size_t earliest = 0, latest = 0;
};

// The steps that make sum (x - mean of its segment)^2 + penalty * steps least, every segment having
// `least` values or more. Exact; the time grows with the square of the longest segment.
// values   finite
// least    1 or more
// Source   Killick, Fearnhead & Eckley, J. American Statistical Association 107 (2012)
std::vector<MeanStep> StepsOfMean(std::span<const double> values, double penalty, std::size_t least,
                                  double tolerance);

// The one step that takes most from the sum of squares; NaN and 0 where there are fewer values than
// two segments have.
MeanStep BestStep(std::span<const double> values, std::size_t least, double tolerance);

}  // namespace orvspc::engine::statistics
