// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "engine/write/change/StoredRecord.h"
#include "engine/write/log/Log.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::change {

// What an event is about; 0: nothing of that kind.
struct EventOf {
  std::int32_t process = 0, part = 0, test = 0;
  std::optional<std::int32_t> subgroup_time = {};
  std::string_view name = {};  // made where it is new; empty: none
};

// Stores the event of a change, now, by who makes it.
void AddEvent(log::Writing& writing, EventTypes type, const EventOf& of);

// Takes the events of a subgroup along to another time, once its records are out of its streams:
//   - its alarms
//   - others that name its part, process and test, or leave them open, unless another subgroup that
//     they fit has the same time
void MoveEvents(sql::Connection& db, const StoredSubgroup& from, std::int32_t time);

}  // namespace orvspc::engine::change
