// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/PlainText.h"

namespace orvspc::render {

std::size_t SequenceLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  const std::size_t length = first < 0x80                    ? 1
                             : first >= 0xC2 && first < 0xE0 ? 2
                             : first >= 0xE0 && first < 0xF0 ? 3
                             : first >= 0xF0 && first < 0xF5 ? 4
                                                             : 0;
  if (length == 0 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i)
    if ((byte(i) & 0xC0U) != 0x80U) return 0;
  if (length < 3) return length;
  const bool overlong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xF0 && byte(1) < 0x90);
  const bool surrogate = first == 0xED && byte(1) >= 0xA0;
  const bool too_large = first == 0xF4 && byte(1) >= 0x90;
  return overlong || surrogate || too_large ? 0 : length;
}

std::string PlainText(std::string_view text) {
  std::string plain;
  plain.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = SequenceLength(text);
    const std::string_view one = text.substr(0, length == 0 ? 1 : length);
    const auto first = static_cast<unsigned char>(one[0]);
    const bool control =
        (length == 1 && (first < 0x20 || first == 0x7F)) ||
        (length == 2 && first == 0xC2 && static_cast<unsigned char>(one[1]) < 0xA0) ||
        one == "\xEF\xBF\xBE" || one == "\xEF\xBF\xBF";
    if (length == 0) {
      plain += "\xEF\xBF\xBD";
    } else if (control) {
      plain += ' ';
    } else {
      plain += one;
    }
    text.remove_prefix(one.size());
  }
  return plain;
}

}  // namespace orvspc::render
