// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>

#include "platform/ChartRecords.h"
#include "platform/Enumerations.h"

namespace orvspc::platform {

// A row of specification limits, ready to be compared with values.
//   - A value equal to a limit breaks nothing.
//   - Limits that are not both enabled and active are never broken; an enabled one is compared
//     whatever it holds.
//   - The limits inside pieces are for readings inside pieces, the others for whole pieces.
class SpecificationBounds {
 public:
  explicit SpecificationBounds(const API_CCSpecLim& row) : active_(row.F_EFLAG & row.F_AFLAG) {
    // Deliberate: nothing checks that an active limit was ever set; one that was not is 0.0.
    for (std::size_t i = 0; i < std::size(kUpper); ++i) {
      upper_[i] = (active_ & kUpper[i].bit) != 0 ? double{row.*kUpper[i].value} : kInfinity;
      lower_[i] = (active_ & kLower[i].bit) != 0 ? double{row.*kLower[i].value} : -kInfinity;
    }
  }

  // SpecLimitFlags.
  std::int32_t Active() const { return active_; }
  // Those that a value breaks. sbno: the number of a reading inside a piece; 0: a piece.
  std::int32_t BrokenBy(double value, std::int32_t sbno) const {
    const auto at = [&](std::size_t i) {
      return (value > upper_[i] ? kUpper[i].bit : 0) | (value < lower_[i] ? kLower[i].bit : 0);
    };
    if (sbno != 0) return at(kWithinPiece);
    return at(0) | at(1) | at(2);
  }

 private:
  struct Limit {
    std::int32_t bit;
    WireDouble API_CCSpecLim::*value;
  };
  // Broken by a value above; the last one inside pieces.
  static constexpr Limit kUpper[] = {{slfURL, &API_CCSpecLim::F_URL},
                                     {slfUGB, &API_CCSpecLim::F_UGB},
                                     {slfUSL, &API_CCSpecLim::F_USL},
                                     {slfUWP, &API_CCSpecLim::F_UWP}};
  // Broken by a value below, in the same order.
  static constexpr Limit kLower[] = {{slfLRL, &API_CCSpecLim::F_LRL},
                                     {slfLGB, &API_CCSpecLim::F_LGB},
                                     {slfLSL, &API_CCSpecLim::F_LSL},
                                     {slfLWP, &API_CCSpecLim::F_LWP}};
  static constexpr std::size_t kWithinPiece = 3;
  static constexpr double kInfinity = std::numeric_limits<double>::infinity();

  std::int32_t active_;
  double upper_[std::size(kUpper)], lower_[std::size(kLower)];
};

}  // namespace orvspc::platform
