// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/Lookups.h"

#include <algorithm>

#include "engine/catalogue/words.h"
#include "engine/store/conditions.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::pareto {
namespace {

using Table = IdTable<std::int32_t>;

// An item of several groups counts in the one with the lowest identifier, so that nothing counts
// twice.
Table TableOfGroups(const std::vector<catalogue::ItemGroup>& groups) {
  Table table;
  for (const auto& group : groups) {
    for (const auto member : group.members) table.Set(member, group.id);
  }
  return table;
}

Table TableOfPlaces(const std::vector<catalogue::ProcessPlace>& places, catalogue::ItemKind kind) {
  const auto unit =
      static_cast<std::size_t>(kind) - static_cast<std::size_t>(catalogue::ItemKind::Company);
  Table table;
  for (const auto& place : places) table.Set(place.process, place.units[unit]);
  return table;
}

IdTable<double> FactorsOf(const catalogue::ItemList& list) {
  IdTable<double> table(1.0);
  for (const auto& item : list.items) table.Set(item.id, item.factor);
  return table;
}

template <class Values>
std::vector<std::pair<std::int32_t, std::string>> TextsOf(const Values& values) {
  std::vector<std::pair<std::int32_t, std::string>> texts;
  for (const auto& value : values) texts.emplace_back(value.value, value.word);
  return texts;
}

}  // namespace

Lookups::Lookups(store::Store& store, sql::Connection& connection, const ParetoPlan& plan,
                 const API_DSInfo& info, std::span<const std::int32_t> filter,
                 const SubgroupRange& subgroups) {
  for (const auto& each : plan.levels) {
    auto& level = levels_.emplace_back();
    level.plan = &each;
    ReadTable(store, connection, subgroups, level);
    ReadNames(store, connection, subgroups, level);
    if (plan.with_empty) ReadDomain(store, connection, info, filter, level);
  }
  if (plan.resource == Resource::Subgroups) {
    defect_factors_ = FactorsOf(*store.Items(catalogue::ItemKind::Defect));
    part_factors_ = FactorsOf(*store.Items(catalogue::ItemKind::Part));
    defects_ = store::LookUpItems(connection, store::ReadFilter(info, filter),
                                  catalogue::ItemKind::Defect);
  } else if (plan.resource == Resource::Events) {
    acc_factors_ = FactorsOf(*store.Items(catalogue::ItemKind::AccCode));
    cac_factors_ = FactorsOf(*store.Items(catalogue::ItemKind::CacCode));
  } else {
    state_factors_ = FactorsOf(*store.Items(catalogue::ItemKind::StateCode));
  }
}

void Lookups::ReadTable(store::Store& store, sql::Connection& connection,
                        const SubgroupRange& subgroups, Level& level) {
  const auto& kind = *level.plan->kind;
  switch (kind.via) {
    case Via::Group:
      level.table = std::make_shared<Table>(TableOfGroups(*store.ItemGroups(kind.item)));
      break;
    case Via::Place:
      level.table = std::make_shared<Table>(TableOfPlaces(*store.Places(), kind.item));
      break;
    case Via::Descriptor:
    case Via::DescriptorGroup:
      ReadDescriptorTable(store, connection, subgroups, level);
      break;
    default:
      break;
  }
}

// The lowest identifier of what a subgroup has, for the same reason as with groups.
void Lookups::ReadDescriptorTable(store::Store& store, sql::Connection& connection,
                                  const SubgroupRange& subgroups, Level& level) {
  IdTable<std::int32_t> group_of;
  for (const auto& descriptor : *store.Descriptors()) group_of.Set(descriptor.id, descriptor.group);
  const bool by_group = level.plan->kind->via == Via::DescriptorGroup;
  const auto wanted = by_group ? 0 : level.plan->type_id;
  Table table;
  std::int32_t subgroup = -1, lowest = 0;
  const auto finish = [&] {
    if (lowest != 0) table.Set(subgroup, lowest);
    lowest = 0;
  };
  for (const auto& [id, descriptor] :
       catalogue::ReadSubgroupDescriptors(connection, subgroups.first, subgroups.last)) {
    if (id != subgroup) finish();
    subgroup = id;
    const auto group = group_of.Of(descriptor);
    if (wanted != 0 && group != wanted) continue;
    const auto key = by_group ? group : descriptor;
    if (lowest == 0 || key < lowest) lowest = key;
  }
  finish();
  level.table = std::make_shared<Table>(std::move(table));
}

