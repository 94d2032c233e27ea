// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "engine/sql/Connection.h"

namespace orvspc::engine::sql::postgres {

// Opens the database at a libpq address and calls check. Throws SqlError.
std::unique_ptr<Connection> OpenServer(const std::string& address,
                                       const std::function<void(Connection&)>& check);

}  // namespace orvspc::engine::sql::postgres
