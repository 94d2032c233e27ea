// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// UTF-8, a code point at a time. Inline, since readers of large texts call it for each character.
namespace orvspc::platform {

// What readers that must not fail put in the place of an ill-formed byte or a lone surrogate.
inline constexpr char32_t kReplacementCharacter = 0xFFFD;

// Decodes the code point at position `at` (below text.size()) and moves `at` past it.
//
// Returns false, with `at` where it was, for everything that is not well-formed UTF-8:
//
// - a continuation byte without a lead byte, or a lead byte without all its continuation bytes;
//
// - an overlong form (C0, C1, E0 80..9F, F0 80..8F);
//
// - a surrogate (U+D800 to U+DFFF) or a number above U+10FFFF.
inline bool TakeUtf8(std::string_view text, std::size_t& at, char32_t& point) {
  const auto lead = static_cast<unsigned char>(text[at]);
  if (lead < 0x80) {
    point = lead;
    ++at;
    return true;
  }
  if (lead < 0xC2 || lead > 0xF4) return false;
  const std::size_t more = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  if (text.size() - at <= more) return false;
  char32_t value = lead & (0x3FU >> more);
  for (std::size_t i = 1; i <= more; ++i) {
    const auto byte = static_cast<unsigned char>(text[at + i]);
    if ((byte & 0xC0) != 0x80) return false;
    value = (value << 6) | (byte & 0x3F);
  }
  const bool overlong = (more == 2 && value < 0x800) || (more == 3 && value < 0x10000);
  if (overlong || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return false;
  point = value;
  at += more + 1;
  return true;
}

// Bytes of the well-formed sequence at the front; 0 if there is none.
inline std::size_t Utf8Length(std::string_view text) {
  std::size_t length = 0;
  char32_t point = 0;
  return !text.empty() && TakeUtf8(text, length, point) ? length : 0;
}

// Writes the code point (at most U+10FFFF) in one to four bytes; returns the end of them.
inline char* PutUtf8(char* out, char32_t point) {
  const auto put = [&out](char32_t byte) {
    *out++ = static_cast<char>(static_cast<unsigned char>(byte));
  };
  const auto continuation = [&put](char32_t bits) { put(0x80 | (bits & 0x3F)); };
  if (point < 0x80) {
    put(point);
  } else if (point < 0x800) {
    put(0xC0 | (point >> 6));
    continuation(point);
  } else if (point < 0x10000) {
    put(0xE0 | (point >> 12));
    continuation(point >> 6);
    continuation(point);
  } else {
    put(0xF0 | (point >> 18));
    continuation(point >> 12);
    continuation(point >> 6);
    continuation(point);
  }
  return out;
}

inline void AppendUtf8(std::string& out, char32_t point) {
  char bytes[4];
  out.append(bytes, PutUtf8(bytes, point));
}

}  // namespace orvspc::platform
