// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/host/TemporaryFolder.h"

// The installed program as a user runs it: each run is a process of its own.
namespace orvspc::host {

struct Outcome {
  int status = -1;
  std::string out, err;
};

inline std::string Text(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

class ProgramTest : public testing::Test {
 protected:
  // With a file of the folder that goes in through a pipe, or nothing.
  Outcome Run(const std::string& arguments, const std::string& piped = "/dev/null") {
    const std::string line = "cd '" + folder_.Path() + "' && cat " + piped +
                             " | COLUMNS=120 '" ORVSPC_PROGRAM "' " + arguments + " >out 2>err";
    const int raw = std::system(line.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, Text(folder_.File("out")),
            Text(folder_.File("err"))};
  }

  void Write(const std::string& name, const std::string& text) {
    std::ofstream(folder_.File(name), std::ios::binary) << text;
  }

  bool Exists(const std::string& name) { return std::filesystem::exists(folder_.File(name)); }

  TemporaryFolder folder_;
};

}  // namespace orvspc::host
