// SPDX-License-Identifier: Apache-2.0
#include "host/render/capability/CapabilityView.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orvspc::render {

Range ValueRange(const CapabilityView& view) {
  if (view.bars.empty()) return {0.0, 1.0};
  // An axis whose length is no number shows nothing at all; what lies beyond this one is left out.
  constexpr double kFurthest = std::numeric_limits<double>::max() / 4.0;
  const double low = std::clamp(view.bars.front().low, -kFurthest, kFurthest);
  const double high = std::clamp(view.bars.back().high, -kFurthest, kFurthest);
  Range range{low, high};
  for (const auto* marks : {&view.limits, &view.targets})
    for (const auto& mark : *marks) {
      if (!(std::abs(mark.at) <= kFurthest)) continue;
      const Range wider{std::min(range.low, mark.at), std::max(range.high, mark.at)};
      if (wider.high - wider.low <= 2.5 * (high - low)) range = wider;
    }
  // A bin without width is still to be seen.
  if (!(range.high > range.low)) {
    const double margin = range.low + 0.5 > range.low ? 0.5 : std::abs(range.low) * 1e-6;
    range = {range.low - margin, range.low + margin};
  }
  const double margin = 0.02 * (range.high - range.low);
  return {range.low - margin, range.high + margin};
}

double MostPieces(const CapabilityView& view) {
  double most = 1.0;
  for (const auto& bar : view.bars)
    if (std::isfinite(bar.count)) most = std::max(most, bar.count);
  for (const auto& [x, y] : view.curve)
    if (std::isfinite(y)) most = std::max(most, y);
  return most;
}

}  // namespace orvspc::render
