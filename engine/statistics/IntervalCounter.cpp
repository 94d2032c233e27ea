// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/IntervalCounter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <utility>

namespace orvspc::engine {

IntervalCounter::IntervalCounter(std::vector<double> edges, EdgeGoes edge_goes)
    : edges_(std::move(edges)), edge_goes_(edge_goes), counts_(edges_.size() + 1) {
  constexpr std::size_t kFewest = 64, kMost = std::size_t{1} << 14;
  const auto cells = std::clamp(std::bit_ceil(4 * edges_.size()), kFewest, kMost);
  if (!edges_.empty()) scale_ = static_cast<double>(cells) / (edges_.back() - edges_.front());
  // Without a width that serves there is one cell: every value is searched for among all edges.
  if (!std::isfinite(scale_)) scale_ = 0.0;
  from_.assign(cells + 1, static_cast<std::uint32_t>(edges_.size()));
  std::size_t cell = 0;
  for (std::size_t i = 0; i < edges_.size(); ++i) {
    while (cell <= CellOf(edges_[i])) from_[cell++] = static_cast<std::uint32_t>(i);
  }
}

// Never falls while the value rises, whatever the rounding: an edge in an earlier cell is smaller.
std::size_t IntervalCounter::CellOf(double value) const {
  const double place = (value - edges_.front()) * scale_;
  const auto last = static_cast<double>(from_.size() - 2);
  if (!(place > 0.0)) return 0;
  return static_cast<std::size_t>(std::min(place, last));
}

void IntervalCounter::Add(std::span<const double> values) {
  if (edges_.empty()) {
    counts_[0] += static_cast<std::int64_t>(values.size());
    return;
  }
  const double* const edges = edges_.data();
  const bool up = edge_goes_ == EdgeGoes::Up;
  constexpr std::uint32_t kFew = 4;
  for (const double x : values) {
    const auto cell = CellOf(x);
    auto place = from_[cell];
    const auto end = from_[cell + 1];
    if (end - place > kFew) {
      const auto* const found = up ? std::upper_bound(edges + place, edges + end, x)
                                   : std::lower_bound(edges + place, edges + end, x);
      place = static_cast<std::uint32_t>(found - edges);
    } else if (up) {
      while (place < end && x >= edges[place]) ++place;
    } else {
      while (place < end && x > edges[place]) ++place;
    }
    ++counts_[place];
  }
}

void IntervalCounter::Merge(const IntervalCounter& other) {
  for (std::size_t i = 0; i < counts_.size(); ++i) counts_[i] += other.counts_[i];
}

}  // namespace orvspc::engine
