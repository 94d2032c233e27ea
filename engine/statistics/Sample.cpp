// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Sample.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

#include "engine/statistics/Moments.h"

namespace orvspc::engine::statistics {
namespace {

constexpr std::size_t kBlock = std::size_t{1} << 15;  // values: what a near cache holds
// Below this many values sorting a copy is the shorter way.
constexpr std::size_t kFew = std::size_t{1} << 16;
constexpr int kCellBits = 12;

// Order-preserving integer keys; -0.0 sorts just below 0.0, which does not affect quantiles.
std::uint64_t KeyOf(double value) {
  const auto bits = std::bit_cast<std::uint64_t>(value);
  return (bits >> 63) != 0 ? ~bits : bits | (std::uint64_t{1} << 63);
}

double ValueOf(std::uint64_t key) {
  return std::bit_cast<double>((key >> 63) != 0 ? key & ~(std::uint64_t{1} << 63) : ~key);
}

// Ranks (from 0) whose values lie between two keys; `below` values lie before the first of them.
struct Search {
  std::uint64_t low, high;
  std::size_t below, count;
  std::vector<std::size_t> ranks;  // ascending
};

class RankFinder {
 public:
  RankFinder(const Sample& sample, std::vector<std::size_t> ranks) : sample_(sample) {
    std::uint64_t low = UINT64_MAX, high = 0;
    ForEach([&](std::uint64_t key) {
      low = std::min(low, key);
      high = std::max(high, key);
    });
    Narrow({low, high, 0, sample.Count(), std::move(ranks)});
    std::sort(found_.begin(), found_.end());
  }

  double At(std::size_t rank) const {
    return std::ranges::lower_bound(found_, rank, {}, &std::pair<std::size_t, double>::first)
        ->second;
  }

 private:
  template <class Visit>
  void ForEach(Visit visit) const {
    for (const auto& block : sample_.Blocks()) {
      for (const double value : block.values) visit(KeyOf(value));
    }
  }

  void Narrow(const Search& search) {
    if (search.low == search.high) {
      for (const auto rank : search.ranks) found_.emplace_back(rank, ValueOf(search.low));
      return;
    }
    const auto shift =
        std::max(0, static_cast<int>(std::bit_width(search.high - search.low)) - kCellBits);
    std::vector<std::uint32_t> counts(std::size_t{1} << kCellBits);
    const auto span = search.high - search.low;
    ForEach([&](std::uint64_t key) {
      const auto distance = key - search.low;  // wraps far up for keys below
      if (distance <= span) ++counts[static_cast<std::size_t>(distance >> shift)];
    });
    std::vector<Search> few;
    auto below = search.below;
    auto rank = search.ranks.begin();
    for (std::size_t cell = 0; cell < counts.size() && rank != search.ranks.end(); ++cell) {
      const auto end = below + counts[cell];
      Search inside{
          search.low + (static_cast<std::uint64_t>(cell) << shift), 0, below, counts[cell], {}};
      inside.high = std::min(inside.low + ((std::uint64_t{1} << shift) - 1), search.high);
      for (; rank != search.ranks.end() && *rank < end; ++rank) inside.ranks.push_back(*rank);
      below = end;
      if (inside.ranks.empty()) continue;
      // A cell too full to be copied is narrowed by itself; few of them can be.
      if (inside.count > std::max(kFew, sample_.Count() / 16)) {
        Narrow(inside);
      } else {
        few.push_back(std::move(inside));
      }
    }
    Gather(few);
  }

  // Copies the values of all cells in one pass and picks the ranks out of them.
  void Gather(const std::vector<Search>& few) {
    if (few.empty()) return;
    std::vector<std::vector<double>> values(few.size());
    for (std::size_t i = 0; i < few.size(); ++i) values[i].reserve(few[i].count);
    const auto low = few.front().low, span = few.back().high - low;
    ForEach([&](std::uint64_t key) {
      if (key - low > span) return;
      const auto place = std::ranges::upper_bound(few, key, {}, &Search::low);
      const auto i = static_cast<std::size_t>(place - few.begin()) - 1;
      if (key <= few[i].high) values[i].push_back(ValueOf(key));
    });
    for (std::size_t i = 0; i < few.size(); ++i) {
      std::sort(values[i].begin(), values[i].end());
      for (const auto rank : few[i].ranks) {
        found_.emplace_back(rank, values[i][rank - few[i].below]);
      }
    }
  }

