// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

// A row of subgroup_block: all subgroups whose identifiers differ in the lowest eight bits only.
namespace orvspc::engine::store {

struct SubgroupFacts {
  std::int32_t id = 0, part = 0, process = 0, time = 0;
  std::string_view label;
};

constexpr std::int32_t kBlockBits = 8, kBlockSize = 1 << kBlockBits;

constexpr std::int32_t BlockOf(std::int32_t id) { return id >> kBlockBits; }
// Identifiers begin with 1.
constexpr bool IsFirstOfBlock(std::int32_t id) { return id % kBlockSize == 0 || id == 1; }
constexpr bool IsLastOfBlock(std::int32_t id) { return id % kBlockSize == kBlockSize - 1; }

// Of subgroups of one block, by identifier.
std::vector<std::byte> PackBlock(std::span<const SubgroupFacts> subgroups);

// Calls visit for each subgroup of a block. False when the block is damaged.
bool UnpackBlock(std::span<const std::byte> packed, std::int32_t block,
                 const std::function<void(const SubgroupFacts&)>& visit);

}  // namespace orvspc::engine::store
