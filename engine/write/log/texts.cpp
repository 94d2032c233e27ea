// SPDX-License-Identifier: Apache-2.0
#include "engine/write/log/texts.h"

#include <algorithm>
#include <cstddef>
#include <string>

#include "engine/sql/texts.h"
#include "platform/Actor.h"
#include "platform/Utf8.h"

namespace orvspc::engine::log {
namespace {

[[noreturn]] void Refuse(const char* code, std::string_view field, std::string_view value,
                         const std::string& reason) {
  throw Refused(code, std::string(field), std::string(value), std::string(field) + ": " + reason);
}

}  // namespace

bool IsName(std::string_view text) {
  constexpr std::size_t kMaxBytes = 255;
  if (Trimmed(text).empty() || text.size() > kMaxBytes) return false;
  for (std::size_t at = 0; at < text.size();) {
    char32_t letter = 0;
    if (!platform::TakeUtf8(text, at, letter)) return false;
    const bool is_control = letter < U' ' || (letter >= 0x7F && letter <= 0x9F);
    const bool breaks = letter == 0x2028 || letter == 0x2029;
    const bool turns =
        (letter >= 0x202A && letter <= 0x202E) || (letter >= 0x2066 && letter <= 0x2069);
    if (is_control || breaks || turns) return false;
  }
  return true;
}

bool IsText(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    char32_t letter = 0;
    if (!platform::TakeUtf8(text, at, letter)) return false;
    if (letter < U' ' && letter != U'\n' && letter != U'\t' && letter != U'\r') return false;
  }
  return true;
}

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

std::size_t CharactersOf(std::string_view text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char c) { return (c & '\xC0') != '\x80'; }));
}

void NeedName(std::string_view field, std::string_view name) {
  if (IsName(name)) return;
  const bool is_blank = !name.empty() && name.find_first_not_of(' ') == name.npos;
  Refuse("name", field, name,
         is_blank ? "must not be blanks alone"
                  : "must be 1 to 255 bytes of text without control characters");
}

void NeedText(std::string_view field, std::string_view text) {
  if (IsText(text)) return;
  Refuse("text", field, text,
         sql::Shown(text) + " is not text; it takes UTF-8 without control characters");
}

}  // namespace orvspc::engine::log
