// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <libpq-fe.h>

#include <string>

#include "engine/sql/Connection.h"

// What libpq reports, as the failures of this engine. Nothing here contains a password.
namespace orvspc::engine::sql::postgres {

// Of a statement. Null: no answer came.
SqlError FailureOf(const PGresult* result);

// Why there is no connection to an address.
SqlError ConnectFailureOf(PGconn* connection, const std::string& address);

SqlError Lost();

}  // namespace orvspc::engine::sql::postgres
