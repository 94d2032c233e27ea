// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cmath>

namespace orvspc::certified {

// Number of leading digits in which `computed` agrees with `certified`; 17 when they are equal, 0
// for a NaN.
inline double CorrectDigits(double computed, double certified) {
  if (computed == certified) return 17.0;
  const double error =
      std::fabs(computed - certified) / (certified == 0.0 ? 1.0 : std::fabs(certified));
  return error > 0.0 ? std::clamp(-std::log10(error), 0.0, 17.0) : 0.0;
}

}  // namespace orvspc::certified
