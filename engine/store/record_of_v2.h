// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <vector>

#include "engine/chunks/DataSet.h"

// The packed record of one (subgroup, test): a head of 24 bytes, the values, the keys of the rows
// unless every row is plain, and the inspected size as a double where it is not a whole number.
// The head repeats time and subgroup, so that a scan fetches one column. Little-endian, written
// into files: never change, add a layout. A program that does not know a layout reports the record
// as damaged.
namespace orvspc::engine::store {

enum class Layout : std::uint8_t { Plain = 1, Keyed = 2, PlainSized = 3, KeyedSized = 4 };

struct PackedHead {
  std::uint32_t checksum;  // of everything behind it
  std::uint32_t count;     // rows
  std::int32_t time, subgroup;
  std::int32_t size;  // inspected, rounded but at least 1 where the exact one follows the rows
  std::uint8_t layout;
  std::uint8_t flag;
  std::uint16_t spare;
};
static_assert(sizeof(PackedHead) == 24);

struct TestRow {
  double value = 0.0;
  RowKey key{};
  friend bool operator==(const TestRow&, const TestRow&) = default;
};

struct PackedFacts {
  std::int32_t time = 0, subgroup = 0;
  double size = 0.0;
  std::int32_t flag = 0;
};

// Writes into out, whose storage is reused.
void Pack(const PackedFacts& facts, std::span<const TestRow> rows, std::vector<std::byte>& out);

// A checked view of a packed record; empty when its checksum or its length is wrong.
class PackedView {
 public:
  static std::optional<PackedView> Of(std::span<const std::byte> blob);

  std::int32_t Time() const { return head_.time; }
  std::int32_t Subgroup() const { return head_.subgroup; }
  std::size_t Count() const { return head_.count; }
  std::int32_t RoundedSize() const { return head_.size; }
  bool HasWholeSize() const { return head_.layout <= static_cast<std::uint8_t>(Layout::Keyed); }
  double Size() const {
    if (HasWholeSize()) return head_.size;
    double size = 0.0;
    std::memcpy(&size, IsPlain() ? Keys() : Keys() + Count() * sizeof(RowKey), sizeof size);
    return size;
  }
  std::int32_t Flag() const { return head_.flag; }
  bool IsPlain() const { return head_.layout % 2 == static_cast<std::uint8_t>(Layout::Plain); }
  const std::byte* Values() const { return body_; }
  double Value(std::size_t row) const {
    double value = 0.0;
    std::memcpy(&value, body_ + row * sizeof(double), sizeof value);
    return value;
  }
  RowKey Key(std::size_t row) const {
    if (IsPlain()) return PlainKey(row);
    RowKey key;
    std::memcpy(&key, Keys() + row * sizeof(RowKey), sizeof key);
    return key;
  }

 private:
  const std::byte* Keys() const { return body_ + Count() * sizeof(double); }

  PackedHead head_{};
  const std::byte* body_ = nullptr;
};

}  // namespace orvspc::engine::store
