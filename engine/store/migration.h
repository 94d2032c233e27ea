// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/sql/Connection.h"

namespace orvspc::engine::store {

// Moves the values that a database of schema 2 has in a row each into chunks, and drops their
// table. Inside the transaction that brings the database forward.
void MoveValues(sql::Connection& db);

}  // namespace orvspc::engine::store
