// SPDX-License-Identifier: Apache-2.0
#include "host/cli/ComplianceCommand.h"

#include <algorithm>
#include <map>
#include <ostream>
#include <utility>

#include "engine/store/Catalogue.h"
#include "engine/time/calendar.h"
#include "host/cli/Selection.h"
#include "host/render/core/Numbers.h"
#include "summary/SCAnalysis.h"

namespace orvspc::host {

namespace {

// When shifts begin, by the settings of the database.
class Shifts {
 public:
  explicit Shifts(EmbeddedDatabase& database) {
    const auto settings = engine::store::ListSettings(database);
    const auto setting = [&](const char* key, std::string_view fallback) {
      const auto found = settings.find(key);
      return found == settings.end() ? std::string(fallback) : found->second;
    };
    offset_ = engine::time::ZoneOffset(setting("time_zone", "UTC")).value_or(0);
    starts_ = engine::time::ParseTimesOfDay(setting("shift_starts", engine::time::kUsualShifts))
                  .value_or(std::vector<std::int32_t>{0});
  }

  engine::time::Shift Around(std::int64_t stamp) const {
    return engine::time::ShiftAround(stamp, starts_, offset_);
  }

  // Local time, for texts.
  std::int64_t Local(std::int64_t stamp) const { return stamp + offset_; }

 private:
  std::int32_t offset_ = 0;
  std::vector<std::int32_t> starts_;
};

// Rows of an analysis belong to stays in a state, which may last for days; the windows behind them
// tell in which shift each sample fell due. Every process has the same shifts, from the first
// window to the last one.
std::vector<ShiftRow> ShiftRows(const std::vector<SamplingDue>& windows, const Shifts& shifts,
                                const Names& names) {
  std::map<std::string, std::map<std::int64_t, SampleCount>> processes;
  std::int64_t first = INT64_MAX, last = INT64_MIN;
  for (const auto& window : windows) {
    const std::int64_t start = shifts.Around(window.due).start;
    first = std::min(first, start);
    last = std::max(last, start);
    processes[names(NameKind::Process, window.process)][start].Add(
        {window.expected, window.collected, window.expected - window.collected});
  }
  std::vector<ShiftRow> rows;
  for (const auto& [process, counts] : processes)
    for (std::int64_t start = first; start <= last;) {
      const std::int64_t end = shifts.Around(start).end;
      const auto found = counts.find(start);
      rows.push_back({process, DayText(shifts.Local(start)), ClockText(shifts.Local(start)), start,
                      end, found == counts.end() ? SampleCount{} : found->second});
      start = end;
    }
  return rows;
}

int Run(const Arguments& arguments, Console& console) {
  const std::string format = OutputFormat(arguments, {"text", "json", "svg", "html"});
  const auto database = OpenQualityDatabase(arguments);
  const auto select = MakeSelection(arguments, *database, INT32_MAX);
  select->IncludeDefectTests(true);
  select->IncludeDefectiveTests(true);
  const ComplianceDocument document = RunCompliance(database, select);
  if (document.rows.empty() && format != "text") console.err << kNoData << "\n";
  Deliver(arguments, console, ComplianceText(document, format, console));
  return 0;
}

}  // namespace

ComplianceDocument RunCompliance(const std::shared_ptr<EmbeddedDatabase>& database,
                                 const std::shared_ptr<DataSelect>& select) {
  ComplianceDocument document;
  TakeNotes();  // those of earlier calls are not this analysis's
  const auto results = SCAnalysis().AnalyzeDataSelect(database, select);
  CheckEngine(*database);
  document.notes = TakeNotes();
  document.select = results->DataSelect();
  document.rows = ReadCompliance(*results);
  document.shifts = ShiftRows(LatestSampling(), Shifts(*database), NamesOf(database));
  return document;
}

std::string ComplianceText(const ComplianceDocument& document, const std::string& format,
                           const Console& console) {
  if (format == "json") return ComplianceJson(document);
  const ComplianceView view = MakeComplianceView(document);
  if (format == "svg") return RenderComplianceSvg(view);
  if (format == "html") return RenderComplianceHtml(view);
  return RenderComplianceText(view, {console.columns, false});
}

Command ComplianceCommand() {
  Command command;
  command.name = "compliance";
  command.synopsis = "--db FILE [OPTIONS]";
  command.summary = "How many of the required samples were taken, by requirement, shift and day";
  command.details =
      "Requirements are imported (orvspc import FILE --kind requirements) and ask for samples\n"
      "while their process runs. --max bounds nothing here.\n"
      "Formats: text, json, svg, html.\n";
  command.example =
      "orvspc compliance --db q.db --since 2024-03-04 --until 2024-03-10 -o week.html";
  command.options = SelectionOptions("without effect here: samples are counted in all subgroups");
  for (const auto& option : OutputOptions()) command.options.push_back(option);
  command.run = Run;
  return command;
}

}  // namespace orvspc::host
