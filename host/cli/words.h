// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/cli/Options.h"

// Options whose values are words for the values of an enumeration.
namespace orvspc::host {

template <class Type>
struct Word {
  const char* word;
  Type value;
};

// The first word stands for an option that was not given.
template <class Type, std::size_t kCount>
Type Chosen(const Arguments& arguments, const char* option, const Word<Type> (&words)[kCount]) {
  std::vector<std::string> all;
  for (const auto& word : words) all.emplace_back(word.word);
  const std::string chosen = arguments.Choice(option, all, all.front());
  for (const auto& word : words)
    if (chosen == word.word) return word.value;
  return words[0].value;
}

// The word of a value; its number when it has none.
template <class Type, std::size_t kCount>
std::string WordOf(const Word<Type> (&words)[kCount], Type value) {
  for (const auto& word : words)
    if (word.value == value) return word.word;
  return std::to_string(static_cast<std::int32_t>(value));
}

}  // namespace orvspc::host
