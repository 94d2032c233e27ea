// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/cli/study/DataFile.h"
#include "host/cli/study/Study.h"
#include "host/render/core/Numbers.h"

// Readings of gauge studies, out of a CSV file or out of a database.
namespace orvspc::cli {

inline constexpr Option kData{"data", "FILE.csv", "readings with a line of headings"};

// What a study needs of each reading beside its value.
struct ReadingNeeds {
  bool part = false, by = false, reference = false;
  std::optional<std::string> piece = {};  // only readings of this part
};

struct Reading {
  std::string part, by;  // empty where they are not known, or a study does not need them
  double value = 0.0, reference = render::kNaN;
  std::size_t row = 0;  // of the file
};

struct Readings {
  std::vector<Reading> rows;
  std::string of;                                  // "Ring / Diameter", or the file
  std::optional<DataFile> file;                    // that they are from
  std::optional<double> lower_limit, upper_limit;  // of the database
  std::shared_ptr<DataSelect> select = {};
  std::vector<Note> notes = {};

  bool HasReferences() const;
  // Refusal that names the file.
  [[noreturn]] void Refuse(const std::string& reason) const;
};

// Options of a command that takes readings: those of a file, a selection, and the output.
std::vector<Option> ReadingOptions(bool with_database);

// Misuse unless one of --data and --db is given, and for a condition of the other.
void CheckSource(const Arguments& arguments, bool with_database);

// Columns: value (or y); part, operator, reference as far as they are needed, part and reference
// also where they are there; trial may be there, and then no trial of a part and operator may come
// twice. Refusal with file, line, column and value for what is wrong.
Readings ReadReadings(const std::string& path, const ReadingNeeds& needs);

// One piece a reading, in the order of subgroups: its serial number is the part, the employee of
// the subgroup the operator. Subgroups that charts would not use are left out, and a note says how
// many readings they have. Refusal where part or operator are needed and missing, or subgroups of
// several parts, processes or tests are selected.
Readings ReadReadings(Analysis& run, const ReadingNeeds& needs);

// Fills a document with readings, and writes it. fill(document, readings)
template <class Document>
int RunOnReadings(const Arguments& arguments, Console& console, const ReadingNeeds& needs,
                  Document document, std::string (*json)(const Document&, const render::Names&),
                  render::StudyView (*view)(const Document&, const render::Names&),
                  const std::function<void(Document&, const Readings&)>& fill);

// Writes a document that needs no database.
template <class Document>
int DeliverStudy(const Arguments& arguments, Console& console, const Document& document,
                 std::string (*json)(const Document&, const render::Names&),
                 render::StudyView (*view)(const Document&, const render::Names&)) {
  const Presentation shown{NoNames(), OutputFormat(arguments, kDrawn),
                           TextOptionsOf(arguments, console)};
  Deliver(arguments, console, FormattedStudy(document, shown, json, view));
  return 0;
}

inline constexpr Number kMostSubgroups =
    MaximumOption("the newest N subgroups at most; 0: all", "all");

template <class Document>
int RunOnReadings(const Arguments& arguments, Console& console, const ReadingNeeds& needs,
                  Document document, std::string (*json)(const Document&, const render::Names&),
                  render::StudyView (*view)(const Document&, const render::Names&),
                  const std::function<void(Document&, const Readings&)>& fill) {
  if (const auto path = arguments.Value(kData)) {
    fill(document, ReadReadings(*path, needs));
    return DeliverStudy(arguments, console, document, json, view);
  }
  return RunAnalysis(arguments, console, kDrawn, kMostSubgroups, ttVariable,
                     [&](Analysis& run) -> Outcome {
                       auto readings = ReadReadings(run, needs);
                       const bool empty = readings.rows.empty();
                       if (empty && run.why_empty.empty())
                         NoteEmpty(run, kMostSubgroups, readings.notes);
                       document.head.select = readings.select;
                       document.head.notes = readings.notes;
                       fill(document, readings);
                       return {FormattedStudy(document, run, json, view), empty};
                     });
}

}  // namespace orvspc::cli
