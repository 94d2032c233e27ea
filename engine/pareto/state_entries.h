// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "engine/store/Store.h"

namespace orvspc::engine::pareto {

// A stay of a process in one state, cut to the window of the selection.
struct StateEntry {
  std::int32_t process = 0, state = 0, type = 0;  // type: ProcessStateTypes
  std::int32_t time = 0;                          // its begin inside the window
  double seconds = 0.0;                           // inside the window
};

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
