// SPDX-License-Identifier: Apache-2.0
#include "engine/dom/characters.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace orvspc::engine::dom {
namespace {

struct Range {
  char32_t first, last;
};

// Characters that may begin a name, beyond ASCII (XML 1.0, fifth edition, production 4).
constexpr Range kNameStart[] = {
    {0xC0, 0xD6},     {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},
    {0x37F, 0x1FFF},  {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF},
    {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF},
};
// What may follow in a name besides (production 4a).
constexpr Range kNameMore[] = {{0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};

template <std::size_t N>
bool InRanges(const Range (&ranges)[N], char32_t point) {
  return std::any_of(std::begin(ranges), std::end(ranges), [point](const Range& range) {
    return point >= range.first && point <= range.last;
  });
}

enum : unsigned char { kStart = 1, kMore = 2 };

constexpr std::array<unsigned char, 128> AsciiNames() {
  std::array<unsigned char, 128> kinds{};
  for (std::size_t c = 'a'; c <= 'z'; ++c) kinds[c] = kinds[c - 32] = kStart | kMore;
  for (std::size_t c = '0'; c <= '9'; ++c) kinds[c] = kMore;
  kinds['_'] = kinds[':'] = kStart | kMore;
  kinds['-'] = kinds['.'] = kMore;
  return kinds;
}

constexpr auto kAsciiNames = AsciiNames();

bool IsNameCharacter(char32_t point, bool first) {
  if (point < 128) return (kAsciiNames[point] & (first ? kStart : kMore)) != 0;
  return InRanges(kNameStart, point) || (!first && InRanges(kNameMore, point));
}

// Whether any of eight bytes is below 0x20 or above 0x7F.
bool HasUnusual(const char* bytes) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  const std::uint64_t below = (word - 0x2020202020202020U) & ~word;
  return ((below | word) & 0x8080808080808080U) != 0;
}

}  // namespace

bool IsCharacter(char32_t point) {
  if (point < 0x20) return point == '\t' || point == '\n' || point == '\r';
  return point <= 0xD7FF || (point >= 0xE000 && point <= 0xFFFD) ||
         (point >= 0x10000 && point <= 0x10FFFF);
}

std::size_t NameLength(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t next = at;
    char32_t point = 0;
    if (!TakeUtf8(text, next, point) || !IsNameCharacter(point, at == 0)) break;
    at = next;
  }
  return at;
}

TextKind Classify(std::string_view text) {
  bool ascii = true;
  for (std::size_t at = 0; at < text.size();) {
    while (text.size() - at >= 8 && !HasUnusual(text.data() + at)) at += 8;
    const std::size_t stop = std::min(at + 8, text.size());
    while (at < stop) {
      char32_t point = 0;
      if (!TakeUtf8(text, at, point) || !IsCharacter(point)) return TextKind::kMalformed;
      ascii = ascii && point < 0x80;
    }
  }
  return ascii ? TextKind::kAscii : TextKind::kUtf8;
}

}  // namespace orvspc::engine::dom
