// SPDX-License-Identifier: Apache-2.0
#include "host/render/capability/CapabilityView.h"

#include <algorithm>
#include <cmath>

namespace orvspc::render {

Range ValueRange(const CapabilityView& view) {
  if (view.bars.empty()) return {0.0, 1.0};
  const double low = view.bars.front().low, high = view.bars.back().high;
  Range range{low, high};
  for (const auto* marks : {&view.limits, &view.targets})
    for (const auto& mark : *marks) {
      if (!std::isfinite(mark.at)) continue;
      const Range wider{std::min(range.low, mark.at), std::max(range.high, mark.at)};
      if (wider.high - wider.low <= 2.5 * (high - low)) range = wider;
    }
  // A bin without width is still to be seen.
  if (!(range.high > range.low)) range = {range.low - 0.5, range.high + 0.5};
  const double margin = 0.02 * (range.high - range.low);
  return {range.low - margin, range.high + margin};
}

double MostPieces(const CapabilityView& view) {
  double most = 1.0;
  for (const auto& bar : view.bars) most = std::max(most, bar.count);
  for (const auto& [x, y] : view.curve)
    if (std::isfinite(y)) most = std::max(most, y);
  return most;
}

}  // namespace orvspc::render
