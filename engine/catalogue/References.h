// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/sql/Connection.h"
#include "platform/ItemKind.h"

// What analyses ask about the items themselves: names, weights, groups, places. The store reads
// them once and keeps them until the database changes.
namespace orvspc::engine::catalogue {

using orvspc::ItemKind;
using orvspc::ItemKindFromWord;
using orvspc::kItemKinds;
using orvspc::WordOf;

// Those of which a stream is made: part, process, test.
constexpr bool IsOfStream(ItemKind kind) { return kind <= ItemKind::Test; }

// The table that holds the kind; it has at least id, name and active.
std::string TableOf(ItemKind kind);

struct Item {
  std::int32_t id = 0;
  std::string name;       // of a code what it means, where that is given
  bool active = true;     // false: no longer in use
  double factor = 1.0;    // weight of a code or a part
  std::int32_t type = 0;  // of a state code: ProcessStateTypes
};

// By identifier.
struct ItemList {
  std::vector<Item> items;
  // Null when there is none.
  const Item* Find(std::int32_t id) const;
};

struct ItemGroup {
  std::int32_t id = 0;
  std::string name;
  std::vector<std::int32_t> members;
};

struct Descriptor {
  std::int32_t id = 0, group = 0;
  std::string name;
};

// Where a process belongs, in the order of ItemKind: company, division, site, department, area,
// production unit; 0 where it is not known.
struct ProcessPlace {
  std::int32_t process = 0;
  std::array<std::int32_t, 6> units{};
};

struct References {
  std::array<std::shared_ptr<const ItemList>, kItemKinds> items;
  std::array<std::shared_ptr<const std::vector<ItemGroup>>, kItemKinds> groups;  // by identifier
  std::shared_ptr<const std::vector<ProcessPlace>> places;
  std::shared_ptr<const std::vector<Descriptor>> descriptors;  // by identifier
  std::shared_ptr<const std::vector<Item>> descriptor_groups;  // by identifier
};

// One SQL text for each kind. Texts of statements must live as long as the program.
using TextsOfKinds = std::array<std::string, kItemKinds>;
TextsOfKinds TextsByKind(std::string (*text_of)(ItemKind));

// Names by identifier.
using Names = std::unordered_map<std::int32_t, std::string>;
// Empty for an unknown identifier.
std::string NameOf(const Names& names, std::int32_t id);

// Run inside a transaction and throw SqlError.
Names ReadNames(sql::Connection& connection, ItemKind kind);
ItemList ReadItems(sql::Connection& connection, ItemKind kind);
std::vector<ItemGroup> ReadGroups(sql::Connection& connection, ItemKind kind);
std::vector<ProcessPlace> ReadPlaces(sql::Connection& connection);
std::vector<Descriptor> ReadDescriptors(sql::Connection& connection);
std::vector<Item> ReadDescriptorGroups(sql::Connection& connection);

// Of the subgroups first..last: subgroup and descriptor, ascending.
std::vector<std::pair<std::int32_t, std::int32_t>> ReadSubgroupDescriptors(
    sql::Connection& connection, std::int32_t first, std::int32_t last);

}  // namespace orvspc::engine::catalogue
