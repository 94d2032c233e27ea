// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <functional>
#include <memory>
#include <ostream>

#include "engine/QualityDatabase.h"
#include "host/cli/Command.h"

namespace orvspc::host {

namespace {

// A line on a terminal that is written over, at most some ten times a second.
std::function<void(std::int64_t, std::int64_t)> Progress(Console& console) {
  if (!console.err_is_terminal) return {};
  auto latest = std::make_shared<std::chrono::steady_clock::time_point>();
  return [&console, latest](std::int64_t done, std::int64_t total) {
    const auto now = std::chrono::steady_clock::now();
    if (now - *latest < std::chrono::milliseconds(100) || total <= 0) return;
    *latest = now;
    console.err << "\rimport: " << 100 * done / total << " % of " << total / 1000000 << " MB"
                << std::flush;
  };
}

// The progress line goes, however the import ends.
class ClearedLine {
 public:
  explicit ClearedLine(Console& console) : console_(console) {}
  ClearedLine(const ClearedLine&) = delete;
  ClearedLine& operator=(const ClearedLine&) = delete;
  ~ClearedLine() { Clear(); }
  void Clear() const {
    if (console_.err_is_terminal) console_.err << "\r\x1b[K" << std::flush;
  }

 private:
  Console& console_;
};

std::string Report(ImportKind kind, const ImportReport& report) {
  std::string text = std::to_string(report.lines) + " lines";
  if (kind == ImportKind::Values)
    text += ", " + std::to_string(report.subgroups) + " new subgroups";
  text += ", " + std::to_string(report.rows) + " rows stored";
  if (report.new_names > 0) text += ", " + std::to_string(report.new_names) + " new names";
  return text + "\n";
}

// Every kind; past a width the list goes on in a new line of the help.
std::string KindList(const std::string& between, std::size_t width = std::string::npos) {
  std::string text;
  std::size_t line = 0;
  for (const auto word : ImportKindWords()) {
    const bool breaks = line + word.size() > width;
    if (!text.empty()) text += breaks ? "\n                            " : between;
    line = breaks ? word.size() : line + word.size() + between.size();
    text += word;
  }
  return text;
}

int Run(const Arguments& arguments, Console& console) {
  const std::string path = arguments.Required("db");
  const std::string word = arguments.Value("kind", "values");
  const auto kind = ImportKindFromWord(word);
  if (!kind) throw Misuse("--kind takes " + KindList(", ") + ", not \"" + word + "\"");
  if (arguments.Positional().empty()) throw Misuse("which file?");
  const std::string& file = arguments.Positional()[0];
  ReadableFile(file);  // so that a slip in its name makes no new database
  ImportOptions options;
  options.ignore_unknown = arguments.Has("ignore-unknown");
  options.progress = Progress(console);
  const ClearedLine cleared(console);
  const auto report = QualityDatabase::ImportInto(path, file, *kind, options);
  cleared.Clear();
  Deliver(arguments, console, Report(*kind, report));
  return 0;
}

}  // namespace

Command ImportCommand() {
  static const std::string kinds =
      KindList(" ", 64) + "\n                            (default values)";
  Command command;
  command.name = "import";
  command.synopsis = "FILE.csv --db FILE [--kind KIND]";
  command.summary = "Stores a CSV file in a database, which is made if it is not there";
  command.details =
      "A file is stored whole or not at all. Values need the columns part, process, test,\n"
      "subgroup, time and value (or count); docs/how-to/import.md tells the columns of all "
      "kinds.\n";
  command.example = "orvspc import values.csv --db q.db";
  command.options = {
      {"db", "FILE", "the quality database"},
      {"kind", "KIND", kinds.c_str()},
      {"ignore-unknown", nullptr, "skip columns with unknown names instead of refusing the file"},
  };
  command.most_positional = 1;
  command.run = Run;
  return command;
}

}  // namespace orvspc::host
