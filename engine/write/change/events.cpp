// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/events.h"

#include "engine/chunks/StreamWalk.h"
#include "engine/sql/counter.h"
#include "engine/store/StoreCache.h"

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

void MoveEvents(sql::Connection& db, const StoredSubgroup& from, std::int32_t time) {
  const auto streams =
      sql::Query(db, "SELECT id, test FROM stream WHERE part = ?1 AND process = ?2", from.part,
                 from.process)
          .All<store::Stream>(&store::Stream::id, &store::Stream::test);
  for (const auto& stream : streams) {
    sql::Query(db,
               "UPDATE event SET subgroup_time = ?4 WHERE subgroup_time = ?3 AND id IN "
               "(SELECT event FROM alarm WHERE stream = ?1 AND first_subgroup = ?2)",
               stream.id, from.id, from.time, time)
        .Run();
    bool is_shared = false;
    store::StreamWalk(db, stream.id, true, from.time, from.time)
        .ForEach([&](const store::RecordView&) {
          is_shared = true;
          return false;
        });
    if (is_shared) continue;
    sql::Query(db,
               "UPDATE event SET subgroup_time = ?6 WHERE subgroup_time = ?5 AND part = ?2 "
               "AND process = ?3 AND test = ?4 AND id NOT IN "
               "(SELECT event FROM alarm WHERE stream = ?1)",
               stream.id, from.part, from.process, stream.test, from.time, time)
        .Run();
  }
}

}  // namespace orvspc::engine::change
