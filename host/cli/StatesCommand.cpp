// SPDX-License-Identifier: Apache-2.0
#include "host/cli/StatesCommand.h"

#include <algorithm>
#include <optional>
#include <ostream>
#include <set>
#include <utility>
#include <vector>

#include "engine/store/Catalogue.h"
#include "engine/time/calendar.h"
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
    for (const auto& group :
         engine::store::ListGroups(database, engine::catalogue::ItemKind::Process))
      if (group.id == descriptor->GroupID())
        processes.insert(group.members.begin(), group.members.end());
  return processes;
}

// As many records of the log as an analysis reads.
constexpr std::size_t kLogRecords = 10000;
constexpr const char* kLogCut = "states-cut";

struct Analysed {
  std::shared_ptr<PSResults> results;
  std::vector<StateRow> log;
  std::vector<Note> notes;
  std::optional<std::int64_t> cut;  // the last record read of a log that goes on in the range
};

Analysed Analyse(const std::shared_ptr<EmbeddedDatabase>& database,
                 const std::shared_ptr<DataSelect>& select) {
  Analysed analysed;
  TakeNotes();  // those of earlier calls are not this analysis's
  analysed.results =
      PSAnalysis().AnalyzeDataSelect(database, select, std::make_shared<PSProcessing>());
  analysed.notes = TakeNotes();
  CheckEngine(*database);
  if (const auto log = analysed.results->PrcsStateLog()) analysed.log = ReadStateLog(*log);
  const auto is_cut = [](const Note& note) { return note.code == kLogCut; };
  if (analysed.log.size() < kLogRecords) {
    // Read forward without an end; what is missing lies after the range.
    std::erase_if(analysed.notes, is_cut);
  } else if (std::any_of(analysed.notes.begin(), analysed.notes.end(), is_cut)) {
    analysed.cut = analysed.log.back().time;
  }
  return analysed;
}

void Append(StatesDocument& document, Analysed& analysed) {
  if (!analysed.results->PrcsStateLog()) return;
  document.has_log = true;
  for (auto& row : analysed.log) document.log.push_back(std::move(row));
}

// The log of an analysis is that of one process; for each further one the same range again.
void AppendOtherLogs(const std::shared_ptr<EmbeddedDatabase>& database,
                     const std::set<std::int32_t>& processes, std::int32_t first,
                     StatesDocument& document) {
  const Names names = NamesOf(database);
  const auto name = [&](Note& note, std::int32_t process) {
    if (note.code == kLogCut) note.stream = names(NameKind::Process, process);
  };
  if (processes.size() > 1)
    for (auto& note : document.notes) name(note, first);
  for (const std::int32_t process : processes) {
    if (process == first) continue;
    const auto select = document.select->Clone();
    select->DateRangeTimeType(drttStatic);
    select->MaximumItems(1);
    auto& descriptors = *select->Descriptors();
    descriptors.Clear();
    descriptors.Add(dtProcess)->AddItemID(process);
    Analysed analysed = Analyse(database, select);
    Append(document, analysed);
    if (analysed.cut) document.cuts[process] = *analysed.cut;
    // Its subgroups and events are not used, so what is said of them does not count.
    for (auto& note : analysed.notes)
      if (note.code == kLogCut) {
        name(note, process);
        document.notes.push_back(std::move(note));
      }
  }
}

std::set<std::int32_t> EveryProcess(EmbeddedDatabase& database) {
  std::set<std::int32_t> processes;
  for (const auto& item : engine::store::ListItems(database, engine::catalogue::ItemKind::Process))
    processes.insert(item.id);
  return processes;
}

// The first record of the process at or after a time.
std::optional<StateRow> FirstStateFrom(const std::shared_ptr<EmbeddedDatabase>& database,
                                       std::int32_t process, std::int64_t time) {
  const auto log = platform::Current()->MakePrcsStateLog();
  log->RowLimit(1);
  log->ProcessID(process);
  log->KeyMode(1);
  log->Time(platform::TimeStampToDate(static_cast<std::int32_t>(time)));
  log->QueryType(platform::PrcsStateLog::kForward);
  if (!log->Read(database, 0)) return std::nullopt;
  return ReadStateLog(*log).front();
}

