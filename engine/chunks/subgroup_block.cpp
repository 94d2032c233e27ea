// SPDX-License-Identifier: Apache-2.0
#include "engine/chunks/subgroup_block.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>

#include "engine/chunks/columns.h"

namespace orvspc::engine::store {
namespace {

constexpr std::uint8_t kVersion = 1;

struct BlockHead {
  std::uint8_t version, spare;
  std::uint16_t count;     // subgroups
  std::uint32_t checksum;  // of the block's number and of everything else in it
};
static_assert(sizeof(BlockHead) == kBehindChecksum);

}  // namespace

// The columns id, part, process, time, then what a label shares with the one before and how long
// the rest is; then the rests.
std::vector<std::byte> PackBlock(std::span<const SubgroupFacts> subgroups) {
  std::vector<std::int32_t> columns[6];
  std::string rests;
  std::string_view before;
  for (const auto& each : subgroups) {
    const auto end = std::ranges::mismatch(before, each.label).in2;
    const auto shared = static_cast<std::size_t>(end - each.label.begin());
    const auto rest = each.label.substr(shared);
    const std::int32_t facts[] = {each.id,
                                  each.part,
                                  each.process,
                                  each.time,
                                  static_cast<std::int32_t>(shared),
                                  static_cast<std::int32_t>(rest.size())};
    for (std::size_t i = 0; i < std::size(facts); ++i) columns[i].push_back(facts[i]);
    rests += rest;
    before = each.label;
  }
  BlockHead head{kVersion, 0, static_cast<std::uint16_t>(subgroups.size()), 0};
  std::vector<std::byte> packed(sizeof head);
  std::memcpy(packed.data(), &head, sizeof head);
  for (const auto& column : columns) AppendColumn(packed, column);
  const auto text = std::as_bytes(std::span(rests));
  packed.insert(packed.end(), text.begin(), text.end());
  head.checksum = Checksum(packed, BlockOf(subgroups.front().id));
  std::memcpy(packed.data(), &head, sizeof head);
  return packed;
}

bool UnpackBlock(std::span<const std::byte> packed, std::int32_t block,
                 const std::function<void(const SubgroupFacts&)>& visit) {
  BlockHead head{};
  if (packed.size() < sizeof head) return false;
  std::memcpy(&head, packed.data(), sizeof head);
  if (head.version != kVersion || Checksum(packed, block) != head.checksum) return false;
  const auto* at = packed.data() + sizeof head;
  const auto* const end = packed.data() + packed.size();
  std::vector<std::int32_t> columns[6];
  for (auto& column : columns) {
    if (!TakeColumn(at, end, head.count, column)) return false;
  }
  const auto& [ids, parts, processes, times, shared, lengths] = columns;
  std::string label;
  for (std::size_t i = 0; i < head.count; ++i) {
    if (shared[i] < 0 || static_cast<std::size_t>(shared[i]) > label.size() || lengths[i] < 0 ||
        lengths[i] > end - at) {
      return false;
    }
    label.resize(static_cast<std::size_t>(shared[i]));
    label.append(reinterpret_cast<const char*>(at), static_cast<std::size_t>(lengths[i]));
    at += lengths[i];
    visit({ids[i], parts[i], processes[i], times[i], label});
  }
  return at == end;
}

}  // namespace orvspc::engine::store
