// SPDX-License-Identifier: Apache-2.0
#include "engine/import/import_names.h"

#include "engine/import/statements.h"

namespace orvspc::engine::import {

ImportNames::Table& ImportNames::Of(catalogue::ItemKind kind) {
  static const auto select = catalogue::TextsByKind(
      [](auto each) { return "SELECT name, id FROM " + catalogue::TableOf(each); });
  auto& table = tables_[static_cast<std::size_t>(kind)];
  if (!table.read) {
    sql::Query query(db_, select[static_cast<std::size_t>(kind)]);
    while (query.Step()) table.ids.emplace(query.Text(0), query.Int(1));
    table.read = true;
  }
  return table;
}

std::optional<std::int32_t> ImportNames::Find(catalogue::ItemKind kind, std::string_view name) {
  const auto& ids = Of(kind).ids;
  const auto found = ids.find(name);
  return found == ids.end() ? std::nullopt : std::optional(found->second);
}

std::int32_t ImportNames::Take(catalogue::ItemKind kind, std::string_view name) {
  if (const auto id = Find(kind, name)) return *id;
  static const auto insert = catalogue::TextsByKind([](auto each) {
    return "INSERT INTO " + catalogue::TableOf(each) + "(name) VALUES(?1) RETURNING id";
  });
  const auto id =
      static_cast<std::int32_t>(*IntOf(db_, insert[static_cast<std::size_t>(kind)], name));
  Of(kind).ids.emplace(name, id);
  ++added_;
  return id;
}

GroupAdded AddToGroup(sql::Connection& connection, catalogue::ItemKind kind, std::string_view group,
                      std::int32_t item) {
  GroupAdded added;
  added.groups =
      Run(connection, "INSERT INTO item_group(kind, name) VALUES(?1, ?2) ON CONFLICT DO NOTHING",
          catalogue::WordOf(kind), group);
  added.members = Run(connection,
                      "INSERT INTO item_group_member(item_group, item) "
                      "SELECT id, ?3 FROM item_group WHERE kind = ?1 AND name = ?2 "
                      "ON CONFLICT DO NOTHING",
                      catalogue::WordOf(kind), group, item);
  return added;
}

}  // namespace orvspc::engine::import
