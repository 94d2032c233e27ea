// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/QualityDatabase.h"
#include "host/cli/Output.h"
#include "host/render/capability/Capability.h"
#include "host/render/chart/Chart.h"
#include "host/render/compliance/Compliance.h"
#include "host/render/pareto/Pareto.h"
#include "host/render/states/States.h"
#include "platform/Enumerations.h"
#include "select/DataSelect.h"

// What all commands that analyse have in common.
namespace orvspc::cli {

inline constexpr std::int32_t kCounts = ttDefects | ttDefectives, kAllTests = ttVariable | kCounts;

// --max, whose help and default are each command's own. With 0, or without a number in its place,
// everything is taken.
constexpr Number MaximumOption(const char* help, const char* fallback) {
  return {{"max", "N", help, fallback}, 0};
}

// Of analyses that distinguish phases.
inline constexpr Option kPhase{"phase", "NAME", "only the subgroups of that phase"};
inline constexpr Option kAllPhases{"all-phases", nullptr,
                                   "phases together, as if there were none; excluded ones aside"};

inline constexpr render::Word kTestTypeWords[] = {{"all", kAllTests},
                                                  {"variable", ttVariable},
                                                  {"defects", ttDefects},
                                                  {"defectives", ttDefectives}};
inline constexpr Choice<std::int32_t> kTestType{
    {"test-type", "WORD", "", "", false, kTestTypeWords}};

// --db and all that narrow the data, without --max.
std::vector<Option> SelectionOptions();
// Whether the option of states, one of these, is given.
bool NamesStates(const Arguments& arguments);

// Refusal for a name that the database does not have.
std::shared_ptr<DataSelect> MakeSelection(const Arguments& arguments, const Number& maximum,
                                          const QualityDatabase& database);

// A condition that narrows the data, as it was typed, and the command line without it.
struct Condition {
  std::string text;  // "--since 2030-01-01"
  Arguments without;
};
std::vector<Condition> ConditionsOf(const Arguments& arguments);

// How a document is written.
struct Presentation {
  render::Names names;
  std::string format;
  render::TextOptions text;
};

// One run of a command.
struct Analysis : Presentation {
  const Arguments& arguments;
  QualityDatabase database;
  std::shared_ptr<DataSelect> select;
  // Why nothing was selected, where that is known; NoteEmpty sets it.
  std::string why_empty = {};
};

// TestTypes that a selection takes.
void IncludeTests(DataSelect& select, std::int32_t types);
std::int32_t IncludedTests(const DataSelect& select);

struct Outcome {
  std::string text;  // in the format of the run
  bool empty;        // no data were selected
  // Those that the text has no place for.
  std::vector<Note> notes = {};
  int status = 0;  // what the program exits with
};

// Opens the database, selects tests of these types (TestTypes), analyses, and delivers the outcome,
// with what has no place in it on standard error. Returns the exit status. No page is written, and
// the status is 1 in place of 0, when nothing was selected and --allow-empty was not given.
int RunAnalysis(const Arguments& arguments, Console& console, const Formats& formats,
                const Number& maximum, std::int32_t test_types,
                const std::function<Outcome(Analysis&)>& analyse);

// What analyse() returns. Refusal with the engine's reason when it failed.
template <class Analyse>
auto Checked(const QualityDatabase& database, Analyse analyse) {
  auto results = analyse(database.Database());
  if (const auto failure = database.Database()->TakeFailure()) throw Refusal(failure->description);
  return results;
}

// The notes of the opening of a database that are to be part of a result of this thread, until
// RunAnalysis has delivered it: whoever never sees the result gets them on standard error.
std::vector<Note>& NotesToDeliver();

// The same, and what the engine reported meanwhile, after the notes of the opening of the database,
// which are there once. What earlier calls reported is left out.
template <class Analyse>
auto Reported(const QualityDatabase& database, Analyse analyse) {
  auto notes = database.Database()->TakeReport().notes;
  std::erase_if(notes, [](const Note& note) { return note.code != "brought-forward"; });
  NotesToDeliver().insert(NotesToDeliver().end(), notes.begin(), notes.end());
  auto results = Checked(database, analyse);
  auto report = database.Database()->TakeReport();
  report.notes.insert(report.notes.begin(), notes.begin(), notes.end());
  return std::pair(std::move(results), std::move(report));
}

// The same for an analysis of the library: CCAnalysis, CAAnalysis, PAAnalysis.
template <class Library, class Processing>
auto Analysed(const QualityDatabase& database, const std::shared_ptr<DataSelect>& select,
              const std::shared_ptr<Processing>& processing) {
  return Reported(database, [&](const auto& open) {
    return Library().AnalyzeDataSelect(open, select, processing);
  });
}

// What an analysis takes, and how many of them a selection has, so many at most.
struct Countable {
  const char* word;  // "subgroup"
  std::int32_t (*count)(const QualityDatabase&, const std::shared_ptr<DataSelect>&,
                        std::int32_t most);
};
extern const Countable kSubgroups, kEvents, kStates, kRequirements;

// Adds a note where the default of --max, not the user, cut the data: the analysis shows so many of
// the subgroups, or events, that are selected.
void NoteCut(const Analysis& run, const Number& maximum, std::int32_t shown,
             std::vector<Note>& notes, const Countable& kind = kSubgroups);
// Adds a note to an analysis of nothing: how many there are without one of the conditions; where
// none of them is it alone, without as few as it takes. Of several kinds, that of the fewest.
void NoteEmpty(Analysis& run, const Number& maximum, std::vector<Note>& notes,
               const std::vector<Countable>& kinds = {kSubgroups});
// Adds a note where subgroups are disabled or incomplete.
void NoteFlags(const render::SubgroupsRead& data, std::vector<Note>& notes);

// Adds what people typed beside the values: labels, phases, descriptors, whole comments, events.
void ReadTexts(const QualityDatabase& database, const render::Names& names,
               render::SubgroupsRead& data);
// Adds the versions of records and comments, after that.
void ReadVersions(const QualityDatabase& database, render::SubgroupsRead& data);

// When the process of the subgroups did not run between the first and the last of them, by its
// states and by downtimes among the events; one that has no end lasts no time. Nothing where they
// are of several processes.
std::vector<render::Downtime> ReadDowntimes(const QualityDatabase& database,
                                            const render::Names& names,
                                            const render::SubgroupsRead& data);

// Names out of the database, each read once.
render::Names NamesOf(const QualityDatabase& database);
// For people: codes of defects, causes and actions with what they mean, "SC Scratch".
render::Names ShownNamesOf(const QualityDatabase& database);
// For results without a database: no names.
render::Names NoNames();

// Each analysis with everything that it gives. Refusal with the engine's reason when it failed.
render::ChartDocument RunChart(const QualityDatabase& database,
                               const std::shared_ptr<DataSelect>& select,
                               const std::shared_ptr<CCProcessing>& processing);
render::CapabilityDocument RunCapability(const QualityDatabase& database,
                                         const std::shared_ptr<DataSelect>& select,
                                         const std::shared_ptr<CAProcessing>& processing);
render::ParetoDocument RunPareto(const QualityDatabase& database,
                                 const std::shared_ptr<DataSelect>& select,
                                 const std::shared_ptr<PAProcessing>& processing);
// The log is that of every process that the selection names, or of all when it names none.
render::StatesDocument RunStates(const QualityDatabase& database, const DataSelect& select);
render::ComplianceDocument RunCompliance(const QualityDatabase& database,
                                         const std::shared_ptr<DataSelect>& select,
                                         bool by_phase = false);

// A document as text, json, svg or html.
std::string Formatted(render::ChartDocument document, const Presentation& shown);
std::string Formatted(const render::CapabilityDocument& document, const Presentation& shown);
std::string Formatted(const render::ParetoDocument& document, const Presentation& shown);
std::string Formatted(const render::StatesDocument& document, const Presentation& shown);
std::string Formatted(const render::ComplianceDocument& document, const Presentation& shown);

// Stored settings for people, one a line.
std::string SettingsText(const CAProcessing& processing, const render::TextOptions& options);
std::string SettingsText(const PAProcessing& processing, const render::TextOptions& options);

}  // namespace orvspc::cli
