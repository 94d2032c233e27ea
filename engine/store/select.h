// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

#include "engine/store/SqliteStore.h"
#include "engine/store/parallel.h"

namespace orvspc::engine::store {

// A second thread for a large selection.
struct TwoThreads {
  SecondReader* second = nullptr;        // null: there is none
  std::int64_t from = kWorthTwoThreads;  // an eighth of this many subgroups is read alone
  bool used = false;                     // set when it was
};

// Runs a selection inside a read transaction and writes the resolved range and states into info.
// A Count or TimeCount below 1 is no bound. Throws; info and out are then unchanged and worthless.
void RunSelection(sql::Connection& connection, const StoreCache& cache, API_DSInfo& info,
                  std::span<const std::int32_t> filter, const SelectOptions& options,
                  TwoThreads& threads, DataSet& out);

// The same in batches.
void RunSelectionInBatches(sql::Connection& connection, const StoreCache& cache, API_DSInfo& info,
                           std::span<const std::int32_t> filter, const SelectOptions& options,
                           TwoThreads& threads, BatchTaker& taker);

// Puts the rows that a subgroup of tmp[place] has at the end of out.
void CopySubgroup(const DataSet& from, std::size_t place, DataSet& out);

}  // namespace orvspc::engine::store
