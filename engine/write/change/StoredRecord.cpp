// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/StoredRecord.h"

#include <algorithm>

#include "engine/catalogue/References.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroups.h"
#include "engine/sql/counter.h"
#include "engine/write/chunks/SubgroupWriter.h"
#include "platform/Actor.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::change {
namespace {

using catalogue::ItemKind;

// Empty where there is none.
std::string NameOf(sql::Connection& db, ItemKind kind, std::int32_t id) {
  static const auto texts = catalogue::TextsByKind([](ItemKind each) {
    return "SELECT name FROM " + catalogue::TableOf(each) + " WHERE id = ?1";
  });
  if (id == 0) return {};
  sql::Query query(db, texts[static_cast<std::size_t>(kind)], id);
  return query.Step() ? std::string(query.Text(0)) : std::string();
}

// "?1 IS NOT DISTINCT FROM" each column of a context.
std::string FindContextText() {
  std::string text = "SELECT id FROM context WHERE ";
  int place = 0;
  for (const auto& each : store::kContextKinds) {
    if (place != 0) text += " AND ";
    text += std::string(each.column) + " IS NOT DISTINCT FROM ?" + std::to_string(++place);
  }
  return text;
}

std::string InsertContextText() {
  std::string text = "INSERT INTO context(id, " + store::ContextColumns() + ") VALUES(?1";
  for (std::size_t i = 0; i < std::size(store::kContextKinds); ++i) {
    text += ", ?" + std::to_string(i + 2);
  }
  return text + ")";
}

}  // namespace

std::optional<StoredSubgroup> FindSubgroup(sql::Connection& db, std::int32_t id) {
  std::optional<StoredSubgroup> found;
  store::ForEachSubgroup(db, id, id, [&](const store::SubgroupFacts& facts) {
    found = {facts.id, facts.part, facts.process, facts.time, std::string(facts.label)};
  });
  return found;
}

StoredSubgroup NeededSubgroup(sql::Connection& db, std::int32_t id) {
  const auto found = FindSubgroup(db, id);
  if (!found) {
    throw Refused("unknown", "subgroup", std::to_string(id),
                  "there is no subgroup #" + std::to_string(id));
  }
  return *found;
}

store::Measurement StoredRecord::View() const {
  store::Measurement view{subgroup.time, subgroup.id, context, size, flag,
                          batch,         entry,       values,  {}};
  if (!store::ArePlain(keys)) view.keys = keys;
  return view;
}

std::string StoredRecord::Object() const {
  return "subgroup " + std::to_string(subgroup.id) + " test " + std::to_string(test);
}

StoredRecord StoredRecordOf(const store::RecordView& view) {
  StoredRecord record;
  record.subgroup.id = view.Subgroup();
  record.subgroup.time = view.Key().time;
  record.context = view.Context();
  record.flag = view.Flag();
  record.size = view.Size();
  record.batch = view.Batch();
  record.entry = view.Entry();
  for (std::size_t row = 0; row < view.Count(); ++row) {
    record.values.push_back(view.Value(row));
    record.keys.push_back(view.IsPlain() ? store::PlainKey(row) : view.Key(row));
  }
  return record;
}

std::vector<StoredRecord> ReadRecords(sql::Connection& db, const StoredSubgroup& subgroup,
                                      std::optional<std::int32_t> test) {
  std::vector<std::pair<std::int64_t, std::int32_t>> streams;
  {
    sql::Query query(db,
                     "SELECT id, test FROM stream WHERE part = ?1 AND process = ?2 ORDER BY test",
                     subgroup.part, subgroup.process);
    while (query.Step()) {
      if (!test || *test == query.Int(1)) streams.emplace_back(query.Int64(0), query.Int(1));
    }
  }
  std::vector<StoredRecord> records;
  for (const auto& [stream, of_test] : streams) {
    const auto id = stream;
    const auto number = of_test;
    store::ForEachRecord(
        db, id,
        [&](const store::RecordView& view) {
          if (view.Subgroup() != subgroup.id) return;
          auto& record = records.emplace_back(StoredRecordOf(view));
          record.subgroup = subgroup;
          record.stream = id;
          record.test = number;
        },
        subgroup.time, subgroup.time);
  }
  return records;
}

void EmptySubgroup(sql::Connection& db, const StoredSubgroup& subgroup) {
  store::KeepFindable(
      db, {subgroup.id, subgroup.part, subgroup.process, subgroup.time, subgroup.label});
  sql::Query(db, "DELETE FROM subgroup_descriptor WHERE subgroup = ?1", subgroup.id).Run();
}

std::string LabelGivenUp(std::int32_t subgroup) { return "deleted #" + std::to_string(subgroup); }

bool GivesWay(sql::Connection& db, std::int32_t subgroup) {
  const auto stored = NeededSubgroup(db, subgroup);
  if (!ReadRecords(db, stored).empty()) return false;
  const auto label = LabelGivenUp(stored.id);
  store::ReplaceSubgroup(db, {stored.id, stored.part, stored.process, stored.time, label});
  return true;
}

bool HasValues(sql::Connection& db, std::int64_t stream) {
  return store::FindChunk(db, stream, {INT32_MIN, 0}).has_value() ||
         sql::Query(db, "SELECT 1 FROM measurement WHERE stream = ?1 LIMIT 1", stream)
             .RunForInt()
             .has_value();
}

