// SPDX-License-Identifier: Apache-2.0
#include "engine/PostgreSQL.h"

#include "engine/sql/address.h"
#include "engine/sql/postgres/PostgresConnection.h"

namespace orvspc {

void AddPostgreSQL() { engine::sql::UseServer(&engine::sql::postgres::OpenServer); }

}  // namespace orvspc