void Lookups::ReadNames(store::Store& store, sql::Connection& connection,
                        const SubgroupRange& subgroups, Level& level) {
  const auto& kind = *level.plan->kind;
  switch (kind.naming) {
    case Naming::Item:
      level.items = store.Items(kind.item);
      break;
    case Naming::Group:
      level.groups = store.ItemGroups(kind.item);
      break;
    case Naming::Descriptor:
      for (const auto& each : *store.Descriptors()) level.texts.emplace_back(each.id, each.name);
      break;
    case Naming::DescriptorGroup:
      for (const auto& each : *store.DescriptorGroups())
        level.texts.emplace_back(each.id, each.name);
      break;
    case Naming::Label:
      level.texts = catalogue::ReadLabels(connection, subgroups.first, subgroups.last);
      break;
    case Naming::State:
      level.texts = TextsOf(catalogue::kStateTypes);
      break;
    case Naming::Event:
      level.texts = TextsOf(catalogue::kEventTypes);
      break;
    case Naming::Time:
    case Naming::Number:
      break;
  }
}

void Lookups::ReadDomain(store::Store& store, sql::Connection& connection, const API_DSInfo& info,
                         std::span<const std::int32_t> filter, Level& level) {
  const auto& kind = *level.plan->kind;
  const auto flat = store::ReadFilter(info, filter);
  auto& domain = level.domain;
  // Groups are those that items of the filter count in, places those that its processes have.
  const auto source = kind.via == Via::Place ? catalogue::ItemKind::Process : kind.item;
  const bool is_item = kind.naming == Naming::Item || kind.naming == Naming::Group;
  const auto wanted_items = is_item ? store::LookUpItems(connection, flat, source) : std::nullopt;
  if (wanted_items) {
    domain = *wanted_items;
    if (level.table) {
      for (auto& id : domain) id = level.table->Of(id);
    }
  } else if (kind.naming == Naming::Item) {
    for (const auto& item : level.items->items) {
      if (item.active) domain.push_back(item.id);
    }
  } else if (kind.naming == Naming::Group) {
    for (const auto& group : *level.groups) domain.push_back(group.id);
  } else if (kind.naming == Naming::Descriptor) {
    std::vector<std::int32_t> listed;
    for (const auto& other : flat.others) {
      listed.insert(listed.end(), other.items.begin(), other.items.end());
    }
    std::vector<std::int32_t> wanted;
    for (const auto& each : *store.Descriptors()) {
      if (level.plan->type_id != 0 && each.group != level.plan->type_id) continue;
      domain.push_back(each.id);
      if (std::count(listed.begin(), listed.end(), each.id) > 0) wanted.push_back(each.id);
    }
    if (!wanted.empty()) domain = wanted;
  } else if (kind.naming == Naming::DescriptorGroup || kind.naming == Naming::Event) {
    for (const auto& [id, text] : level.texts) domain.push_back(id);
  } else if (kind.naming == Naming::State) {
    for (const auto& item : store.Items(catalogue::ItemKind::StateCode)->items) {
      if (item.active) domain.push_back(item.type);
    }
  }
  store::SortUnique(domain);
  std::erase(domain, 0);
}

std::vector<KeyReader> Lookups::Readers() const {
  std::vector<KeyReader> readers;
  for (const auto& level : levels_) readers.emplace_back(*level.plan, level.table);
  return readers;
}

const std::string& Lookups::NameOf(std::size_t level, std::int32_t id) {
  return Known(level, id).shown;
}

const std::string& Lookups::FoldedNameOf(std::size_t level, std::int32_t id) {
  return Known(level, id).folded;
}

const Lookups::Names& Lookups::Known(std::size_t level, std::int32_t id) {
  auto& known = levels_[level].known;
  const auto found = known.find(id);
  if (found != known.end()) return found->second;
  auto text = TextOf(levels_[level], id);
  auto folded = catalogue::Lower(text);
  return known.emplace(id, Names{std::move(text), std::move(folded)}).first->second;
}

std::string Lookups::TextOf(const Level& level, std::int32_t id) const {
  const auto naming = level.plan->kind->naming;
  if (naming == Naming::Time) return level.plan->periods.NameOf(id);
  if (id == 0) return "(none)";
  if (naming == Naming::Item) {
    const auto* const item = level.items->Find(id);
    if (item != nullptr) return item->name;
  } else if (naming == Naming::Group) {
    for (const auto& group : *level.groups) {
      if (group.id == id) return group.name;
    }
  } else {
    const auto found =
        std::lower_bound(level.texts.begin(), level.texts.end(), id,
                         [](const auto& each, std::int32_t key) { return each.first < key; });
    if (found != level.texts.end() && found->first == id) return found->second;
  }
  return std::to_string(id);
}

}  // namespace orvspc::engine::pareto
