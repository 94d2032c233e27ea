// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Who outside is told of alarms. Kept in a file of the user or of the system, never in a database:
// one from elsewhere must not run commands.
namespace orvspc {

// A section of such a file. It has a command or the address of a receiver.
struct Hook {
  std::string name;
  std::vector<std::string> on;                       // "alarm opened", ...; empty: every alarm
  std::vector<std::string> parts, processes, tests;  // of which; empty: any
  // A program and its arguments. It runs without a shell; the message is its standard input.
  std::string command = {};
  std::vector<std::string> arguments = {};
  // A webhook: the message is posted there.
  std::string url = {};
  std::string secret = {};   // signs what is posted; empty: it is not signed
  std::string ca_file = {};  // certificates that the receiver's is checked by; empty: the system's
};

struct DeliveryOptions {
  // For all of it; empty: until nothing is due.
  std::optional<std::chrono::milliseconds> at_most = {};
  bool again = false;  // messages that were given up are waiting once more
};

// What became of the messages of a hook.
struct HookReport {
  std::string hook;
  std::int64_t delivered = 0, failed = 0;  // tries of this call
  std::int64_t waiting = 0, dead = 0;      // messages; dead: given up after three days
  std::string error;                       // of the latest try of one of these; may be empty
  std::int64_t next = 0;                   // when the next is due; 0: none waits
};

}  // namespace orvspc
