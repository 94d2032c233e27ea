// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

// Conversions of text. Lengths and cuts count UTF-16 units; every conversion is total.
namespace orvspc::platform {

// A lone surrogate becomes U+FFFD.
std::string ToUtf8(std::u16string_view text);

// Ill-formed bytes become U+FFFD.
std::u16string ToUtf16(std::string_view text);

// Fills a fixed field from the left, cuts what is too long, fills the rest with blanks.
void StoreFixedText(std::span<char16_t> field, std::string_view text);

// The whole field with its padding.
std::string FixedTextToUtf8(std::span<const char16_t> field);

// The text up to the first NUL, without trailing blanks.
std::u16string_view TrimFixedText(std::u16string_view text);

// Between a fixed field of UTF-16 and one of the 8-bit code page (Windows-1252) of the same length,
// unit for unit, padding and NULs included. A unit that the page lacks becomes a question mark.
void To8Bit(std::span<const char16_t> from, std::span<char> to);
void From8Bit(std::span<const char> from, std::span<char16_t> to);

}  // namespace orvspc::platform
