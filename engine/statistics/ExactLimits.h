// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/NaN.h"

namespace orvspc::engine::statistics {

// Limits of a count by its own distribution; a count on a limit is inside.
struct CountLimits {
  double lower = platform::kNaN, upper = platform::kNaN;
  double risk_below = platform::kNaN, risk_above = platform::kNaN;  // of a false signal
};

inline constexpr double kUsualAlpha = 0.0027;  // risk of both sides together
inline constexpr double kLeastAlpha = 0.0001, kMostAlpha = 0.1;

// lower: the greatest c with P(X < c) <= alpha / 2; upper: the least c with P(X > c) <= alpha / 2.
//   size   1 or more; of one that is not whole, the whole units; share 0 to 1
//   mean   0 or more
// NaN throughout for anything outside.
// Source   Montgomery, ch. 7.3.1; Ryan, Statistical Methods for Quality Improvement, ch. 6
CountLimits BinomialCountLimits(double size, double share, double alpha);
CountLimits PoissonCountLimits(double mean, double alpha);

}  // namespace orvspc::engine::statistics
