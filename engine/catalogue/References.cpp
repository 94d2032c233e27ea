// SPDX-License-Identifier: Apache-2.0
#include "engine/catalogue/References.h"

#include <algorithm>

namespace orvspc::engine::catalogue {
namespace {

bool IsCode(ItemKind kind) {
  return kind == ItemKind::Defect || kind == ItemKind::AccCode || kind == ItemKind::CacCode ||
         kind == ItemKind::StateCode;
}

bool HasWeight(ItemKind kind) { return IsCode(kind) || kind == ItemKind::Part; }

std::string ItemsText(ItemKind kind) {
  std::string columns =
      IsCode(kind) ? "id, coalesce(nullif(text, ''), name), active" : "id, name, active";
  if (HasWeight(kind)) columns += ", factor";
  if (kind == ItemKind::StateCode) columns += ", type";
  return "SELECT " + columns + " FROM " + std::string(TableOf(kind)) + " ORDER BY id";
}

}  // namespace

const Item* ItemList::Find(std::int32_t id) const {
  const auto found =
      std::lower_bound(items.begin(), items.end(), id,
                       [](const Item& item, std::int32_t key) { return item.id < key; });
  return found == items.end() || found->id != id ? nullptr : &*found;
}

TextsOfKinds TextsByKind(std::string (*text_of)(ItemKind)) {
  TextsOfKinds texts;
  for (std::size_t i = 0; i < texts.size(); ++i) texts[i] = text_of(static_cast<ItemKind>(i));
  return texts;
}

std::unordered_map<std::int32_t, std::string> ReadNames(sql::Connection& connection,
                                                        ItemKind kind) {
  static const auto texts = TextsByKind(
      [](ItemKind each) { return "SELECT id, name FROM " + std::string(TableOf(each)); });
  std::unordered_map<std::int32_t, std::string> names;
  sql::Query query(connection, texts[static_cast<std::size_t>(kind)]);
  while (query.Step()) names.emplace(query.Int(0), query.Text(1));
  return names;
}

ItemList ReadItems(sql::Connection& connection, ItemKind kind) {
  ItemList list;
  static const auto texts = TextsByKind(ItemsText);
  sql::Query query(connection, texts[static_cast<std::size_t>(kind)]);
  while (query.Step()) {
    auto& item = list.items.emplace_back();
    query.Read(item.id, item.name, item.active);
    if (HasWeight(kind)) item.factor = query.Real(3);
    if (kind == ItemKind::StateCode) item.type = query.Int(4);
  }
  return list;
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
    auto& place = places.emplace_back();
    auto& [company, division, site, department, area, unit] = place.units;
    query.Read(place.process, company, division, site, department, area, unit);
  }
  return places;
}

std::vector<Descriptor> ReadDescriptors(sql::Connection& connection) {
  std::vector<Descriptor> descriptors;
  sql::Query query(connection, "SELECT id, descriptor_group, name FROM descriptor ORDER BY id");
  while (query.Step()) {
    auto& descriptor = descriptors.emplace_back();
    query.Read(descriptor.id, descriptor.group, descriptor.name);
  }
  return descriptors;
}

std::vector<Item> ReadDescriptorGroups(sql::Connection& connection) {
  std::vector<Item> groups;
  sql::Query query(connection, "SELECT id, name FROM descriptor_group ORDER BY id");
  while (query.Step()) {
    auto& group = groups.emplace_back();
    query.Read(group.id, group.name);
  }
  return groups;
}

std::vector<std::pair<std::int32_t, std::int32_t>> ReadSubgroupDescriptors(
    sql::Connection& connection, std::int32_t first, std::int32_t last) {
  std::vector<std::pair<std::int32_t, std::int32_t>> rows;
  sql::Query query(connection,
                   "SELECT subgroup, descriptor FROM subgroup_descriptor "
                   "WHERE subgroup BETWEEN ?1 AND ?2 ORDER BY subgroup, descriptor",
                   first, last);
  while (query.Step()) rows.emplace_back(query.Int(0), query.Int(1));
  return rows;
}

std::vector<std::pair<std::int32_t, std::string>> ReadLabels(sql::Connection& connection,
                                                             std::int32_t first,
                                                             std::int32_t last) {
  std::vector<std::pair<std::int32_t, std::string>> labels;
  sql::Query query(connection,
                   "SELECT id, label FROM subgroup WHERE id BETWEEN ?1 AND ?2 ORDER BY id", first,
                   last);
  while (query.Step()) labels.emplace_back(query.Int(0), query.Text(1));
  return labels;
}

}  // namespace orvspc::engine::catalogue
