// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/events.h"

#include <algorithm>

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

bool HasRecordAt(sql::Connection& db, std::int64_t stream, std::int32_t time) {
  bool has_one = false;
  store::StreamWalk(db, stream, true, time, time).ForEach([&](const store::RecordView&) {
    has_one = true;
    return false;
  });
  return has_one;
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
  sql::Query(db,
             "UPDATE event SET subgroup_time = ?3 WHERE subgroup_time = ?2 AND EXISTS "
             "(SELECT 1 FROM alarm a WHERE a.event = event.id AND a.first_subgroup = ?1)",
             from.id, from.time, time)
      .Run();
  const auto named =
      sql::Query(db,
                 "SELECT id, coalesce(part, 0), coalesce(process, 0), coalesce(test, 0) "
                 "FROM event e WHERE subgroup_time = ?1 AND coalesce(part, ?2) = ?2 "
                 "AND coalesce(process, ?3) = ?3 "
                 "AND NOT EXISTS (SELECT 1 FROM alarm a WHERE a.event = e.id)",
                 from.time, from.part, from.process)
          .All<store::Stream>(&store::Stream::id, &store::Stream::part, &store::Stream::process,
                              &store::Stream::test);
  if (named.empty()) return;
  const auto streams = sql::Query(db, "SELECT id, part, process, test FROM stream")
                           .All<store::Stream>(&store::Stream::id, &store::Stream::part,
                                               &store::Stream::process, &store::Stream::test);
  for (const auto& event : named) {
    const auto fits = [&](const store::Stream& stream) {
      return (event.part == 0 || event.part == stream.part) &&
             (event.process == 0 || event.process == stream.process) &&
             (event.test == 0 || event.test == stream.test);
    };
    const auto is_own = [&](const store::Stream& stream) {
      return stream.part == from.part && stream.process == from.process && fits(stream);
    };
    const auto is_shared = [&](const store::Stream& stream) {
      return fits(stream) && HasRecordAt(db, stream.id, from.time);
    };
    if (std::ranges::none_of(streams, is_own) || std::ranges::any_of(streams, is_shared)) continue;
    sql::Query(db, "UPDATE event SET subgroup_time = ?2 WHERE id = ?1", event.id, time).Run();
  }
}

}  // namespace orvspc::engine::change
