// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <tuple>
#include <vector>

#include "engine/chunks/large_data.h"
#include "engine/statistics/Sample.h"
#include "engine/statistics/SampleSums.h"
#include "engine/store/Store.h"

// Which values an analysis has, and passes over all of them.
namespace orvspc::engine::capability {

// The values that count of one part, process and test; outside of its phases of each stretch
// between two of them.
struct StreamSample {
  std::int32_t part = 0, process = 0, test = 0;
  std::int32_t phase = -1;                              // among all phases; below 0: none
  std::int32_t oldest = INT32_MAX, newest = INT32_MIN;  // times of its subgroups
  statistics::Sample sample = {};
};

// Reads the piece values of the subgroups of variable tests that count: the enabled ones; where the
// selection asks for none of those, all that it asks for. Of a stream with phases those of the
// newest phase alone, which a note says, unless the store joins them; nothing of excluded ones.
// Streams by the order of their reading; one without values is left out. False on a failure, which
// the store keeps.
bool ReadStreams(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                 std::vector<StreamSample>& streams);

// Below this many values a second thread costs more than it saves.
inline constexpr std::size_t kWorthTwoPasses = 200'000;

template <class Sum>
void AddBlock(const statistics::Sample::Block& block, Sum& sum) {
  sum.Add(block.values);
}
// This sum looks at the groups of a block as well.
inline void AddBlock(const statistics::Sample::Block& block, statistics::SpreadSums& sum) {
  sum.Add(block);
}

// Makes several sums in one pass over all blocks; those of large samples in two halves, by two
// threads, merged.
template <class... Sums>
void SumBlocks(const statistics::Sample& sample, Sums&... sums) {
  const auto& blocks = sample.Blocks();
  const auto add = [&](std::size_t begin, std::size_t end, Sums&... into) {
    for (auto i = begin; i < end; ++i) (AddBlock(blocks[i], into), ...);
  };
  if (sample.Count() < kWorthTwoPasses || blocks.size() < 2) {
    add(0, blocks.size(), sums...);
    return;
  }
  std::tuple<Sums...> others(sums...);
  const auto middle = blocks.size() / 2;
  store::RunBoth(
      [&] { add(0, middle, sums...); },
      [&] { std::apply([&](Sums&... into) { add(middle, blocks.size(), into...); }, others); });
  std::apply([&](const Sums&... more) { (sums.Merge(more), ...); }, others);
}

// Count, extremes, mean and standard deviation of a sample.
struct SampleCentre {
  std::int64_t count = 0;
  double smallest = 0.0, largest = 0.0;
  double origin = 0.0, shift = 0.0;  // the mean is their sum
  double mean = 0.0;
  double squares = 0.0;  // about the mean
  double sd = 0.0;       // divisor count - 1; 0 when there is none, infinite when a square is
};

// Mean and extremes alone.
SampleCentre CentreOf(const statistics::Sample& sample);
// Completes them.
void SetDeviation(const statistics::DeviationSums& sums, SampleCentre& centre);

}  // namespace orvspc::engine::capability
