// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Sample.h"

#include <algorithm>
#include <utility>

namespace orvspc::engine::statistics {
namespace {
constexpr std::size_t kBlock = std::size_t{1} << 15;  // values: what a near cache holds
}

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

}  // namespace orvspc::engine::statistics
