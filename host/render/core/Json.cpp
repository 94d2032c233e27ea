// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Json.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>

#include "platform/NaN.h"
#include "platform/Utf8.h"

namespace orvspc::render {

namespace {

void AppendQuoted(std::string& out, std::string_view text) {
  constexpr std::u32string_view kEscaped = U"\"\\\n\t\r";
  constexpr std::string_view kLetters = "\"\\ntr";
  out += '"';
  for (std::size_t at = 0; at < text.size();) {
    char32_t code = platform::kReplacementCharacter;
    if (!platform::TakeUtf8(text, at, code)) ++at;
    if (const std::size_t place = kEscaped.find(code); place != kEscaped.npos) {
      out += '\\';
      out += kLetters[place];
    } else if (code < 0x20 || (code >= 0x7F && code < 0xA0)) {  // a terminal might obey it
      out += fmt::format("\\u{:04x}", static_cast<unsigned>(code));
    } else {
      platform::AppendUtf8(out, code);
    }
  }
  out += '"';
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
  AppendQuoted(out_, key);
  out_ += ": ";
  after_key_ = true;
}

void JsonWriter::Raw(std::string_view text) {
  Separate();
  out_ += text;
}

void JsonWriter::Value(double value) {
  if (!std::isfinite(value)) return Null();
  char buffer[40];
  Raw({buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr});
}

void JsonWriter::Value(std::string_view value) {
  Separate();
  AppendQuoted(out_, value);
}

void WriteEstimate(JsonWriter& json, const char* key, const Estimate& estimate) {
  // No constant goes into a mean, and none is single where sizes differ.
  const double constant = estimate.constant == 0.0 ? platform::kNaN : estimate.constant;
  json.Key(key);
  json.BeginObject(true);
  json.Members("Value", estimate.value, "Estimator", estimate.name, "Constant", constant, "Used",
               estimate.used, "LeastSize", estimate.least_size, "LargestSize",
               estimate.largest_size);
  json.EndObject();
}

void WriteNotes(JsonWriter& json, const std::vector<Note>& notes) {
  json.Objects("Notes", notes, [&](const Note& note) {
    json.Members("Code", note.code, "Text", note.text, "Stream", note.stream);
  });
}

}  // namespace orvspc::render