// The latest record of the process before a time. A log reads forward only, and the log before the
// time may be long, so the record is found by halving the stretch in which it lies.
std::optional<StateRow> StateBefore(const std::shared_ptr<EmbeddedDatabase>& database,
                                    std::int32_t process, std::int64_t time) {
  auto latest = FirstStateFrom(database, process, INT32_MIN);
  if (!latest || latest->time >= time) return std::nullopt;
  for (std::int64_t none_from = time; latest->time + 1 < none_from;) {
    const std::int64_t middle = latest->time + (none_from - latest->time) / 2;
    auto row = FirstStateFrom(database, process, middle);
    if (row && row->time < time) {
      latest = std::move(row);
    } else {
      none_from = middle;
    }
  }
  return latest;
}

// An analysis begins with the latest record of any process before the range. The state that another
// process was in then may be older, also where nothing happened to it in the range.
void AddStatesBefore(const std::shared_ptr<EmbeddedDatabase>& database,
                     std::set<std::int32_t> processes, StatesDocument& document) {
  if (!IsGiven(document.select->DateRangeStart()))
    return;  // the log was read from its first record
  const std::int64_t start = StartOf(document);
  for (const auto& row : document.log)
    if (row.time <= start) processes.erase(row.prcs);
  for (const std::int32_t process : processes)
    if (auto row = StateBefore(database, process, start)) {
      document.has_log = true;
      document.log.push_back(std::move(*row));
    }
  TakeNotes();  // reads of a single record leave notes of their own
}

// A range without an end goes on until now, or to what is newer. The analysis takes no record
// without it.
void FillInEnd(const std::shared_ptr<EmbeddedDatabase>& database, DataSelect& select) {
  if (select.DateRangeTimeType() != drttStatic ||
      platform::DateToTimeStamp(select.DateRangeEnd()) != INT32_MIN)
    return;
  const auto newest = select.Clone();
  newest->MaximumItems(1);
  std::int64_t end = std::max<std::int64_t>(engine::time::Now(),
                                            platform::DateToTimeStamp(select.DateRangeStart()));
  for (const auto& event : ReadEvents(*newest->GetEventData(database)))
    end = std::max<std::int64_t>(end, event.time);
  for (const auto& subgroup : ReadSubgroups(*newest->GetSubgroupData(database)).rows)
    end = std::max<std::int64_t>(end, subgroup.stamp);
  CheckEngine(*database);
  select.DateRangeEnd(
      platform::TimeStampToDate(static_cast<std::int32_t>(std::min<std::int64_t>(end, INT32_MAX))));
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
  const auto range = select.Clone();
  FillInEnd(database, *range);
  Analysed analysed = Analyse(database, range);
  document.notes = std::move(analysed.notes);
  document.select = analysed.results->DataSelect();
  document.events = ReadEvents(*analysed.results->EventData());
  document.subgroups = ReadSubgroups(*analysed.results->SubgroupData());
  Append(document, analysed);

  const auto processes = ProcessesOf(*database, select);
  const auto descriptor = select.Descriptors()->GetDescriptor(dtProcess);
  const std::int32_t first = descriptor ? descriptor->ItemID(1) : 0;
  if (analysed.cut) document.cuts[first] = *analysed.cut;
  // An analysis reads the log of one process; a selection of none or of a group names no process.
  const auto drawn = processes.empty() ? EveryProcess(*database) : processes;
  AppendOtherLogs(database, drawn, first, document);
  AddStatesBefore(database, drawn, document);
  std::stable_sort(document.log.begin(), document.log.end(),
                   [](const StateRow& a, const StateRow& b) { return a.time < b.time; });
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
