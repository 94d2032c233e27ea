// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "engine/hooks/Sending.h"
#include "engine/store/SqlStore.h"
#include "platform/Hook.h"

// The way of messages from the outbox to hooks.
namespace orvspc::engine::deliver {

// After which pauses a message is tried again, in seconds, each up to a fifth longer or shorter;
// the last one so often that three days go by. Then it is dead.
inline constexpr std::int64_t kPauses[] = {10, 60, 300, 1800, 3600};
inline constexpr int kHourlyTries = 72;
inline constexpr int kMaxTries = static_cast<int>(std::size(kPauses)) + kHourlyTries;
// A hook that a database hears of for the first time gets messages of the last days alone.
inline constexpr std::int64_t kFirstReach = 3 * std::int64_t{86'400};
// Who takes a message has so long before others try it.
inline constexpr std::int64_t kClaim = 60;

// The world outside; tests have their own.
struct Outside {
  std::function<std::int64_t()> now;  // seconds since 1970
  std::function<hooks::Answer(const Hook&, const hooks::Message&, std::chrono::milliseconds)> send;
  std::function<double()> random;                    // from 0 up to 1
  std::function<std::chrono::milliseconds()> clock;  // since any moment, however now is set
};
Outside RealOutside();

// Tries what is due, each message at least once. Any number of programs may do so at a time: who
// takes a message writes down that it has been tried before it sends it, so that one that dies
// meanwhile leaves it waiting. Nothing is sent inside a transaction.
//
// Where nobody is there, all due messages of the hook have been tried by that; where nobody
// answers, its others wait for the next call. Other hooks go on. Tries are not entries of the log.
// Throws what the store throws, nothing that a hook does.
std::vector<HookReport> Deliver(store::SqlStore& store, std::span<const Hook> hooks,
                                const DeliveryOptions& options,
                                const Outside& outside = RealOutside());

}  // namespace orvspc::engine::deliver
