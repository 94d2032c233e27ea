// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/texts.h"

#include <cstddef>

#include "platform/Utf8.h"

namespace orvspc::engine::sql {
namespace {

// ASCII without NUL.
bool IsPlain(char c) { return c != '\0' && static_cast<unsigned char>(c) < 0x80; }

}  // namespace

bool IsStorable(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    if (IsPlain(text[at])) {
      ++at;
      continue;
    }
    char32_t letter = 0;
    if (text[at] == '\0' || !platform::TakeUtf8(text, at, letter)) return false;
  }
  return true;
}

std::string Shown(std::string_view text) {
  constexpr std::size_t kMost = 60;  // characters
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string shown = "\"";
  std::size_t count = 0;
  for (std::size_t at = 0; at < text.size(); ++count) {
    if (count == kMost) {
      shown += "...";
      break;
    }
    const auto from = at;
    char32_t letter = 0;
    const bool is_letter = platform::TakeUtf8(text, at, letter);
    if (is_letter && letter >= U' ' && !(letter >= 0x7F && letter <= 0x9F)) {
      shown += text.substr(from, at - from);
      continue;
    }
    if (!is_letter) ++at;
    for (auto i = from; i < at; ++i) {
      const auto byte = static_cast<unsigned char>(text[i]);
      shown.append({'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]});
    }
  }
  return shown + "\"";
}

std::string NotStorable(std::string_view text) {
  return Shown(text) + " is not UTF-8 without NUL characters";
}

std::string MadeStorable(std::string_view text) {
  std::string made;
  for (std::size_t at = 0; at < text.size();) {
    char32_t letter = platform::kReplacementCharacter;
    if (!platform::TakeUtf8(text, at, letter)) ++at;
    platform::AppendUtf8(made, letter == 0 ? platform::kReplacementCharacter : letter);
  }
  return made;
}

}  // namespace orvspc::engine::sql
