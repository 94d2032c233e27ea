// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

#include "engine/QualityDatabase.h"
#include "host/cli/Options.h"
#include "host/render/core/Text.h"

// The commands, and the program as a function, so that tests can run it in their own process.
namespace orvspc::cli {

// Where a program writes, and how wide that is.
struct Console {
  std::ostream& out;
  std::ostream& err;
  bool out_is_terminal = false;
  bool err_is_terminal = false;
  std::size_t columns = 80;
  bool has_progress = false;  // a line of it is shown on err
};

// words: the command line without the program's name. Exit status: 0 done, 1 failed, 2 misused;
// with --exit-code 3 an alarm, 4 nothing selected.
// Nothing is thrown; a failure is one line on err.
int RunProgram(const std::vector<std::string>& words, Console& console);

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
  // Of a command that may open, change or close alarms, or find missed samples: whether it may have
  // done so with these arguments, so that hooks are called. It has the option --hooks. May be null.
  bool (*tells_hooks)(const Arguments&) = nullptr;
};
inline bool Always(const Arguments& /*arguments*/) { return true; }

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
Command CopyCommand();
Command BackupCommand();
Command CheckCommand();
Command CheckSamplesCommand();
Command SetCommand();
Command PhaseCommand();
Command EditCommand();
Command ImportsCommand();
Command LimitsCommand();
Command CommentCommand();
Command LogCommand();
Command RecordCommand();
Command AlarmCommand();
Command DeliverCommand();
Command DemoCommand();

inline constexpr Option kDatabase{"db", "FILE", "the quality database"};

// Who changes something, and why: options of every command that does.
inline constexpr Option kBy{"by", "NAME", "who does it; an employee",
                            "$ORVSPC_USER, then the login"};
inline constexpr Option kStation{"station", "TEXT", "where it is done, for the log"};
inline constexpr Option kReason{"reason", "TEXT", "why, in 3 to 500 characters, for the log"};
Actor ActorOf(const Arguments& arguments);
std::string ReasonOf(const Arguments& arguments);

// The version that was seen, and a trial: options of commands that change what is stored.
inline constexpr Option kExpect{
    "expect", "VERSION", "refuse it unless this is still the latest entry of the log about it"};
inline constexpr Option kDryRun{"dry-run", nullptr, "say what would be done, and do nothing"};
ChangeOptions ChangeOptionsOf(const Arguments& arguments);

// What takes --expect, and what the version is one of. Its other verbs refuse the option.
struct Versioned {
  std::string_view command, verb;  // verb: empty where a command has none
  const char* of;
};
inline constexpr Versioned kVersioned[] = {
    {"edit", "flag", "the record; the newest one, where all of a subgroup change"},
    {"edit", "value", "the record"},
    {"edit", "subgroup", "the record; the newest one, where all of a subgroup change"},
    {"edit", "delete", "the record; the newest one, where all of a subgroup change"},
    {"edit", "restore", "the record that comes back"},
    {"edit", "rename", "the item"},
    {"edit", "merge", "the item that gives way"},
    {"edit", "deactivate", "the item"},
    {"edit", "activate", "the item"},
    {"edit", "undo-import", "the import"},
    {"comment", "add", "the record that it is about, or the newest one of the subgroup"},
    {"comment", "edit", "the comment"},
    {"comment", "remove", "the comment"},
    {"limits", "approve", "the row of limits"},
    {"limits", "reject", "the row of limits"},
    {"limits", "retire", "the row of limits"},
    {"limits", "void", "the row of limits"},
    {"alarm", "ack", "the alarm"},
    {"alarm", "close", "the alarm"},
    {"alarm", "reopen", "the alarm"},
    {"phase", "end", "the phase"},
    {"phase", "remove", "the phase"},
    {"set", "", "the setting"}};

// Which subgroup: options beside "#4711".
inline constexpr Option kAt{"at", "TIME", "the time of the subgroup"};
inline constexpr Option kAll{"all", nullptr, "all subgroups that fit, where several do"};

// Several lists one after the other: options, words of a command line.
template <class First, class... More>
auto Together(const First& first, const More&... more) {
  std::vector all(std::begin(first), std::end(first));
  (all.insert(all.end(), std::begin(more), std::end(more)), ...);
  return all;
}

}  // namespace orvspc::cli
