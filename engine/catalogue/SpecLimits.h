// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <optional>
#include <span>

#include "platform/CapabilityRecords.h"
#include "platform/ChartRecords.h"
#include "platform/NaN.h"

namespace orvspc::engine::catalogue {

// Specification limits as numbers; NaN for one that is not set.
struct SpecLimits {
  double usl = platform::kNaN, target = platform::kNaN, lsl = platform::kNaN;

  std::optional<double> Upper() const { return Given(usl); }
  std::optional<double> Target() const { return Given(target); }
  std::optional<double> Lower() const { return Given(lsl); }
  // NaN compares as neither, so that a limit that is not set finds no value outside.
  bool HasOutside(double value) const { return value > usl || value < lsl; }

 private:
  static std::optional<double> Given(double limit) {
    return std::isnan(limit) ? std::nullopt : std::optional(limit);
  }
};

// A limit is set if its flag is and its value is finite.
SpecLimits SpecLimitsOf(const API_CCSpecLim& row);
SpecLimits SpecLimitsOf(const API_CASpecLim8& record);

// Whether rows of limits say the same. NaN: a limit that is not set.
//
// WidthOf  from the lowest to the highest; the size of a single limit; 0 of none
// Agree    both are not set, or they differ by at most 1e-9 of the width
double WidthOf(std::span<const double> limits);
bool Agree(double a, double b, double width);
// All of them, place by place. Both spans have the same length.
bool Agree(std::span<const double> a, std::span<const double> b, double width);
// Upper and lower limits, by the wider of the two widths.
bool Agree(const SpecLimits& a, const SpecLimits& b);

}  // namespace orvspc::engine::catalogue
