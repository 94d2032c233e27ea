// SPDX-License-Identifier: Apache-2.0
#include "host/cli/Program.h"

#include <exception>
#include <new>
#include <sstream>

#include "frame/Failure.h"
#include "host/cli/Command.h"
#include "host/cli/build_info.h"
#include "host/render/core/PlainText.h"
#include "platform/ExternalFailure.h"

namespace orvspc::host {

namespace {

std::vector<Command> Commands() {
  return {ImportCommand(),     ListCommand(), ChartCommand(),  CapabilityCommand(),
          ParetoCommand(),     DataCommand(), EventsCommand(), StatesCommand(),
          ComplianceCommand(), ShowCommand(), SetCommand(),    DemoCommand()};
}

std::string Overview() {
  std::string text =
      "orvspc: statistical process control on a file\n\n"
      "usage: orvspc COMMAND [OPTIONS]\n\n";
  for (const auto& command : Commands())
    text +=
        "  " + command.name + std::string(12 - command.name.size(), ' ') + command.summary + "\n";
  return text +
         "\n\"orvspc COMMAND --help\" tells more, \"orvspc --version\" what this build is.\n"
         "Exit status: 0 done, 1 failed, 2 misused.\n"
         "For a first look: orvspc demo\n";
}

std::string VersionText() {
  std::ostringstream text;
  text << "orvspc " << build::kVersion << "\n"
       << "commit    " << build::kCommit << "\n"
       << "schema    " << build::kSchema << "\n"
       << "compiler  " << build::kCompiler << "\n"
       << "built in  " << build::kBuiltIn << "\n";
  return text.str();
}

std::string Help(const Command& command) {
  return "usage: orvspc " + command.name + " " + command.synopsis + "\n\n" + command.summary +
         "\n" + (command.details.empty() ? "" : "\n" + command.details) + "\n" +
         DescribeOptions(command.options) + "\nexample:\n  " + command.example + "\n";
}

int RunCommand(Command command, const std::vector<std::string>& words, Console& console) {
  command.options.push_back({"help", nullptr, "this text"});
  const Arguments arguments =
      ParseArguments(std::span(words).subspan(1), std::span<const Option>(command.options));
  if (arguments.Has("help")) {
    console.out << Help(command);
    return 0;
  }
  if (arguments.Positional().size() > command.most_positional)
    throw Misuse("\"" + arguments.Positional()[command.most_positional] +
                 "\" is one word too many");
  CheckOutput(arguments);
  return command.run(arguments, console);
}

int Dispatch(const std::vector<std::string>& words, Console& console) {
  if (words.empty()) {
    console.err << Overview();
    return 2;
  }
  if (words[0] == "--help" || words[0] == "-h" || words[0] == "help") {
    console.out << Overview();
    return 0;
  }
  if (words[0] == "--version") {
    console.out << VersionText();
    return 0;
  }
  for (auto& command : Commands())
    if (command.name == words[0]) return RunCommand(std::move(command), words, console);
  std::vector<std::string> names;
  for (const auto& command : Commands()) names.push_back(command.name);
  throw Misuse("there is no command \"" + words[0] + "\", only " + Joined(names));
}

}  // namespace

int RunProgram(const std::vector<std::string>& words, Console& console) {
  const std::string who = words.empty() || words[0].empty() || words[0][0] == '-'
                              ? std::string("orvspc")
                              : "orvspc " + words[0];
  const auto complain = [&](const std::string& text) {
    // Everything that goes wrong is one line, whatever its text holds.
    console.err << PlainText(who + ": " + text) << "\n";
  };
  try {
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

}  // namespace orvspc::host
