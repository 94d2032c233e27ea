// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <functional>
#include <memory>
#include <ostream>
#include <utility>

#include "engine/QualityDatabase.h"
#include "host/cli/AlarmOutput.h"
#include "host/cli/Output.h"
#include "host/render/core/PlainText.h"

namespace orvspc::cli {

namespace {

// In the list of options, without the words that Help lists.
constexpr Option kListedKind{
    "kind", "KIND", "what the file holds; \"orvspc import --help\" lists the kinds", "values"};

// The same with the words of the engine.
Choice<ImportKind> KindOption() {
  static const std::vector<render::Word> words = [] {
    std::vector<render::Word> all;
    for (const auto& kind : ImportKinds())
      all.push_back({kind.word, static_cast<std::int32_t>(kind.kind)});
    return all;
  }();
  Option option = kListedKind;
  option.words = words;
  return {option};
}

constexpr Option kNoCreate{"no-create", nullptr,
                           "refuse parts, processes and tests that are not there yet"};
constexpr Option kIgnoreUnknown{"ignore-unknown", nullptr,
                                "skip columns with unknown names instead of refusing the file"};

constexpr Option kHashSource{"hash-source", nullptr,
                             "also keep the SHA-256 of the file itself in the log"};

// A line on a terminal that is written over, at most some ten times a second.
std::function<void(std::int64_t, std::int64_t)> Progress(Console& console) {
  if (!console.err_is_terminal) return {};
  auto latest = std::make_shared<std::chrono::steady_clock::time_point>();
  return [&console, latest](std::int64_t done, std::int64_t total) {
    const auto now = std::chrono::steady_clock::now();
    if (now - *latest < std::chrono::milliseconds(100) || total <= 0) return;
    *latest = now;
    ShowProgress(console, "import: " + std::to_string(100 * done / total) + " % of " +
                              std::to_string(total / 1000000) + " MB");
  };
}

// The same line while another program writes.
std::function<void()> Waiting(Console& console, const std::string& path) {
  if (!console.err_is_terminal) return {};
  using Clock = std::chrono::steady_clock;
  return [&console, path, begin = Clock::now(), shown = std::int64_t{-1}]() mutable {
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin).count();
    if (std::exchange(shown, seconds) == seconds) return;
    ShowProgress(console, "import: waiting for another program that writes " + path + ": " +
                              std::to_string(seconds) + " s");
  };
}

std::string ReportText(ImportKind kind, const ImportReport& report,
                       const render::TextOptions& options) {
  const auto counted = [](std::int64_t count, const std::string& one) {
    return render::Counted(static_cast<std::size_t>(count), one);
  };
  std::string line = counted(report.lines, "line");
  if (kind == ImportKind::Values) line += ", " + counted(report.subgroups, "new subgroup");
  line += ", " + counted(report.rows, "row") + " stored";
  if (report.new_names > 0) line += ", " + counted(report.new_names, "new name");
  render::TextWriter text(options);
  text.Line(line);
  std::string added;
  for (const auto& item : report.new_items) {
    added += (added.empty() ? "new: " : ", ") + std::string(WordOf(item.kind)) + " \"" + item.name +
             "\"" + (item.similar.empty() ? "" : " (or \"" + item.similar + "\"?)");
  }
  if (!added.empty()) text.Line(added, 5);
  return text.Take();
}

// The kinds of files, or with --kind the columns of one.
void Help(const Arguments& arguments, render::TextWriter& text) {
  const auto line = [&](std::string_view word, std::string_view meaning) {
    constexpr std::size_t kWidth = 18;
    text.Line("  " + render::Padded(std::string(word), kWidth) + std::string(meaning), kWidth + 2);
  };
  text.Blank();
  if (!arguments.Has(KindOption())) {
    text.Line("kinds of files, whose columns \"orvspc import --kind KIND --help\" lists:");
    for (const auto& kind : ImportKinds()) line(kind.word, kind.summary);
    return;
  }
  const auto kind = ImportKinds()[static_cast<std::size_t>(arguments.Get(KindOption()))];
  text.Line(std::string(kind.word) + ": " + std::string(kind.summary));
  for (const bool required : {true, false}) {
    text.Blank();
    text.Line(required ? "columns that a file needs:" : "columns that it may have:");
    for (const auto& column : kind.columns) {
      if (column.required == required) line(column.name, column.help);
    }
  }
}

int RunImportCommand(const Arguments& arguments, Console& console) {
  const std::string path = arguments.Required(kDatabase);
  const ImportKind kind = arguments.Get(KindOption());
  if (arguments.Positional().empty()) throw Misuse("which file? FILE.csv is missing");
  const std::string& file = arguments.Positional()[0];
  CheckReadable(file);  // so that a slip in its name makes no new database
  const ImportReport report = [&] {
    const ClearedLine cleared{console};
    const ImportOptions options{.ignore_unknown = arguments.Has(kIgnoreUnknown),
                                .progress = Progress(console),
                                .waiting = Waiting(console, WithoutPasswords(path)),
                                .refuse_new_items = arguments.Has(kNoCreate),
                                .actor = ActorOf(arguments),
                                .reason = ReasonOf(arguments),
                                .hash_source = arguments.Has(kHashSource)};
    return QualityDatabase::ImportInto(path, file, kind, options);
  }();
  for (const Note& note : report.notes) {
    console.err << render::PlainText("note: " + note.Sentence()) << "\n";
  }
  console.out << ReportText(kind, report, TextOptionsOf(arguments, console));
  constexpr std::size_t kMaxShown = 10;
  if (!report.alarms.empty()) {
    ShowAlarms(QualityDatabase::Open(path), report.alarms, kMaxShown, console);
  }
  return StatusOf(arguments, report.alarms.size());
}

}  // namespace

Command ImportCommand() {
  return {"import",
          "FILE.csv --db FILE [--kind KIND]",
          "Stores a CSV file in a database, which is made if it is not there",
          "A file is stored whole or not at all. Values need the columns part, process, test, "
          "subgroup, time and value (or count). See also docs/how-to/import.md.",
          "orvspc import values.csv --db q.db",
          {kDatabase, kListedKind, kIgnoreUnknown, kNoCreate, kBy, kStation, kReason, kHashSource,
           kExitCode},
          RunImportCommand,
          1,
          Help,
          Always};
}

}  // namespace orvspc::cli
