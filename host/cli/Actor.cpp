// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>

#include "host/cli/Command.h"

namespace orvspc::cli {

Actor ActorOf(const Arguments& arguments) {
  Actor actor;
  const auto* const user = std::getenv("ORVSPC_USER");
  actor.by = arguments.Value(kBy).value_or(user == nullptr ? "" : user);
  actor.station = arguments.Value(kStation).value_or("");
  return actor;
}

std::string ReasonOf(const Arguments& arguments) { return arguments.Value(kReason).value_or(""); }

}  // namespace orvspc::cli
