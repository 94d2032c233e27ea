// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/PlainText.h"

#include <algorithm>
#include <iterator>
#include <utility>

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

struct Escape {
  char sign;
  const char* text;
};
constexpr Escape kEscapes[] = {
    {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&#39;"}};

template <std::size_t kCount>
bool IsIn(const CodeRange (&ranges)[kCount], char32_t code) {
  return std::any_of(std::begin(ranges), std::end(ranges), [code](const CodeRange& range) {
    return code >= range.first && code <= range.last;
  });
}

// The number of a well-formed sequence.
char32_t CodeOf(std::string_view sequence) {
  const auto first = static_cast<unsigned char>(sequence[0]);
  if (sequence.size() == 1) return first;
  auto code = static_cast<char32_t>(first & (0x7FU >> sequence.size()));
  for (const char c : sequence.substr(1))
    code = code << 6U | (static_cast<unsigned char>(c) & 0x3FU);
  return code;
}

// Takes one character off the text: its bytes and its cells. A byte that is no UTF-8 is one cell.
std::pair<std::string_view, std::size_t> NextCharacter(std::string_view& text) {
  const std::size_t length = std::max<std::size_t>(SequenceLength(text), 1);
  const std::string_view one = text.substr(0, length);
  text.remove_prefix(length);
  if (static_cast<unsigned char>(one[0]) < 0x80 || length == 1) return {one, 1};
  const char32_t code = CodeOf(one);
  return {one, IsIn(kCombining, code) ? 0 : IsIn(kWide, code) ? 2 : 1};
}

// The bytes that fill at most so many cells.
std::size_t BytesOf(std::string_view text, std::size_t cells) {
  std::string_view rest = text;
  std::size_t bytes = 0;
  while (!rest.empty()) {
    const auto [one, width] = NextCharacter(rest);
    if (width > cells) break;
    cells -= width;
    bytes += one.size();
  }
  return bytes;
}

}  // namespace

std::size_t SequenceLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  const std::size_t length = first < 0x80                    ? 1
                             : first >= 0xC2 && first < 0xE0 ? 2
                             : first >= 0xE0 && first < 0xF0 ? 3
                             : first >= 0xF0 && first < 0xF5 ? 4
                                                             : 0;
  if (length == 0 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i)
    if ((byte(i) & 0xC0U) != 0x80U) return 0;
  if (length < 3) return length;
  const bool overlong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xF0 && byte(1) < 0x90);
  const bool surrogate = first == 0xED && byte(1) >= 0xA0;
  const bool too_large = first == 0xF4 && byte(1) >= 0x90;
  return overlong || surrogate || too_large ? 0 : length;
}

std::string PlainText(std::string_view text) {
  std::string plain;
  plain.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = SequenceLength(text);
    const std::string_view one = text.substr(0, length == 0 ? 1 : length);
    if (length == 0) {
      plain += "\xEF\xBF\xBD";
    } else if (IsIn(kUnprintable, CodeOf(one))) {
      plain += ' ';
    } else {
      plain += one;
    }
    text.remove_prefix(one.size());
  }
  return plain;
}

std::size_t Width(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) width += NextCharacter(text).second;
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
  std::string out;
  for (const char c : PlainText(text)) {
    const auto* const found = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                           [c](const Escape& escape) { return escape.sign == c; });
    found == std::end(kEscapes) ? out += c : out += found->text;
  }
  return out;
}

}  // namespace orvspc::render
