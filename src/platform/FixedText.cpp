// SPDX-License-Identifier: Apache-2.0
#include "platform/FixedText.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "platform/Utf8.h"

namespace orvspc::platform {
namespace {

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

void AppendUtf16(std::u16string& out, char32_t point) {
  if (point < 0x10000) {
    out.push_back(static_cast<char16_t>(point));
    return;
  }
  out.push_back(static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10)));
  out.push_back(static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF)));
}

// Windows-1252 from 0x80 to 0x9F; every other byte is the unit of its number. The five bytes that
// the page leaves open map to themselves, so that every byte comes back.
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
      AppendUtf8(out, kReplacementCharacter);
    } else {
      AppendUtf8(out, unit);
    }
  }
  return out;
}

std::u16string ToUtf16(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    char32_t point = kReplacementCharacter;
    if (!TakeUtf8(text, at, point)) ++at;
    AppendUtf16(out, point);
  }
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
