// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "engine/sql/Connection.h"

// Statements that store rows, with their values in a line.
namespace orvspc::engine::import {

using sql::Reference;

// Runs a statement with these values; returns the rows changed. The text must live as long as the
// connection.
template <class... Values>
std::int64_t Run(sql::Connection& connection, std::string_view sql, const Values&... values) {
  return sql::Query(connection, sql, values...).Run();
}

// The first column of the first row of a statement with these values; empty without a row.
template <class... Values>
std::optional<std::int64_t> IntOf(sql::Connection& connection, std::string_view sql,
                                  const Values&... values) {
  return sql::Query(connection, sql, values...).RunForInt();
}

// "INSERT INTO row VALUES(?1, ...)" with a value for each column of a row such as "part(id, name)".
inline std::string InsertInto(std::string_view row) {
  std::string text = "INSERT INTO " + std::string(row) + " VALUES(?1";
  const auto commas = std::count(row.begin(), row.end(), ',');
  for (std::ptrdiff_t i = 0; i < commas; ++i) text += ", ?" + std::to_string(i + 2);
  return text + ")";
}

}  // namespace orvspc::engine::import
