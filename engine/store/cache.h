// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/store/SqliteStore.h"

namespace orvspc::engine {

// Reads everything that a store keeps in memory, but the names. Runs inside a transaction.
StoreCache ReadCache(Connection& connection);

}  // namespace orvspc::engine
