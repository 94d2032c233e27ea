// SPDX-License-Identifier: Apache-2.0
#include "host/render/Json.h"

#include <charconv>
#include <cmath>

namespace orvspc::host {

namespace {

// Length of the well-formed UTF-8 sequence at the start of text, 0 if there is none.
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

void AppendEscaped(std::string& out, std::string_view text) {
  constexpr char kDigits[] = "0123456789abcdef";
  while (!text.empty()) {
    const std::size_t length = SequenceLength(text);
    const auto c = static_cast<unsigned char>(text.front());
    if (length == 0) {
      out += "\xEF\xBF\xBD";
      text.remove_prefix(1);
      continue;
    }
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c == '\r') {
      out += "\\r";
    } else if (c < 0x20 || c == 0x7F) {
      out += "\\u00";
      out += kDigits[c >> 4U];
      out += kDigits[c & 15U];
    } else {
      out += text.substr(0, length);
    }
    text.remove_prefix(length);
  }
}

}  // namespace

void JsonWriter::NewLine() {
  out_ += '\n';
  out_.append(2 * levels_.size(), ' ');
}

void JsonWriter::Separate() {
  if (after_key_) {
    after_key_ = false;
    return;
  }
  if (levels_.empty()) return;
  Level& level = levels_.back();
  if (!level.empty) out_ += level.compact ? ", " : ",";
  if (!level.compact) NewLine();
  level.empty = false;
}

void JsonWriter::Open(char bracket, bool compact) {
  Separate();
  out_ += bracket;
  levels_.push_back({compact || (!levels_.empty() && levels_.back().compact), true});
}

void JsonWriter::Close(char bracket) {
  const Level level = levels_.back();
  levels_.pop_back();
  if (!level.empty && !level.compact) NewLine();
  out_ += bracket;
}

void JsonWriter::Key(std::string_view key) {
  Separate();
  out_ += '"';
  AppendEscaped(out_, key);
  out_ += "\": ";
  after_key_ = true;
}

void JsonWriter::Raw(std::string_view text) {
  Separate();
  out_ += text;
}

void JsonWriter::Value(double value) {
  if (!std::isfinite(value)) return Null();
  char buffer[40];
  const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
  Raw(error == std::errc() ? std::string_view(buffer, static_cast<std::size_t>(end - buffer))
                           : std::string_view("null"));
}

void JsonWriter::Value(std::string_view value) {
  Separate();
  out_ += '"';
  AppendEscaped(out_, value);
  out_ += '"';
}

}  // namespace orvspc::host
