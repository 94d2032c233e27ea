// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/Utf8.h"

// The characters of XML 1.0.
namespace orvspc::engine::dom {

using platform::PutUtf8;
using platform::TakeUtf8;

inline bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Whether XML 1.0 allows the character at all.
bool IsCharacter(char32_t point);

// The length of the name that the text begins with; 0 if it begins with none.
std::size_t NameLength(std::string_view text);

enum class TextKind { kMalformed, kAscii, kUtf8 };

// Whether the text is UTF-8 and has only characters that XML allows.
TextKind Classify(std::string_view text);

}  // namespace orvspc::engine::dom
