// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

// The two forms of one XML text.
namespace orvspc::windows::msxml {

// Whether a text can be handed to msxml3 as it is: UTF-8 without a NUL, which would end it there,
// without a document type, whose entities would be expanded, and with elements of bounded depth.
bool IsReadable(std::string_view text);

// The value of an attribute as it can be written: control characters other than tab, line feed and
// carriage return, U+FFFE and U+FFFF become blanks.
std::u16string Writable(std::string_view text);

// What msxml3 wrote in the one form of the library: no line breaks and blanks between two tags and
// at the end, no reference of a character beyond ASCII, tab and ends of lines in the values of
// attributes as &#9; &#10; &#13;. Comments, CDATA and processing instructions stay as they are.
std::string OneForm(std::u16string_view units);

}  // namespace orvspc::windows::msxml
