// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "engine/sql/Connection.h"

namespace orvspc::engine::store {

// Called with the share of the work that is done, in percent.
using MigrationProgress = std::function<void(int)>;

// Tells this thread's migrations to whoever watches; empty: nobody does. A negative percentage,
// several times a second: another program has locked the file, which is waited for.
using MigrationWatch = std::function<void(const std::string& path, int percent)>;
void WatchMigrations(MigrationWatch watch);
void TellMigration(const std::string& path, int percent);

// Brings a file of an older schema to the present one: alone on the file, after a look at the room
// on its disk and a backup beside it, in one transaction whose result has the digest of what was
// there. Throws SqlError, ExternalFailure and std::runtime_error; the file is then as it was.
void BringFileForward(sql::Connection& db, const std::string& path);

// "needs 1.5 GB, 900 MB free": what is needed is rounded up and what is free down, so that the two
// differ wherever the first is more.
std::string RoomText(std::int64_t needed, std::int64_t available);

// Whether the device has room for the file to be written once more beside itself, as far as the
// system can tell.
bool HasRoomForItself(const std::string& path);

// Makes the tables of the present schema out of those of a version, of which 0 has none, and begins
// the log. What schema 2 has in a row each, values and subgroups, is moved into chunks and blocks.
// Inside a write transaction.
void BringTablesForward(sql::Connection& db, std::int32_t version,
                        const MigrationProgress& progress = {});

}  // namespace orvspc::engine::store
