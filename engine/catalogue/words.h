// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "platform/Words.h"

// The words by which files and lists name enumerated values.
namespace orvspc::engine::catalogue {

using NamedValue = platform::Word;
using platform::kEventTypes;
using platform::kStateTypes;

// A to Z in lower case; the rest as it is.
inline std::string Lower(std::string_view text) {
  std::string lower(text);
  for (auto& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return lower;
}

}  // namespace orvspc::engine::catalogue
