// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "engine/store/SqlStore.h"

// Copies of a database file that are the file itself, page by page.
namespace orvspc::engine::store {

// Where the backup goes that is made now: the path, or where that is a folder a file in it with the
// name of the database and the time, "q-20240229T123000Z.db".
std::string BackupPlace(const SqlStore& store, const std::string& to);

// Makes the file, which is not there yet: copied while writers go on, changed by finish where that
// is given, looked through, on the device before it has its name. progress is called with the
// percent done. Returns the bytes of the file. Throws what hosts catch; there is no file of that
// name then.
std::int64_t MakeBackup(SqlStore& store, const std::string& path,
                        const std::function<void(int)>& progress,
                        const std::function<void(sql::Connection&)>& finish);

// Deletes all but the newest backups of the database from the folder of this one, which counts and
// stays. A backup is a plain file named as BackupPlace does that holds the database of the same
// identity; one with a log beside it is in use and stays. Returns what was deleted, the oldest
// first. Throws what hosts catch.
std::vector<std::string> DeleteOldBackups(SqlStore& store, const std::string& path,
                                          std::size_t keep);

}  // namespace orvspc::engine::store
