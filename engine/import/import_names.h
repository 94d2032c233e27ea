// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "engine/catalogue/References.h"
#include "engine/sql/Connection.h"

namespace orvspc::engine::import {

struct TextHash : std::hash<std::string_view> {
  using is_transparent = void;
};

// Names of the database with those that the import adds.
class ImportNames {
 public:
  explicit ImportNames(sql::Connection& connection) : db_(connection) {}

  std::optional<std::int32_t> Find(catalogue::ItemKind kind, std::string_view name);
  // Adds it when it is new.
  std::int32_t Take(catalogue::ItemKind kind, std::string_view name);
  std::int64_t Added() const { return added_; }

 private:
  struct Table {
    bool read = false;
    std::unordered_map<std::string, std::int32_t, TextHash, std::equal_to<>> ids;
  };
  Table& Of(catalogue::ItemKind kind);

  sql::Connection& db_;
  std::array<Table, catalogue::kItemKinds> tables_;
  std::int64_t added_ = 0;
};

// Puts an item into a group of its kind, which is made if it is new. Returns how many rows that
// added: members, and groups.
struct GroupAdded {
  std::int64_t members = 0, groups = 0;
};
GroupAdded AddToGroup(sql::Connection& connection, catalogue::ItemKind kind, std::string_view group,
                      std::int32_t item);

}  // namespace orvspc::engine::import
