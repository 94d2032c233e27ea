// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace orvspc {

// The names that belong to one row of the sampling compliance, empty where there is none.
struct SCNames {
  std::string Part, Process, Test, SmplReq, State;
};

}  // namespace orvspc
