// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Spread.h"

#include <algorithm>
#include <cmath>

namespace orvspc::engine::statistics {

SpreadOfSize& SpreadSums::Of(std::int32_t size) {
  if (latest_ < by_size_.size() && by_size_[latest_].n == size) return by_size_[latest_];
  const auto place =
      std::lower_bound(by_size_.begin(), by_size_.end(), size,
                       [](const SpreadOfSize& row, std::int32_t n) { return row.n < n; });
  latest_ = static_cast<std::size_t>(place - by_size_.begin());
  if (place != by_size_.end() && place->n == size) return *place;
  SpreadOfSize fresh;
  fresh.n = size;
  return *by_size_.insert(place, fresh);
}

void SpreadSums::AddGroup(std::span<const double> group) {
  const double origin = group[0];
  double sum = 0.0, least = origin, most = origin;
  for (const double x : group) {
    sum += x - origin;
    least = x < least ? x : least;
    most = x > most ? x : most;
  }
  const auto n = static_cast<double>(group.size());
  const double shift = sum / n;
  const double apart = ((origin - origin_) - shift_) + shift;
  between_.Add(n * apart * apart);
  ++groups_;
  auto& spread = Of(static_cast<std::int32_t>(group.size()));
  ++spread.groups;
  if (group.size() < 2) return;
  double squares = 0.0;
  for (const double x : group) {
    const double d = (x - origin) - shift;
    squares += d * d;
  }
  within_.Add(squares);
  if (const double range = most - least; std::isfinite(range)) {
    spread.ranges += range;
    ++spread.range_count;
  }
  if (std::isfinite(squares)) {
    spread.sds += std::sqrt(squares / (n - 1.0));
    spread.squares += squares;
    ++spread.sd_count;
  } else {
    overflowed_ = true;
  }
}

void SpreadSums::Add(const Sample::Block& block) {
  ForEachGroup(block, [&](std::span<const double> group) { AddGroup(group); });
}

void SpreadSums::Merge(const SpreadSums& other) {
  within_.Merge(other.within_);
  between_.Merge(other.between_);
  groups_ += other.groups_;
  overflowed_ = overflowed_ || other.overflowed_;
  for (const auto& theirs : other.by_size_) {
    auto& mine = Of(theirs.n);
    mine.groups += theirs.groups;
    mine.range_count += theirs.range_count;
    mine.sd_count += theirs.sd_count;
    mine.ranges += theirs.ranges;
    mine.sds += theirs.sds;
    mine.squares += theirs.squares;
  }
}

std::int32_t SpreadSums::SmallestSize() const { return by_size_.empty() ? 0 : by_size_.front().n; }

std::int32_t SpreadSums::LargestSize() const { return by_size_.empty() ? 0 : by_size_.back().n; }

void MovingRangeSums::Take(double range) {
  if (!std::isfinite(range)) return;
  sum_.Add(range);
  ++count_;
}

void MovingRangeSums::Add(std::span<const double> values) {
  if (values.empty()) return;
  if (has_last_) Take(std::fabs(values[0] - last_));
  if (!has_first_) first_ = values[0];
  has_first_ = has_last_ = true;
  for (std::size_t i = 1; i < values.size(); ++i) Take(std::fabs(values[i] - values[i - 1]));
  last_ = values.back();
}

void MovingRangeSums::Append(const MovingRangeSums& later) {
  if (!later.has_first_) return;
  if (has_last_) Take(std::fabs(later.first_ - last_));
  if (!has_first_) first_ = later.first_;
  has_first_ = true;
  last_ = later.last_;
  has_last_ = later.has_last_;
  sum_.Merge(later.sum_);
  count_ += later.count_;
}

}  // namespace orvspc::engine::statistics
