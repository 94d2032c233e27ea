// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

// The characters of XML 1.0.
namespace orvspc::engine::dom {

inline bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Whether XML 1.0 allows the character at all.
bool IsCharacter(char32_t point);

// Takes one code point off the text at position at and moves behind it; false, and no move, where
// the bytes are no UTF-8.
bool TakeUtf8(std::string_view text, std::size_t& at, char32_t& point);

// Writes the code point, returns the end of it.
char* PutUtf8(char* out, char32_t point);

// The length of the name that the text begins with; 0 if it begins with none.
std::size_t NameLength(std::string_view text);

enum class TextKind { kMalformed, kAscii, kUtf8 };

// Whether the text is UTF-8 and has only characters that XML allows.
TextKind Classify(std::string_view text);

}  // namespace orvspc::engine::dom
