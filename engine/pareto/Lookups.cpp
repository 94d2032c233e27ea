// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/Lookups.h"

#include <algorithm>
#include <functional>
#include <set>
#include <utility>

#include "engine/catalogue/words.h"
#include "engine/chunks/subgroups.h"
#include "engine/store/conditions.h"

namespace orvspc::engine::pareto {
namespace {

using catalogue::ItemKind;
using Table = IdTable<std::int32_t>;

// The table of a level whose identifiers are not those of its field, otherwise null. What belongs
// to several counts in the one with the lowest identifier, so that nothing counts twice.
std::shared_ptr<const Table> TableOf(const LookupSources& from, const ParetoLevel& level) {
  const auto& kind = *level.kind;
  Table table;
  if (kind.via == Via::Group) {
    for (const auto& group : *from.store.Cache().ItemGroups(kind.item)) {
      for (const auto member : group.members) table.Set(member, group.id);
    }
  } else if (kind.via == Via::Place) {
    const auto unit =
        static_cast<std::size_t>(kind.item) - static_cast<std::size_t>(ItemKind::Company);
    for (const auto& place : *from.store.Cache().Places())
      table.Set(place.process, place.units[unit]);
  } else if (kind.via == Via::Descriptor || kind.via == Via::DescriptorGroup) {
    Table group_of;
    for (const auto& each : *from.store.Cache().Descriptors()) group_of.Set(each.id, each.group);
    for (const auto& [subgroup, descriptor] : catalogue::ReadSubgroupDescriptors(
             from.connection, from.subgroups.first, from.subgroups.last)) {
      const auto group = group_of.Of(descriptor);
      if (kind.via == Via::DescriptorGroup) {
        table.Set(subgroup, group);
      } else if (level.type_id == 0 || level.type_id == group) {
        table.Set(subgroup, descriptor);
      }
    }
  } else {
    return nullptr;
  }
  return std::make_shared<const Table>(std::move(table));
}

// The names in a list that ascends by identifier; rows points to it.
template <class Rows, class Id, class Name>
NameOfId NamesIn(Rows rows, Id id_of, Name name_of) {
  return [=](std::int32_t id) -> std::optional<std::string_view> {
    const auto found = std::ranges::lower_bound(*rows, id, {}, id_of);
    if (found == std::ranges::end(*rows) || std::invoke(id_of, *found) != id) return std::nullopt;
    return std::invoke(name_of, *found);
  };
}

NameOfId NamesOf(const LookupSources& from, const BinKind& kind) {
  using catalogue::Descriptor, catalogue::Item, catalogue::ItemGroup, catalogue::NamedValue;
  using Label = std::pair<std::int32_t, std::string>;
  switch (kind.naming) {
    case Naming::Item: {
      const auto list = from.store.Cache().Items(kind.item);
      return NamesIn(std::shared_ptr<const std::vector<Item>>(list, &list->items), &Item::id,
                     &Item::name);
    }
    case Naming::Group:
      return NamesIn(from.store.Cache().ItemGroups(kind.item), &ItemGroup::id, &ItemGroup::name);
    case Naming::Descriptor:
      return NamesIn(from.store.Cache().Descriptors(), &Descriptor::id, &Descriptor::name);
    case Naming::DescriptorGroup:
      return NamesIn(from.store.Cache().DescriptorGroups(), &Item::id, &Item::name);
    case Naming::Label:
      return NamesIn(std::make_shared<const std::vector<Label>>(store::ReadLabels(
                         from.connection, from.subgroups.first, from.subgroups.last)),
                     &Label::first, &Label::second);
    case Naming::State:
      return NamesIn(&catalogue::kStateTypes, &NamedValue::value, &NamedValue::word);
    case Naming::Event:
      return NamesIn(&catalogue::kEventTypes, &NamedValue::value, &NamedValue::word);
    case Naming::Time:
    case Naming::Number:
      break;
  }
  return [](std::int32_t) { return std::nullopt; };
}

// The items of the filter, as bins of the level; empty where it has none for what the level is
// binned by.
store::Identifiers FilteredItems(const LookupSources& from, const store::FlatFilter& flat,
                                 const BinKind& kind, const Table* table) {
  if (kind.naming != Naming::Item && kind.naming != Naming::Group) return std::nullopt;
  // Groups are those that items of the filter count in, places those that its processes have.
  const auto source = kind.via == Via::Place ? ItemKind::Process : kind.item;
  auto ids = store::LookUpItems(from.connection, flat, source);
  if (ids && table != nullptr) {
    for (auto& id : *ids) id = table->Of(id);
  }
  return ids;
}

// What the level can be apart from what was counted.
std::vector<std::int32_t> CategoriesOf(const LookupSources& from, const ParetoLevel& level,
                                       const Table* table) {
  const auto& kind = *level.kind;
  const auto flat = store::ReadFilter(from.info, from.filter);
  if (auto filtered = FilteredItems(from, flat, kind, table)) return std::move(*filtered);
  std::vector<std::int32_t> domain;
  if (kind.naming == Naming::Item) {
    for (const auto& item : from.store.Cache().Items(kind.item)->items) {
      if (item.active) domain.push_back(item.id);
    }
  } else if (kind.naming == Naming::Group) {
    for (const auto& group : *from.store.Cache().ItemGroups(kind.item)) domain.push_back(group.id);
  } else if (kind.naming == Naming::Descriptor) {
    std::set<std::int32_t> listed;
    for (const auto& other : flat.others) listed.insert(other.items.begin(), other.items.end());
    for (const auto& each : *from.store.Cache().Descriptors()) {
      if (level.type_id == 0 || each.group == level.type_id) domain.push_back(each.id);
    }
    const auto is_listed = [&](std::int32_t id) { return listed.contains(id); };
    if (std::ranges::any_of(domain, is_listed)) std::erase_if(domain, std::not_fn(is_listed));
  } else if (kind.naming == Naming::DescriptorGroup) {
    for (const auto& group : *from.store.Cache().DescriptorGroups()) domain.push_back(group.id);
  } else if (kind.naming == Naming::Event) {
    for (const auto& type : catalogue::kEventTypes) domain.push_back(type.value);
  } else if (kind.naming == Naming::State) {
    for (const auto& item : from.store.Cache().Items(ItemKind::StateCode)->items) {
      if (item.active) domain.push_back(item.type);
    }
  }
  return domain;
}

// A failure leaves as what hosts can catch.
void ReadForHost(store::Store& store, const std::function<void(sql::Connection&)>& work) {
  try {
    store.ReadOrThrow(work);
  } catch (...) {
    sql::RethrowAsExternal(store.Path(), "BinNames");
  }
}

}  // namespace

Lookups::Lookups(const LookupSources& from, const ParetoPlan& plan) {
  for (const auto& each : plan.levels) {
    auto table = TableOf(from, each);
    levels_.push_back({&each, table, NamesOf(from, *each.kind), {}, {}});
    if (plan.with_empty) SetDomain(levels_.size() - 1, CategoriesOf(from, each, table.get()));
  }
  // By paResourceTypes.
  static const std::vector<ItemKind> kWeighed[] = {{ItemKind::Defect, ItemKind::Part},
                                                   {ItemKind::AccCode, ItemKind::CacCode},
                                                   {ItemKind::StateCode}};
  for (const auto kind : kWeighed[plan.resource]) {
    auto& factors = factors_[static_cast<std::size_t>(kind)] = IdTable<double>(1.0);
    for (const auto& item : from.store.Cache().Items(kind)->items)
      factors.Set(item.id, item.factor);
  }
  if (plan.resource != paSubgroups) return;
  const auto flat = store::ReadFilter(from.info, from.filter);
  defects_ = store::LookUpItems(from.connection, flat, ItemKind::Defect);
}

std::vector<KeyReader> Lookups::Readers() const {
  std::vector<KeyReader> readers;
  for (const auto& level : levels_) readers.emplace_back(*level.plan, level.table);
  return readers;
}

void Lookups::SetDomain(std::size_t level, std::vector<std::int32_t> ids) {
  std::ranges::sort(ids);
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  std::erase(ids, 0);
  levels_[level].domain = std::move(ids);
}

const Lookups::Name& Lookups::NameOf(std::size_t level, std::int32_t id) {
  auto& of = levels_[level];
  const auto [found, is_new] = of.known.try_emplace(id);
  if (!is_new) return found->second;
  auto& [shown, folded] = found->second;
  if (of.plan->kind->naming == Naming::Time) {
    shown = of.plan->periods.NameOf(id);
  } else if (id == 0) {
    shown = "(none)";
  } else if (const auto name = of.name_of(id)) {
    shown = *name;
  } else {
    shown = std::to_string(id);
  }
  folded = catalogue::Lower(shown);
  return found->second;
}

BinNames BinNamesOf(platform::Database& database, std::int32_t resource,
                    const API_PAOptions& options) {
  const auto of = resource == paProcessEvents || resource == paProcessState
                      ? static_cast<paResourceTypes>(resource)
                      : paSubgroups;
  const auto store = store::StoreOf(database);
  std::shared_ptr<const ParetoPlan> plan;
  std::shared_ptr<Lookups> lookups;
  ReadForHost(*store, [&](sql::Connection& connection) {
    std::string reason;
    auto made = MakePlan(of, options, store->Cache().zone_offset, reason);
    if (!made) return;
    made->with_empty = false;  // whose items need no names
    plan = std::make_shared<const ParetoPlan>(std::move(*made));
    // Eight blocks, each without group and items.
    constexpr std::array<std::int32_t, 16> kEverything{};
    const API_DSInfo info{};
    lookups =
        std::make_shared<Lookups>(LookupSources{*store, connection, info, kEverything, {}}, *plan);
  });
  return [=](std::size_t place, std::int32_t id) -> std::string {
    if (plan == nullptr) return {};
    const auto level = std::ranges::find(plan->levels, place, &ParetoLevel::place);
    if (level == plan->levels.end()) return {};
    if (level->kind->naming != Naming::Label || id == 0) {
      return lookups->NameOf(static_cast<std::size_t>(level - plan->levels.begin()), id).shown;
    }
    std::string label;
    ReadForHost(*store, [&](sql::Connection& connection) {
      for (auto& [subgroup, text] : store::ReadLabels(connection, id, id)) {
        label = std::move(text);
      }
    });
    return label.empty() ? std::to_string(id) : label;
  };
}

}  // namespace orvspc::engine::pareto
