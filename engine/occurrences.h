// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "engine/QualityDatabase.h"
#include "engine/store/SqlStore.h"

namespace orvspc::engine {

// Adds the subgroups in which the items of a kind occur, with the first and last time. Reads the
// whole database, inside a read transaction.
void CountOccurrences(sql::Connection& db, const store::StoreCache& cache, ItemKind kind,
                      std::vector<CountedItem>& items);

}  // namespace orvspc::engine
