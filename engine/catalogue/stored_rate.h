// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstdint>

namespace orvspc::engine::catalogue {

// What the mean of a row of control limits stands for on a chart of counts.
enum class RateKind { None, Share, PerUnit, PerOpportunity };

// Of the chart in the first place of a chart word; None for a chart of values or no chart.
constexpr RateKind RateKindOf(std::int32_t chart_word) {
  switch ((chart_word >> 8) & 15) {
    case 0x8:  // defective units in a thousand
    case 0xA:  // in a million
    case 0xC:  // their number
    case 0xD:  // their share
      return RateKind::Share;
    case 0x9:  // defects in a thousand opportunities
    case 0xB:  // in a million
      return RateKind::PerOpportunity;
    case 0xE:  // defects
    case 0xF:  // defects a unit
      return RateKind::PerUnit;
    default:
      return RateKind::None;
  }
}

// Nothing but a finite figure from 0 on is a rate, and a share is not above 1.
inline bool IsRate(RateKind kind, double mean) {
  return std::isfinite(mean) && mean >= 0.0 && !(kind == RateKind::Share && mean > 1.0);
}

}  // namespace orvspc::engine::catalogue
