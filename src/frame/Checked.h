// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "frame/Failure.h"

// Arithmetic on 32-bit integers; what leaves the range fails with 6.
namespace orvspc::checked {

inline std::int32_t Narrow(std::int64_t value) {
  using Limits = std::numeric_limits<std::int32_t>;
  if (value < Limits::min() || value > Limits::max()) FailOverflow();
  return static_cast<std::int32_t>(value);
}

inline std::int32_t Add(std::int32_t a, std::int32_t b) { return Narrow(std::int64_t{a} + b); }
inline std::int32_t Subtract(std::int32_t a, std::int32_t b) { return Narrow(std::int64_t{a} - b); }
inline std::int32_t Multiply(std::int32_t a, std::int32_t b) { return Narrow(std::int64_t{a} * b); }
inline std::int32_t Absolute(std::int32_t a) {
  return Narrow(a < 0 ? -std::int64_t{a} : std::int64_t{a});
}

// To the nearest integer, halves to even. NaN and what is out of range fail with 6.
inline std::int32_t Round(double value) {
  const double rounded = std::nearbyint(value);
  if (!(rounded >= -2147483648.0 && rounded <= 2147483647.0)) FailOverflow();
  return static_cast<std::int32_t>(rounded);
}

}  // namespace orvspc::checked