  const Sample& sample_;
  std::vector<std::pair<std::size_t, double>> found_;
};

// The two ranks, from 0, around a Hazen position, and how far it lies beyond the first.
struct Position {
  std::size_t rank, next;
  double beyond;
};

Position PositionOf(std::size_t count, double p) {
  const auto n = static_cast<double>(count);
  const double position = n * p + 0.5;  // counts from 1
  if (!(position > 1.0)) return {0, 0, 0.0};
  if (position >= n) return {count - 1, count - 1, 0.0};
  const double whole = std::floor(position);
  const auto rank = static_cast<std::size_t>(whole) - 1;
  return {rank, rank + 1, position - whole};
}

// at(rank) gives the value of a rank.
template <class At>
double QuantileAt(const Position& position, At at) {
  const double value = at(position.rank);
  return value + position.beyond * (at(position.next) - value);
}

}  // namespace

void Sample::Add(std::span<const double> group) {
  if (group.empty()) return;
  if (blocks_.empty()) blocks_.emplace_back();
  if (const auto held = blocks_.back().values.size(); held > 0 && held + group.size() > kBlock) {
    blocks_.emplace_back().values.reserve(std::max(kBlock, group.size()));
  }
  auto& block = blocks_.back();
  block.values.insert(block.values.end(), group.begin(), group.end());
  const auto size = static_cast<std::int32_t>(group.size());
  if (!block.runs.empty() && block.runs.back().size == size) {
    ++block.runs.back().count;
  } else {
    block.runs.push_back({size, 1});
  }
  count_ += group.size();
  ++groups_;
}

void Sample::Append(Sample&& other) {
  if (blocks_.empty()) {
    *this = std::exchange(other, {});
    return;
  }
  blocks_.reserve(blocks_.size() + other.blocks_.size());
  for (auto& block : other.blocks_) blocks_.push_back(std::move(block));
  count_ += std::exchange(other.count_, 0);
  groups_ += std::exchange(other.groups_, 0);
  other.blocks_.clear();
}

void Sample::Shift(std::size_t first_block, std::size_t end_block, double distance) {
  for (auto i = first_block; i < end_block; ++i) {
    for (double& value : blocks_[i].values) value += distance;
  }
}

std::vector<double> SampleQuantiles(const Sample& sample, std::span<const double> probabilities) {
  std::vector<double> quantiles;
  if (sample.Count() == 0) return quantiles;
  quantiles.reserve(probabilities.size());
  if (sample.Count() <= kFew) {
    std::vector<double> sorted;
    sorted.reserve(sample.Count());
    for (const auto& block : sample.Blocks()) {
      sorted.insert(sorted.end(), block.values.begin(), block.values.end());
    }
    std::sort(sorted.begin(), sorted.end());
    for (const double p : probabilities) quantiles.push_back(Quantile(sorted, p));
    return quantiles;
  }
  std::vector<Position> positions;
  std::vector<std::size_t> ranks;
  for (const double p : probabilities) {
    positions.push_back(PositionOf(sample.Count(), p));
    ranks.push_back(positions.back().rank);
    ranks.push_back(positions.back().next);
  }
  std::sort(ranks.begin(), ranks.end());
  ranks.erase(std::unique(ranks.begin(), ranks.end()), ranks.end());
  const RankFinder finder(sample, std::move(ranks));
  const auto at = [&](std::size_t rank) { return finder.At(rank); };
  for (const auto& position : positions) quantiles.push_back(QuantileAt(position, at));
  return quantiles;
}

std::vector<double> SampleQuantiles(std::span<const CountedValue> values,
                                    std::span<const double> probabilities) {
  std::vector<double> quantiles;
  if (values.empty()) return quantiles;
  std::vector<std::size_t> ends;  // the rank after the last of each value
  std::size_t end = 0;
  for (const auto& each : values) ends.push_back(end += static_cast<std::size_t>(each.count));
  const auto at = [&](std::size_t rank) {
    return values[static_cast<std::size_t>(std::ranges::upper_bound(ends, rank) - ends.begin())]
        .value;
  };
  for (const double p : probabilities) quantiles.push_back(QuantileAt(PositionOf(end, p), at));
  return quantiles;
}

}  // namespace orvspc::engine::statistics
