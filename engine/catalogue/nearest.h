// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/sql/Connection.h"
#include "platform/ItemKind.h"

// What somebody may have meant who wrote a name that the database lacks.
namespace orvspc::engine::catalogue {

// How many letters are to be put in, left out or replaced to make one text the other; small and
// capital letters of ASCII are the same. Letters are code points.
std::size_t EditDistance(std::string_view a, std::string_view b);

// Of these names the nearest ones, at most three: a third of the letters may differ, and of two
// letters on such as begin with them are near, too.
std::vector<std::string> NearestOf(std::string_view name, const std::vector<std::string>& names);
// Of the names of a kind. Inside a transaction; throws SqlError.
std::vector<std::string> NearestNames(sql::Connection& db, ItemKind kind, std::string_view name);

// there is no part "Boltzen"; did you mean "Bolzen"?
std::string NoSuchItem(sql::Connection& db, ItemKind kind, std::string_view name);

}  // namespace orvspc::engine::catalogue
