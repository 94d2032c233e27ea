// SPDX-License-Identifier: Apache-2.0
#include "engine/store/EventLog.h"

#include <algorithm>

#include "engine/store/conditions.h"
#include "engine/store/flat_filter.h"

namespace orvspc::engine::store {
namespace {

constexpr std::string_view kNewestFirst =
    "SELECT id, type, name, employee, process, part, test, acc, acc_employee, cac, cac_employee, "
    "flag, time, finish, subgroup_time, acc_time, cac_time FROM event "
    "WHERE time BETWEEN ?1 AND ?2 ORDER BY time DESC, id DESC";
constexpr std::string_view kById =
    "SELECT id, type, name, employee, process, part, test, acc, acc_employee, cac, cac_employee, "
    "flag, time, finish, subgroup_time, acc_time, cac_time FROM event WHERE id = ?1";

EventRow RowOf(const sql::Query& query) {
  EventRow row;
  query.Read(row.id, row.type, row.name, row.employee, row.process, row.part, row.test, row.acc,
             row.acc_employee, row.cac, row.cac_employee, row.flag, row.time, row.finish,
             row.subgroup_time, row.acc_time, row.cac_time);
  return row;
}

}  // namespace

std::vector<EventRow> SelectEvents(sql::Connection& connection, const StoreCache& cache,
                                   API_DSInfo& info, std::span<const std::int32_t> filter) {
  const auto flat = ReadFilter(info, filter);
  const auto part = LookUpItems(connection, "part", flat.part);
  const auto process = LookUpItems(connection, "process", flat.process);
  const auto test = LookUpItems(connection, "test", flat.test);
  const auto employee = LookUpItems(connection, "employee", flat.employee);
  const auto limit = info.Count > 0 ? static_cast<std::size_t>(info.Count) : SIZE_MAX;
  TimeRange range(info, cache.zone_offset);

  std::vector<EventRow> rows;
  sql::Query query(connection, kNewestFirst, range.Start(), range.End());
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
  std::optional<std::int32_t> newest;
  if (!rows.empty()) newest = rows.back().time;
  range.WriteBack(info, newest);
  ResolveStatus(info);
  return rows;
}

std::optional<EventRow> ReadEvent(sql::Connection& connection, std::int32_t id) {
  sql::Query query(connection, kById, id);
  if (!query.Step()) return std::nullopt;
  return RowOf(query);
}

}  // namespace orvspc::engine::store
