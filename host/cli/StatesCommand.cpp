// SPDX-License-Identifier: Apache-2.0
#include "host/cli/StatesCommand.h"

#include <algorithm>
#include <optional>
#include <ostream>
#include <set>
#include <utility>

#include "engine/store/Catalogue.h"
#include "host/cli/Selection.h"
#include "platform/Platform.h"
#include "platform/TimeStamp.h"
#include "summary/PSAnalysis.h"

namespace orvspc::host {

namespace {

// Subgroups and events are bound by the same number.
constexpr std::int32_t kMaximum = 10000;

// The processes that a selection names; empty: all.
std::set<std::int32_t> ProcessesOf(EmbeddedDatabase& database, const DataSelect& select) {
  std::set<std::int32_t> processes;
  const auto descriptor = select.Descriptors()->GetDescriptor(dtProcess);
  if (!descriptor) return processes;
  for (std::int32_t i = 1; i <= descriptor->ItemCount(); ++i)
    processes.insert(descriptor->ItemID(i));
  if (descriptor->FilterType() == ftGroup)
    for (const auto& group : engine::ListGroups(database, engine::ItemKind::Process))
      if (group.id == descriptor->GroupID())
        processes.insert(group.members.begin(), group.members.end());
  return processes;
}

std::shared_ptr<PSResults> Analyse(const std::shared_ptr<EmbeddedDatabase>& database,
                                   const std::shared_ptr<DataSelect>& select) {
  auto results = PSAnalysis().AnalyzeDataSelect(database, select, std::make_shared<PSProcessing>());
  CheckEngine(*database);
  return results;
}

void Append(StatesDocument& document, const PSResults& results) {
  if (!results.PrcsStateLog()) return;
  document.has_log = true;
  for (auto& row : ReadStateLog(*results.PrcsStateLog())) document.log.push_back(std::move(row));
}

// The log of an analysis is that of one process; for each further one the same range again.
void AppendOtherLogs(const std::shared_ptr<EmbeddedDatabase>& database,
                     const std::set<std::int32_t>& processes, std::int32_t first,
                     StatesDocument& document) {
  for (const std::int32_t process : processes) {
    if (process == first) continue;
    const auto select = document.select->Clone();
    select->DateRangeTimeType(drttStatic);
    select->MaximumItems(1);
    auto& descriptors = *select->Descriptors();
    descriptors.Clear();
    descriptors.Add(dtProcess)->AddItemID(process);
    Append(document, *Analyse(database, select));
  }
}

// The latest record of the process before a time. A log reads forward only, so the search begins
// near the time and steps back until it meets one.
std::optional<StateRow> StateBefore(const std::shared_ptr<EmbeddedDatabase>& database,
                                    std::int32_t process, std::int64_t time) {
  constexpr std::int64_t kDay = 86400;
  for (std::int64_t days = 2; days <= 1024; days *= 8) {
    const auto log = platform::Current()->MakePrcsStateLog();
    log->RowLimit(0);
    log->ProcessID(process);
    log->KeyMode(1);
    log->Time(platform::TimeStampToDate(
        static_cast<std::int32_t>(std::max<std::int64_t>(time - days * kDay, INT32_MIN))));
    log->QueryType(platform::PrcsStateLog::kForward);
    if (!log->Read(database, 0)) return std::nullopt;
    std::optional<StateRow> latest;
    do {
      const std::int64_t at = platform::DateToTimeStamp(log->Time());
      if (at >= time) break;
      latest = StateRow{log->Process(), log->StateID(), log->StateType(), log->StateName(), at};
    } while (log->MoveNext());
    if (latest) return latest;
  }
  return std::nullopt;
}

// A busy database may have records of other processes between the start of the range and the state
// that was in force then; the analysis begins with those.
void AddStatesBefore(const std::shared_ptr<EmbeddedDatabase>& database, StatesDocument& document) {
  const std::int64_t start = StartOf(document);
  std::set<std::int32_t> known, processes;
  for (const auto& row : document.log) {
    processes.insert(row.prcs);
    if (row.time <= start) known.insert(row.prcs);
  }
  for (const auto& event : document.events) processes.insert(event.prcs);
  for (const auto& subgroup : document.subgroups.rows) processes.insert(subgroup.prcs);
  for (const std::int32_t process : processes)
    if (process != 0 && !known.contains(process))
      if (auto row = StateBefore(database, process, start)) {
        document.has_log = true;
        document.before.push_back(std::move(*row));
      }
}

int Run(const Arguments& arguments, Console& console) {
  const std::string format = OutputFormat(arguments, {"text", "json", "svg", "html"});
  const auto database = OpenQualityDatabase(arguments);
  const auto select = MakeSelection(arguments, *database, kMaximum);
  select->IncludeDefectTests(true);
  select->IncludeDefectiveTests(true);
  const StatesDocument document = RunStates(database, *select);
  const bool empty =
      document.log.empty() && document.events.empty() && document.subgroups.rows.empty();
  if (empty && format != "text") console.err << kNoData << "\n";
  Deliver(arguments, console,
          StatesText(document, NamesOf(database), format, console,
                     console.out_is_terminal && !arguments.Has("output")));
  return 0;
}

}  // namespace

StatesDocument RunStates(const std::shared_ptr<EmbeddedDatabase>& database,
                         const DataSelect& select) {
  StatesDocument document;
  NotesRead();  // those of earlier calls are not this analysis's
  const auto results = Analyse(database, select.Clone());
  document.notes = NotesRead();
  document.select = results->DataSelect();
  document.events = ReadEvents(*results->EventData());
  document.subgroups = ReadSubgroups(*results->SubgroupData());
  Append(document, *results);

  const auto processes = ProcessesOf(*database, select);
  const auto descriptor = select.Descriptors()->GetDescriptor(dtProcess);
  const std::int32_t first = descriptor ? descriptor->ItemID(1) : 0;
  if (first != 0) {
    AppendOtherLogs(database, processes, first, document);
  } else if (!processes.empty()) {
    // A group is read as every process.
    std::erase_if(document.log, [&](const StateRow& row) { return !processes.contains(row.prcs); });
  }
  std::stable_sort(document.log.begin(), document.log.end(),
                   [](const StateRow& a, const StateRow& b) { return a.time < b.time; });
  AddStatesBefore(database, document);
  NotesRead();
  return document;
}

std::string StatesText(const StatesDocument& document, const Names& names,
                       const std::string& format, const Console& console, bool colour) {
  if (format == "json") return StatesJson(document, names);
  const StatesView view = MakeStatesView(document, names);
  if (format == "svg") return RenderStatesSvg(view);
  if (format == "html") return RenderStatesHtml(view);
  return RenderStatesText(view, {console.columns, colour});
}

Command StatesCommand() {
  Command command;
  command.name = "states";
  command.synopsis = "--db FILE [--process NAME] [OPTIONS]";
  command.summary = "States of processes along time, with events and subgroups";
  command.details =
      "One line of time for each process: those named, or all. --max bounds subgroups and events\n"
      "(default 10000).\n"
      "Formats: text, json, svg, html.\n";
  command.example = "orvspc states --db q.db --since 2024-03-04 --until 2024-03-10 -o week.html";
  command.options = SelectionOptions("the newest N subgroups, and events, at most (default 10000)");
  for (const auto& option : OutputOptions()) command.options.push_back(option);
  command.run = Run;
  return command;
}

}  // namespace orvspc::host
