// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <limits>

// Figures made from decimal input can differ by a few units in the last place (ulps).
// Within 8 ulps a value counts as on the limit.
namespace orvspc::engine::statistics {

// Eight units in the last place of the limit; 0 of a limit without neighbours.
inline double TieWidth(double limit) {
  const double size = std::fabs(limit);
  const double width = 8.0 * (std::nextafter(size, std::numeric_limits<double>::infinity()) - size);
  return std::isfinite(width) ? width : 0.0;
}

// The values at the far ends of those that lie on the limit. NaN of NaN.
inline double HighestOn(double limit) { return limit + TieWidth(limit); }
inline double LowestOn(double limit) { return limit - TieWidth(limit); }

}  // namespace orvspc::engine::statistics
