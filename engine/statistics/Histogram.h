// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "engine/statistics/Sample.h"

namespace orvspc::engine::statistics {

// The stretch of the axis that a histogram shows.
struct Window {
  double low = 0.0, high = 0.0;

  bool Serves() const { return low < high; }
  double Width() const { return high - low; }
};

// What a window is chosen from. A limit that does not exist is NaN.
struct WindowInput {
  double smallest = 0.0, largest = 0.0, mean = 0.0;
  double sd = 0.0;  // 0: none
  double usl, lsl;
};

// The least window that holds all values, the mean with 3 sigmas on either side, and the limits.
// Equal values without limits get a hundredth of their size on either side, at least what makes two
// different edges.
Window DefaultWindow(const WindowInput& input);
// The mean with `sds` standard deviations on either side; the default for sds or sd not above 0.
Window SigmaWindow(const WindowInput& input, double sds);
// From limit to limit; a missing one from the default.
Window LimitWindow(const WindowInput& input);

// A window whose edges and width are numbers: one that is wider than the largest number is cut to
// its half on either side.
Window Bounded(Window window);

// bins + 1 edges of equal distance, the first and the last exactly those of the window.
std::vector<double> BinEdges(const Window& window, std::size_t bins);

// The edges for an IntervalCounter whose bins are [low, high), the last one closed.
std::vector<double> CountingEdges(std::vector<double> bin_edges);

// Counts values between ascending edges: m edges make m + 1 intervals, the first and the last of
// them open-ended.
class IntervalCounter {
 public:
  // Which interval a value on an edge belongs to.
  enum class EdgeGoes { Down, Up };

  IntervalCounter(std::vector<double> edges, EdgeGoes edge_goes);
  void Add(std::span<const double> values);
  void Add(std::span<const CountedValue> values);
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
