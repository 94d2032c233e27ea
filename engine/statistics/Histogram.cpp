// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Histogram.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orvspc::engine::statistics {

Window DefaultWindow(const WindowInput& input) {
  Window window{input.smallest, input.largest};
  if (input.sd > 0.0) {
    window.low = std::min(window.low, input.mean - 3.0 * input.sd);
    window.high = std::max(window.high, input.mean + 3.0 * input.sd);
  }
  for (const double limit : {input.usl, input.lsl}) {
    if (std::isnan(limit)) continue;
    window.low = std::min(window.low, limit);
    window.high = std::max(window.high, limit);
  }
  window = Bounded(window);
  if (window.Serves()) return window;
  const double half = window.low == 0.0 ? 1.0 : 0.01 * std::fabs(window.low);
  window = Bounded({window.low - half, window.high + half});
  if (window.Serves()) return window;
  // Denormal values: a hundredth of them is nothing.
  constexpr double kMin = std::numeric_limits<double>::min();
  return {window.low - kMin, window.high + kMin};
}

Window SigmaWindow(const WindowInput& input, double sds) {
  if (!(sds > 0.0) || !(input.sd > 0.0)) return DefaultWindow(input);
  const auto window = Bounded({input.mean - sds * input.sd, input.mean + sds * input.sd});
  return window.Serves() ? window : DefaultWindow(input);
}

Window LimitWindow(const WindowInput& input) {
  auto window = DefaultWindow(input);
  if (!std::isnan(input.lsl)) window.low = input.lsl;
  if (!std::isnan(input.usl)) window.high = input.usl;
  window = Bounded(window);
  return window.Serves() ? window : DefaultWindow(input);
}

Window Bounded(Window window) {
  constexpr double kMax = std::numeric_limits<double>::max();
  window = {std::clamp(window.low, -kMax, kMax), std::clamp(window.high, -kMax, kMax)};
  if (std::isfinite(window.Width())) return window;
  return {std::max(window.low, -0.5 * kMax), std::min(window.high, 0.5 * kMax)};
}

std::vector<double> BinEdges(const Window& window, std::size_t bins) {
  std::vector<double> edges(bins + 1);
  const auto count = static_cast<double>(bins);
  for (std::size_t i = 0; i < bins; ++i) {
    edges[i] = window.low + window.Width() * (static_cast<double>(i) / count);
  }
  edges[bins] = window.high;
  return edges;
}

std::vector<double> CountingEdges(std::vector<double> bin_edges) {
  bin_edges.back() = std::nextafter(bin_edges.back(), std::numeric_limits<double>::infinity());
  return bin_edges;
}

}  // namespace orvspc::engine::statistics
