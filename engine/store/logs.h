// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "engine/store/Store.h"

// The logs of a quality database: events and process states. Runs inside a transaction; throws
// SqlError, and what a malformed filter throws.
namespace orvspc::engine::store {

// One stored event; identifiers are 0 and times empty where there is none.
struct EventRow {
  std::int32_t id = 0, type = 0;  // type: EventTypes
  std::int32_t name = 0;          // of the kind EventName
  std::int32_t employee = 0, process = 0, part = 0, test = 0;
  std::int32_t acc = 0, acc_employee = 0, cac = 0, cac_employee = 0;
  std::int32_t flag = 0;  // EventFlags
  std::int32_t time = 0;
  std::optional<std::int32_t> finish, subgroup_time, acc_time, cac_time;
  bool is_over = false;  // an alarm that is closed or withdrawn, or samples that came later
};

// The newest Count events of a selection (all when Count is below 1), oldest first; writes the
// resolved range and states into info. Events know a time, part, process, test and employee; what a
// selection asks of anything else does not narrow them.
std::vector<EventRow> SelectEvents(sql::Connection& connection, const StoreCache& cache,
                                   API_DSInfo& info, std::span<const std::int32_t> filter);

// The events that name a time of subgroups from one up to and with another, by time of the event.
std::vector<EventRow> EventsOfSubgroups(sql::Connection& connection, std::int64_t from,
                                        std::int64_t to);

// The downtimes of a process, or of any, that reach into the time from one up to and with another,
// by their start. One that has no end counts where it begins.
std::vector<EventRow> DowntimesBetween(sql::Connection& connection, std::int32_t process,
                                       std::int64_t from, std::int64_t to);

// One event by its identifier.
std::optional<EventRow> ReadEvent(sql::Connection& connection, std::int32_t id);

// A record of the log of process states. It holds from its time on until the next one of its
// process.
struct StateLogRow {
  std::int32_t time = 0, process = 0, state = 0;
  std::int32_t type = 0;  // ProcessStateTypes
};

inline constexpr std::int64_t kEveryRecord = INT64_MAX;

// Records of a process (0: of every one) from a time up to and with another, by time; at most
// `limit` of them.
std::vector<StateLogRow> ReadStateLog(sql::Connection& connection, std::int32_t process,
                                      std::int64_t from, std::int64_t to,
                                      std::int64_t limit = kEveryRecord);

// The latest record before a time; process 0: of any process.
std::optional<StateLogRow> LatestStateBefore(sql::Connection& connection, std::int32_t process,
                                             std::int64_t time);

// Whether the process has any record.
bool HasStateLog(sql::Connection& connection, std::int32_t process);

}  // namespace orvspc::engine::store
