// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/sql/Connection.h"

namespace orvspc::engine::sql {

// The last identifier that was given to a row of a table; 0: none. Inside a transaction.
std::int64_t LastId(Connection& connection, std::string_view table);

// The first of new identifiers that follow one another. Identifiers are never given twice, even
// when their rows are gone. Inside a write transaction.
std::int64_t TakeIds(Connection& connection, std::string_view table, std::int64_t count = 1);

}  // namespace orvspc::engine::sql
