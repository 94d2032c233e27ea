// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/events.h"

#include "engine/sql/counter.h"

namespace orvspc::engine::change {

namespace {

// Of the name of an event; 0 for none.
std::int32_t IdOfName(sql::Connection& db, std::string_view name) {
  if (name.empty()) return 0;
  const auto known = sql::Query(db, "SELECT id FROM event_name WHERE name = ?1", name).RunForInt();
  if (known) return static_cast<std::int32_t>(*known);
  const auto id = sql::TakeIds(db, "event_name");
  sql::Query(db, "INSERT INTO event_name(id, name) VALUES(?1, ?2)", id, name).Run();
  return static_cast<std::int32_t>(id);
}

}  // namespace

void AddEvent(log::Writing& writing, EventTypes type, const EventOf& of) {
  auto& db = writing.Db();
  sql::Query(
      db,
      "INSERT INTO event(id, type, time, process, part, test, subgroup_time, employee, name, flag) "
      "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, 0)",
      sql::TakeIds(db, "event"), type, writing.Seconds(), sql::Reference{of.process},
      sql::Reference{of.part}, sql::Reference{of.test}, of.subgroup_time, writing.Employee(),
      sql::Reference{IdOfName(db, of.name)})
      .Run();
}

}  // namespace orvspc::engine::change
