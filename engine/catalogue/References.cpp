// SPDX-License-Identifier: Apache-2.0
#include "engine/catalogue/References.h"

#include <algorithm>

namespace orvspc::engine::catalogue {
namespace {

// The columns of an Item.
std::string ItemsText(ItemKind kind) {
  const bool is_code = kind == ItemKind::Defect || kind == ItemKind::AccCode ||
                       kind == ItemKind::CacCode || kind == ItemKind::StateCode;
  const char* const name = is_code ? "coalesce(nullif(text, ''), name)" : "name";
  const char* const factor = is_code || kind == ItemKind::Part ? "factor" : "1.0";
  const char* const type = kind == ItemKind::StateCode ? "type" : "0";
  return std::string("SELECT id, ") + name + ", active, " + factor + ", " + type + " FROM " +
         TableOf(kind) + " ORDER BY id";
}

}  // namespace

std::string TableOf(ItemKind kind) {
  std::string table(WordOf(kind));
  std::ranges::replace(table, '-', '_');
  return table;
}

const Item* ItemList::Find(std::int32_t id) const {
  const auto found = std::ranges::lower_bound(items, id, {}, &Item::id);
  return found == items.end() || found->id != id ? nullptr : &*found;
}

TextsOfKinds TextsByKind(std::string (*text_of)(ItemKind)) {
  TextsOfKinds texts;
  for (std::size_t i = 0; i < texts.size(); ++i) texts[i] = text_of(static_cast<ItemKind>(i));
  return texts;
}

std::string NameOf(const Names& names, std::int32_t id) {
  const auto found = names.find(id);
  return found == names.end() ? std::string() : found->second;
}

Names ReadNames(sql::Connection& connection, ItemKind kind) {
  static const auto texts =
      TextsByKind([](ItemKind each) { return "SELECT id, name FROM " + TableOf(each); });
  Names names;
  sql::Query query(connection, texts[static_cast<std::size_t>(kind)]);
  while (query.Step()) names.emplace(query.Int(0), query.Text(1));
  return names;
}

ItemList ReadItems(sql::Connection& connection, ItemKind kind) {
  static const auto texts = TextsByKind(ItemsText);
  return {sql::Query(connection, texts[static_cast<std::size_t>(kind)])
              .All<Item>(&Item::id, &Item::name, &Item::active, &Item::factor, &Item::type)};
}

std::vector<ItemGroup> ReadGroups(sql::Connection& connection, ItemKind kind) {
  std::vector<ItemGroup> groups;
  sql::Query query(connection,
                   "SELECT g.id, g.name, m.item FROM item_group g LEFT JOIN item_group_member m "
                   "ON m.item_group = g.id WHERE g.kind = ?1 ORDER BY g.id, m.item",
                   WordOf(kind));
  while (query.Step()) {
    if (groups.empty() || groups.back().id != query.Int(0)) {
      groups.push_back({query.Int(0), std::string(query.Text(1)), {}});
    }
    if (!query.IsNull(2)) groups.back().members.push_back(query.Int(2));
  }
  return groups;
}

std::vector<ProcessPlace> ReadPlaces(sql::Connection& connection) {
  std::vector<ProcessPlace> places;
  sql::Query query(
      connection,
      "SELECT id, company, division, site, department, area, production_unit FROM process "
      "ORDER BY id");
  while (query.Step()) {
    auto& [process, units] = places.emplace_back();
    auto& [company, division, site, department, area, unit] = units;
    query.Read(process, company, division, site, department, area, unit);
  }
  return places;
}

std::vector<Descriptor> ReadDescriptors(sql::Connection& connection) {
  return sql::Query(connection, "SELECT id, descriptor_group, name FROM descriptor ORDER BY id")
      .All<Descriptor>(&Descriptor::id, &Descriptor::group, &Descriptor::name);
}

std::vector<Item> ReadDescriptorGroups(sql::Connection& connection) {
  return sql::Query(connection, "SELECT id, name FROM descriptor_group ORDER BY id")
      .All<Item>(&Item::id, &Item::name);
}

std::vector<std::pair<std::int32_t, std::int32_t>> ReadSubgroupDescriptors(
    sql::Connection& connection, std::int32_t first, std::int32_t last) {
  using Row = std::pair<std::int32_t, std::int32_t>;
  return sql::Query(connection,
                    "SELECT subgroup, descriptor FROM subgroup_descriptor "
                    "WHERE subgroup BETWEEN ?1 AND ?2 ORDER BY subgroup, descriptor",
                    first, last)
      .All<Row>(&Row::first, &Row::second);
}

}  // namespace orvspc::engine::catalogue
