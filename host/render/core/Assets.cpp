// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Assets.h"

#include <algorithm>

namespace orvspc::render {

std::string_view Asset(std::string_view file) {
  const auto assets = Assets();
  const auto found = std::find_if(assets.begin(), assets.end(),
                                  [file](const auto& asset) { return asset.file == file; });
  return found == assets.end() ? std::string_view() : found->text;
}

std::string StyleSheet(std::string_view file) {
  std::string text(Asset(file));
  std::erase(text, '\n');
  return text;
}

}  // namespace orvspc::render
