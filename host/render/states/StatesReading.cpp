// SPDX-License-Identifier: Apache-2.0
#include "host/render/states/StatesReading.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <map>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "platform/Platform.h"
#include "platform/TimeStamp.h"

namespace orvspc::render {

namespace {

// All times that the document knows of.
std::vector<std::int64_t> TimesOf(const StatesDocument& document) {
  std::vector<std::int64_t> times;
  for (const auto& row : document.log) times.push_back(row.time);
  for (const auto& event : document.events) times.push_back(event.time);
  for (const auto& subgroup : document.subgroups.rows) times.push_back(subgroup.stamp);
  return times;
}

std::int64_t EndOf(const StatesDocument& document) {
  if (IsGiven(document.select->DateRangeEnd()))
    return platform::DateToTimeStamp(document.select->DateRangeEnd());
  const auto times = TimesOf(document);
  return times.empty() ? 0 : *std::max_element(times.begin(), times.end());
}

// A lane for each process that something is known of, by name; things of no process come last.
class Lanes {
 public:
  // cuts: of the log, by process.
  Lanes(const Names& names, std::int64_t end, const std::map<std::int32_t, std::int64_t>& cuts)
      : names_(names), end_(end), cuts_(cuts) {}

  void Add(const StateRow& row, std::int64_t start) {
    auto& stays = LaneOf(row.prcs).stays;
    if (!stays.empty()) stays.back().end = std::max(row.time, stays.back().start);
    stays.push_back({std::max(row.time, start), EndOf(row.prcs), row.type, PlainText(row.name)});
  }
  void Add(const EventRow& event) {
    std::string text = EventTypeWord(event.type);
    if (!event.name.empty()) text += ": " + PlainText(event.name);
    if (event.acc != 0) text += "; ACC: " + ShownName(names_, NameKind::AccCode, event.acc);
    if (event.cac != 0) text += "; CAC: " + ShownName(names_, NameKind::CacCode, event.cac);
    if (event.flag != 0) text += "; " + OpenText(event.flag);
    LaneOf(event.prcs).events.push_back({event.time, event.type, event.flag != 0, text});
  }
  void Add(const SubgroupRow& subgroup) {
    LaneOf(subgroup.prcs).subgroups.push_back(subgroup.stamp);
  }

  std::vector<Lane> Take() {
    std::vector<Lane> lanes;
    for (auto& [prcs, lane] : lanes_) {
      std::sort(lane.subgroups.begin(), lane.subgroups.end());
      lanes.push_back(std::move(lane));
    }
    std::stable_sort(lanes.begin(), lanes.end(), [](const Lane& a, const Lane& b) {
      return a.is_process != b.is_process ? a.is_process : a.process < b.process;
    });
    return lanes;
  }

 private:
  // Until when the states of a process are known.
  std::int64_t EndOf(std::int32_t prcs) const {
    std::int64_t end = end_;
    for (const std::int32_t whose : {prcs, 0})
      if (const auto cut = cuts_.find(whose); cut != cuts_.end()) end = std::min(end, cut->second);
    return end;
  }

  Lane& LaneOf(std::int32_t prcs) {
    auto [found, is_new] = lanes_.try_emplace(prcs);
    if (is_new) {
      found->second.is_process = prcs != 0;
      found->second.process =
          prcs == 0 ? "(no process)" : ShownName(names_, NameKind::Process, prcs);
    }
    return found->second;
  }

  const Names& names_;
  std::int64_t end_;
  const std::map<std::int32_t, std::int64_t>& cuts_;
  std::map<std::int32_t, Lane> lanes_;
};

}  // namespace

bool IsGiven(double date) {
  const std::int32_t stamp = platform::DateToTimeStamp(date);
  return stamp != std::numeric_limits<std::int32_t>::min() &&
         stamp != std::numeric_limits<std::int32_t>::max();
}

std::vector<StateRow> ReadStateLog(platform::PrcsStateLog& log) {
  return ReadRows(log, [&] {
    return StateRow{log.Process(), log.StateID(), log.StateType(), log.StateName(),
                    platform::DateToTimeStamp(log.Time())};
  });
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
    rows = ReadStateLog(*log);
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

std::int64_t StartOf(const StatesDocument& document) {
  if (IsGiven(document.select->DateRangeStart()))
    return platform::DateToTimeStamp(document.select->DateRangeStart());
  const auto times = TimesOf(document);
  return times.empty() ? 0 : *std::min_element(times.begin(), times.end());
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
    WriteSubgroups(json, document.subgroups.rows, names);
    WriteNotes(json, document.notes);
  });
}

StatesView MakeStatesView(const StatesDocument& document, const Names& names) {
  StatesView view;
  view.start = StartOf(document);
  view.end = std::max(EndOf(document), view.start + 60);
  Lanes lanes(names, view.end, document.cuts);
  // Records of before the range tell the state at its start.
  for (const auto& row : document.log) lanes.Add(row, view.start);
  for (const auto& event : document.events) lanes.Add(event);
  for (const auto& subgroup : document.subgroups.rows) lanes.Add(subgroup);
  view.lanes = lanes.Take();
  for (auto& lane : view.lanes)
    std::erase_if(lane.stays, [](const Stay& stay) { return stay.end <= stay.start; });
  view.title = "Process states";
  const auto processes = std::count_if(view.lanes.begin(), view.lanes.end(),
                                       [](const Lane& lane) { return lane.is_process; });
  if (!view.Empty())
    view.subtitle =
        fmt::format("{} to {} UTC, {} {}, {} events, {} subgroups", IsoTime(view.start),
                    IsoTime(view.end), processes, processes == 1 ? "process" : "processes",
                    document.events.size(), document.subgroups.rows.size());
  if (!document.events.empty()) view.events = EventsTable(document.events, names);
  view.notes = PlainNotes(document.notes);
  return view;
}

}  // namespace orvspc::render
