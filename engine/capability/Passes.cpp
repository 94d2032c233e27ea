// SPDX-License-Identifier: Apache-2.0
#include "engine/capability/Passes.h"

#include <algorithm>
#include <cmath>

namespace orvspc::engine::capability {

SampleCentre CentreOf(const statistics::Sample& sample) {
  SampleCentre centre;
  centre.count = static_cast<std::int64_t>(sample.Count());
  if (centre.count == 0) return centre;
  statistics::ExtentSums sums(sample.Blocks().front().values.front());
  SumBlocks(sample, sums, [](statistics::ExtentSums& mine, const statistics::Sample::Block& block) {
    mine.Add(block.values);
  });
  centre.smallest = sums.Smallest();
  centre.largest = sums.Largest();
  centre.origin = sums.Origin();
  centre.shift = sums.Shift();
  if (!std::isfinite(centre.origin + centre.shift)) {
    // A mean of finite values is finite, their sum need not be.
    const auto n = static_cast<double>(centre.count);
    centre.origin = centre.shift = 0.0;
    for (const auto& block : sample.Blocks()) {
      for (const double value : block.values) centre.shift += value / n;
    }
  }
  centre.mean = centre.origin + centre.shift;
  return centre;
}

void SetDeviation(const statistics::DeviationSums& sums, SampleCentre& centre) {
  const auto n = static_cast<double>(centre.count);
  // The mean was rounded: what the deviations add up to corrects their squares.
  centre.squares = sums.Squares() - sums.First() * sums.First() / n;
  if (!(centre.squares > 0.0)) centre.squares = std::isnan(centre.squares) ? INFINITY : 0.0;
  centre.sd = centre.count < 2 ? 0.0 : std::sqrt(centre.squares / (n - 1.0));
}

}  // namespace orvspc::engine::capability
