// SPDX-License-Identifier: Apache-2.0
#include "engine/QualityDatabase.h"

#include <algorithm>
#include <array>
#include <utility>

#include "engine/catalogue/References.h"
#include "engine/import/Import.h"
#include "engine/pareto/Lookups.h"
#include "engine/statistics/Estimators.h"
#include "engine/store/DraftFile.h"
#include "engine/store/SqlStore.h"
#include "engine/store/logs.h"
#include "engine/time/calendar.h"
#include "platform/TimeText.h"

namespace orvspc {

using namespace engine;

namespace {

using ItemTexts = std::array<std::string, kItemKinds>;

// One statement for each kind of item, which lives as long as the program.
ItemTexts TextsOf(std::string_view before, std::string_view after) {
  ItemTexts texts;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    texts[i] = std::string(before) + std::string(catalogue::TableOf(static_cast<ItemKind>(i))) +
               std::string(after);
  }
  return texts;
}

std::optional<std::int32_t> FirstInt(sql::Query& query) {
  return query.Step() ? std::optional(query.Int(0)) : std::nullopt;
}

const SettingKind& KindOf(const store::SqlStore& store, std::string_view name) {
  const auto& kinds = SettingKinds();
  const auto found = std::ranges::find(kinds, name, &SettingKind::name);
  if (found == kinds.end())
    store::Refuse(store, "there is no setting \"" + std::string(name) + "\"");
  return *found;
}

void CheckSetting(const store::SqlStore& store, std::string_view name, std::string_view value) {
  const auto& kind = KindOf(store, name);
  const auto refuse_unless = [&](bool fits, std::string_view takes) {
    if (fits) return;
    store::Refuse(store, std::string(name) + " takes " + std::string(takes) + ", not \"" +
                             std::string(value) + "\"");
  };
  if (!kind.words.empty()) {
    std::string words;
    for (const auto word : kind.words) words.append(words.empty() ? "" : ", ").append(word);
    refuse_unless(std::ranges::find(kind.words, value) != kind.words.end(), words);
  } else if (name == "time_zone") {
    refuse_unless(time::ZoneOffset(value).has_value(), "UTC or a fixed offset such as +02:00");
  } else {
    refuse_unless(time::ParseTimesOfDay(value).has_value(),
                  "ascending times of day such as \"06:00 14:00 22:00\"");
  }
}

// Makes the database unless there is one, which is false.
bool MakeNew(const std::string& path, const std::function<void(QualityDatabase&)>& fill) {
  store::DraftFile draft(path);
  if (draft.IsThere()) return false;
  std::weak_ptr<EmbeddedDatabase> opened;
  draft.Fill([&](const std::string& name) {
    QualityDatabase database(OpenDatabase(name, true));
    opened = database.Database();
    if (fill) fill(database);
  });
  // Whoever kept it would go on writing under the name of the draft.
  if (!opened.expired()) store::RefuseFile(path, "what fills a new database must not keep it");
  return draft.PutInPlace();
}

}  // namespace

const std::vector<SettingKind>& SettingKinds() {
  const auto words = statistics::EstimatorWords();
  static const std::vector<SettingKind> kinds = {
      {"sigma_estimator",
       "mvlue",
       "how sigma is estimated from ranges or deviations",
       {words.begin(), words.end()}},
      {"shift_starts",
       time::kUsualShifts,
       "when shifts start, for samples that are due once a shift",
       {}},
      {"time_zone",
       "UTC",
       "UTC or a fixed offset such as +02:00, for periods of days and longer",
       {}},
  };
  return kinds;
}

std::optional<ItemKind> ItemKindFromWord(std::string_view word) {
  return catalogue::ItemKindFromWord(word);
}
std::string_view WordOf(ItemKind kind) { return catalogue::WordOf(kind); }

std::optional<ImportKind> ImportKindFromWord(std::string_view word) {
  return import::ImportKindFromWord(word);
}
std::vector<ImportKindInfo> ImportKinds() { return import::ImportKinds(); }

std::optional<std::int64_t> ParseTime(std::string_view text, bool end_of_day) {
  constexpr std::size_t kDateAlone = 10;  // 2024-02-29
  auto time = platform::ParseIsoTime(text);
  if (time && end_of_day && text.size() == kDateAlone) *time += 24 * 60 * 60 - 1;
  return time;
}

std::int64_t CurrentTime() { return time::Now(); }

Shift ShiftPlan::Around(std::int64_t stamp) const {
  const auto shift = time::ShiftAround(stamp, starts, offset);
  return {shift.start, shift.end};
}

QualityDatabase::QualityDatabase(std::shared_ptr<EmbeddedDatabase> database)
    : database_(std::move(database)) {}

QualityDatabase QualityDatabase::Open(const std::string& path) {
  return QualityDatabase(OpenDatabase(path));
}

QualityDatabase QualityDatabase::Create(const std::string& path,
                                        const std::function<void(QualityDatabase&)>& fill) {
  if (!MakeNew(path, fill)) store::RefuseFile(path, "is there already");
  return Open(path);
}

ImportReport QualityDatabase::ImportInto(const std::string& path, const std::string& file,
                                         ImportKind kind, const ImportOptions& options) {
  ImportReport report;
  const auto fill = [&](QualityDatabase& database) {
    report = database.Import(file, kind, options);
  };
  if (MakeNew(path, fill)) return report;
  // An empty file is made a database where it lies.
  QualityDatabase existing(OpenDatabase(path, true));
  fill(existing);
  return report;
}

