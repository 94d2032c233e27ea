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

}  // namespace orvspc::engine::sql::sqlite
