// SPDX-License-Identifier: Apache-2.0
#include "host/render/states/States.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <tuple>
#include <utility>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "platform/Platform.h"
#include "platform/TimeStamp.h"

namespace orvspc::render {

namespace {

// The first and the last stamp of the range. Of an open range they are those of the first and the
// last thing that the document knows of.
std::pair<std::int64_t, std::int64_t> RangeOf(const StatesDocument& document) {
  std::vector<std::int64_t> times;
  for (const auto& row : document.log) times.push_back(row.time);
  for (const auto& event : document.events) times.push_back(event.time);
  for (const auto& subgroup : document.subgroups.rows) times.push_back(subgroup.stamp);
  if (times.empty()) times.push_back(0);
  const auto [first, last] = std::minmax_element(times.begin(), times.end());
  const double start = document.select->DateRangeStart(), end = document.select->DateRangeEnd();
  return {IsGiven(start) ? platform::DateToTimeStamp(start) : *first,
          IsGiven(end) ? platform::DateToTimeStamp(end) : *last};
}

std::string TextOf(const EventRow& event, const Names& names) {
  std::string text = EventTypeWord(event.type);
  if (!event.name.empty()) text += ": " + PlainText(event.name);
  if (event.acc.code != 0) text += "; ACC: " + ShownName(names, NameKind::AccCode, event.acc.code);
  if (event.cac.code != 0) text += "; CAC: " + ShownName(names, NameKind::CacCode, event.cac.code);
  if (event.flag != 0) text += "; " + OpenText(event.flag);
  return text;
}

// A lane for each process that something is known of, by name; what belongs to none comes last.
std::vector<Lane> LanesOf(const StatesDocument& document, const Names& names, std::int64_t start,
                          std::int64_t end) {
  std::map<std::int32_t, Lane> by_process;
  const auto lane_of = [&](std::int32_t prcs) -> Lane& {
    const auto [found, is_new] = by_process.try_emplace(prcs);
    Lane& lane = found->second;
    if (is_new)
      lane.process = prcs == 0 ? "(no process)" : ShownName(names, NameKind::Process, prcs);
    lane.is_process = prcs != 0;
    return lane;
  };
  const auto known_until = [&](std::int32_t prcs) {
    const auto cut = document.cuts.find(prcs);
    return cut == document.cuts.end() ? end : std::min(end, cut->second);
  };
  // Records of before the range give the state at its start.
  for (const auto& row : document.log) {
    auto& stays = lane_of(row.prcs).stays;
    if (!stays.empty()) stays.back().end = std::max(row.time, stays.back().start);
    stays.push_back(
        {std::max(row.time, start), known_until(row.prcs), row.type, PlainText(row.name)});
  }
  for (const auto& event : document.events)
    lane_of(event.prcs)
        .events.push_back({event.time, event.type, event.flag != 0, TextOf(event, names)});
  for (const auto& subgroup : document.subgroups.rows)
    lane_of(subgroup.prcs).subgroups.push_back(subgroup.stamp);
  std::vector<Lane> lanes;
  for (auto& [prcs, lane] : by_process) {
    std::sort(lane.subgroups.begin(), lane.subgroups.end());
    std::erase_if(lane.stays, [](const Stay& stay) { return stay.end <= stay.start; });
    lanes.push_back(std::move(lane));
  }
  std::stable_sort(lanes.begin(), lanes.end(), [](const Lane& a, const Lane& b) {
    return a.is_process != b.is_process ? a.is_process : a.process < b.process;
  });
  return lanes;
}

}  // namespace

bool IsGiven(double date) {
  const std::int32_t stamp = platform::DateToTimeStamp(date);
  return stamp != std::numeric_limits<std::int32_t>::min() &&
         stamp != std::numeric_limits<std::int32_t>::max();
}

std::size_t AddLog(StatesDocument& document, const std::shared_ptr<platform::Database>& database,
                   std::int32_t process, const StateRow* before) {
  const auto log = platform::Current()->MakePrcsStateLog();
  log->RowLimit(kLogRecords);
  log->ProcessID(process);
  log->KeyMode(1);
  log->Time(document.select->DateRangeStart());
  log->QueryType(platform::PrcsStateLog::kForward);
  std::vector<StateRow> rows;
  if (log->Read(database, 0)) {
    document.has_log = true;
    rows = ReadRows(*log, [&] {
      return StateRow{log->Process(), log->StateID(), log->StateType(), log->StateName(),
                      platform::DateToTimeStamp(log->Time())};
    });
  }
  const std::int64_t end = platform::DateToTimeStamp(document.select->DateRangeEnd());
  std::erase_if(rows, [end](const StateRow& row) { return row.time > end; });
  const std::int64_t start = platform::DateToTimeStamp(document.select->DateRangeStart());
  if (before && (rows.empty() || rows.front().time > start)) {
    document.has_log = true;
    document.log.push_back(*before);
  }
  document.log.insert(document.log.end(), rows.begin(), rows.end());
  return rows.size();
}

void SortLog(StatesDocument& document) {
  std::stable_sort(document.log.begin(), document.log.end(),
                   [](const StateRow& a, const StateRow& b) { return a.time < b.time; });
}

std::string StatesJson(const StatesDocument& document, const Names& names) {
  return JsonDocument([&](JsonWriter& json) {
    json.Object("DataSelect", [&] { WriteDataSelect(json, *document.select); });
    if (document.has_log) {
      json.Objects("StateLog", document.log, [&](const StateRow& row) {
        WriteItem(json, "Prcs", names, NameKind::Process, row.prcs);
        json.Members("Time", IsoTime(row.time), "StateID", row.state, "StateName", row.name,
                     "StateType", row.type);
      });
    } else {
      json.NullMember("StateLog");
    }
    WriteEvents(json, document.events, names);
    WriteSubgroups(json, document.subgroups, names);
    WriteNotes(json, document.notes);
  });
}

StatesView MakeStatesView(const StatesDocument& document, const Names& names) {
  StatesView view;
  std::tie(view.start, view.end) = RangeOf(document);
  view.end = std::max(view.end, view.start + 60);
  view.lanes = LanesOf(document, names, view.start, view.end);
  view.title = "Process states";
  const auto processes = std::count_if(view.lanes.begin(), view.lanes.end(),
                                       [](const Lane& lane) { return lane.is_process; });
  if (!view.Empty())
    view.subtitle =
        fmt::format("{} to {} UTC, {}, {}, {}", IsoTime(view.start), IsoTime(view.end),
                    Counted(static_cast<std::size_t>(processes), "process", "processes"),
                    Counted(document.events.size(), "event"),
                    Counted(document.subgroups.rows.size(), "subgroup"));
  if (!document.events.empty()) view.events = EventsTable(document.events, names);
  view.notes = PlainNotes(document.notes);
  return view;
}

}  // namespace orvspc::render
