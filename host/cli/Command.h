// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/Embedded.h"
#include "host/cli/Options.h"
#include "host/cli/Program.h"
#include "host/render/chart/ChartJson.h"

namespace orvspc::host {

using namespace render;

// One subcommand. Its function returns the exit status and throws whatever goes wrong.
struct Command {
  std::string name;
  std::string synopsis;  // what follows "orvspc NAME"
  std::string summary;   // one line
  std::string details;   // paragraphs for --help, may be empty
  std::string example;
  std::vector<Option> options;
  std::size_t most_positional = 0;
  std::function<int(const Arguments&, Console&)> run;
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
Command SetCommand();
Command ShowCommand();
Command DemoCommand();

// Formats and where the result goes.
std::vector<Option> OutputOptions();
// The format asked for, else the one that the file's ending names, else text. Misuse, which lists
// the formats there are, for any other.
std::string OutputFormat(const Arguments& arguments, const std::vector<std::string>& formats);
// Refusal when --output is the database of --db or one of the files beside it.
void CheckOutput(const Arguments& arguments);
// To --output, or to the console without one.
void Deliver(const Arguments& arguments, Console& console, const std::string& text);
// Refusal when the file cannot be written.
void WriteFile(const std::string& path, std::string_view text);
// Refusal when the file cannot be read.
void ReadableFile(const std::string& path);
std::string ReadFile(const std::string& path);

std::shared_ptr<EmbeddedDatabase> OpenQualityDatabase(const Arguments& arguments);

// Names out of the database, each read once.
Names NamesOf(const std::shared_ptr<EmbeddedDatabase>& database);
// For results without a database: no names.
Names NoNames();

// Throws Refusal with the engine's reason when the latest call on the database failed.
void CheckEngine(EmbeddedDatabase& database);

// One line each on err, for formats that have no place for them.
void PrintNotes(Console& console, const std::vector<Note>& notes);

inline constexpr const char* kNoData = "no data selected";

}  // namespace orvspc::host
