// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "engine/sql/Connection.h"

namespace orvspc::engine::sql::sqlite {

// What is wrong with the pages of the file that a connection of SqliteConnection.h has opened, a
// text each: "page 17 does not match its checksum".
//
//   - Every page of the file is read, also those that are free, but not the log.
//   - A page that is newer in the log is not looked at: nobody reads it any more.
//   - Whole is a file whose pages have no checksums, unless it is cut.
//
// Inside a transaction. Throws SqlError.
std::vector<std::string> DamagedPages(Connection& connection, std::size_t at_most);

// The same of how SQLite has put rows and indexes into pages, which reads all of these.
std::vector<std::string> DamagedStructure(Connection& connection, std::size_t at_most);

// Whether a file has the pages of the one that a connection is writing, of which it is a copy by
// BackUp. Before the first change of a transaction, without a log. What counts changes at the head
// of a file is not compared. Throws SqlError.
bool HasPagesOf(const std::string& copy, Connection& connection);

}  // namespace orvspc::engine::sql::sqlite
