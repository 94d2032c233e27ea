// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Json.h"

#include <charconv>
#include <cmath>
#include <optional>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

// The number of a control character, which a terminal might obey.
std::optional<unsigned> ControlOf(std::string_view one) {
  const auto first = static_cast<unsigned char>(one[0]);
  if (one.size() == 1 && (first < 0x20 || first == 0x7F)) return first;
  if (one.size() != 2 || first != 0xC2) return std::nullopt;
  const auto second = static_cast<unsigned char>(one[1]);
  return second < 0xA0 ? std::optional<unsigned>(second) : std::nullopt;
}

void AppendEscaped(std::string& out, std::string_view text) {
  constexpr char kDigits[] = "0123456789abcdef";
  constexpr std::string_view kEscaped = "\"\\\n\t\r", kLetters = "\"\\ntr";
  while (!text.empty()) {
    const std::size_t length = SequenceLength(text);
    if (length == 0) {
      out += "\xEF\xBF\xBD";
      text.remove_prefix(1);
      continue;
    }
    if (const std::size_t place = kEscaped.find(text.front()); place != kEscaped.npos) {
      out += '\\';
      out += kLetters[place];
    } else if (const auto control = ControlOf(text.substr(0, length))) {
      out += "\\u00";
      out += kDigits[*control >> 4U];
      out += kDigits[*control & 15U];
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

void WriteEstimate(JsonWriter& json, const char* key, const Estimate& estimate) {
  // No constant goes into a mean, and none is single where sizes differ.
  const double constant = estimate.constant == 0.0 ? kNaN : estimate.constant;
  json.Object(
      key,
      [&] {
        json.Members("Value", estimate.value, "Estimator", estimate.name, "Constant", constant,
                     "Used", estimate.used, "LeastSize", estimate.least_size, "LargestSize",
                     estimate.largest_size);
      },
      true);
}

void WriteNotes(JsonWriter& json, const std::vector<Note>& notes) {
  json.Objects("Notes", notes, [&](const Note& note) {
    json.Members("Code", note.code, "Text", note.text, "Stream", note.stream);
  });
}

}  // namespace orvspc::render