bool TestHasValues(sql::Connection& db, std::int32_t test) {
  std::vector<std::int64_t> streams;
  for (sql::Query query(db, "SELECT id FROM stream WHERE test = ?1", test); query.Step();) {
    streams.push_back(query.Int64(0));
  }
  return std::ranges::any_of(streams, [&](auto stream) { return HasValues(db, stream); });
}

std::int32_t TypeOf(sql::Connection& db, std::int32_t test) {
  return static_cast<std::int32_t>(
      sql::Query(db, "SELECT type FROM test WHERE id = ?1", test).RunForInt().value_or(0));
}

void SetType(sql::Connection& db, std::int32_t test, std::int32_t type) {
  sql::Query(db, "UPDATE test SET type = ?2 WHERE id = ?1", test, type).Run();
}

bool IsMeasured(sql::Connection& db, std::int32_t test) { return TypeOf(db, test) == ttVariable; }

std::string CalledBy(sql::Connection& db, const StoredRecord& record) {
  const auto name = NameOf(db, ItemKind::Test, record.test);
  return "#" + std::to_string(record.subgroup.id) + " " +
         (name.empty() ? std::to_string(record.test) : name);
}

log::CanonicalRecord CanonicalOf(sql::Connection& db, const StoredRecord& stored) {
  log::CanonicalRecord record;
  record.part = NameOf(db, ItemKind::Part, stored.subgroup.part);
  record.process = NameOf(db, ItemKind::Process, stored.subgroup.process);
  record.test = NameOf(db, ItemKind::Test, stored.test);
  record.label = stored.subgroup.label;
  record.time = stored.subgroup.time;
  for (std::size_t row = 0; row < stored.values.size(); ++row) {
    const auto& key = stored.keys[row];
    auto& piece = record.pieces.emplace_back();
    piece.value = stored.values[row];
    piece.tsno = key.Tsno;
    piece.sbno = key.Sbno;
    piece.serial = NameOf(db, ItemKind::Serial, key.Sn);
    piece.gage = NameOf(db, ItemKind::Gage, key.Gage);
    piece.defect = NameOf(db, ItemKind::Defect, key.Def);
  }
  record.size = stored.size;
  record.flag = stored.flag;
  log::LeaveOutUsual(record, IsMeasured(db, stored.test));
  const auto context = ReadContext(db, stored.context);
  for (std::size_t i = 0; i < context.size(); ++i) {
    if (context[i] == 0) continue;
    const auto& kind = store::kContextKinds[i];
    record.context[std::string(kind.column)] = NameOf(db, kind.kind, context[i]);
  }
  sql::Query descriptors(db,
                         "SELECT g.name, d.name, s.tsno FROM subgroup_descriptor s "
                         "JOIN descriptor d ON d.id = s.descriptor "
                         "JOIN descriptor_group g ON g.id = d.descriptor_group "
                         "WHERE s.subgroup = ?1 ORDER BY g.name, d.name, s.tsno",
                         stored.subgroup.id);
  while (descriptors.Step()) {
    record.descriptors.push_back(
        {std::string(descriptors.Text(0)), std::string(descriptors.Text(1)), descriptors.Int(2)});
  }
  sql::Query comments(db,
                      "SELECT c.note, c.tsno, coalesce(e.name, ''), c.time FROM comment c "
                      "LEFT JOIN employee e ON e.id = c.employee "
                      "WHERE c.subgroup = ?1 AND coalesce(c.test, ?2) = ?2 ORDER BY c.time, c.id",
                      stored.subgroup.id, stored.test);
  while (comments.Step()) {
    record.comments.push_back({std::string(comments.Text(0)), comments.Int(1),
                               std::string(comments.Text(2)), comments.Int64(3)});
  }
  return record;
}

store::Context ReadContext(sql::Connection& db, std::int32_t id) {
  static const auto text = "SELECT " + store::ContextColumns() + " FROM context WHERE id = ?1";
  store::Context context{};
  if (id == 0) return context;
  sql::Query query(db, text, id);
  if (!query.Step()) {
    throw std::runtime_error("context " + std::to_string(id) + " is missing");
  }
  query.Read(context);
  return context;
}

namespace {

std::array<sql::Reference, std::tuple_size_v<store::Context>> NamesOf(
    const store::Context& context) {
  std::array<sql::Reference, std::tuple_size_v<store::Context>> names;
  std::ranges::transform(context, names.begin(), [](auto name) { return sql::Reference{name}; });
  return names;
}

}  // namespace

std::optional<std::int32_t> FindContext(sql::Connection& db, const store::Context& context) {
  static const auto find = FindContextText();
  sql::Query known(db, find, NamesOf(context));
  return known.Step() ? std::optional(known.Int(0)) : std::nullopt;
}

std::int32_t ContextId(sql::Connection& db, const store::Context& context) {
  static const auto insert = InsertContextText();
  if (context == store::Context{}) return 0;
  if (const auto known = FindContext(db, context)) return *known;
  const auto id = sql::TakeIds(db, "context");
  sql::Query(db, insert, id, NamesOf(context)).Run();
  return static_cast<std::int32_t>(id);
}

}  // namespace orvspc::engine::change
