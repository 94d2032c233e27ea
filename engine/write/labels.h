// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "engine/sql/Connection.h"

// Numbers that subgroups without a label get: the next one of part and process.
namespace orvspc::engine::write {

// Of a label that is such a number; 0: it is none.
std::int64_t NumberOfLabel(std::string_view label);

// The last one that was given, or that came with a label; empty where none was given yet. Inside a
// transaction.
std::optional<std::int64_t> LastLabel(sql::Connection& db, std::int32_t part, std::int32_t process);

// Those that follow are greater than this one. Inside a write transaction.
void KeepLastLabel(sql::Connection& db, std::int32_t part, std::int32_t process,
                   std::int64_t number);
// The same, where any was given yet.
void RaiseLastLabel(sql::Connection& db, std::int32_t part, std::int32_t process,
                    std::int64_t number);

}  // namespace orvspc::engine::write
