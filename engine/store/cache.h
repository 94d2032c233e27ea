// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/store/SqliteStore.h"

namespace orvspc::engine::store {

// Reads everything that a store keeps in memory, but the names. Runs inside a transaction.
StoreCache ReadCache(sql::Connection& connection);

// A subgroup refers to a context that the file does not have.
[[noreturn]] void RaiseUnknownContext(std::int64_t context, std::int32_t subgroup);

}  // namespace orvspc::engine::store
