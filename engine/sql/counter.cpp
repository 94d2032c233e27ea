// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/counter.h"

#include <string>

namespace orvspc::engine::sql {
namespace {

std::string LastIdText(std::string_view table) {
  const std::string name(table);
  const std::string sealed =
      table == "subgroup" ? " UNION ALL SELECT max(block) * 256 + 255 FROM subgroup_block" : "";
  return "SELECT coalesce(max(last), 0) FROM (SELECT last FROM counter WHERE name = ?1 "
         "UNION ALL SELECT max(id) FROM " +
         name + sealed + ") AS given";
}

Counter& CounterOf(Connection& connection, std::string_view table) {
  auto& counters = connection.Counters();
  const auto found = counters.find(table);
  if (found != counters.end()) return found->second;
  return counters.emplace(table, Counter{LastIdText(table), {}}).first->second;
}

std::int64_t LastOf(Connection& connection, std::string_view table, const Counter& counter) {
  if (counter.taken) return *counter.taken;
  return Query(connection, counter.text, table).RunForInt().value_or(0);
}

}  // namespace

std::int64_t LastId(Connection& connection, std::string_view table) {
  return LastOf(connection, table, CounterOf(connection, table));
}

std::int64_t TakeIds(Connection& connection, std::string_view table, std::int64_t count) {
  auto& counter = CounterOf(connection, table);
  const auto last = LastOf(connection, table, counter);
  counter.taken = last + count;
  return last + 1;
}

void StoreCounters(Connection& connection) {
  for (auto& [table, counter] : connection.Counters()) {
    if (!counter.taken) continue;
    const auto last = *counter.taken;
    // Not in one statement, since a role may have the right to change rows and none to add some.
    if (Query(connection, "UPDATE counter SET last = ?2 WHERE name = ?1", table, last).Run() == 0) {
      Query(connection, "INSERT INTO counter(name, last) VALUES(?1, ?2)", table, last).Run();
    }
    counter.taken.reset();
  }
}

}  // namespace orvspc::engine::sql
