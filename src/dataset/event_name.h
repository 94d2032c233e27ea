// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <span>
#include <string>

#include "frame/Outside.h"
#include "platform/FixedText.h"

namespace orvspc {

// The text of a fixed field without its padding. Deliberate: reading writes the field back, the
// text at its left and blanks behind it, whatever the padding was.
inline std::string TrimName(std::span<char16_t> field) {
  std::u16string text(field.begin(), field.end());
  TrimFixedString(text);
  const std::size_t kept = std::min(text.size(), field.size());
  std::copy_n(text.begin(), kept, field.begin());
  std::fill(field.begin() + static_cast<std::ptrdiff_t>(kept), field.end(), u' ');
  return platform::ToUtf8(text);
}

}  // namespace orvspc
