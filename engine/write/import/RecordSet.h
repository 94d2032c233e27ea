// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace orvspc::engine::import {

// A set of records by stream and subgroup. Subgroups of a file mostly have neighbouring
// identifiers, which take a bit each.
class RecordSet {
 public:
  void Insert(std::int64_t stream, std::int32_t subgroup) {
    blocks_[BlockOf(stream, subgroup)].set(PlaceOf(subgroup));
  }
  bool Contains(std::int64_t stream, std::int32_t subgroup) const {
    const auto found = blocks_.find(BlockOf(stream, subgroup));
    return found != blocks_.end() && found->second.test(PlaceOf(subgroup));
  }
  // Returns whether it was there.
  bool Erase(std::int64_t stream, std::int32_t subgroup) {
    const auto found = blocks_.find(BlockOf(stream, subgroup));
    if (found == blocks_.end() || !found->second.test(PlaceOf(subgroup))) return false;
    found->second.reset(PlaceOf(subgroup));
    return true;
  }

 private:
  static constexpr int kBits = 9;
  static constexpr std::uint32_t kBlock = 1u << kBits;

  // Subgroups have 32 bits: streams stay apart.
  static std::uint64_t BlockOf(std::int64_t stream, std::int32_t subgroup) {
    return static_cast<std::uint64_t>(stream) << (32 - kBits) |
           static_cast<std::uint32_t>(subgroup) >> kBits;
  }
  static std::size_t PlaceOf(std::int32_t subgroup) {
    return static_cast<std::uint32_t>(subgroup) % kBlock;
  }

  std::unordered_map<std::uint64_t, std::bitset<kBlock>> blocks_;
};

}  // namespace orvspc::engine::import
