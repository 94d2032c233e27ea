// SPDX-License-Identifier: Apache-2.0
#include "engine/catalogue/words.h"

namespace orvspc::engine::catalogue {

std::string Lower(std::string_view text) {
  std::string result(text);
  for (auto& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

}  // namespace orvspc::engine::catalogue
