// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/counter.h"

namespace orvspc::engine::sql {

std::int64_t LastId(Connection& connection, std::string_view table) {
  return Query(connection, "SELECT last FROM counter WHERE name = ?1", table)
      .RunForInt()
      .value_or(0);
}

std::int64_t TakeIds(Connection& connection, std::string_view table, std::int64_t count) {
  const auto last =
      Query(connection, "UPDATE counter SET last = last + ?2 WHERE name = ?1 RETURNING last", table,
            count)
          .RunForInt();
  if (!last) throw SqlError(SqlError::Kind::Damaged, "a counter of identifiers is missing");
  return *last - count + 1;
}

}  // namespace orvspc::engine::sql
