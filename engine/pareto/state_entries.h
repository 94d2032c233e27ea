// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "engine/pareto/StateEntry.h"
#include "engine/store/Store.h"

namespace orvspc::engine::pareto {

struct StateWindow {
  std::vector<StateEntry> entries;  // by process and time
  double seconds = 0.0;             // of the window
};

// What the log says of the selected processes inside the time range of a selection, the state in
// force at its start included. A range without a start begins with the first record, one that
// reaches beyond now, or has no end, ends now; a relative range counts back from the newest record.
// Writes the resolved range and states into info. Inside a Read; throws what that may throw.
StateWindow ReadStateWindow(sql::Connection& connection, const store::StoreCache& cache,
                            API_DSInfo& info, std::span<const std::int32_t> filter);

}  // namespace orvspc::engine::pareto
