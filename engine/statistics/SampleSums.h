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

  double First() const { return sums_[kFirst].Value(); }
  double Squares() const { return sums_[kSquares].Value(); }
  double Cubes() const { return sums_[kCubes].Value(); }
  double Fourths() const { return sums_[kFourths].Value(); }
  double Absolutes() const { return sums_[kAbsolutes].Value(); }
  double SquaresAbove() const { return sums_[kSquaresAbove].Value(); }  // of d > 0

 private:
  enum : std::size_t { kFirst, kSquares, kCubes, kFourths, kAbsolutes, kSquaresAbove, kSums };

  double origin_, shift_;
  CarriedSum sums_[kSums];
};

// How many values lie strictly above each upper and strictly below each lower limit.
class BeyondCounts {
 public:
  BeyondCounts(std::span<const double> upper, std::span<const double> lower);
  void Add(std::span<const double> values);
  void Add(std::span<const CountedValue> values);
  void Merge(const BeyondCounts& other);

  std::int64_t Above(std::size_t upper) const { return above_[upper]; }
  std::int64_t Below(std::size_t lower) const { return below_[lower]; }

 private:
  std::vector<double> upper_, lower_;
  std::vector<std::int64_t> above_, below_;
};

// The different values of a sample and how often each occurs, up to a most of them. What is
// measured is rounded to what the gauge shows, so that even a large sample has few.
class ValueCounts {
 public:
  // values   how many the sample has
  ValueCounts(std::size_t most, std::size_t values);
  void Add(std::span<const double> values);
  void Merge(const ValueCounts& other);
  std::size_t Different() const { return different_; }
  // There may be more, and the counts are not those of the sample.
  bool Full() const { return different_ >= most_; }
  // Ascending; -0 counts as 0. Nothing when full.
  std::vector<CountedValue> Sorted() const;

 private:
  // Of no value: a NaN.
  static constexpr std::uint64_t kFree = UINT64_MAX;
  struct Slot {
    std::uint64_t bits = kFree;
    std::int64_t count = 0;
  };
  void Take(std::uint64_t bits, std::int64_t count);

  std::size_t most_, different_ = 0;
  std::vector<Slot> slots_;  // open addressing
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
