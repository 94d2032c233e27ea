// SPDX-License-Identifier: Apache-2.0
#include "platform/FixedText.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace orvspc::platform {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

void AppendUtf8(std::string& out, char32_t point) {
  const auto put = [&out](char32_t byte) {
    out.push_back(static_cast<char>(static_cast<unsigned char>(byte)));
  };
  if (point < 0x80) {
    put(point);
  } else if (point < 0x800) {
    put(0xC0 | (point >> 6));
    put(0x80 | (point & 0x3F));
  } else if (point < 0x10000) {
    put(0xE0 | (point >> 12));
    put(0x80 | ((point >> 6) & 0x3F));
    put(0x80 | (point & 0x3F));
  } else {
    put(0xF0 | (point >> 18));
    put(0x80 | ((point >> 12) & 0x3F));
    put(0x80 | ((point >> 6) & 0x3F));
    put(0x80 | (point & 0x3F));
  }
}

void AppendUtf16(std::u16string& out, char32_t point) {
  if (point < 0x10000) {
    out.push_back(static_cast<char16_t>(point));
    return;
  }
  out.push_back(static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10)));
  out.push_back(static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF)));
}

// One code point from position at, which moves behind it.
char32_t TakeUtf8(std::string_view text, std::size_t& at) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(at++);
  if (lead < 0x80) return lead;
  std::size_t more = 0;
  char32_t point = 0;
  char32_t least = 0;
  if (lead >= 0xC2 && lead <= 0xDF) {
    more = 1, point = lead & 0x1F, least = 0x80;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    more = 2, point = lead & 0x0F, least = 0x800;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    more = 3, point = lead & 0x07, least = 0x10000;
  } else {
    return kReplacement;
  }
  std::size_t next = at;
  for (; more > 0; --more, ++next) {
    if (next >= text.size() || (byte(next) & 0xC0) != 0x80) return kReplacement;
    point = (point << 6) | (byte(next) & 0x3F);
  }
  if (point < least || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF))
    return kReplacement;
  at = next;
  return point;
}

// Windows-1252 from 0x80 to 0x9F; every other byte is the unit of its number. The five bytes that
// the page leaves open stand for themselves, so that every byte comes back.
constexpr char16_t kHighHalf[32] = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

bool IsHighHalf(unsigned unit) { return unit >= 0x80 && unit < 0xA0; }

char ByteOf(char16_t unit) {
  if (unit < 0x100 && !IsHighHalf(unit)) return static_cast<char>(unit);
  const auto* const found = std::find(std::begin(kHighHalf), std::end(kHighHalf), unit);
  return found == std::end(kHighHalf) ? '?' : static_cast<char>(0x80 + (found - kHighHalf));
}

char16_t UnitOf(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return IsHighHalf(value) ? kHighHalf[value - 0x80] : value;
}

}  // namespace

std::string ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    if (IsHighSurrogate(unit) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
      const char32_t high = unit - 0xD800U;
      AppendUtf8(out, 0x10000U + (high << 10) + (text[++i] - 0xDC00U));
    } else if (IsHighSurrogate(unit) || IsLowSurrogate(unit)) {
      AppendUtf8(out, kReplacement);
    } else {
      AppendUtf8(out, unit);
    }
  }
  return out;
}

std::u16string ToUtf16(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) AppendUtf16(out, TakeUtf8(text, at));
  return out;
}

void StoreFixedText(std::span<char16_t> field, std::string_view text) {
  const std::u16string units = ToUtf16(text);
  const std::size_t kept = std::min(units.size(), field.size());
  std::copy_n(units.begin(), kept, field.begin());
  std::fill(field.begin() + static_cast<std::ptrdiff_t>(kept), field.end(), u' ');
}

std::string FixedTextToUtf8(std::span<const char16_t> field) {
  return ToUtf8({field.data(), field.size()});
}

std::u16string_view TrimFixedText(std::u16string_view text) {
  text = text.substr(0, text.find(u'\0'));
  while (!text.empty() && text.back() == u' ') text.remove_suffix(1);
  return text;
}

void To8Bit(std::span<const char16_t> from, std::span<char> to) {
  std::transform(from.begin(), from.begin() + std::ssize(to), to.begin(), ByteOf);
}

void From8Bit(std::span<const char> from, std::span<char16_t> to) {
  std::transform(from.begin(), from.begin() + std::ssize(to), to.begin(), UnitOf);
}

}  // namespace orvspc::platform
