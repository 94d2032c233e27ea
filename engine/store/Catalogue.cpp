// SPDX-License-Identifier: Apache-2.0
#include "engine/store/Catalogue.h"

#include <algorithm>
#include <array>
#include <functional>
#include <stdexcept>

#include "engine/sql/failure.h"
#include "engine/store/SqlStore.h"
#include "engine/store/packing.h"
#include "engine/time/calendar.h"
#include "platform/ExternalFailure.h"

namespace orvspc::engine::store {
namespace {

// The last kind that subgroups name.
constexpr auto kLastOfSubgroups = catalogue::ItemKind::Serial;

[[noreturn]] void Refuse(std::string reason) {
  throw platform::ExternalFailure(sql::kRefused, "Catalogue", std::move(reason));
}

// Failures as what hosts can catch.
void Guarded(SqlStore& store, const std::function<void()>& work) {
  try {
    work();
  } catch (...) {
    sql::RethrowAsExternal(store.Path(), "Catalogue");
  }
}

template <class Work>
void Reading(platform::Database& database, Work work) {
  const auto store = SqlStoreOf(database);
  Guarded(*store, [&] { store->ReadOrThrow([&](sql::Connection& db) { work(*store, db); }); });
}

std::optional<std::int32_t> FirstInt(sql::Query& query) {
  return query.Step() ? std::optional(query.Int(0)) : std::nullopt;
}

// What occurs where: identifiers of one kind beside the subgroup.
struct Occurrence {
  std::int32_t item, subgroup, time;
  friend auto operator<=>(const Occurrence&, const Occurrence&) = default;
};

std::int32_t OfContext(const Context& context, catalogue::ItemKind kind) {
  switch (kind) {
    case catalogue::ItemKind::Revision:
      return context.revision;
    case catalogue::ItemKind::Workstation:
      return context.workstation;
    case catalogue::ItemKind::Job:
      return context.job;
    case catalogue::ItemKind::Lot:
      return context.lot;
    case catalogue::ItemKind::Shift:
      return context.shift;
    case catalogue::ItemKind::Employee:
      return context.employee;
    default:
      return 0;
  }
}

std::int32_t OfRow(const RowKey& key, catalogue::ItemKind kind) {
  switch (kind) {
    case catalogue::ItemKind::Gage:
      return key.Gage;
    case catalogue::ItemKind::Defect:
      return key.Def;
    case catalogue::ItemKind::Serial:
      return key.Sn;
    default:
      return 0;
  }
}

std::vector<Occurrence> Occurrences(sql::Connection& db, const StoreCache& cache,
                                    catalogue::ItemKind kind) {
  std::vector<Occurrence> found;
  if (kind > kLastOfSubgroups) return found;
  const auto add = [&](std::int32_t item, std::int32_t subgroup, std::int32_t time) {
    const Occurrence next{item, subgroup, time};
    if (item != 0 && (found.empty() || found.back() != next)) found.push_back(next);
  };
  if (kind == catalogue::ItemKind::Part || kind == catalogue::ItemKind::Process) {
    sql::Query query(db, "SELECT part, process, id, time FROM subgroup");
    while (query.Step()) {
      add(query.Int(kind == catalogue::ItemKind::Part ? 0 : 1), query.Int(2), query.Int(3));
    }
  } else if (kind == catalogue::ItemKind::Test) {
    sql::Query query(db,
                     "SELECT s.test, m.subgroup, m.time FROM stream s "
                     "JOIN measurement m ON m.stream = s.id");
    while (query.Step()) add(query.Int(0), query.Int(1), query.Int(2));
  } else if (OfContext({1, 1, 1, 1, 1, 1}, kind) != 0) {
    sql::Query query(db,
                     "SELECT context, subgroup, time FROM measurement WHERE context IS NOT NULL");
    while (query.Step()) {
      const auto place = cache.PlaceOfContext(query.Int64(0));
      if (!place) RaiseUnknownContext(query.Int64(0), query.Int(1));
      add(OfContext(cache.contexts[*place], kind), query.Int(1), query.Int(2));
    }
  } else {
    sql::Query query(db, "SELECT subgroup, time, packed FROM measurement");
    while (query.Step()) {
      const auto view = PackedView::Of(query.Blob(2));
      if (!view) {
        throw std::runtime_error("The values of subgroup " + std::to_string(query.Int(0)) +
                                 " are damaged: their checksum does not fit");
      }
      for (std::size_t i = 0; i < view->Count() && !view->IsPlain(); ++i) {
        add(OfRow(view->Key(i), kind), query.Int(0), query.Int(1));
      }
    }
  }
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  return found;
}

void Count(std::span<const Occurrence> occurrences, std::vector<ListedItem>& items) {
  std::unordered_map<std::int32_t, ListedItem*> by_id;
  for (auto& item : items) by_id.emplace(item.id, &item);
  for (const auto& each : occurrences) {
    const auto found = by_id.find(each.item);
    if (found == by_id.end()) continue;
    auto& item = *found->second;
    item.first = item.subgroups == 0 ? each.time : std::min(item.first, each.time);
    item.last = item.subgroups == 0 ? each.time : std::max(item.last, each.time);
    ++item.subgroups;
  }
}

}  // namespace

std::vector<ListedItem> ListItems(platform::Database& database, catalogue::ItemKind kind) {
  std::vector<ListedItem> items;
  Reading(database, [&](SqlStore& store, sql::Connection& db) {
    for (const auto& [id, name] : store.Names(kind)) items.push_back({id, name, 0, 0, 0, 0});
    std::sort(items.begin(), items.end(),
              [](const ListedItem& a, const ListedItem& b) { return a.name < b.name; });
    Count(Occurrences(db, store.Cache(), kind), items);
    if (kind != catalogue::ItemKind::Test) return;
    sql::Query query(db, "SELECT id, type FROM test");
    while (query.Step()) {
      for (auto& item : items) {
        if (item.id == query.Int(0)) item.test_type = query.Int(1);
      }
    }
  });
  return items;
}

std::optional<std::int32_t> FindItem(platform::Database& database, catalogue::ItemKind kind,
                                     std::string_view name) {
  static const auto texts = [] {
    std::array<std::string, catalogue::kItemKinds> all;
    for (std::size_t i = 0; i < all.size(); ++i) {
      all[i] = "SELECT id FROM " +
               std::string(catalogue::TableOf(static_cast<catalogue::ItemKind>(i))) +
               " WHERE name = ?1";
    }
    return all;
  }();
  std::optional<std::int32_t> id;
  Reading(database, [&](SqlStore&, sql::Connection& db) {
    sql::Query query(db, texts[static_cast<std::size_t>(kind)]);
    query.Bind(1, name);
    id = FirstInt(query);
  });
  return id;
}

std::string ItemName(platform::Database& database, catalogue::ItemKind kind, std::int32_t id) {
  std::string name;
  Reading(database, [&](SqlStore& store, sql::Connection&) {
    const auto& names = store.Names(kind);
    if (const auto found = names.find(id); found != names.end()) name = found->second;
  });
  return name;
}

std::vector<ListedGroup> ListGroups(platform::Database& database, catalogue::ItemKind kind) {
  std::vector<ListedGroup> groups;
  Reading(database, [&](SqlStore&, sql::Connection& db) {
    sql::Query query(db,
                     "SELECT g.id, g.name, m.item FROM item_group g LEFT JOIN item_group_member m "
                     "ON m.item_group = g.id WHERE g.kind = ?1 ORDER BY g.name, m.item");
    query.Bind(1, catalogue::WordOf(kind));
    while (query.Step()) {
      if (groups.empty() || groups.back().id != query.Int(0)) {
        groups.push_back({query.Int(0), std::string(query.Text(1)), {}});
      }
      if (!query.IsNull(2)) groups.back().members.push_back(query.Int(2));
    }
  });
  return groups;
}

std::optional<std::int32_t> FindGroup(platform::Database& database, catalogue::ItemKind kind,
                                      std::string_view name) {
  std::optional<std::int32_t> id;
  Reading(database, [&](SqlStore&, sql::Connection& db) {
    sql::Query query(db, "SELECT id FROM item_group WHERE kind = ?1 AND name = ?2");
    query.Bind(1, catalogue::WordOf(kind)).Bind(2, name);
    id = FirstInt(query);
  });
  return id;
}

std::vector<ListedDescriptor> ListDescriptors(platform::Database& database) {
  std::vector<ListedDescriptor> descriptors;
  Reading(database, [&](SqlStore&, sql::Connection& db) {
    sql::Query query(
        db,
        "SELECT d.id, g.id, d.name, g.name FROM descriptor d "
        "JOIN descriptor_group g ON g.id = d.descriptor_group ORDER BY g.name, d.name");
    while (query.Step()) {
      descriptors.push_back(
          {query.Int(0), query.Int(1), std::string(query.Text(2)), std::string(query.Text(3))});
    }
  });
  return descriptors;
}

std::optional<std::int32_t> FindDescriptorGroup(platform::Database& database,
                                                std::string_view name) {
  std::optional<std::int32_t> id;
  Reading(database, [&](SqlStore&, sql::Connection& db) {
    sql::Query query(db, "SELECT id FROM descriptor_group WHERE name = ?1");
    query.Bind(1, name);
    id = FirstInt(query);
  });
  return id;
}

std::string SubgroupLabel(platform::Database& database, std::int32_t subgroup) {
  std::string label;
  Reading(database, [&](SqlStore&, sql::Connection& db) {
    sql::Query query(db, "SELECT label FROM subgroup WHERE id = ?1");
    query.Bind(1, std::int64_t{subgroup});
    if (query.Step()) label = query.Text(0);
  });
  return label;
}

std::vector<std::string> RuleSetNames(platform::Database& database) {
  std::vector<std::string> names;
  Reading(database, [&](SqlStore& store, sql::Connection&) {
    for (const auto& set : store.Cache().rule_sets) names.push_back(set.first);
  });
  return names;
}

void UseRuleSet(platform::Database& database, std::string_view name) {
  const auto store = SqlStoreOf(database);
  if (name.empty()) return store->UseRuleNumbers(std::nullopt);
  std::optional<std::vector<std::int32_t>> numbers;
  Reading(database, [&](SqlStore& opened, sql::Connection&) {
    for (const auto& set : opened.Cache().rule_sets) {
      if (set.first == name) numbers = set.second;
    }
  });
  if (!numbers) Refuse("The database has no rule set \"" + std::string(name) + "\"");
  store->UseRuleNumbers(std::move(numbers));
}

std::map<std::string, std::string> ListSettings(platform::Database& database) {
  std::map<std::string, std::string> settings;
  Reading(database, [&](SqlStore& store, sql::Connection&) {
    for (const auto& [key, value] : store.Cache().settings) settings.emplace(key, value);
  });
  return settings;
}

void StoreSetting(platform::Database& database, std::string_view key, std::string_view value) {
  if (key == "time_zone" && !time::ZoneOffset(value)) {
    Refuse("time_zone takes UTC or a fixed offset such as +02:00, not \"" + std::string(value) +
           "\"");
  }
  if (key == "shift_starts" && !time::ParseTimesOfDay(value)) {
    Refuse("shift_starts takes ascending times of day such as \"06:00 14:00 22:00\", not \"" +
           std::string(value) + "\"");
  }
  const auto store = SqlStoreOf(database);
  Guarded(*store, [&] {
    store->Write([&](sql::Connection& db) {
      sql::Query(db, "INSERT INTO setting(key, value, who, made) VALUES(?1, ?2, 'host', ?3)")
          .Bind(1, key)
          .Bind(2, value)
          .Bind(3, time::Now())
          .Run();
    });
  });
}

}  // namespace orvspc::engine::store
