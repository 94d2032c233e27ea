// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Histogram.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>

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

IntervalCounter::IntervalCounter(std::vector<double> edges, EdgeGoes edge_goes)
    : edges_(std::move(edges)),
      edge_count_(edges_.size()),
      edge_goes_(edge_goes),
      counts_(edges_.size() + 1) {
  // So many that most values meet a cell without an edge.
  constexpr std::size_t kMin = 2048, kMax = std::size_t{1} << 14;
  const auto cells = std::clamp(std::bit_ceil(16 * edge_count_), kMin, kMax);
  if (!edges_.empty()) scale_ = static_cast<double>(cells) / (edges_.back() - edges_.front());
  // Without a width that serves there is one cell: every value is searched for among all edges.
  if (!std::isfinite(scale_)) scale_ = 0.0;
  from_.assign(cells + 1, static_cast<std::uint32_t>(edge_count_));
  std::size_t cell = 0;
  for (std::size_t i = 0; i < edge_count_; ++i) {
    while (cell <= CellOf(edges_[i])) from_[cell++] = static_cast<std::uint32_t>(i);
  }
  edges_.insert(edges_.end(), kStride, std::numeric_limits<double>::infinity());
}

// Never falls while the value rises, whatever the rounding: an edge in an earlier cell is smaller.
std::size_t IntervalCounter::CellOf(double value) const {
  const double place = (value - edges_.front()) * scale_;
  return static_cast<std::size_t>(
      std::min(std::max(0.0, place), static_cast<double>(from_.size() - 2)));
}

template <class IsBeyond>
void IntervalCounter::Count(std::span<const double> values, IsBeyond is_beyond) {
  const double* const edges = edges_.data();
  for (const double x : values) {
    const auto cell = CellOf(x);
    const auto place = from_[cell];
    const auto end = from_[cell + 1];
    if (end - place > kStride) {
      const auto* const found = std::partition_point(
          edges + place, edges + end, [&](double edge) { return is_beyond(x, edge); });
      ++counts_[static_cast<std::size_t>(found - edges)];
    } else {
      // Both are asked even where the cell has fewer: an edge of a later cell lies above x anyway,
      // and there is no branch to guess wrong.
      ++counts_[place + std::size_t{is_beyond(x, edges[place])} +
                std::size_t{is_beyond(x, edges[place + 1])}];
    }
  }
}

void IntervalCounter::Add(std::span<const double> values) {
  if (edge_count_ == 0) {
    counts_[0] += static_cast<std::int64_t>(values.size());
  } else if (edge_goes_ == EdgeGoes::Up) {
    Count(values, [](double x, double edge) { return x >= edge; });
  } else {
    Count(values, [](double x, double edge) { return x > edge; });
  }
}

void IntervalCounter::Add(std::span<const CountedValue> values) {
  const auto edges = std::span<const double>(edges_).first(edge_count_);
  for (const auto& [value, count] : values) {
    const auto place = edge_goes_ == EdgeGoes::Up ? std::ranges::upper_bound(edges, value)
                                                  : std::ranges::lower_bound(edges, value);
    counts_[static_cast<std::size_t>(place - edges.begin())] += count;
  }
}

void IntervalCounter::Merge(const IntervalCounter& other) {
  for (std::size_t i = 0; i < counts_.size(); ++i) counts_[i] += other.counts_[i];
}

}  // namespace orvspc::engine::statistics
