// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <new>
#include <optional>
#include <sstream>
#include <utility>

#include "engine/Embedded.h"
#include "engine/QualityDatabase.h"
#include "frame/Failure.h"
#include "host/cli/Analysis.h"
#include "host/cli/Hooks.h"
#include "host/cli/Output.h"
#include "host/cli/build_info.h"
#include "host/cli/study/Study.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "platform/ExternalFailure.h"
#include "system/system.h"

namespace orvspc::cli {

namespace {

constexpr Command (*kCommands[])() = {
    ImportCommand,  ListCommand,    ChartCommand,   CapabilityCommand,   ParetoCommand,
    DataCommand,    EventsCommand,  StatesCommand,  ComplianceCommand,   ShowCommand,
    CopyCommand,    BackupCommand,  CheckCommand,   SetCommand,          EditCommand,
    CommentCommand, ImportsCommand, LogCommand,     PhaseCommand,        LimitsCommand,
    RecordCommand,  AlarmCommand,   DeliverCommand, CheckSamplesCommand, DemoCommand};

constexpr Option kHelp{"help", nullptr, "this text"};
constexpr std::string_view kStudy = "study";
constexpr const char* kStudies =
    "What engineers ask beyond the basic charts: \"orvspc study\" lists them";

std::string Overview(const Console& console) {
  render::TextWriter text({console.columns});
  text.Line("orvspc: statistical process control on a file");
  text.Blank();
  text.Line("usage: orvspc COMMAND [OPTIONS]");
  text.Blank();
  constexpr std::size_t kName = 15;  // of check-samples, and room
  for (const auto& make : kCommands) {
    const Command command = make();
    text.Line("  " + render::Padded(command.name, kName) + command.summary, kName + 2);
  }
  text.Line("  " + render::Padded("study", kName) + kStudies, kName + 2);
  text.Blank();
  text.Line("\"orvspc COMMAND --help\" shows more, \"orvspc --version\" what this build is.", 0);
  text.Line(
      "Exit status: 0 done, 1 failed, 2 misused; with --exit-code 3 an alarm, 4 nothing selected.");
  text.Line("For a first look: orvspc demo");
  return text.Take();
}

std::string VersionText(const Console& console) {
  render::TextWriter text({console.columns});
  text.Line(std::string("orvspc ") + build::kVersion);
  for (const auto& [name, value] : {std::pair{"commit", build::kCommit},
                                    {"schema", build::kSchema},
                                    {"compiler", build::kCompiler},
                                    {"built in", build::kBuiltIn}})
    text.Line(render::Padded(name, 10) + value, 10);
  return text.Take();
}

std::string Help(const Command& command, const Arguments& arguments, std::size_t columns) {
  render::TextWriter text({columns});
  text.Line(std::string("usage: orvspc ") + command.name + " " + command.synopsis);
  text.Blank();
  text.Line(command.summary, 0);
  if (!command.details.empty()) text.Blank();
  std::istringstream details(command.details);
  for (std::string line; std::getline(details, line);) {
    // Below its first word, or where there are two columns below the second one.
    const auto start = line.find_first_not_of(' ');
    const auto gap = line.find("  ", start);
    text.Line(line, gap == std::string::npos ? start : line.find_first_not_of(' ', gap));
  }
  render::TextWriter more({columns});
  if (command.help != nullptr) command.help(arguments, more);
  more.Blank();
  more.Line("example:");
  // Broken as a shell takes it, so that it can still be copied: never inside quotes.
  const std::string continued = {' ', system::ShellContinuation()};
  constexpr char kQuotedBlank = '\x1f';
  std::string example = std::string("  ") + command.example;
  bool quoted = false;
  for (char& c : example) {
    if (c == '"') quoted = !quoted;
    if (c == ' ' && quoted) c = kQuotedBlank;
  }
  auto lines = render::Wrapped(example, more.Columns() - continued.size(), 6);
  for (auto& line : lines) {
    std::ranges::replace(line, kQuotedBlank, ' ');
    more.Line(&line == &lines.back() ? line : line + continued);
  }
  return text.Take() + "\n" + DescribeOptions(command.options, columns) + more.Take();
}

void CheckExpect(const Command& command, const Arguments& arguments) {
  const auto& words = arguments.Positional();
  if (words.empty() || !arguments.Has(kExpect)) return;
  for (const auto& each : kVersioned) {
    if (each.command == command.name && (each.verb.empty() || each.verb == words[0])) return;
  }
  throw Misuse("--expect does not go with \"" + std::string(command.name) + " " + words[0] + "\"");
}

// words: what follows the name of the command.
int RunCommand(Command command, std::span<const std::string> words, Console& console) {
  command.options.push_back(kHelp);
  if (command.tells_hooks != nullptr) command.options.push_back(kHooks);
  const Arguments arguments = ParseArguments(words, command.options);
  if (arguments.Has(kHelp)) {
    console.out << Help(command, arguments, console.columns);
    return 0;
  }
  const auto& positional = arguments.Positional();
  if (positional.size() > command.max_positional)
    throw Misuse("\"" + positional[command.max_positional] + "\" is one word too many");
  CheckOutput(arguments);
  CheckExpect(command, arguments);
  const int status = command.run(arguments, console);
  if (command.tells_hooks != nullptr && command.tells_hooks(arguments) && !arguments.Has(kDryRun)) {
    Teller(arguments, console).Tell(arguments.Required(kDatabase));
  }
  return status;
}

std::string StudiesOverview(const Console& console) {
  render::TextWriter text({console.columns});
  text.Line("usage: orvspc study WORD [OPTIONS]");
  text.Blank();
  for (const auto& command : StudyCommands()) {
    const auto word = std::string(command.name).substr(kStudy.size() + 1);
    text.Line("  " + render::Padded(word, 12) + command.summary, 14);
  }
  text.Blank();
  text.Line("\"orvspc study WORD --help\" shows more.", 0);
  return text.Take();
}

// words: what follows "study".
int DispatchStudy(std::span<const std::string> words, Console& console) {
  if (words.empty() || words[0] == "--help") {
    (words.empty() ? console.err : console.out) << StudiesOverview(console);
    return words.empty() ? 2 : 0;
  }
  std::vector<std::string> names;
  for (auto& command : StudyCommands()) {
    names.push_back(std::string(command.name).substr(kStudy.size() + 1));
    if (names.back() == words[0]) return RunCommand(std::move(command), words.subspan(1), console);
  }
  throw Misuse("there is no study \"" + words[0] + "\", only " + Joined(names));
}

int Dispatch(const std::vector<std::string>& words, Console& console) {
  if (words.empty()) {
    console.err << Overview(console);
    return 2;
  }
  if (words[0] == "--help" || words[0] == "-h" || words[0] == "help") {
    console.out << Overview(console);
    return 0;
  }
  if (words[0] == "--version") {
    console.out << VersionText(console);
    return 0;
  }
  const auto rest = std::span(words).subspan(1);
  if (words[0] == kStudy) return DispatchStudy(rest, console);
  std::vector<std::string> names;
  for (const auto& make : kCommands) {
    Command command = make();
    if (command.name == words[0]) return RunCommand(std::move(command), rest, console);
    names.emplace_back(command.name);
  }
  throw Misuse("there is no command \"" + words[0] + "\", only " + Joined(names));
}

// A line on a terminal while a file of an older release is brought forward, by this program or by
// another one, which shows after a second.
std::function<void(const std::string&, int)> UpgradeLine(Console& console) {
  if (!console.err_is_terminal) return {};
  using Clock = std::chrono::steady_clock;
  return [&console, since = std::optional<Clock::time_point>(), shown = std::int64_t{0}](
             const std::string& file, int percent) mutable {
    const auto path = WithoutPasswords(file);
    if (percent >= 0) {
      since.reset();
      shown = 0;
      ShowProgress(console, percent == 100
                                ? ""
                                : path + " is brought forward: " + std::to_string(percent) + " %");
      return;
    }
    const auto now = Clock::now();
    if (!since) since = now;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - *since).count();
    if (std::exchange(shown, seconds) == seconds) return;
    ShowProgress(console, "waiting for another program that has locked " + path + ": " +
                              std::to_string(seconds) + " s");
  };
}

// A text that may quote words of the command line, without the passwords in them.
std::string WithoutPasswordsOf(const std::vector<std::string>& words, std::string text) {
  for (const auto& word : words) {
    const auto equals = word.starts_with('-') ? word.find('=') : word.npos;
    // An address may be the value of an option or have been taken for its name.
    for (const auto& part : {word, word.substr(equals == word.npos ? word.size() : equals + 1),
                             word.substr(0, equals)}) {
      const auto shown = WithoutPasswords(part);
      if (shown == part) continue;
      for (auto at = text.find(part); at != text.npos; at = text.find(part, at + shown.size())) {
        text.replace(at, part.size(), shown);
      }
    }
  }
  return text;
}

// The exit status; what goes wrong is said on standard error.
int Attempt(const std::vector<std::string>& words, Console& console) {
  const std::string who = words.empty() || words[0].empty() || words[0][0] == '-'
                              ? std::string("orvspc")
                              : "orvspc " + words[0];
  const auto complain = [&](const std::string& text) {
    // Some failures begin with what they are about, which may be the command's own word.
    const bool says_who = who != "orvspc" && text.starts_with(words[0] + ": ");
    const auto line = says_who ? "orvspc " + text : who + ": " + text;
    // Everything that goes wrong is one line, whatever its text holds.
    console.err << render::PlainText(WithoutPasswordsOf(words, line)) << "\n";
  };
  try {
    const ClearedLine cleared{console};
    const int status = Dispatch(words, console);
    if (!console.out.flush()) throw Refusal("standard output cannot be written");
    return status;
  } catch (const Misuse& misuse) {
    complain(misuse.what());
    return 2;
  } catch (const Failure& failure) {
    complain(failure.Description());
  } catch (const platform::ExternalFailure& failure) {
    complain(failure.Description());
  } catch (const std::bad_alloc&) {
    complain("out of memory");
  } catch (const std::exception& failure) {
    complain(failure.what());
  }
  return 1;
}

}  // namespace

int RunProgram(const std::vector<std::string>& words, Console& console) {
  WatchUpgrades(UpgradeLine(console));
  NotesToDeliver().clear();
  const int status = Attempt(words, console);
  // Those that are in no result, also where the command failed.
  for (const auto& notes : {NotesToDeliver(), TakeNotesLeft()}) {
    for (const auto& note : notes)
      console.err << render::PlainText("note: " + note.Sentence()) << "\n";
  }
  return status;
}

}  // namespace orvspc::cli
