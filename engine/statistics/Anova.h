// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace orvspc::engine::statistics {

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

}  // namespace orvspc::engine::statistics
