// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

#include "engine/sql/Connection.h"
#include "platform/embedded_file.h"

namespace orvspc::engine::schema {

// Marks an SQLite file as a quality database.
inline constexpr std::int32_t kApplicationId = 0x51445631;
// The number of .sql files beside this one. A file of a lower version is brought forward, one of a
// higher version is refused.
inline constexpr std::int32_t kSchemaVersion = 4;
inline constexpr std::int32_t kFirstWithLog = 4;

// v1.sql, v2.sql, ...: each brings a database from the version before to its own.
std::span<const platform::EmbeddedFile> Versions();

// Creates the tables in an empty file (version 0) or brings an older file forward, and marks the
// file as ours. Entries of the log are only added from then on. Inside the caller's write
// transaction, so that a file has all of it or nothing.
void BringForward(sql::Connection& connection, std::int32_t version);

}  // namespace orvspc::engine::schema
