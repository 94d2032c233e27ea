// SPDX-License-Identifier: Apache-2.0
#include "host/windows/msxml/layout.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <system_error>

#include "platform/FixedText.h"
#include "platform/Utf8.h"

namespace orvspc::windows::msxml {
namespace {

// As deep as the documents of the embedded engine.
constexpr int kMaxDepth = 256;

constexpr std::string_view kBlanks = " \t\r\n";

// Moves the text past the mark and returns all up to there.
std::string_view TakeUntil(std::string_view& text, std::string_view mark) {
  const std::size_t at = text.find(mark);
  const std::size_t size = at == std::string_view::npos ? text.size() : at + mark.size();
  const std::string_view taken = text.substr(0, size);
  text.remove_prefix(size);
  return taken;
}

// Moves the text past the tag that it begins with, and returns the tag.
std::string_view TakeTag(std::string_view& text) {
  char quote = '\0';
  std::size_t size = 0;
  while (size < text.size()) {
    const char c = text[size++];
    if (quote != '\0') {
      if (c == quote) quote = '\0';
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '>') {
      break;
    }
  }
  const std::string_view tag = text.substr(0, size);
  text.remove_prefix(size);
  return tag;
}

bool Begins(std::string_view text, std::string_view begin) {
  return text.substr(0, begin.size()) == begin;
}

// What is neither a tag nor text: a comment, CDATA, a declaration or a processing instruction.
// Empty when the text begins with none.
std::string_view TakeOther(std::string_view& text) {
  if (Begins(text, "<!--")) return TakeUntil(text, "-->");
  if (Begins(text, "<![CDATA[")) return TakeUntil(text, "]]>");
  if (Begins(text, "<?")) return TakeUntil(text, "?>");
  return {};
}

bool IsLayout(char32_t point) { return point == U'\t' || point == U'\n' || point == U'\r'; }

void AppendReference(std::string& out, char32_t point) {
  out += "&#" + std::to_string(static_cast<std::uint32_t>(point)) + ";";
}

// Whether the elements are at most kMaxDepth deep and there is no document type. Of a text that is
// not well-formed either answer will do.
bool IsBounded(std::string_view text) {
  int depth = 0;
  while (!text.empty()) {
    if (text.front() != '<') {
      text.remove_prefix(std::min(text.find('<'), text.size()));
      continue;
    }
    if (!TakeOther(text).empty()) continue;
    const std::string_view tag = TakeTag(text);
    if (Begins(tag, "<!")) return false;
    if (Begins(tag, "</")) {
      --depth;
      continue;
    }
    if (depth >= kMaxDepth) return false;
    if (!tag.ends_with("/>")) ++depth;
  }
  return true;
}

// The character of a reference such as "&#228;" or "&#xE4;" that the text begins with, and the text
// after it; 0 for anything else and for one of ASCII that is no tab and no end of a line.
char32_t TakeReference(std::string_view& text) {
  if (text.substr(0, 2) != "&#") return 0;
  const bool hexadecimal = text.substr(2, 1) == "x";
  const std::size_t end = text.find(';');
  if (end == std::string_view::npos) return 0;
  const char* const last = text.data() + end;
  std::uint32_t point = 0;
  const auto [stop, error] =
      std::from_chars(text.data() + (hexadecimal ? 3 : 2), last, point, hexadecimal ? 16 : 10);
  if (error != std::errc() || stop != last || point > 0x10FFFF) return 0;
  if (point < 0x80 && !IsLayout(point)) return 0;
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
      if (IsLayout(point)) {
        AppendReference(out, point);
      } else {
        platform::AppendUtf8(out, point);
      }
    } else {
      out += '&';
      text.remove_prefix(1);
    }
  }
}

// A tab or an end of a line in a value would be read as a blank.
void AppendTag(std::string& out, std::string_view tag) {
  if (tag.find_first_of("\t\n\r") == std::string_view::npos) return AppendPlain(out, tag);
  std::string safe;
  bool in_value = false;
  for (const char c : tag) {
    if (c == '"') in_value = !in_value;
    if (in_value && IsLayout(static_cast<unsigned char>(c))) {
      AppendReference(safe, static_cast<unsigned char>(c));
    } else {
      safe += c;
    }
  }
  AppendPlain(out, safe);
}

}  // namespace

bool IsReadable(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    char32_t point = 0;
    if (!platform::TakeUtf8(text, at, point) || point == 0) return false;
  }
  return IsBounded(text);
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
    if (const std::string_view other = TakeOther(text); !other.empty()) {
      out += other;
    } else if (text.front() == '<') {
      AppendTag(out, TakeTag(text));
    } else {
      const std::string_view between = text.substr(0, text.find('<'));
      if (between.find_first_not_of(kBlanks) != std::string_view::npos) AppendPlain(out, between);
      text.remove_prefix(between.size());
    }
  }
  return out;
}

}  // namespace orvspc::windows::msxml
