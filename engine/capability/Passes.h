// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "engine/statistics/Sample.h"
#include "engine/statistics/SampleSums.h"
#include "engine/store/large_data.h"

namespace orvspc::engine::capability {

// Below this many values a second thread costs more than it saves.
inline constexpr std::size_t kWorthTwoPasses = 200'000;

// Runs add(sums, block) over all blocks; large samples in two halves, by two threads, merged.
template <class Sums, class Add>
void SumBlocks(const statistics::Sample& sample, Sums& sums, Add add) {
  const auto& blocks = sample.Blocks();
  if (sample.Count() < kWorthTwoPasses || blocks.size() < 2) {
    for (const auto& block : blocks) add(sums, block);
    return;
  }
  auto others = sums;
  const auto middle = blocks.size() / 2;
  store::RunBoth(
      [&] {
        for (std::size_t i = 0; i < middle; ++i) add(sums, blocks[i]);
      },
      [&] {
        for (std::size_t i = middle; i < blocks.size(); ++i) add(others, blocks[i]);
      });
  sums.Merge(others);
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
