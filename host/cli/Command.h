// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "host/cli/Console.h"
#include "host/cli/Options.h"
#include "host/render/core/Text.h"

namespace orvspc::cli {

// One subcommand. run returns the exit status and throws whatever goes wrong.
struct Command {
  const char* name;
  const char* synopsis;  // what follows "orvspc NAME"
  const char* summary;   // one line
  std::string details;   // one paragraph a line, for --help; may be empty
  const char* example;
  std::vector<Option> options;
  int (*run)(const Arguments&, Console&);
  std::size_t max_positional = 0;
  // What --help adds about the options given; may be null.
  void (*help)(const Arguments&, render::TextWriter&) = nullptr;
};

Command ImportCommand();
Command ListCommand();
Command ChartCommand();
Command CapabilityCommand();
Command ParetoCommand();
Command DataCommand();
Command EventsCommand();
Command StatesCommand();
Command ComplianceCommand();
Command ShowCommand();
Command SetCommand();
Command DemoCommand();

inline constexpr Option kDatabase{"db", "FILE", "the quality database"};

// Options of several lists one after the other.
template <class... Lists>
std::vector<Option> Together(const Lists&... lists) {
  std::vector<Option> all;
  (all.insert(all.end(), std::begin(lists), std::end(lists)), ...);
  return all;
}

}  // namespace orvspc::cli
