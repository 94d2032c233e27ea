// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace orvspc::engine::pareto {

// A stay of a process in one state, cut to the window of the selection.
struct StateEntry {
  std::int32_t process = 0, state = 0, type = 0;  // type: ProcessStateTypes
  std::int32_t time = 0;                          // its begin inside the window
  double seconds = 0.0;                           // inside the window
};

}  // namespace orvspc::engine::pareto
