// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "engine/sql/Connection.h"

namespace orvspc::engine::sql::sqlite {

// Opens a file, with create also one that does not exist, and switches it to the engine's settings:
// foreign keys, write-ahead log, commits that survive a power cut. Calls check before the switch to
// the log, the first thing that changes the file.
std::unique_ptr<Connection> OpenFile(const std::string& path, bool create,
                                     const std::function<void(Connection&)>& check);

// Gives each page of a file that was made without them a checksum (ChecksumVfs.h); where they are
// there already, it does nothing.
//
// connection  one that OpenFile made, outside of a transaction
// Room        twice the size of the file, half of it among the temporary files
// Kill        leaves the file as it was or with all checksums; what is in its log is not lost
// Failures    SqlError: full, or locked by a writer for longer than a minute
void AddChecksums(Connection& connection);

}  // namespace orvspc::engine::sql::sqlite
