// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <string_view>

#include "tests/host/StoreFolder.h"
#include "tests/host/program_path.h"

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
  // With a file of the folder that goes in through a pipe, or nothing. A sanitizer's search for
  // leaks takes as long as all else that a process does; tests that call the same code themselves
  // have it.
  Outcome Run(const std::string& arguments, const std::string& piped = "/dev/null") {
    std::map<std::string, std::string> addresses;
    const std::string line = "cd '" + folder_.Path() + "' && cat " + piped +
                             " | ASAN_OPTIONS=detect_leaks=0 ORVSPC_HOOKS= COLUMNS=120 '" +
                             ProgramPath() + "' " + WithAddresses(arguments, addresses) +
                             " >out 2>err";
    const int raw = std::system(line.c_str());
    Outcome outcome{WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, Text(folder_.File("out")),
                    Text(folder_.File("err"))};
    for (const auto& [address, name] : addresses) {
      for (auto* const text : {&outcome.out, &outcome.err}) {
        for (auto at = text->find(address); at != text->npos; at = text->find(address, at)) {
          text->replace(at, address.size(), name);
        }
      }
    }
    return outcome;
  }

  void Write(const std::string& name, const std::string& text) {
    std::ofstream(folder_.File(name), std::ios::binary) << text;
  }

  // On a server, the databases of the options --db and --to are named by their addresses.
  std::string WithAddresses(std::string arguments, std::map<std::string, std::string>& addresses) {
    for (const std::string_view option : {"--db ", "--to "}) {
      for (auto at = arguments.find(option); tests::OnServer() && at != arguments.npos;
           at = arguments.find(option, at + 1)) {
        const auto from = at + option.size();
        const auto name = arguments.substr(from, arguments.find(' ', from) - from);
        // Those in a folder are of the demo, which makes files.
        if (!name.ends_with(".db") || name.find('/') != name.npos) continue;
        const auto address = folder_.Store(name);
        addresses[address] = name;
        arguments.replace(from, name.size(), "'" + address + "'");
      }
    }
    return arguments;
  }

  bool Exists(const std::string& name) { return std::filesystem::exists(folder_.File(name)); }

  StoreFolder folder_;
};

}  // namespace orvspc::host
