// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

// Texts that people type. What is stored of them, every database can hold; so a file can go to a
// server.
namespace orvspc::engine::log {

// Whether it is a name: 1 to 255 bytes of UTF-8, not blanks alone, without control characters and
// those that turn the direction of a line or break it.
bool IsName(std::string_view text);

// Whether it is UTF-8 without control characters other than tabulators and ends of lines.
bool IsText(std::string_view text);

inline constexpr std::size_t kMaxComment = 4000;  // characters

// Without blanks and ends of lines before and after it.
std::string_view Trimmed(std::string_view text);

// Of UTF-8.
std::size_t CharactersOf(std::string_view text);

// Throw Refused, whose text begins with the field.
//   NeedName  code "name": it is no name
//   NeedText  code "text": it is no text; an empty one passes
void NeedName(std::string_view field, std::string_view name);
void NeedText(std::string_view field, std::string_view text);

}  // namespace orvspc::engine::log
