// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace orvspc::studies {

// What a figure of a sample is computed from: subgroups side by side, stream by stream.
struct SampleView {
  std::span<const double> values;
  std::span<const std::int32_t> sizes;   // of the subgroups
  std::span<const std::size_t> streams;  // subgroups of each
};

// Computes figures of a sample, always the same number; NaN: none.
using SampleFigures = std::function<std::vector<double>(const SampleView& sample)>;

struct Percentiles {
  std::vector<double> lower, upper;  // of each figure; NaN where too many draws have none
  std::int64_t failed = 0;           // draws in which a figure was missing
};

// The percentiles `tail` and 1 - tail of so many figures in samples of as many subgroups of each
// stream, drawn with replacement.
Percentiles Bootstrap(const SampleView& sample, const SampleFigures& figures_of,
                      std::size_t figures, double tail, std::int64_t draws, std::uint64_t seed);

}  // namespace orvspc::studies
