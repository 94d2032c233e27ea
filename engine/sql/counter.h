// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/sql/Connection.h"

// Identifiers of rows, for every table that has some. The last one given in a table is its row of
// the table counter.
namespace orvspc::engine::sql {

// The last identifier that was given to a row of a table; 0: none. Inside a transaction.
std::int64_t LastId(Connection& connection, std::string_view table);

// The first of new identifiers that follow one another. Inside a write transaction.
//   - No identifier is given twice, even when its row is gone; what a transaction that fails has
//     taken is given again.
//   - They are the same ones on every database that the same was written to.
//   - Rows that came with identifiers of their own are above what their counter says, as in files
//     of a former program; new identifiers lie above them, too.
//   - The counter is read at the first call of a transaction and written when it is committed, not
//     at each call: a server keeps each version of a row until then and walks them all.
std::int64_t TakeIds(Connection& connection, std::string_view table, std::int64_t count = 1);

}  // namespace orvspc::engine::sql
