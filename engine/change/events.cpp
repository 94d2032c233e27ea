// SPDX-License-Identifier: Apache-2.0
#include "engine/change/events.h"

#include "engine/sql/counter.h"

namespace orvspc::engine::change {

void AddEvent(log::Writing& writing, EventTypes type, const EventOf& of) {
  sql::Query(
      writing.Db(),
      "INSERT INTO event(id, type, time, process, part, test, subgroup_time, employee, flag) "
      "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, 0)",
      sql::TakeIds(writing.Db(), "event"), type, writing.Seconds(), sql::Reference{of.process},
      sql::Reference{of.part}, sql::Reference{of.test}, of.subgroup_time, writing.Employee())
      .Run();
}

}  // namespace orvspc::engine::change
