// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/IntervalCounter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

namespace orvspc::engine::statistics {

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

void IntervalCounter::Merge(const IntervalCounter& other) {
  for (std::size_t i = 0; i < counts_.size(); ++i) counts_[i] += other.counts_[i];
}

}  // namespace orvspc::engine::statistics
