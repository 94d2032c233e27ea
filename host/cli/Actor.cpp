// SPDX-License-Identifier: Apache-2.0
#include <charconv>
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

ChangeOptions ChangeOptionsOf(const Arguments& arguments) {
  ChangeOptions options;
  options.actor = ActorOf(arguments);
  options.reason = ReasonOf(arguments);
  if (const auto version = arguments.Value(kExpect)) {
    std::int64_t number = 0;
    const auto* const end = version->data() + version->size();
    const auto read = std::from_chars(version->data(), end, number);
    if (read.ec != std::errc() || read.ptr != end) {
      throw Misuse("--expect takes the number of an entry of the log, not \"" + *version + "\"");
    }
    options.expected = number;
  }
  options.dry_run = arguments.Has(kDryRun);
  return options;
}

}  // namespace orvspc::cli
