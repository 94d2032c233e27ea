// SPDX-License-Identifier: Apache-2.0
// What a database holds, by name and by identifier.
#include <algorithm>
#include <cstdint>
#include <utility>

#include "engine/QualityDatabase.h"
#include "engine/catalogue/References.h"
#include "engine/catalogue/nearest.h"
#include "engine/chunks/subgroups.h"
#include "engine/pareto/Lookups.h"
#include "engine/store/SqlStore.h"
#include "engine/store/logs.h"
#include "engine/time/calendar.h"

namespace orvspc {

using namespace engine;

namespace {

// The first column of the first row, an identifier; empty without a row.
template <class... Values>
std::optional<std::int32_t> FindId(EmbeddedDatabase& database, std::string_view text,
                                   const Values&... values) {
  return store::Read(database, [&](store::SqlStore&, sql::Connection& db) {
    const auto holds = [&](const auto& value) {
      if constexpr (std::is_convertible_v<decltype(value), std::string_view>) {
        return db.Holds(value);
      }
      return true;
    };
    if (!(holds(values) && ...)) return std::optional<std::int32_t>();
    sql::Query query(db, text, values...);
    return query.Step() ? std::optional(query.Int(0)) : std::nullopt;
  });
}

}  // namespace

std::int32_t QualityDatabase::Require(ItemKind kind, std::string_view name) const {
  if (const auto id = Find(kind, name)) return *id;
  const auto reason = store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return catalogue::NoSuchItem(db, kind, name);
  });
  throw Refused("unknown", std::string(WordOf(kind)), std::string(name), reason);
}

std::optional<std::int32_t> QualityDatabase::Find(ItemKind kind, std::string_view name) const {
  static const auto texts = catalogue::TextsByKind([](ItemKind each) {
    return "SELECT id FROM " + catalogue::TableOf(each) + " WHERE name = ?1";
  });
  if (const auto id = FindId(*database_, texts[static_cast<std::size_t>(kind)], name)) return id;
  return FindId(*database_, "SELECT item FROM alias WHERE kind = ?1 AND name = ?2", WordOf(kind),
                name);
}

std::string QualityDatabase::Name(ItemKind kind, std::int32_t id) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection&) {
    return catalogue::NameOf(store.Cache().Names(kind), id);
  });
}

std::vector<ListedItem> QualityDatabase::Items(ItemKind kind) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    const auto& names = store.Cache().Names(kind);
    std::vector<ListedItem> items;
    for (const auto& item : store.Cache().Items(kind)->items) {
      const auto& name = names.at(item.id);
      items.push_back(
          {item.id, name, item.name == name ? "" : item.name, item.factor, item.type, item.active});
    }
    static const auto texts = catalogue::TextsByKind([](ItemKind each) {
      return "SELECT (SELECT max(l.seq) FROM log l WHERE l.object = '" + std::string(WordOf(each)) +
             " ' || i.id) FROM " + catalogue::TableOf(each) + " i ORDER BY i.id";
    });
    sql::Query versions(db, texts[static_cast<std::size_t>(kind)]);
    for (auto& item : items) item.version = versions.Step() ? versions.Int64(0) : 0;
    if (kind != ItemKind::Test) return items;
    sql::Query types(db, "SELECT type FROM test ORDER BY id");
    for (auto& item : items) item.type = types.Step() ? types.Int(0) : 0;
    return items;
  });
}

std::vector<CountedItem> QualityDatabase::CountedItems(ItemKind kind) const {
  std::vector<CountedItem> items;
  const auto counts = store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    return store::CountOccurrences(db, store.Cache(), kind);
  });
  for (auto& item : Items(kind)) {
    const auto found = counts.find(item.id);
    const auto count = found == counts.end() ? store::Occurrences() : found->second;
    items.push_back({std::move(item), count.subgroups, count.first, count.last});
  }
  std::ranges::sort(items, {}, &CountedItem::name);
  return items;
}

