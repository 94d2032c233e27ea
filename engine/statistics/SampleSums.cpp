// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/SampleSums.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <functional>

namespace orvspc::engine::statistics {
namespace {

// Long enough to hide the carrying, short enough to round little.
constexpr std::size_t kStretch = 256;
// Sums that run side by side: the processor adds several at a time.
constexpr std::size_t kLanes = 4;

template <class Visit>
void ForEachStretch(std::span<const double> values, Visit visit) {
  for (; values.size() > kStretch; values = values.subspan(kStretch)) visit(values.first(kStretch));
  if (!values.empty()) visit(values);
}

// take(lane, value) for each value, the lanes in turn.
template <class Take>
void ForEachLane(std::span<const double> stretch, Take take) {
  const auto rest = stretch.size() % kLanes;
  const auto whole = stretch.first(stretch.size() - rest);
  for (std::size_t i = 0; i < whole.size(); i += kLanes) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) take(lane, whole[i + lane]);
  }
  for (const double value : stretch.last(rest)) take(0, value);
}

double SumOf(const double (&lanes)[kLanes]) {
  return (lanes[0] + lanes[1]) + (lanes[2] + lanes[3]);
}

}  // namespace

void ExtentSums::Add(std::span<const double> values) {
  ForEachStretch(values, [&](std::span<const double> stretch) {
    double sums[kLanes] = {};
    double least[kLanes], most[kLanes];
    std::fill(least, least + kLanes, smallest_);
    std::fill(most, most + kLanes, largest_);
    const auto take = [&](std::size_t lane, double x) {
      sums[lane] += x - origin_;
      least[lane] = x < least[lane] ? x : least[lane];
      most[lane] = x > most[lane] ? x : most[lane];
    };
    ForEachLane(stretch, take);
    sum_.Add(SumOf(sums));
    smallest_ = *std::min_element(least, least + kLanes);
    largest_ = *std::max_element(most, most + kLanes);
  });
  count_ += static_cast<std::int64_t>(values.size());
}

void ExtentSums::Merge(const ExtentSums& other) {
  count_ += other.count_;
  smallest_ = std::min(smallest_, other.smallest_);
  largest_ = std::max(largest_, other.largest_);
  sum_.Merge(other.sum_);
}

double ExtentSums::Shift() const { return sum_.Value() / static_cast<double>(count_); }

void DeviationSums::Add(std::span<const double> values) {
  ForEachStretch(values, [&](std::span<const double> stretch) {
    double lanes[kSums][kLanes] = {};
    const auto take = [&](std::size_t lane, double x) {
      const double d = (x - origin_) - shift_;
      const double square = d * d;
      lanes[kFirst][lane] += d;
      lanes[kSquares][lane] += square;
      lanes[kCubes][lane] += square * d;
      lanes[kFourths][lane] += square * square;
      lanes[kAbsolutes][lane] += std::fabs(d);
      lanes[kSquaresAbove][lane] += d > 0.0 ? square : 0.0;
    };
    ForEachLane(stretch, take);
    for (std::size_t i = 0; i < kSums; ++i) sums_[i].Add(SumOf(lanes[i]));
  });
}

void DeviationSums::Merge(const DeviationSums& other) {
  for (std::size_t i = 0; i < kSums; ++i) sums_[i].Merge(other.sums_[i]);
}

BeyondCounts::BeyondCounts(std::span<const double> upper, std::span<const double> lower)
    : upper_(upper.begin(), upper.end()),
      lower_(lower.begin(), lower.end()),
      above_(upper.size()),
      below_(lower.size()) {}

void BeyondCounts::Add(std::span<const double> values) {
  const auto count = [](std::span<const double> stretch, std::span<const double> limits,
                        std::span<std::int64_t> counts, auto is_beyond) {
    for (std::size_t i = 0; i < limits.size(); ++i) {
      if (std::isnan(limits[i])) continue;
      std::int64_t beyond = 0;
      for (const double x : stretch) beyond += is_beyond(x, limits[i]);
      counts[i] += beyond;
    }
  };
  ForEachStretch(values, [&](std::span<const double> stretch) {
    count(stretch, upper_, above_, std::greater<>());
    count(stretch, lower_, below_, std::less<>());
  });
}

void BeyondCounts::Add(std::span<const CountedValue> values) {
  for (const auto& [value, count] : values) {
    for (std::size_t i = 0; i < upper_.size(); ++i) above_[i] += value > upper_[i] ? count : 0;
    for (std::size_t i = 0; i < lower_.size(); ++i) below_[i] += value < lower_[i] ? count : 0;
  }
}

void BeyondCounts::Merge(const BeyondCounts& other) {
  for (std::size_t i = 0; i < above_.size(); ++i) above_[i] += other.above_[i];
  for (std::size_t i = 0; i < below_.size(); ++i) below_[i] += other.below_[i];
}

ValueCounts::ValueCounts(std::size_t most, std::size_t values)
    : most_(most),
      slots_(std::bit_ceil(2 * std::min(most, values) + 2)),
      shift_(64 - std::countr_zero(slots_.size())) {}

inline void ValueCounts::Take(std::uint64_t bits, std::int64_t count) {
  constexpr std::uint64_t kGolden = 0x9E3779B97F4A7C15ULL;
  auto place = static_cast<std::size_t>((bits * kGolden) >> shift_);
  while (slots_[place].bits != bits) {
    if (slots_[place].bits == kFree) {
      slots_[place].bits = bits;
      ++different_;
      break;
    }
    place = (place + 1) & (slots_.size() - 1);
  }
  slots_[place].count += count;
}

void ValueCounts::Add(std::span<const double> values) {
  for (const double value : values) {
    if (Full()) return;
    Take(std::bit_cast<std::uint64_t>(value + 0.0), 1);
  }
}

void ValueCounts::Merge(const ValueCounts& other) {
  for (const auto& slot : other.slots_) {
    if (slot.bits != kFree && !Full()) Take(slot.bits, slot.count);
  }
}

std::vector<CountedValue> ValueCounts::Sorted() const {
  std::vector<CountedValue> sorted;
  if (Full()) return sorted;
  sorted.reserve(different_);
  for (const auto& slot : slots_) {
    if (slot.bits != kFree) sorted.push_back({std::bit_cast<double>(slot.bits), slot.count});
  }
  std::ranges::sort(sorted, {}, &CountedValue::value);
  return sorted;
}

SpreadOfSize& SpreadSums::Of(std::int32_t size) {
  if (latest_ < by_size_.size() && by_size_[latest_].n == size) return by_size_[latest_];
  const auto place = std::ranges::lower_bound(by_size_, size, {}, &SpreadOfSize::n);
  latest_ = static_cast<std::size_t>(place - by_size_.begin());
  if (place != by_size_.end() && place->n == size) return *place;
  return *by_size_.insert(place, SpreadOfSize{.n = size});
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
