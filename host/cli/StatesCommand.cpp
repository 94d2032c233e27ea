// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "host/cli/Analysis.h"
#include "platform/TimeStamp.h"
#include "summary/PSAnalysis.h"

namespace orvspc::cli {

namespace {

constexpr Number kMaxStates =
    MaximumOption("the newest N subgroups, and events, at most; 0: all", "10000");
constexpr Option kStatesOptions[] = {kMaxStates};
constexpr const char* kLogCut = "states-cut";

// The processes that a selection names, or all.
std::vector<std::int32_t> ProcessesOf(const QualityDatabase& database, const DataSelect& select) {
  std::vector<std::int32_t> processes;
  if (const auto descriptor = select.Descriptors()->GetDescriptor(dtProcess)) {
    for (std::int32_t i = 1; i <= descriptor->ItemCount(); ++i)
      processes.push_back(descriptor->ItemID(i));
    if (descriptor->FilterType() == ftGroup)
      for (const auto& group : database.Groups(ItemKind::Process))
        if (group.id == descriptor->GroupID()) processes = group.members;
    return processes;
  }
  for (const auto& item : database.Items(ItemKind::Process)) processes.push_back(item.id);
  return processes;
}

// Where nothing bounds the range the log is read from its first record, before which is nothing.
std::optional<render::StateRow> StateBefore(const QualityDatabase& database, std::int32_t process,
                                            const DataSelect& select) {
  if (!render::IsGiven(select.DateRangeStart())) return std::nullopt;
  const auto state =
      database.StateBefore(process, platform::DateToTimeStamp(select.DateRangeStart()));
  if (!state) return std::nullopt;
  return render::StateRow{state->process, state->state, state->type, state->name, state->since};
}

void AddLogs(const QualityDatabase& database, render::StatesDocument& document) {
  const auto processes = ProcessesOf(database, *document.select);
  for (const std::int32_t process : processes) {
    const auto before = StateBefore(database, process, *document.select);
    auto [count, report] = Reported(database, [&](const auto& open) {
      return render::AddLog(document, open, process, before ? &*before : nullptr);
    });
    // The log is read forward without an end; what is missing may lie after the range.
    if (count < render::kLogRecords) continue;
    for (auto& note : report.notes) {
      if (note.code != kLogCut) continue;
      document.cuts[process] = document.log.back().time;
      if (processes.size() > 1) note.stream = database.Name(ItemKind::Process, process);
      document.notes.push_back(std::move(note));
    }
  }
  render::SortLog(document);
}

// A range without an end goes on until now, or to what is newer. The analysis takes no record
// without it.
void FillInEnd(const QualityDatabase& database, DataSelect& select) {
  if (select.DateRangeTimeType() != drttStatic ||
      platform::DateToTimeStamp(select.DateRangeEnd()) != INT32_MIN)
    return;
  const auto newest = select.Clone();
  newest->MaximumItems(1);
  std::int64_t end =
      std::max<std::int64_t>(CurrentTime(), platform::DateToTimeStamp(select.DateRangeStart()));
  const auto events =
      Checked(database, [&](const auto& open) { return newest->GetEventData(open); });
  const auto subgroups =
      Checked(database, [&](const auto& open) { return newest->GetSubgroupData(open); });
  for (const auto& event : render::ReadEvents(*events)) end = std::max(end, event.time);
  for (const auto& subgroup : render::ReadSubgroups(*subgroups).rows)
    end = std::max(end, subgroup.stamp);
  select.DateRangeEnd(
      platform::TimeStampToDate(static_cast<std::int32_t>(std::min<std::int64_t>(end, INT32_MAX))));
}

int RunStatesCommand(const Arguments& arguments, Console& console) {
  return RunAnalysis(
      arguments, console, kDrawn, kMaxStates, kAllTests, [](Analysis& run) -> Outcome {
        auto document = RunStates(run.database, *run.select);
        NoteCut(run, kMaxStates, document.subgroups.total_subgroups, document.notes);
        NoteCut(run, kMaxStates, static_cast<std::int32_t>(document.events.size()), document.notes,
                kEvents);
        const bool empty =
            document.log.empty() && document.events.empty() && document.subgroups.rows.empty();
        if (empty) NoteEmpty(run, kMaxStates, document.notes, {kSubgroups, kEvents, kStates});
        return {Formatted(document, run), empty};
      });
}

}  // namespace

render::StatesDocument RunStates(const QualityDatabase& database, const DataSelect& select) {
  const auto range = select.Clone();
  FillInEnd(database, *range);
  auto [results, report] = Reported(database, [&](const auto& open) {
    return PSAnalysis().AnalyzeDataSelect(open, range, std::make_shared<PSProcessing>());
  });
  render::StatesDocument document;
  document.select = results->DataSelect();
  document.events = render::ReadEvents(*results->EventData());
  document.subgroups = render::ReadSubgroups(*results->SubgroupData());
  ReadTexts(database, NamesOf(database), document.subgroups);
  document.notes = std::move(report.notes);
  // The analysis reads the log of one process; here each has its own.
  std::erase_if(document.notes, [](const Note& note) { return note.code == kLogCut; });
  AddLogs(database, document);
  return document;
}

Command StatesCommand() {
  return {"states",
          "--db FILE [--process NAME] [OPTIONS]",
          "States of processes along time, with events and subgroups",
          "One line of time for each process: those named, or all. --max bounds subgroups and "
          "events.\n"
          "Formats: text, json, svg, html.",
          "orvspc states --db q.db --since 2024-03-04 --until 2024-03-10 -o week.html",
          Together(SelectionOptions(), kStatesOptions, kPageOptions),
          RunStatesCommand};
}

}  // namespace orvspc::cli
