// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/sqlite/flipped_bit.h"

#include <iterator>

#include "engine/sql/sqlite/page_checksum.h"

namespace orvspc::engine::sql::sqlite {
namespace {

using Bytes = std::span<const std::byte>;

// Reads the numbers of a page; beyond its end they are 0.
class PageReader {
 public:
  PageReader(Bytes content, std::size_t at) : content_(content), at_(at) {}
  std::size_t At() const { return at_; }
  std::uint64_t Byte() {
    return at_ < content_.size() ? std::to_integer<std::uint64_t>(content_[at_++]) : 0;
  }
  std::uint64_t TwoBytes() {
    const auto high = Byte();
    return high << 8 | Byte();
  }
  // Seven bits a byte, of which the last has no high bit; all eight of a ninth.
  std::uint64_t Variable() {
    std::uint64_t number = 0;
    for (int i = 0; i < 8; ++i) {
      const auto byte = Byte();
      number = number << 7 | (byte & 0x7f);
      if ((byte & 0x80) == 0) return number;
    }
    return number << 8 | Byte();
  }

 private:
  Bytes content_;
  std::size_t at_;
};

// Kinds of pages whose rows have values: leaves of tables, and all pages of tables that are kept in
// the order of a key.
enum Kind : std::uint64_t { kInnerOfKey = 2, kLeafOfKey = 10, kLeafOfTable = 13 };

// How much of a row lies on its page.
std::uint64_t LocalSize(std::uint64_t kind, std::uint64_t usable, std::uint64_t size) {
  const auto most = kind == kLeafOfTable ? usable - 35 : (usable - 12) * 64 / 255 - 23;
  if (size <= most) return size;
  const auto least = (usable - 12) * 32 / 255 - 23;
  const auto local = least + (size - least) % (usable - 4);
  return local <= most ? local : least;
}

std::uint64_t SizeOfValue(std::uint64_t type) {
  constexpr std::uint64_t kSizes[] = {0, 1, 2, 3, 4, 6, 8, 8, 0, 0, 0, 0};
  return type < std::size(kSizes) ? kSizes[type] : (type - std::size(kSizes)) / 2;
}

// Whether a byte belongs to a blob of the row that begins here.
bool IsInBlob(Bytes content, std::uint64_t kind, std::size_t row, std::size_t byte) {
  constexpr std::size_t kChildSize = 4;
  PageReader reader(content, kind == kInnerOfKey ? row + kChildSize : row);
  const auto size = reader.Variable();
  if (kind == kLeafOfTable) reader.Variable();  // its number
  const auto start = reader.At();
  const auto end = start + LocalSize(kind, content.size(), size);
  if (byte < start || byte >= end) return false;
  const auto head_end = start + reader.Variable();
  for (auto at = head_end; reader.At() < head_end && at <= byte;) {
    const auto type = reader.Variable();
    const auto next = at + SizeOfValue(type);
    constexpr std::uint64_t kFirstBlob = 12;
    if (byte < next) return type >= kFirstBlob && type % 2 == 0;
    at = next;
  }
  return false;
}

}  // namespace

bool IsOneBitOfBlob(Bytes page, std::uint32_t number) {
  const auto byte = FlippedByte(page, number);
  if (!byte) return false;
  const auto content = page.first(page.size() - kReservedBytes);
  constexpr std::size_t kRowCountAt = 3, kHead = 8, kHeadOfInner = 12;
  const auto kind = PageReader(content, 0).Byte();
  if (kind != kInnerOfKey && kind != kLeafOfKey && kind != kLeafOfTable) return false;
  const auto rows = PageReader(content, kRowCountAt).TwoBytes();
  const auto head = kind == kInnerOfKey ? kHeadOfInner : kHead;
  // Where a row is may be what is damaged.
  constexpr std::size_t kPointerSize = 2;
  if (*byte < head + kPointerSize * rows) return false;
  PageReader pointers(content, head);
  for (std::uint64_t i = 0; i < rows; ++i) {
    if (IsInBlob(content, kind, static_cast<std::size_t>(pointers.TwoBytes()), *byte)) return true;
  }
  return false;
}

}  // namespace orvspc::engine::sql::sqlite
