// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace orvspc::engine::statistics {

// Counts values between ascending edges: m edges make m + 1 intervals, the first and the last of
// them open-ended.
class IntervalCounter {
 public:
  // Which interval a value on an edge belongs to.
  enum class EdgeGoes { Down, Up };

  IntervalCounter(std::vector<double> edges, EdgeGoes edge_goes);
  void Add(std::span<const double> values);
  void Merge(const IntervalCounter& other);

  std::span<const std::int64_t> Counts() const { return counts_; }

 private:
  // Edges of one cell that are compared without a search.
  static constexpr std::size_t kStride = 2;

  std::size_t CellOf(double value) const;
  template <class IsBeyond>
  void Count(std::span<const double> values, IsBeyond is_beyond);

  std::vector<double> edges_;  // and as many infinite ones behind them
  std::size_t edge_count_;
  EdgeGoes edge_goes_;
  std::vector<std::int64_t> counts_;
  // Equal cells across the edges: edges below from_[c] lie in cells before c.
  double scale_ = 0.0;
  std::vector<std::uint32_t> from_;
};

}  // namespace orvspc::engine::statistics
