// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/PlainText.h"

#include <algorithm>
#include <iterator>

#include "platform/Utf8.h"

namespace orvspc::render {

namespace {

struct CodeRange {
  char32_t first, last;
};

constexpr CodeRange kUnprintable[] = {
    {0x0, 0x1F},      {0x7F, 0x9F},     {0x61C, 0x61C},   {0x200E, 0x200F},
    {0x2028, 0x202E}, {0x2066, 0x2069}, {0xFFFE, 0xFFFF},
};
constexpr CodeRange kCombining[] = {
    {0x300, 0x36F},   {0x483, 0x489},   {0x591, 0x5BD},   {0x610, 0x61A},   {0x64B, 0x65F},
    {0xE31, 0xE31},   {0xE34, 0xE3A},   {0xE47, 0xE4E},   {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF},
    {0x200B, 0x200D}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF},
};
constexpr CodeRange kWide[] = {
    {0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0xA4CF},   {0xA960, 0xA97F},
    {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF01, 0xFF60},
    {0xFFE0, 0xFFE6},   {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF},
    {0x20000, 0x3FFFD},
};

template <std::size_t kCount>
bool IsIn(const CodeRange (&ranges)[kCount], char32_t code) {
  return std::any_of(std::begin(ranges), std::end(ranges), [code](const CodeRange& range) {
    return code >= range.first && code <= range.last;
  });
}

// The character at that place, which moves past it; U+FFFD for a byte that is no UTF-8.
char32_t TakeCharacter(std::string_view text, std::size_t& at) {
  char32_t code = platform::kReplacementCharacter;
  if (!platform::TakeUtf8(text, at, code)) ++at;
  return code;
}

std::size_t CellsOf(char32_t code) {
  if (code < 0x80) return 1;
  return IsIn(kCombining, code) ? 0 : IsIn(kWide, code) ? 2 : 1;
}

// The bytes that fill at most so many cells.
std::size_t BytesOf(std::string_view text, std::size_t cells) {
  std::size_t bytes = 0;
  for (std::size_t next = 0; next < text.size(); bytes = next) {
    const std::size_t width = CellsOf(TakeCharacter(text, next));
    if (width > cells) break;
    cells -= width;
  }
  return bytes;
}

}  // namespace

std::string PlainText(std::string_view text) {
  std::string plain;
  plain.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const char32_t code = TakeCharacter(text, at);
    platform::AppendUtf8(plain, IsIn(kUnprintable, code) ? U' ' : code);
  }
  return plain;
}

std::size_t Width(std::string_view text) {
  std::size_t width = 0;
  for (std::size_t at = 0; at < text.size();) width += CellsOf(TakeCharacter(text, at));
  return width;
}

std::string Padded(std::string_view text, std::size_t width, bool left) {
  std::string shown(text.substr(0, BytesOf(text, width)));
  const std::string blanks(width - std::min(width, Width(shown)), ' ');
  return left ? blanks + shown : shown + blanks;
}

std::string Shortened(std::string_view text, std::size_t width) {
  if (Width(text) <= width) return std::string(text);
  return std::string(text.substr(0, BytesOf(text, std::max<std::size_t>(width, 1) - 1))) +
         "\xE2\x80\xA6";
}

std::vector<std::string> Wrapped(std::string text, std::size_t width, std::size_t indent) {
  indent = std::min(indent, width / 2);
  std::vector<std::string> lines;
  while (Width(text) > width) {
    std::size_t cut = std::max<std::size_t>(BytesOf(text, width), 1);
    if (text[cut] != ' ') {
      const std::size_t blank = text.find_last_of(' ', cut - 1);
      // A blank of the indentation is none between words.
      if (blank != std::string::npos && text.find_first_not_of(' ') < blank) cut = blank;
    }
    lines.push_back(text.substr(0, cut));
    const std::size_t next = text.find_first_not_of(' ', cut);
    if (next == std::string::npos) return lines;
    text = std::string(indent, ' ') + text.substr(next);
  }
  lines.push_back(std::move(text));
  return lines;
}

std::string EscapeMarkup(std::string_view text) {
  static constexpr std::string_view kSigns = "&<>\"'";
  static constexpr const char* kEscapes[] = {"&amp;", "&lt;", "&gt;", "&quot;", "&#39;"};
  std::string out;
  for (const char c : PlainText(text)) {
    const std::size_t sign = kSigns.find(c);
    if (sign == kSigns.npos) {
      out += c;
    } else {
      out += kEscapes[sign];
    }
  }
  return out;
}

}  // namespace orvspc::render
