// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "engine/statistics/Estimators.h"
#include "engine/statistics/Sample.h"
#include "engine/statistics/SampleSums.h"

// What lies inside subgroups and between them, for samples of millions of subgroups.
namespace orvspc::engine::statistics {

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
