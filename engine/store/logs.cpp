// SPDX-License-Identifier: Apache-2.0
#include "engine/store/logs.h"

#include <algorithm>

#include "engine/store/DatabaseLibrary.h"
#include "engine/store/conditions.h"
#include "platform/FixedText.h"

namespace orvspc::engine::store {
namespace {

// Of one process and of all: separate texts, so that each follows its index. Both take the process,
// which is 0 for all.
constexpr std::string_view kBetweenOfOne =
    "SELECT l.time, l.process, l.state_code, c.type FROM state_log l "
    "JOIN state_code c ON c.id = l.state_code WHERE l.process = ?1 AND l.time BETWEEN ?2 AND ?3 "
    "ORDER BY l.time LIMIT ?4";
constexpr std::string_view kBetweenOfAll =
    "SELECT l.time, l.process, l.state_code, c.type FROM state_log l "
    "JOIN state_code c ON c.id = l.state_code WHERE ?1 = 0 AND l.time BETWEEN ?2 AND ?3 "
    "ORDER BY l.time, l.process LIMIT ?4";
constexpr std::string_view kBeforeOfOne =
    "SELECT l.time, l.process, l.state_code, c.type FROM state_log l "
    "JOIN state_code c ON c.id = l.state_code WHERE l.process = ?1 AND l.time < ?2 "
    "ORDER BY l.time DESC LIMIT 1";
constexpr std::string_view kBeforeOfAll =
    "SELECT l.time, l.process, l.state_code, c.type FROM state_log l "
    "JOIN state_code c ON c.id = l.state_code WHERE ?1 = 0 AND l.time < ?2 "
    "ORDER BY l.time DESC, l.process DESC LIMIT 1";

std::vector<StateLogRow> StatesOf(sql::Query& query) {
  return query.All<StateLogRow>(&StateLogRow::time, &StateLogRow::process, &StateLogRow::state,
                                &StateLogRow::type);
}

// condition: on the rows of "event e".
std::string SelectEventsWhere(std::string_view condition) {
  return "SELECT e.id, e.type, e.name, e.employee, e.process, e.part, e.test, e.acc, "
         "e.acc_employee, e.cac, e.cac_employee, e.flag, e.time, e.finish, e.subgroup_time, "
         "e.acc_time, e.cac_time, CASE WHEN EXISTS (SELECT 1 FROM alarm a WHERE a.event = e.id "
         "AND a.state IN ('closed', 'withdrawn')) OR EXISTS (SELECT 1 FROM missed_sample m "
         "WHERE m.event = e.id AND m.is_withdrawn <> 0) THEN 1 ELSE 0 END FROM event e WHERE " +
         std::string(condition);
}

EventRow RowOf(const sql::Query& query) {
  EventRow row;
  query.Read(row.id, row.type, row.name, row.employee, row.process, row.part, row.test, row.acc,
             row.acc_employee, row.cac, row.cac_employee, row.flag, row.time, row.finish,
             row.subgroup_time, row.acc_time, row.cac_time, row.is_over);
  return row;
}

API_EventData WireRow(const EventRow& event,
                      const std::unordered_map<std::int32_t, std::string>& names) {
  API_EventData row{};
  row.Evnt = event.id;
  row.F_TYPE = event.type;
  const auto name = names.find(event.name);
  platform::StoreFixedText(row.F_NAME, name == names.end() ? std::string_view() : name->second);
  row.F_EMPL = event.employee;
  row.F_EVTM = event.time;
  row.F_PRCS = event.process;
  row.F_PART = event.part;
  row.F_TEST_ = event.test;
  row.F_SGTM = event.subgroup_time.value_or(0);
  row.F_ACC = event.acc;
  row.F_ACEM = event.acc_employee;
  row.F_ACTM = event.acc_time.value_or(0);
  row.F_CAC = event.cac;
  row.F_CAEM = event.cac_employee;
  row.F_CATM = event.cac_time.value_or(0);
  row.F_FLAG = event.flag;
  return row;
}

}  // namespace

std::vector<EventRow> SelectEvents(sql::Connection& connection, const StoreCache& cache,
                                   API_DSInfo& info, std::span<const std::int32_t> filter) {
  const auto flat = ReadFilter(info, filter);
  const auto wanted = [&](catalogue::ItemKind kind) { return LookUpItems(connection, flat, kind); };
  const auto part = wanted(catalogue::ItemKind::Part);
  const auto process = wanted(catalogue::ItemKind::Process);
  const auto test = wanted(catalogue::ItemKind::Test);
  const auto employee = wanted(catalogue::ItemKind::Employee);
  const auto limit = info.Count > 0 ? static_cast<std::size_t>(info.Count) : SIZE_MAX;
  TimeRange range(info, cache.zone_offset);

  std::vector<EventRow> rows;
  static const auto newest_first =
      SelectEventsWhere("e.time BETWEEN ?1 AND ?2 ORDER BY e.time DESC, e.id DESC");
  sql::Query query(connection, sql::ManyRows{64}, newest_first, range.Start(), range.End());
  while (rows.size() < limit && query.Step()) {
    const auto row = RowOf(query);
    // The statement began before the range of the newest was known.
    if (row.time < range.Start()) break;
    if (!Has(part, row.part) || !Has(process, row.process) || !Has(test, row.test) ||
        !Has(employee, row.employee)) {
      continue;
    }
    if (range.NeedsNewest()) range.SetNewest(row.time);
    rows.push_back(row);
  }
  std::reverse(rows.begin(), rows.end());
  range.WriteBack(info, rows.empty() ? std::nullopt : std::optional(rows.back().time));
  ResolveStatus(info);
  return rows;
}

std::vector<EventRow> EventsOfSubgroups(sql::Connection& connection, std::int64_t from,
                                        std::int64_t to) {
  std::vector<EventRow> rows;
  static const auto of_subgroups =
      SelectEventsWhere("e.subgroup_time BETWEEN ?1 AND ?2 ORDER BY e.time, e.id");
  sql::Query query(connection, sql::ManyRows{64}, of_subgroups, from, to);
  while (query.Step()) rows.push_back(RowOf(query));
  return rows;
}

std::vector<EventRow> DowntimesBetween(sql::Connection& connection, std::int32_t process,
                                       std::int64_t from, std::int64_t to) {
  std::vector<EventRow> rows;
  static const auto downtimes = SelectEventsWhere(
      "e.type = 7 AND (e.process = ?1 OR e.process IS NULL) AND e.time <= ?3 "
      "AND coalesce(e.finish, e.time) >= ?2 ORDER BY e.time, e.id");
  sql::Query query(connection, sql::ManyRows{64}, downtimes, process, from, to);
  while (query.Step()) rows.push_back(RowOf(query));
  return rows;
}

std::optional<EventRow> ReadEvent(sql::Connection& connection, std::int32_t id) {
  static const auto by_id = SelectEventsWhere("e.id = ?1");
  sql::Query query(connection, by_id, id);
  if (!query.Step()) return std::nullopt;
  return RowOf(query);
}

std::int32_t DatabaseLibrary::VLXDBL_BUILDEVENTDATA(std::int32_t, std::int32_t Connection,
                                                    API_DSInfo& DSInfo,
                                                    std::span<std::int32_t> DSFilter,
                                                    std::span<std::int32_t> Events, std::int32_t) {
  return CallWithStore(Connection, [&](const std::shared_ptr<Store>& store) -> std::int32_t {
    auto info = DSInfo;
    std::vector<EventRow> rows;
    store->ReadOrThrow(
        [&](sql::Connection& db) { rows = SelectEvents(db, store->Cache(), info, DSFilter); });
    if (rows.size() > Events.size()) {
      rows.erase(rows.begin(), rows.end() - static_cast<std::ptrdiff_t>(Events.size()));
      AddNote("events-cut", "There are more events than fit; only the newest " +
                                std::to_string(Events.size()) + " are there.");
    }
    std::ranges::transform(rows, Events.begin(), &EventRow::id);
    DSInfo = info;
    return static_cast<std::int32_t>(rows.size());
  });
}

std::int32_t DatabaseLibrary::VLXDBL_GETEVENTS(std::int32_t, std::int32_t Connection,
                                               std::span<std::int32_t> Events,
                                               const platform::ArrayRef& Rows, std::int32_t Count,
                                               std::int32_t Code) {
  return CallWithStore(Connection, [&](const std::shared_ptr<Store>& store) -> std::int32_t {
    const auto out = Rows.As<API_EventData>();
    if (Code != kEvents || Count < 0 || static_cast<std::size_t>(Count) > Events.size() ||
        static_cast<std::size_t>(Count) > out.size()) {
      store->Fail(sql::kRefused, "The call for " + std::to_string(Count) + " events with code " +
                                     std::to_string(Code) + " does not fit its arrays");
      return 0;
    }
    std::vector<API_EventData> rows;
    store->ReadOrThrow([&](sql::Connection& db) {
      const auto& names = store->Cache().Names(catalogue::ItemKind::EventName);
      rows.clear();
      for (const auto id : Events.first(static_cast<std::size_t>(Count))) {
        const auto event = ReadEvent(db, id);
        rows.push_back(event ? WireRow(*event, names) : API_EventData{});
      }
    });
    std::ranges::copy(rows, out.begin());
    return Count;
  });
}

std::vector<StateLogRow> ReadStateLog(sql::Connection& connection, std::int32_t process,
                                      std::int64_t from, std::int64_t to, std::int64_t limit) {
  sql::Query query(connection, process == 0 ? kBetweenOfAll : kBetweenOfOne, process, from, to,
                   limit);
  return StatesOf(query);
}

std::optional<StateLogRow> LatestStateBefore(sql::Connection& connection, std::int32_t process,
                                             std::int64_t time) {
  sql::Query query(connection, process == 0 ? kBeforeOfAll : kBeforeOfOne, process, time);
  const auto rows = StatesOf(query);
  return rows.empty() ? std::nullopt : std::optional(rows.front());
}

bool HasStateLog(sql::Connection& connection, std::int32_t process) {
  sql::Query query(connection, "SELECT 1 FROM state_log WHERE process = ?1 LIMIT 1", process);
  return query.Step();
}

}  // namespace orvspc::engine::store
