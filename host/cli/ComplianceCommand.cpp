// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <map>
#include <utility>

#include "host/cli/Analysis.h"
#include "host/render/core/Numbers.h"
#include "summary/SCAnalysis.h"

namespace orvspc::cli {

namespace {

constexpr Number kMax =
    MaximumOption("without effect here: samples are counted in all subgroups", "");
constexpr Option kOptions[] = {kMax};

// Rows of an analysis belong to stays in a state, which may last for days; the windows behind them
// tell in which shift each sample fell due. Every process has the same shifts, from the first
// window to the last one.
std::vector<render::ShiftRow> ShiftRows(const std::vector<SamplingDue>& windows,
                                        const ShiftPlan& shifts, const render::Names& names) {
  std::map<std::string, std::map<std::int64_t, render::SampleCount>> processes;
  std::int64_t first = INT64_MAX, last = INT64_MIN;
  for (const auto& window : windows) {
    const std::int64_t start = shifts.Around(window.due).start;
    first = std::min(first, start);
    last = std::max(last, start);
    processes[names(ItemKind::Process, window.process)][start].Add(
        {window.expected, window.collected, window.expected - window.collected});
  }
  std::vector<render::ShiftRow> rows;
  for (const auto& [process, counts] : processes)
    for (std::int64_t start = first; start <= last;) {
      const std::int64_t end = shifts.Around(start).end;
      const auto found = counts.find(start);
      rows.push_back({process, render::DayText(start + shifts.offset),
                      render::ClockText(start + shifts.offset), start, end,
                      found == counts.end() ? render::SampleCount{} : found->second});
      start = end;
    }
  return rows;
}

int Run(const Arguments& arguments, Console& console) {
  return RunAnalysis(arguments, console, kDrawn, kMax, kAllTests, [](Analysis& run) -> Outcome {
    const auto document = RunCompliance(run.database, run.select);
    return {Formatted(document, run), document.rows.empty()};
  });
}

}  // namespace

render::ComplianceDocument RunCompliance(const QualityDatabase& database,
                                         const std::shared_ptr<DataSelect>& select) {
  auto [results, report] = Reported(
      database, [&](const auto& open) { return SCAnalysis().AnalyzeDataSelect(open, select); });
  return {results->DataSelect(), render::ReadCompliance(*results),
          ShiftRows(report.sampling, database.Shifts(), NamesOf(database)),
          std::move(report.notes)};
}

Command ComplianceCommand() {
  return {"compliance",
          "--db FILE [OPTIONS]",
          "How many of the required samples were taken, by requirement, shift and day",
          "Requirements are imported (orvspc import FILE --kind requirements) and ask for samples "
          "while their process runs. --max bounds nothing here.\n"
          "Formats: text, json, svg, html.",
          "orvspc compliance --db q.db --since 2024-03-04 --until 2024-03-10 -o week.html",
          Together(SelectionOptions(), kOptions, kPageOptions),
          Run};
}

}  // namespace orvspc::cli
