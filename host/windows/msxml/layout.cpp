// SPDX-License-Identifier: Apache-2.0
#include "host/windows/msxml/layout.h"

#include <charconv>
#include <cstddef>
#include <cstdint>

#include "platform/FixedText.h"
#include "platform/Utf8.h"

namespace orvspc::windows::msxml {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

// Moves the text behind the mark and returns all up to there.
std::string_view TakeUntil(std::string_view& text, std::string_view mark) {
  const std::size_t at = text.find(mark);
  const std::size_t size = at == std::string_view::npos ? text.size() : at + mark.size();
  const std::string_view taken = text.substr(0, size);
  text.remove_prefix(size);
  return taken;
}

// The character of a reference such as "&#228;" or "&#xE4;" that the text begins with, and the text
// behind it; 0 for one of ASCII and for anything else.
char32_t TakeReference(std::string_view& text) {
  if (text.substr(0, 2) != "&#") return 0;
  const bool hexadecimal = text.substr(2, 1) == "x";
  const std::size_t end = text.find(';');
  if (end == std::string_view::npos) return 0;
  const char* const last = text.data() + end;
  std::uint32_t point = 0;
  const auto [stop, error] =
      std::from_chars(text.data() + (hexadecimal ? 3 : 2), last, point, hexadecimal ? 16 : 10);
  if (error != std::errc() || stop != last || point < 0x80 || point > 0x10FFFF) return 0;
  text.remove_prefix(end + 1);
  return point;
}

void AppendPlain(std::string& out, std::string_view text) {
  while (!text.empty()) {
    const std::size_t plain = text.find('&');
    out += text.substr(0, plain);
    if (plain == std::string_view::npos) return;
    text.remove_prefix(plain);
    if (const char32_t point = TakeReference(text)) {
      platform::AppendUtf8(out, point);
    } else {
      out += '&';
      text.remove_prefix(1);
    }
  }
}

}  // namespace

bool IsReadable(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    char32_t point = 0;
    if (!platform::TakeUtf8(text, at, point) || point == 0) return false;
  }
  return true;
}

std::u16string Writable(std::string_view text) {
  std::u16string units = platform::ToUtf16(text);
  for (char16_t& unit : units) {
    const bool control = unit < u' ' && unit != u'\t' && unit != u'\n' && unit != u'\r';
    if (control || unit >= 0xFFFE) unit = u' ';
  }
  return units;
}

std::string OneForm(std::u16string_view units) {
  const std::string whole = platform::ToUtf8(units);
  std::string_view text(whole);
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    // Here is the begin of a tag or of what stands between two of them.
    if (text.substr(0, 4) == "<!--") {
      out += TakeUntil(text, "-->");
    } else if (text.substr(0, 9) == "<![CDATA[") {
      out += TakeUntil(text, "]]>");
    } else if (text.front() == '<') {
      AppendPlain(out, TakeUntil(text, ">"));
    } else {
      const std::string_view between = text.substr(0, text.find('<'));
      if (between.find_first_not_of(kBlanks) != std::string_view::npos) AppendPlain(out, between);
      text.remove_prefix(between.size());
    }
  }
  return out;
}

}  // namespace orvspc::windows::msxml
