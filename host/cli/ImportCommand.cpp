// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <ostream>

#include "engine/import/Import.h"
#include "host/cli/Command.h"
#include "platform/ExternalFailure.h"

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

void RemoveFiles(const std::string& path) {
  for (const char* ending : {"", "-wal", "-shm"}) {
    std::error_code ignored;
    std::filesystem::remove(path + ending, ignored);
  }
}

// A database that is not there yet is filled beside its place and put there when it is complete, so
// that a refused file leaves none behind and no other process sees it half made. False: it is there
// already, or another process has made it meanwhile.
bool MadeAnew(const std::string& path, const std::function<void(const std::string&)>& fill) {
  std::error_code error;
  if (std::filesystem::exists(std::filesystem::symlink_status(path, error))) return false;
  const std::string draft = path + ".new-" + std::to_string(getpid());
  RemoveFiles(draft);
  try {
    fill(draft);
  } catch (const platform::ExternalFailure& failure) {
    RemoveFiles(draft);
    // Who reads the reason knows the database by its own name.
    std::string reason = failure.Description();
    const auto at = reason.find(draft);
    if (at != std::string::npos) reason.replace(at, draft.size(), path);
    throw Refusal(reason);
  } catch (...) {
    RemoveFiles(draft);
    throw;
  }
  const bool linked = link(draft.c_str(), path.c_str()) == 0;
  // A file system without links cannot keep another process from the name; that is rare twice over.
  const bool renamed = !linked && errno != EEXIST && rename(draft.c_str(), path.c_str()) == 0;
  RemoveFiles(draft);
  return linked || renamed;
}

std::string Report(engine::import::ImportKind kind, const engine::import::ImportReport& report) {
  std::string text = std::to_string(report.lines) + " lines";
  if (kind == engine::import::ImportKind::Values)
    text += ", " + std::to_string(report.subgroups) + " new subgroups";
  text += ", " + std::to_string(report.rows) + " rows stored";
  if (report.new_names > 0) text += ", " + std::to_string(report.new_names) + " new names";
  return text + "\n";
}

// Every kind; past a width the list goes on in a new line of the help.
std::string KindList(const std::string& between, std::size_t width = std::string::npos) {
  std::string text;
  std::size_t line = 0;
  for (const auto word : engine::import::ImportKindWords()) {
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
  const auto kind = engine::import::ImportKindFromWord(word);
  if (!kind) throw Misuse("--kind takes " + KindList(", ") + ", not \"" + word + "\"");
  if (arguments.Positional().empty()) throw Misuse("which file?");
  const std::string& file = arguments.Positional()[0];
  ReadableFile(file);  // so that a slip in its name makes no new database
  engine::import::ImportOptions options;
  options.ignore_unknown = arguments.Has("ignore-unknown");
  options.progress = Progress(console);
  engine::import::ImportReport report;
  const ClearedLine cleared(console);
  const auto store = [&](const std::string& database) {
    report = engine::import::ImportCsv(file, *OpenDatabase(database, true), *kind, options);
  };
  if (!MadeAnew(path, store)) store(path);
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
