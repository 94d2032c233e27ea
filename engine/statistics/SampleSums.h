// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "engine/statistics/Estimators.h"
#include "engine/statistics/Moments.h"
#include "engine/statistics/Sample.h"

// Sums over a large sample, in parts that two threads can make and Merge puts together. Each part
// is summed in short stretches whose sums are added with the rounding error carried along, so that
// ten million values lose no more digits than a hundred.
namespace orvspc::engine::statistics {

// Count, extremes and mean. The mean is kept as origin + shift, since the sum of both rounds.
class ExtentSums {
 public:
  // origin   a value of the sample, the same for all parts
  explicit ExtentSums(double origin) : origin_(origin) {}
  void Add(std::span<const double> values);
  void Merge(const ExtentSums& other);

  std::int64_t Count() const { return count_; }
  double Smallest() const { return smallest_; }  // infinite when there is no value
  double Largest() const { return largest_; }
  double Origin() const { return origin_; }
  double Shift() const;  // NaN when there is no value; infinite when a sum is
  double Mean() const { return origin_ + Shift(); }

 private:
  double origin_;
  std::int64_t count_ = 0;
  double smallest_ = std::numeric_limits<double>::infinity();
  double largest_ = -std::numeric_limits<double>::infinity();
  CarriedSum sum_;
};

// Powers of the deviations d = (x - origin) - shift from the mean.
class DeviationSums {
 public:
  DeviationSums(double origin, double shift) : origin_(origin), shift_(shift) {}
  void Add(std::span<const double> values);
  void Merge(const DeviationSums& other);

  double First() const { return first_.Value(); }
  double Squares() const { return squares_.Value(); }
  double Cubes() const { return cubes_.Value(); }
  double Fourths() const { return fourths_.Value(); }
  double Absolutes() const { return absolutes_.Value(); }
  double SquaresAbove() const { return squares_above_.Value(); }  // of d > 0

 private:
  double origin_, shift_;
  CarriedSum first_, squares_, cubes_, fourths_, absolutes_, squares_above_;
};

// How many values lie strictly above each upper and strictly below each lower limit.
class BeyondCounts {
 public:
  BeyondCounts(std::span<const double> upper, std::span<const double> lower);
  void Add(std::span<const double> values);
  void Merge(const BeyondCounts& other);

  std::int64_t Above(std::size_t upper) const { return above_[upper]; }
  std::int64_t Below(std::size_t lower) const { return below_[lower]; }

 private:
  std::vector<double> upper_, lower_;
  std::vector<std::int64_t> above_, below_;
};

// Counts different values, up to a most that is worth knowing.
class DistinctCounter {
 public:
  explicit DistinctCounter(std::size_t most);
  void Add(std::span<const double> values);
  void Merge(const DistinctCounter& other);
  std::size_t Count() const { return count_; }
  bool Full() const { return count_ >= most_; }

 private:
  void Take(double value);

  std::size_t most_, count_ = 0;
  std::vector<std::uint64_t> slots_;  // bits of a value; open addressing
  bool has_zero_ = false;             // an empty slot is 0
  int shift_;
};

// Sums of squares of a one-way layout: within the groups, and between them about the mean of all.
// Also the ranges and deviations of the groups, by size. Parts merge in any order.
class SpreadSums {
 public:
  // origin, shift   the mean of the whole sample is their sum
  SpreadSums(double origin, double shift) : origin_(origin), shift_(shift) {}
  void Add(const Sample::Block& block);
  void Merge(const SpreadSums& other);

  double Within() const { return within_.Value(); }
  double Between() const { return between_.Value(); }
  std::int64_t Groups() const { return groups_; }
  std::int32_t SmallestSize() const;  // 0 when there is no group
  std::int32_t LargestSize() const;
  // A range or deviation beyond the largest number was left out.
  bool Overflowed() const { return overflowed_; }

  // One for each size, ascending.
  std::span<const SpreadOfSize> BySize() const { return by_size_; }

 private:
  SpreadOfSize& Of(std::int32_t size);
  void AddGroup(std::span<const double> group);

  double origin_, shift_;
  std::int64_t groups_ = 0;
  CarriedSum within_, between_;
  std::vector<SpreadOfSize> by_size_;
  std::size_t latest_ = 0;
  bool overflowed_ = false;
};

// Moving ranges of span 2 over single values in their order; Append puts a later part behind.
class MovingRangeSums {
 public:
  void Add(std::span<const double> values);
  void Append(const MovingRangeSums& later);
  // A new series begins: no range into it.
  void Break() { has_last_ = false; }

  double Sum() const { return sum_.Value(); }
  std::int64_t Count() const { return count_; }

 private:
  void Take(double range);

  double first_ = 0.0, last_ = 0.0;
  bool has_first_ = false, has_last_ = false;
  CarriedSum sum_;
  std::int64_t count_ = 0;
};

}  // namespace orvspc::engine::statistics
