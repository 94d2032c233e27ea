// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "engine/sql/Connection.h"

// Statements that store rows, with their values in a line.
namespace orvspc::engine::import {

// An identifier; 0 means none and is stored as null.
struct Reference {
  std::int64_t id;
};

template <class Value>
void BindNext(sql::Query& query, int& place, const Value& value) {
  if constexpr (std::is_same_v<Value, Reference>) {
    query.BindReference(place++, value.id);
  } else if constexpr (std::is_integral_v<Value> || std::is_enum_v<Value>) {
    query.Bind(place++, static_cast<std::int64_t>(value));
  } else if constexpr (std::is_floating_point_v<Value>) {
    query.Bind(place++, value);
  } else if constexpr (std::is_same_v<Value, std::vector<std::byte>>) {
    query.Bind(place++, std::span<const std::byte>(value));
  } else {
    query.Bind(place++, std::string_view(value));
  }
}
// Without a value: null.
template <class Value>
void BindNext(sql::Query& query, int& place, const std::optional<Value>& value) {
  if (value) return BindNext(query, place, *value);
  query.BindNull(place++);
}
// One place for each element.
template <class Value, std::size_t kSize>
void BindNext(sql::Query& query, int& place, const std::array<Value, kSize>& values) {
  for (const auto& value : values) BindNext(query, place, value);
}

// Binds ?1, ?2, ...
template <class... Values>
void BindAll(sql::Query& query, const Values&... values) {
  int place = 1;
  (BindNext(query, place, values), ...);
}

// Runs a statement with these values; returns the rows changed. The text must live as long as the
// connection.
template <class... Values>
std::int64_t Run(sql::Connection& connection, std::string_view sql, const Values&... values) {
  sql::Query query(connection, sql);
  BindAll(query, values...);
  return query.Run();
}

// The first column of the first row of a statement with these values; empty without a row.
template <class... Values>
std::optional<std::int64_t> IntOf(sql::Connection& connection, std::string_view sql,
                                  const Values&... values) {
  sql::Query query(connection, sql);
  BindAll(query, values...);
  return query.RunForInt();
}

// "INSERT INTO row VALUES(?1, ...)" with a value for each column of a row such as "part(id, name)".
inline std::string InsertInto(std::string_view row) {
  std::string text = "INSERT INTO " + std::string(row) + " VALUES(?1";
  const auto commas = std::count(row.begin(), row.end(), ',');
  for (std::ptrdiff_t i = 0; i < commas; ++i) text += ", ?" + std::to_string(i + 2);
  return text + ")";
}

}  // namespace orvspc::engine::import
