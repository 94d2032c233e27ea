// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Texts of people in UTF-8: what may be shown of them, and how many cells of a terminal they fill.
namespace orvspc::render {

// Names, comments and rule texts come out of files of others, so nothing of them may steer a
// terminal, a pipe or a picture. A blank replaces each
// - control character, also DEL and those of U+0080 to U+009F,
// - line or paragraph separator, U+2028 and U+2029,
// - sign that changes the direction of writing: U+061C, U+200E and U+200F, U+202A to U+202E,
//   U+2066 to U+2069,
// - U+FFFE and U+FFFF;
// U+FFFD replaces each byte that is no UTF-8.
std::string PlainText(std::string_view text);

// Cells of a plain text: wide characters of East Asia take two, combining ones none.
std::size_t Width(std::string_view text);
// text, cut or filled with blanks on the right (left: false) to width cells
std::string Padded(std::string_view text, std::size_t width, bool left = false);
// text, cut with an ellipsis where it is wider
std::string Shortened(std::string_view text, std::size_t width);

// text in lines of so many cells, all but the first one indented. Broken at blanks, and inside a
// word that is longer than a line.
std::vector<std::string> Wrapped(std::string text, std::size_t width, std::size_t indent = 0);

// Text with the five characters of markup escaped, and what PlainText takes out as blanks.
std::string EscapeMarkup(std::string_view text);

}  // namespace orvspc::render
