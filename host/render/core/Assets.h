// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <span>
#include <string>
#include <string_view>

#include "platform/embedded_file.h"

namespace orvspc::render {

// The files of assets/, compiled in by CMake.
std::span<const platform::EmbeddedFile> Assets();

// The text of one of them, "" for no file.
inline std::string_view Asset(std::string_view file) {
  const auto found = std::ranges::find(Assets(), file, &platform::EmbeddedFile::file);
  return found == Assets().end() ? std::string_view() : found->text;
}

// A style sheet in one line.
inline std::string StyleSheet(std::string_view file) {
  std::string text(Asset(file));
  std::erase(text, '\n');
  return text;
}

}  // namespace orvspc::render
