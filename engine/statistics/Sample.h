// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace orvspc::engine::statistics {

// Neighbouring groups of one size.
struct SizeRun {
  std::int32_t size;
  std::int32_t count;
};

// The finite values of subgroups in their order, held in blocks so that a large sample neither
// moves while it grows nor needs twice its size. A group never lies across two blocks.
class Sample {
 public:
  struct Block {
    std::vector<double> values;
    std::vector<SizeRun> runs;
  };

  // Empty groups are not kept.
  void Add(std::span<const double> group);
  // Puts the blocks of another sample behind the own ones.
  void Append(Sample&& other);
  // Moves the values of some blocks by a distance.
  void Shift(std::size_t first_block, std::size_t end_block, double distance);

  std::size_t Count() const { return count_; }
  std::size_t Groups() const { return groups_; }
  const std::vector<Block>& Blocks() const { return blocks_; }

 private:
  std::vector<Block> blocks_;
  std::size_t count_ = 0, groups_ = 0;
};

// Calls visit(group) for each group of a block.
template <class Visit>
void ForEachGroup(const Sample::Block& block, Visit visit) {
  std::size_t begin = 0;
  for (const auto& run : block.runs) {
    const auto size = static_cast<std::size_t>(run.size);
    for (std::int32_t i = 0; i < run.count; ++i, begin += size) {
      visit(std::span<const double>(block.values.data() + begin, size));
    }
  }
}

// Quantiles of a large sample after Hazen, as Quantile does for a sorted one, without sorting or
// copying it: the values are counted in cells of the number line, which are narrowed around the
// ranks asked for.
// Returns  one for each probability (0..1); empty for an empty sample
std::vector<double> SampleQuantiles(const Sample& sample, std::span<const double> probabilities);

// A value and how often it occurs in a sample.
struct CountedValue {
  double value;
  std::int64_t count;
};
// The same quantiles of the sample that has these values, which ascend.
std::vector<double> SampleQuantiles(std::span<const CountedValue> values,
                                    std::span<const double> probabilities);

}  // namespace orvspc::engine::statistics
