// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Markup.h"

#include "host/render/core/PlainText.h"

namespace orvspc::render {

std::string EscapeMarkup(std::string_view text) {
  std::string out;
  for (const char c : PlainText(text)) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

}  // namespace orvspc::render
