// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "engine/sql/Connection.h"
#include "engine/store/SqlStore.h"
#include "platform/LimitRecords.h"

namespace orvspc::engine::limits {

// How many of the values that a row of limits was computed from were changed, disabled or deleted
// since. Inside a transaction.
//   - none where the row does not say which data it is of, as of imports
//   - the data and the log are read only where an event says that something of the stream changed
ChangedValues ChangedSince(store::SqlStore& store, sql::Connection& db, std::int32_t id);

}  // namespace orvspc::engine::limits
