// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "engine/sql/Connection.h"

// Where a database is: the path of a file, or the address of a database on a server.
namespace orvspc::engine::sql {

// Whether it is an address: postgresql://... or postgres://..., in small letters or capitals.
bool IsAddress(std::string_view text);
// Whether it was meant as one: another scheme before ://, or one like ours with another end.
bool IsMistyped(std::string_view text);

// What may be printed of a path, an address or any word in place of one:
// - of an address nothing between its user and its last @, since a password may have a / or ? in it
// - the same of what was meant as an address: mistyped, without a scheme, or after "--"
// - nothing that follows "password=", whatever the text is
std::string WithoutPasswords(std::string_view text);

// Opens the database at an address, which has to be there, and calls check on the open connection.
using ServerOpener = std::unique_ptr<Connection> (*)(const std::string& address,
                                                     const std::function<void(Connection&)>& check);

// What OpenServer uses; the latest call counts. May be called at any time, by any thread.
void UseServer(ServerOpener opener);
bool HasServer();

// Throws SqlError, also where there is no opener.
std::unique_ptr<Connection> OpenServer(const std::string& address,
                                       const std::function<void(Connection&)>& check);

}  // namespace orvspc::engine::sql