ImportReport QualityDatabase::Import(const std::string& file, ImportKind kind,
                                     const ImportOptions& options) {
  return import::ImportCsv(file, *database_, kind, options);
}

std::optional<std::int32_t> QualityDatabase::Find(ItemKind kind, std::string_view name) const {
  static const auto texts = TextsOf("SELECT id FROM ", " WHERE name = ?1");
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    sql::Query query(db, texts[static_cast<std::size_t>(kind)], name);
    return FirstInt(query);
  });
}

std::string QualityDatabase::Name(ItemKind kind, std::int32_t id) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection&) {
    const auto& names = store.Cache().Names(kind);
    const auto found = names.find(id);
    return found == names.end() ? std::string() : found->second;
  });
}

std::vector<ListedItem> QualityDatabase::Items(ItemKind kind) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    const auto& names = store.Cache().Names(kind);
    std::vector<ListedItem> items;
    for (const auto& item : store.Cache().Items(kind)->items) {
      auto& listed = items.emplace_back();
      listed.id = item.id;
      listed.name = names.at(item.id);
      if (item.name != listed.name) listed.text = item.name;
      listed.factor = item.factor;
      listed.type = item.type;
      listed.active = item.active;
    }
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
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    std::vector<ListedStream> streams;
    sql::Query query(db,
                     "SELECT s.part, s.process, s.test, t.type, count(*), min(m.time), max(m.time) "
                     "FROM stream s JOIN test t ON t.id = s.test "
                     "JOIN measurement m ON m.stream = s.id "
                     "GROUP BY s.part, s.process, s.test, t.type "
                     "ORDER BY s.part, s.process, s.test");
    while (query.Step()) {
      streams.push_back({{query.Int(0), query.Int(1), query.Int(2)},
                         query.Int(3),
                         query.Int64(4),
                         query.Int(5),
                         query.Int(6)});
    }
    return streams;
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
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    std::vector<ListedDescriptor> descriptors;
    sql::Query query(
        db,
        "SELECT d.id, g.id, d.name, g.name FROM descriptor d "
        "JOIN descriptor_group g ON g.id = d.descriptor_group ORDER BY g.name, d.name");
    while (query.Step()) {
      descriptors.push_back(
          {query.Int(0), query.Int(1), std::string(query.Text(2)), std::string(query.Text(3))});
    }
    return descriptors;
  });
}

std::optional<std::int32_t> QualityDatabase::FindDescriptorGroup(std::string_view name) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    sql::Query query(db, "SELECT id FROM descriptor_group WHERE name = ?1", name);
    return FirstInt(query);
  });
}

std::optional<std::int32_t> QualityDatabase::FindDescriptor(std::int32_t group,
                                                            std::string_view name) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    sql::Query query(db, "SELECT id FROM descriptor WHERE descriptor_group = ?1 AND name = ?2",
                     group, name);
    return FirstInt(query);
  });
}

std::string QualityDatabase::SubgroupLabel(std::int32_t subgroup) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    sql::Query query(db, "SELECT label FROM subgroup WHERE id = ?1", subgroup);
    return query.Step() ? std::string(query.Text(0)) : std::string();
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
      const auto& names = store.Cache().Names(ItemKind::StateCode);
      const auto name = names.find(row->state);
      state = {row->process, row->state, row->type, name == names.end() ? "" : name->second,
               row->time};
    }
    return state;
  });
}

std::vector<RuleSet> QualityDatabase::RuleSets() const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection&) {
    std::vector<RuleSet> sets;
    for (const auto& [name, numbers] : store.Cache().rule_sets) sets.push_back({name, numbers});
    return sets;
  });
}

void QualityDatabase::UseRuleSet(std::string_view name) {
  const auto store = store::SqlStoreOf(*database_);
  if (name.empty()) return store->UseRuleNumbers(std::nullopt);
  const auto sets = RuleSets();
  const auto found = std::ranges::find(sets, name, &RuleSet::name);
  if (found == sets.end())
    store::Refuse(*store, "the database has no rule set \"" + std::string(name) + "\"");
  store->UseRuleNumbers(found->numbers);
}

std::string QualityDatabase::Setting(std::string_view name) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection&) {
    const auto& kind = KindOf(store, name);
    const auto found = store.Cache().settings.find(name);
    return found == store.Cache().settings.end() ? std::string(kind.fallback) : found->second;
  });
}

void QualityDatabase::Set(std::string_view name, std::string_view value) {
  const auto store = store::SqlStoreOf(*database_);
  CheckSetting(*store, name, value);
  store::Guarded(*store, [&] {
    store->Write([&](sql::Connection& db) {
      sql::Query(db, "INSERT INTO setting(key, value, who, made) VALUES(?1, ?2, 'host', ?3)", name,
                 value, time::Now())
          .Run();
    });
  });
}

ShiftPlan QualityDatabase::Shifts() const {
  return {time::ParseTimesOfDay(Setting("shift_starts"))
              .value_or(*time::ParseTimesOfDay(time::kUsualShifts)),
          time::ZoneOffset(Setting("time_zone")).value_or(0)};
}

}  // namespace orvspc