std::vector<ListedStream> QualityDatabase::Streams() const {
  return store::Read(*database_, [](store::SqlStore&, sql::Connection& db) {
    using Row = ListedStream;
    return sql::Query(db,
                      "SELECT s.part, s.process, s.test, t.type, CAST(sum(m.count) AS BIGINT), "
                      "min(m.first_time), max(m.last_time), "
                      "coalesce((SELECT c.id FROM control_limit c WHERE c.part = s.part "
                      "AND c.test = s.test AND coalesce(c.process, s.process) = s.process "
                      "AND c.status IN ('active', 'retired') AND c.effective <= ?1 "
                      "AND coalesce(c.until, ?1 + 1) > ?1 ORDER BY c.effective DESC, "
                      "coalesce(c.process, 0) DESC, c.id DESC LIMIT 1), 0), "
                      "(SELECT count(*) FROM alarm a WHERE a.stream = s.id "
                      "AND a.state IN ('open', 'acknowledged')) "
                      "FROM stream s JOIN test t ON t.id = s.test JOIN (SELECT stream, "
                      "first_time, last_time, count FROM measurement_chunk UNION ALL "
                      "SELECT stream, time, time, 1 FROM measurement) m ON m.stream = s.id "
                      "GROUP BY s.id, s.part, s.process, s.test, t.type "
                      "ORDER BY s.part, s.process, s.test",
                      time::Now())
        .All<Row>(&Row::part, &Row::process, &Row::test, &Row::test_type, &Row::subgroups,
                  &Row::first, &Row::last, &Row::limits, &Row::open_alarms);
  });
}

std::vector<ListedGroup> QualityDatabase::Groups(ItemKind kind) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection&) {
    std::vector<ListedGroup> groups;
    for (const auto& group : *store.Cache().ItemGroups(kind)) {
      groups.push_back({group.id, group.name, group.members});
    }
    std::ranges::sort(groups, {}, &ListedGroup::name);
    return groups;
  });
}

std::optional<std::int32_t> QualityDatabase::FindGroup(ItemKind kind, std::string_view name) const {
  for (const auto& group : Groups(kind)) {
    if (group.name == name) return group.id;
  }
  return std::nullopt;
}

std::vector<ListedDescriptor> QualityDatabase::Descriptors() const {
  return store::Read(*database_, [](store::SqlStore&, sql::Connection& db) {
    using Row = ListedDescriptor;
    return sql::Query(
               db,
               "SELECT d.id, g.id, d.name, g.name FROM descriptor d "
               "JOIN descriptor_group g ON g.id = d.descriptor_group ORDER BY g.name, d.name")
        .All<Row>(&Row::id, &Row::group, &Row::name, &Row::group_name);
  });
}

std::optional<std::int32_t> QualityDatabase::FindDescriptorGroup(std::string_view name) const {
  return FindId(*database_, "SELECT id FROM descriptor_group WHERE name = ?1", name);
}

std::optional<std::int32_t> QualityDatabase::FindDescriptor(std::int32_t group,
                                                            std::string_view name) const {
  return FindId(*database_, "SELECT id FROM descriptor WHERE descriptor_group = ?1 AND name = ?2",
                group, name);
}

std::string QualityDatabase::SubgroupLabel(std::int32_t subgroup) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    const auto labels = store::ReadLabels(db, subgroup, subgroup);
    return labels.empty() ? std::string() : labels.front().second;
  });
}

std::vector<std::pair<std::int32_t, std::string>> QualityDatabase::SubgroupLabels(
    std::span<const std::int32_t> subgroups) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return store::ReadLabels(db, subgroups);
  });
}

std::vector<SubgroupComment> QualityDatabase::Comments(
    std::span<const std::int32_t> subgroups) const {
  if (subgroups.empty()) return {};
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    std::vector<SubgroupComment> comments;
    sql::Query query(db, sql::ManyRows{64},
                     "SELECT id, subgroup, test, tsno, time, employee, note FROM comment "
                     "WHERE subgroup BETWEEN ?1 AND ?2 ORDER BY subgroup, time, id",
                     subgroups.front(), subgroups.back());
    while (query.Step()) {
      if (!std::ranges::binary_search(subgroups, query.Int(1))) continue;
      auto& row = comments.emplace_back();
      query.Read(row.id, row.subgroup, row.test, row.tsno, row.time, row.employee, row.note);
    }
    return comments;
  });
}

