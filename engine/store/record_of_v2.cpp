// SPDX-License-Identifier: Apache-2.0
#include "engine/store/record_of_v2.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace orvspc::engine::store {
namespace {

static_assert(std::endian::native == std::endian::little, "packed records are little-endian");

constexpr std::size_t kSkipped = sizeof(std::uint32_t);  // the checksum itself

// Mixes alternate words into two states, so that the processor can compute both multiplications at
// once. Mixing maps different words to different states, and different states to different states:
// a change within one word always changes the state at the end.
std::uint32_t ChecksumOfV2(const std::byte* data, std::size_t length) {
  constexpr std::uint64_t kOdd = 0x9e3779b97f4a7c15u;
  std::uint64_t lanes[2] = {kOdd ^ length, ~kOdd};
  const auto mix = [](std::uint64_t& state, std::uint64_t word) {
    state = (state ^ word) * kOdd;
    state ^= state >> 29;
  };
  std::size_t at = 0;
  for (; at + 16 <= length; at += 16) {
    std::uint64_t words[2];
    std::memcpy(words, data + at, 16);
    mix(lanes[0], words[0]);
    mix(lanes[1], words[1]);
  }
  // Records consist of words of four bytes; copying those is quicker than a call for the rest.
  std::uint32_t rest[4] = {};
  for (auto* word = rest; at < length; at += 4) std::memcpy(word++, data + at, 4);
  mix(lanes[0], rest[0] | std::uint64_t{rest[1]} << 32);
  mix(lanes[1], rest[2] | std::uint64_t{rest[3]} << 32);
  const auto both = lanes[0] + ((lanes[1] << 31) | (lanes[1] >> 33));
  return static_cast<std::uint32_t>(both ^ (both >> 32));
}

bool ArePlain(std::span<const TestRow> rows) {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].key != PlainKey(i)) return false;
  }
  return true;
}

std::size_t LengthOf(Layout layout, std::size_t count) {
  const bool plain = layout == Layout::Plain || layout == Layout::PlainSized;
  const bool sized = layout == Layout::PlainSized || layout == Layout::KeyedSized;
  const std::size_t row = plain ? sizeof(double) : sizeof(double) + sizeof(RowKey);
  return sizeof(PackedHead) + count * row + (sized ? sizeof(double) : 0);
}

}  // namespace

void Pack(const PackedFacts& facts, std::span<const TestRow> rows, std::vector<std::byte>& out) {
  const bool plain = ArePlain(rows), whole = facts.size == std::floor(facts.size);
  const auto layout = whole ? (plain ? Layout::Plain : Layout::Keyed)
                            : (plain ? Layout::PlainSized : Layout::KeyedSized);
  out.resize(LengthOf(layout, rows.size()));
  auto* at = out.data() + sizeof(PackedHead);
  for (const auto& row : rows) {
    std::memcpy(at, &row.value, sizeof(double));
    at += sizeof(double);
  }
  if (!plain) {
    for (const auto& row : rows) {
      std::memcpy(at, &row.key, sizeof(RowKey));
      at += sizeof(RowKey);
    }
  }
  if (!whole) std::memcpy(at, &facts.size, sizeof(double));
  const double rounded = whole ? facts.size : std::max(std::round(facts.size), 1.0);
  PackedHead head{0,
                  static_cast<std::uint32_t>(rows.size()),
                  facts.time,
                  facts.subgroup,
                  static_cast<std::int32_t>(rounded),
                  static_cast<std::uint8_t>(layout),
                  static_cast<std::uint8_t>(facts.flag),
                  0};
  std::memcpy(out.data(), &head, sizeof head);
  head.checksum = ChecksumOfV2(out.data() + kSkipped, out.size() - kSkipped);
  std::memcpy(out.data(), &head, sizeof head);
}

std::optional<PackedView> PackedView::Of(std::span<const std::byte> blob) {
  if (blob.size() < sizeof(PackedHead)) return std::nullopt;
  PackedView view;
  std::memcpy(&view.head_, blob.data(), sizeof(PackedHead));
  const auto layout = static_cast<Layout>(view.head_.layout);
  if (layout < Layout::Plain || layout > Layout::KeyedSized) return std::nullopt;
  constexpr std::uint8_t kHighestFlag = 2;
  if (view.head_.count == 0 || view.head_.flag > kHighestFlag ||
      LengthOf(layout, view.head_.count) != blob.size()) {
    return std::nullopt;
  }
  if (ChecksumOfV2(blob.data() + kSkipped, blob.size() - kSkipped) != view.head_.checksum) {
    return std::nullopt;
  }
  view.body_ = blob.data() + sizeof(PackedHead);
  return view;
}

}  // namespace orvspc::engine::store
