// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orvspc::render {

// Length of the well-formed UTF-8 sequence at the start of text, 0 if there is none. text is not
// empty.
std::size_t SequenceLength(std::string_view text);

// Names, comments and rule texts come out of files of others: before they reach a terminal, a pipe
// or a picture every control character (also DEL and those of U+0080 to U+009F), U+FFFE and U+FFFF
// is a blank here, and each byte that is no UTF-8 is U+FFFD.
std::string PlainText(std::string_view text);

}  // namespace orvspc::render
