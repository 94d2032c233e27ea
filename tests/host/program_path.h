// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>

namespace orvspc::host {

// The program that was built with the tests that run, and so with what they were linked with.
inline const std::string& ProgramPath() {
  static const std::string path =
      (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "orvspc").string();
  return path;
}

}  // namespace orvspc::host
