// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "engine/write/log/Log.h"

// Reading and checking the log. Inside a transaction. Functions throw SqlError.
namespace orvspc::engine::log {

// Entries that fit, the oldest first.
std::vector<Entry> ReadEntries(sql::Connection& db, const LogFilter& filter);

// The newest entry and whose log it is.
LogAnchor ReadHead(sql::Connection& db);

// Checks that each entry follows the one before it and carries its hash, and that the log is that
// of this database. visit is called with each entry, the oldest first, and may be empty.
LogCheck CheckChain(sql::Connection& db, const std::function<void(const Entry&)>& visit = {});

// The line of a head in a file of anchors: "UUID SEQ HASH TIME", without its end.
std::string AnchorText(const LogAnchor& head);
// Appends it to a file, up to the device. False, and errno, where that fails.
bool AppendAnchor(const std::string& file, const LogAnchor& head);
// All lines of such a file; empty where it cannot be read.
std::optional<std::string> ReadAnchors(const std::string& file);
// Checks the log against each line of such a text that is of this database, or of the one that it
// is a copy of up to there; others are passed over. What does not fit goes to the finds of check.
//   name     of the file, which finds begin with
//   Returns  the lines that were compared
std::int64_t CheckAnchors(sql::Connection& db, const std::string& text, const std::string& name,
                          LogCheck& check);

// Adds a find unless there are very many.
void AddFind(LogCheck& check, std::string find);

}  // namespace orvspc::engine::log
