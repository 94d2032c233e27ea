// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

#include "engine/store/SharedReading.h"
#include "engine/store/Store.h"

namespace orvspc::engine::store {

// Runs a selection inside a read transaction and writes the resolved range and states into info.
// A Count or TimeCount below 1 is no bound. Throws; info and out are then unchanged and worthless.
void RunSelection(sql::Connection& connection, const StoreCache& cache, API_DSInfo& info,
                  std::span<const std::int32_t> filter, const SelectOptions& options,
                  TwoThreads& threads, DataSet& out);

// The same in batches.
void RunSelectionInBatches(sql::Connection& connection, const StoreCache& cache, API_DSInfo& info,
                           std::span<const std::int32_t> filter, const SelectOptions& options,
                           TwoThreads& threads, BatchTaker& taker);

}  // namespace orvspc::engine::store
