// SPDX-License-Identifier: Apache-2.0
#include "engine/store/packing.h"

#include <algorithm>
#include <bit>

namespace orvspc::engine {
namespace {

static_assert(std::endian::native == std::endian::little, "packed records are little-endian");

constexpr std::size_t kSkipped = sizeof(std::uint32_t);  // the checksum itself

// Each step is a bijection of the state for a given word, so a change within one word always
// changes the 64-bit state.
std::uint32_t Checksum(std::int32_t seed, const std::byte* data, std::size_t length) {
  constexpr std::uint64_t kOdd = 0x9e3779b97f4a7c15u;
  std::uint64_t state = (static_cast<std::uint32_t>(seed) + kOdd) ^ (length * kOdd);
  std::size_t at = 0;
  for (; at + 8 <= length; at += 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, data + at, 8);
    state = (state ^ word) * kOdd;
    state ^= state >> 29;
  }
  if (at < length) {
    std::uint64_t word = 0;
    std::memcpy(&word, data + at, length - at);
    state = (state ^ word) * kOdd;
    state ^= state >> 29;
  }
  return static_cast<std::uint32_t>(state ^ (state >> 32));
}

bool IsPlainRow(const TestRow& row, std::size_t place) {
  return row.key.Tsno == static_cast<std::int32_t>(place + 1) && row.key.Sbno == 0 &&
         row.key.Sn == 0 && row.key.Def == 0 && row.key.Gage == 0;
}

bool ArePlain(std::span<const TestRow> rows) {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (!IsPlainRow(rows[i], i)) return false;
  }
  return true;
}

std::size_t LengthOf(Layout layout, std::size_t count) {
  const std::size_t row = layout == Layout::Plain ? sizeof(double) : sizeof(double) + sizeof(RowKey);
  return sizeof(PackedHead) + count * row;
}

}  // namespace

void Pack(std::int32_t subgroup, std::int32_t size, std::int32_t flag,
          std::span<const TestRow> rows, std::vector<std::byte>& out) {
  const auto layout = ArePlain(rows) ? Layout::Plain : Layout::Keyed;
  out.resize(LengthOf(layout, rows.size()));
  auto* at = out.data() + sizeof(PackedHead);
  for (const auto& row : rows) {
    std::memcpy(at, &row.value, sizeof(double));
    at += sizeof(double);
  }
  if (layout == Layout::Keyed) {
    for (const auto& row : rows) {
      std::memcpy(at, &row.key, sizeof(RowKey));
      at += sizeof(RowKey);
    }
  }
  PackedHead head{0,
                  static_cast<std::uint32_t>(rows.size()),
                  size,
                  static_cast<std::uint8_t>(layout),
                  static_cast<std::uint8_t>(flag),
                  0};
  std::memcpy(out.data(), &head, sizeof head);
  head.checksum = Checksum(subgroup, out.data() + kSkipped, out.size() - kSkipped);
  std::memcpy(out.data(), &head, sizeof head);
}

std::optional<PackedView> PackedView::Of(std::int32_t subgroup, std::span<const std::byte> blob) {
  if (blob.size() < sizeof(PackedHead)) return std::nullopt;
  PackedView view;
  std::memcpy(&view.head_, blob.data(), sizeof(PackedHead));
  const auto layout = static_cast<Layout>(view.head_.layout);
  if (layout != Layout::Plain && layout != Layout::Keyed) return std::nullopt;
  constexpr std::uint8_t kHighestFlag = 2;
  if (view.head_.count == 0 || view.head_.flag > kHighestFlag || LengthOf(layout, view.head_.count) != blob.size()) {
    return std::nullopt;
  }
  if (Checksum(subgroup, blob.data() + kSkipped, blob.size() - kSkipped) != view.head_.checksum) {
    return std::nullopt;
  }
  view.body_ = blob.data() + sizeof(PackedHead);
  return view;
}

}  // namespace orvspc::engine
