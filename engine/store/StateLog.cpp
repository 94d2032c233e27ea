// SPDX-License-Identifier: Apache-2.0
#include "engine/store/StateLog.h"

namespace orvspc::engine::store {
namespace {

// Of one process and of all: separate texts, so that each follows its index.
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

StateLogRow RowOf(const sql::Query& query) {
  StateLogRow row;
  query.Read(row.time, row.process, row.state, row.type);
  return row;
}

}  // namespace

std::vector<StateLogRow> ReadStateLog(sql::Connection& connection, std::int32_t process,
                                      std::int64_t from, std::int64_t to, std::int64_t limit) {
  sql::Query query(connection, process == 0 ? kBetweenOfAll : kBetweenOfOne, process, from, to,
                   limit);
  std::vector<StateLogRow> rows;
  while (query.Step()) rows.push_back(RowOf(query));
  return rows;
}

std::optional<StateLogRow> LatestStateBefore(sql::Connection& connection, std::int32_t process,
                                             std::int64_t time) {
  sql::Query query(connection, process == 0 ? kBeforeOfAll : kBeforeOfOne, process, time);
  return query.Step() ? std::optional(RowOf(query)) : std::nullopt;
}

bool HasStateLog(sql::Connection& connection, std::int32_t process) {
  sql::Query query(connection, "SELECT 1 FROM state_log WHERE process = ?1 LIMIT 1", process);
  return query.Step();
}

}  // namespace orvspc::engine::store
