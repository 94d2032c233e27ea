// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <map>
#include <utility>

#include "host/cli/Analysis.h"
#include "host/render/core/Numbers.h"
#include "summary/SCAnalysis.h"

namespace orvspc::cli {

namespace {

constexpr Number kMost =
    MaximumOption("without effect here: samples are counted in all subgroups", "");
enum class By { Shift, Phase };
constexpr render::Word kByWords[] = {{"shift", static_cast<std::int32_t>(By::Shift)},
                                     {"phase", static_cast<std::int32_t>(By::Phase)}};
constexpr Choice<By> kGroups{
    {"by", "WORD", "phase: also the samples of each phase", "", false, kByWords}};
constexpr Option kComplianceOptions[] = {kMost, kGroups};

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

// The windows that fell due in each phase, by its start, and outside of any. Phases of one name are
// one. A requirement is of one process, part and test, which the rows of the analysis name.
std::vector<render::PhaseSamples> PhaseRows(const QualityDatabase& database,
                                            const std::vector<SamplingDue>& windows,
                                            const std::vector<render::ComplianceRow>& rows) {
  const auto names = NamesOf(database);
  const auto phases = database.Phases();
  std::map<std::string, const render::ComplianceRow*> of_requirement;
  for (const auto& row : rows)
    if (row.result_type == render::kDetail) of_requirement.emplace(row.requirement, &row);
  const auto fits = [&](ItemKind kind, std::int32_t of_phase, const std::string& name) {
    return of_phase == 0 || names(kind, of_phase) == name;
  };
  const auto phase_of = [&](const SamplingDue& window) -> std::string {
    const auto found = of_requirement.find(names(ItemKind::Requirement, window.requirement));
    for (const auto& phase : phases) {
      if (found == of_requirement.end() || !phase.Holds(window.due)) continue;
      const auto& row = *found->second;
      if (fits(ItemKind::Part, phase.part, row.part) &&
          fits(ItemKind::Process, phase.process, row.process) &&
          fits(ItemKind::Test, phase.test, row.test)) {
        return phase.name;
      }
    }
    return {};
  };
  std::map<std::string, render::SampleCount> counts;
  for (const auto& window : windows)
    counts[phase_of(window)].Add(
        {window.expected, window.collected, window.expected - window.collected});
  std::vector<render::PhaseSamples> samples;
  const auto take = [&](const std::string& name) {
    if (const auto found = counts.extract(name)) samples.push_back({name, found.mapped()});
  };
  for (const auto& phase : phases) take(phase.name);
  take({});
  return samples;
}

int RunComplianceCommand(const Arguments& arguments, Console& console) {
  const bool by_phase = arguments.Get(kGroups) == By::Phase;
  return RunAnalysis(arguments, console, kDrawn, kMost, kAllTests, [&](Analysis& run) -> Outcome {
    auto document = RunCompliance(run.database, run.select, by_phase);
    const bool empty = document.rows.empty();
    if (empty) NoteEmpty(run, kMost, document.notes, {kSubgroups, kRequirements});
    return {Formatted(document, run), empty};
  });
}

}  // namespace

render::ComplianceDocument RunCompliance(const QualityDatabase& database,
                                         const std::shared_ptr<DataSelect>& select, bool by_phase) {
  auto [results, report] = Reported(
      database, [&](const auto& open) { return SCAnalysis().AnalyzeDataSelect(open, select); });
  render::ComplianceDocument document{
      results->DataSelect(), render::ReadCompliance(*results),
      ShiftRows(report.sampling, database.Shifts(), NamesOf(database)), std::move(report.notes)};
  if (by_phase) document.phases = PhaseRows(database, report.sampling, document.rows);
  return document;
}

Command ComplianceCommand() {
  return {"compliance",
          "--db FILE [OPTIONS]",
          "How many of the required samples were taken, by requirement, shift and day",
          "Requirements are imported (orvspc import FILE --kind requirements) and ask for samples "
          "while their process runs. --max bounds nothing here.\n"
          "Formats: text, json, svg, html.",
          "orvspc compliance --db q.db --since 2024-03-04 --until 2024-03-10 -o week.html",
          Together(SelectionOptions(), kComplianceOptions, kPageOptions),
          RunComplianceCommand};
}

}  // namespace orvspc::cli
