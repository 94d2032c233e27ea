// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

// Sums over a large sample, in parts that two threads can make and Merge puts together. Each part
// is summed in short stretches whose sums are added with the rounding error carried along, so that
// ten million values lose no more digits than a hundred.
namespace orvspc::engine::statistics {

// Sum with the rounding error carried along. Source   Neumaier, ZAMM 54 (1974)
class CarriedSum {
 public:
  void Add(double value) {
    const double total = sum_ + value;
    error_ += std::fabs(sum_) >= std::fabs(value) ? (sum_ - total) + value : (value - total) + sum_;
    sum_ = total;
  }
  void Merge(const CarriedSum& other) {
    Add(other.sum_);
    Add(other.error_);
  }
  double Value() const { return sum_ + error_; }

 private:
  double sum_ = 0.0, error_ = 0.0;
};

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

}  // namespace orvspc::engine::statistics
