// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <unordered_map>

#include "engine/store/SqlStore.h"

namespace orvspc::engine::store {

struct Occurrences {
  std::int64_t subgroups = 0;
  std::int32_t first = 0, last = 0;  // times of these subgroups
};

// The subgroups in which the items of a kind occur, by identifier. Reads the whole database, inside
// a read transaction.
std::unordered_map<std::int32_t, Occurrences> CountOccurrences(sql::Connection& db,
                                                               const StoreCache& cache,
                                                               catalogue::ItemKind kind);

}  // namespace orvspc::engine::store
