// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "host/cli/Command.h"

// Hooks: who outside is told of what commands store.
namespace orvspc::cli {

inline constexpr Option kHooks{"hooks", "FILE", "who is told of alarms, see docs/how-to/alarms.md",
                               "$ORVSPC_HOOKS, else /etc/orvspc and your own folder"};

// Files of hooks: that of --hooks or of $ORVSPC_HOOKS; without these the system's and the user's
// own, as far as they are there.
std::vector<std::string> HookFiles(const Arguments& arguments);
// What these files say; a hook of the user's own replaces one of the system of the same name.
std::vector<Hook> HooksOf(const Arguments& arguments);

// "maintenance: 3 waiting, last error: connection refused"
std::string OpenText(const HookReport& report);

// Tells hooks of what a command has just stored. Nothing that goes wrong is a failure of the
// command: it is a note, and "orvspc deliver" tries again.
class Teller {
 public:
  Teller(const Arguments& arguments, Console& console);
  // Takes 2 s at most, and is left out for 10 s after something went wrong.
  void Tell(QualityDatabase& database);
  void Tell(const std::string& path);

 private:
  // With a function that gives the database.
  template <class Opening>
  void TellOf(const Opening& open);
  using Clock = std::chrono::steady_clock;
  void Complain(const std::string& text);

  Console& console_;
  std::vector<Hook> hooks_;
  std::optional<Clock::time_point> failed_;
  std::string complaint_;  // the last one, which is made once
};

}  // namespace orvspc::cli
