// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace orvspc::render {

// Text with the five characters of markup escaped, and what PlainText takes out as blanks.
std::string EscapeMarkup(std::string_view text);

}  // namespace orvspc::render
