// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "platform/embedded_file.h"

namespace orvspc::render {

// The files of assets/, compiled in by CMake.
std::span<const platform::EmbeddedFile> Assets();

// The text of one of them.
std::string_view Asset(std::string_view file);
// A style sheet in one line, "" for no file.
std::string StyleSheet(std::string_view file);

}  // namespace orvspc::render
