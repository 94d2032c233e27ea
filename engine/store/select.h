// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

#include "engine/store/SharedReading.h"
#include "engine/store/Store.h"

namespace orvspc::engine::store {

// Runs a selection inside a read transaction, into a set or, where that is null, in batches. Writes
// the resolved range and states into info. A Count or TimeCount below 1 is no bound. Throws; info
// and out are then worthless.
void RunSelection(sql::Connection& connection, const StoreCache& cache, API_DSInfo& info,
                  std::span<const std::int32_t> filter, const SelectOptions& options,
                  TwoThreads& threads, DataSet* out, BatchTaker* taker);

}  // namespace orvspc::engine::store
