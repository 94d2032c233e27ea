// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <string_view>

// A file that was compiled into the program by orvspc_embed (cmake/Embed.cmake).
namespace orvspc::platform {

struct EmbeddedFile {
  std::string_view file;  // its name without the folder
  std::string_view text;
};

}  // namespace orvspc::platform
