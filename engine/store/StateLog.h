// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "engine/sql/Connection.h"

// The log of process states. Each record holds from its time on until the next one of its process.
// Runs inside a transaction; throws SqlError.
namespace orvspc::engine::store {

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
