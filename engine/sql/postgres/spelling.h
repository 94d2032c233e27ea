// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

// SQL as the engine writes it, in the spelling of PostgreSQL.
namespace orvspc::engine::sql::postgres {

struct Spelled {
  std::string text;
  int parameters = 0;
};

// Of a statement: ?1 becomes $1.
Spelled SpellStatement(std::string_view sql);

// Of statements that define tables. Beside the types:
//
// TEXT  compares byte by byte
// BLOB  is not compressed, since what we store is packed already
std::string SpellTables(std::string_view sql);

}  // namespace orvspc::engine::sql::postgres