std::vector<SubgroupDescriptor> QualityDatabase::DescriptorsOf(
    std::span<const std::int32_t> subgroups) const {
  if (subgroups.empty()) return {};
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    std::vector<SubgroupDescriptor> descriptors;
    const auto read = [&](std::int32_t first, std::int32_t last) {
      sql::Query query(db, sql::ManyRows{64},
                       "SELECT s.subgroup, g.id, d.id, s.tsno, g.name, d.name "
                       "FROM subgroup_descriptor s JOIN descriptor d ON d.id = s.descriptor "
                       "JOIN descriptor_group g ON g.id = d.descriptor_group "
                       "WHERE s.subgroup BETWEEN ?1 AND ?2 "
                       "ORDER BY s.subgroup, g.id, d.id, s.tsno",
                       first, last);
      while (query.Step()) {
        if (!std::ranges::binary_search(subgroups, query.Int(0))) continue;
        auto& row = descriptors.emplace_back();
        query.Read(row.subgroup, row.group, row.descriptor, row.tsno, row.group_name, row.name);
      }
    };
    if (!sql::Query(db, "SELECT 1 FROM subgroup_descriptor LIMIT 1").Step()) return descriptors;
    // One statement serves identifiers that lie close together, as those of one import do.
    constexpr std::int64_t kCloseTogether = 4;
    const auto width = std::int64_t{subgroups.back()} - subgroups.front() + 1;
    if (width <= kCloseTogether * static_cast<std::int64_t>(subgroups.size())) {
      read(subgroups.front(), subgroups.back());
    } else {
      for (const auto id : subgroups) read(id, id);
    }
    return descriptors;
  });
}

namespace {

std::vector<ListedEvent> Listed(const std::vector<store::EventRow>& rows) {
  std::vector<ListedEvent> events;
  for (const auto& row : rows) {
    events.push_back({row.id, row.type, row.name, row.employee, row.process, row.part, row.test,
                      row.acc, row.acc_employee, row.cac, row.cac_employee, row.flag, row.time,
                      row.subgroup_time, row.acc_time, row.cac_time, row.finish});
  }
  return events;
}

}  // namespace

std::vector<ListedEvent> QualityDatabase::EventsOfSubgroups(std::int64_t from,
                                                            std::int64_t to) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return Listed(store::EventsOfSubgroups(db, from, to));
  });
}

std::vector<ListedEvent> QualityDatabase::Events(std::span<const std::int32_t> events) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    std::vector<store::EventRow> rows;
    for (const auto id : events) {
      if (const auto row = store::ReadEvent(db, id)) rows.push_back(*row);
    }
    return Listed(rows);
  });
}

std::vector<ListedEvent> QualityDatabase::Downtimes(std::int32_t process, std::int64_t from,
                                                    std::int64_t to) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return Listed(store::DowntimesBetween(db, process, from, to));
  });
}

QualityDatabase::BinNames QualityDatabase::BinNamesOf(std::int32_t resource,
                                                      const API_PAOptions& options) const {
  return [database = database_, names = pareto::BinNamesOf(*database_, resource, options)](
             std::size_t level, std::int32_t id) { return names(level, id); };
}

std::optional<ProcessState> QualityDatabase::StateBefore(std::int32_t process,
                                                         std::int64_t time) const {
  if (process == 0) return std::nullopt;  // the log would read it as any process
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    std::optional<ProcessState> state;
    if (const auto row = store::LatestStateBefore(db, process, time)) {
      state = {row->process, row->state, row->type,
               catalogue::NameOf(store.Cache().Names(ItemKind::StateCode), row->state), row->time};
    }
    return state;
  });
}

std::vector<ProcessState> QualityDatabase::StatesBetween(std::int32_t process, std::int64_t from,
                                                         std::int64_t to) const {
  if (process == 0) return {};  // the log would read it as every process
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    const auto& names = store.Cache().Names(ItemKind::StateCode);
    std::vector<ProcessState> states;
    for (const auto& row : store::ReadStateLog(db, process, from, to)) {
      states.push_back(
          {row.process, row.state, row.type, catalogue::NameOf(names, row.state), row.time});
    }
    return states;
  });
}

}  // namespace orvspc
