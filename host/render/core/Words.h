// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Words.h"

// Words of command lines and documents for the values of an enumeration: one table for both ways.
namespace orvspc::render {

using platform::Word;
using WordTable = std::span<const Word>;

// The first word of a value; empty when it has none.
inline std::string WordOf(WordTable words, std::int32_t value) {
  for (const auto& word : words)
    if (word.value == value) return std::string(word.word);
  return {};
}

// The word of a value, else its number behind the prefix.
inline std::string WordOrNumber(WordTable words, std::int32_t value, const char* prefix = "") {
  const std::string word = WordOf(words, value);
  return word.empty() ? prefix + std::to_string(value) : word;
}

// Empty for an unknown word.
inline std::optional<std::int32_t> ValueOf(WordTable words, std::string_view text) {
  for (const auto& word : words)
    if (word.word == text) return word.value;
  return std::nullopt;
}

// The first word of each value. Further words of the same value follow it in the table.
inline std::vector<std::string> ListOf(WordTable words) {
  std::vector<std::string> list;
  for (std::size_t i = 0; i < words.size(); ++i)
    if (i == 0 || words[i].value != words[i - 1].value) list.emplace_back(words[i].word);
  return list;
}

}  // namespace orvspc::render
