// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/Batches.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <span>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "engine/catalogue/References.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroups.h"
#include "engine/write/change/Comments.h"
#include "engine/write/change/Items.h"
#include "engine/write/change/LaterNames.h"
#include "engine/write/change/Records.h"
#include "engine/write/change/events.h"
#include "engine/write/change/item_uses.h"
#include "engine/write/change/undo_changes.h"
#include "engine/write/change/version.h"
#include "engine/write/chunks/StreamWriter.h"
#include "engine/write/chunks/SubgroupWriter.h"
#include "engine/write/log/AddedNames.h"
#include "engine/write/log/Json.h"

namespace orvspc::engine::change {
namespace {

using catalogue::ItemKind;
using log::Json;

Batch NeededBatch(sql::Connection& db, std::int64_t id) {
  Batch batch;
  batch.id = id;
  sql::Query query(db, "SELECT kind, state, records, entry FROM batch WHERE id = ?1", id);
  if (!query.Step()) {
    throw Refused("unknown", "batch", std::to_string(id),
                  "there is no batch " + std::to_string(id));
  }
  query.Read(batch.kind, batch.state, batch.records, batch.entry);
  return batch;
}

// --- Values --------------------------------------------------------------------------------------

struct OfStream {
  std::int64_t stream = 0;
  std::vector<store::RecordKey> keys;  // that are as the batch stored them, ascending
};

struct Stored {
  std::vector<OfStream> streams;
  std::vector<std::int64_t> changes;         // the latest entries about those that were changed
  std::set<std::int32_t> changed_subgroups;  // that have such records still
};

// The latest entries about records of a batch that were taken out since.
std::vector<std::int64_t> TakenOut(sql::Connection& db, const Batch& batch) {
  const LaterNames names(db, batch.entry);
  std::map<std::pair<std::int32_t, std::int32_t>, std::int64_t> latest;
  const auto mark = "%\"batch\":" + std::to_string(batch.id) + "%";
  sql::Query query(db,
                   "SELECT seq, object, before FROM log WHERE operation = 'delete' AND seq > ?1 "
                   "AND before LIKE ?2 ORDER BY seq",
                   batch.entry, mark);
  while (query.Step()) {
    if (log::BatchOf(log::ReadJson(query.Text(2))) != batch.id) continue;
    std::int32_t subgroup = 0, test = 0;
    const std::string object(query.Text(1));
    if (std::sscanf(object.c_str(), "subgroup %d test %d", &subgroup, &test) != 2) continue;
    latest[{subgroup, names.Now(ItemKind::Test, test)}] = query.Int64(0);
  }
  std::vector<std::int64_t> entries;
  for (const auto& [place, entry] : latest) {
    const auto subgroup = FindSubgroup(db, place.first);
    if (!subgroup) continue;  // of a copy that has it not
    const auto there = ReadRecords(db, *subgroup, place.second);
    if (there.empty() || there.front().batch != batch.id) entries.push_back(entry);
  }
  return entries;
}

// Where records are that have the identifiers of their subgroups alone.
void FindSubgroupsOf(sql::Connection& db, std::span<StoredRecord> records) {
  std::vector<StoredRecord*> sorted;
  for (auto& record : records) sorted.push_back(&record);
  const auto id_of = [](const StoredRecord* record) { return record->subgroup.id; };
  std::ranges::sort(sorted, {}, id_of);
  std::vector<std::int32_t> ids;
  for (const auto* record : sorted) ids.push_back(record->subgroup.id);
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  auto next = sorted.begin();
  store::ForEachSubgroup(db, ids, [&](const store::SubgroupFacts& facts) {
    while (next != sorted.end() && id_of(*next) < facts.id) ++next;
    for (; next != sorted.end() && id_of(*next) == facts.id; ++next) {
      (*next)->subgroup = {facts.id, facts.part, facts.process, facts.time,
                           std::string(facts.label)};
    }
  });
}

// Where the values of a batch are. The newest are read first, and nothing before its oldest.
Stored Find(sql::Connection& db, const Batch& batch) {
  std::vector<std::pair<std::int64_t, std::int32_t>> streams;
  for (sql::Query query(db, "SELECT id, test FROM stream ORDER BY id DESC"); query.Step();) {
    streams.emplace_back(query.Int64(0), query.Int(1));
  }
  const LaterNames names(db, batch.entry);
  Stored found;
  auto left = batch.records;
  for (const auto& [stream, test] : streams) {
    if (left == 0) break;
    OfStream here{stream, {}};
    std::vector<StoredRecord> with_entries;
    store::StreamWalk(db, stream, false, INT32_MIN, INT32_MAX)
        .ForEach([&](const store::RecordView& view) {
          if (view.Batch() != batch.id) return true;
          if (view.Entry() != 0) {
            with_entries.push_back(StoredRecordOf(view));
          } else {
            here.keys.push_back(view.Key());
          }
          return --left != 0;
        });
    FindSubgroupsOf(db, with_entries);
    for (auto& record : with_entries) {
      record.test = test;
      if (IsAsLeft(db, record, 0, names)) {
        here.keys.push_back({record.subgroup.time, record.subgroup.id});
      } else {
        found.changes.push_back(record.entry);
        found.changed_subgroups.insert(record.subgroup.id);
      }
    }
    std::ranges::sort(here.keys);
    if (!here.keys.empty()) found.streams.push_back(std::move(here));
  }
  if (left != 0) {
    const auto gone = TakenOut(db, batch);
    found.changes.insert(found.changes.end(), gone.begin(), gone.end());
  }
  return found;
}

using Names = std::set<std::pair<ItemKind, std::int32_t>>;

// Labels of subgroups by part and process, and by time and identifier.
using Subgroups = std::map<std::pair<std::int32_t, std::int32_t>,
                           std::map<std::pair<std::int32_t, std::int32_t>, std::string>>;

class ValuesUndo {
 public:
  ValuesUndo(log::Writing& writing, const Batch& batch)
      : writing_(writing), db_(writing.Db()), batch_(batch) {}

  void TakeOut(const OfStream& all) {
    constexpr std::size_t kAtOnce = 1024;
    for (std::size_t begin = 0; begin < all.keys.size(); begin += kAtOnce) {
      const auto count = std::min(kAtOnce, all.keys.size() - begin);
      TakeOut(all.stream, std::span(all.keys).subspan(begin, count));
    }
  }
  void DropDescriptors(const std::set<std::int32_t>& kept_subgroups);
  void TidySubgroups();
  std::int64_t DeactivateNames();
  void ForgetTypes();

 private:
  void TakeOut(std::int64_t stream, std::span<const store::RecordKey> keys);
  void NoteNames(const StoredRecord& record);
  void DropUsed(Names& names);

  log::Writing& writing_;
  sql::Connection& db_;
  const Batch& batch_;
  Subgroups subgroups_;
  Names names_;
  std::set<std::int32_t> contexts_;
};

void ValuesUndo::TakeOut(std::int64_t stream, std::span<const store::RecordKey> keys) {
  std::int32_t test = 0;
  {
    sql::Query query(db_, "SELECT test FROM stream WHERE id = ?1", stream);
    if (query.Step()) test = query.Int(0);
  }
  std::vector<StoredRecord> records;
  store::ForEachRecord(
      db_, stream,
      [&](const store::RecordView& view) {
        if (!std::ranges::binary_search(keys, view.Key())) return;
        auto& record = records.emplace_back(StoredRecordOf(view));
        record.stream = stream;
        record.test = test;
      },
      keys.front().time, keys.back().time);
  FindSubgroupsOf(db_, records);
  const auto after = log::CanonicalText({{"undone", batch_.id}});
  for (const auto& record : records) {
    const auto& of = record.subgroup;
    writing_.Add("delete", record.Object(), DropComments(db_, record), after);
    NoteNames(record);
    subgroups_[{of.part, of.process}].emplace(std::pair(of.time, of.id), of.label);
  }
  store::StreamWriter writer(db_);
  writer.Remove(stream, keys);
  writer.Finish();
}

void ValuesUndo::NoteNames(const StoredRecord& record) {
  names_.emplace(ItemKind::Part, record.subgroup.part);
  names_.emplace(ItemKind::Process, record.subgroup.process);
  names_.emplace(ItemKind::Test, record.test);
  for (const auto& key : record.keys) {
    for (const auto& row : store::kRowKinds) {
      if (key.*row.member != 0) names_.emplace(row.kind, key.*row.member);
    }
  }
  if (record.context == 0 || !contexts_.insert(record.context).second) return;
  const auto context = ReadContext(db_, record.context);
  for (std::size_t i = 0; i < context.size(); ++i) {
    if (context[i] != 0) names_.emplace(store::kContextKinds[i].kind, context[i]);
  }
}

// The descriptors that the batch brought, unless something else brought them, too.
void ValuesUndo::DropDescriptors(const std::set<std::int32_t>& kept_subgroups) {
  using Row = std::tuple<std::int32_t, std::int32_t, std::int32_t>;
  std::vector<Row> rows;
  for (sql::Query query(db_,
                        "SELECT subgroup, descriptor, tsno FROM descriptor_source "
                        "WHERE batch = ?1",
                        batch_.id);
       query.Step();) {
    if (!kept_subgroups.contains(query.Int(0))) {
      rows.emplace_back(query.Int(0), query.Int(1), query.Int(2));
    }
  }
  for (const auto& [subgroup, descriptor, tsno] : rows) {
    sql::Query(db_,
               "DELETE FROM descriptor_source WHERE subgroup = ?1 AND descriptor = ?2 "
               "AND tsno = ?3 AND batch = ?4",
               subgroup, descriptor, tsno, batch_.id)
        .Run();
    sql::Query(db_,
               "DELETE FROM subgroup_descriptor WHERE subgroup = ?1 AND descriptor = ?2 "
               "AND tsno = ?3 AND NOT EXISTS (SELECT 1 FROM descriptor_source s "
               "WHERE s.subgroup = ?1 AND s.descriptor = ?2 AND s.tsno = ?3)",
               subgroup, descriptor, tsno)
        .Run();
  }
}

// Subgroups that have lost their last values are still found.
void ValuesUndo::TidySubgroups() {
  std::vector<store::SubgroupFacts> places;
  for (const auto& [of, subgroups] : subgroups_) {
    for (const auto& [place, label] : subgroups) {
      places.push_back({place.second, of.first, of.second, place.first, label});
    }
  }
  const auto measured = store::MeasuredAt(db_, places);
  for (const auto& each : places) {
    if (std::ranges::binary_search(measured, each.id)) continue;
    EmptySubgroup(db_, {each.id, each.part, each.process, each.time, std::string(each.label)});
  }
}

// Texts that find a use of an item, in the order of kItemUses.
const std::string& UseText(const ItemUse& use) {
  static const auto texts = [] {
    std::vector<std::string> all;
    for (const auto& each : kItemUses) {
      all.push_back(std::string("SELECT 1 FROM ") + each.table + " WHERE " + each.column + " = ?1" +
                    each.counts + " LIMIT 1");
    }
    return all;
  }();
  return texts[static_cast<std::size_t>(&use - kItemUses)];
}

bool IsNamedByRows(sql::Connection& db, ItemKind kind, std::int32_t id) {
  for (const auto& use : kItemUses) {
    if (use.kind == kind && sql::Query(db, UseText(use), id).RunForInt()) return true;
  }
  return sql::Query(db,
                    "SELECT 1 FROM item_group_member m JOIN item_group g ON g.id = m.item_group "
                    "WHERE g.kind = ?1 AND m.item = ?2 LIMIT 1",
                    WordOf(kind), id)
      .RunForInt()
      .has_value();
}

// Drops the names that values have.
void ValuesUndo::DropUsed(Names& names) {
  using Stream = std::tuple<std::int64_t, std::int32_t, std::int32_t, std::int32_t>;
  std::vector<Stream> streams;
  for (sql::Query query(db_, "SELECT id, part, process, test FROM stream"); query.Step();) {
    streams.emplace_back(query.Int64(0), query.Int(1), query.Int(2), query.Int(3));
  }
  std::erase_if(streams, [&](const Stream& each) { return !HasValues(db_, std::get<0>(each)); });
  for (const auto& [id, part, process, test] : streams) {
    names.erase({ItemKind::Part, part});
    names.erase({ItemKind::Process, process});
    names.erase({ItemKind::Test, test});
  }
  const auto is_in_values = [](const auto& name) { return name.first > ItemKind::Test; };
  std::map<std::int32_t, store::Context> contexts;
  for (const auto& each : streams) {
    if (std::ranges::none_of(names, is_in_values)) return;
    std::set<std::int32_t> seen;
    store::StreamWalk(db_, std::get<0>(each), false, INT32_MIN, INT32_MAX)
        .ForEach([&](const store::RecordView& view) {
          seen.insert(view.Context());
          for (std::size_t row = 0; row < view.Count() && !view.IsPlain(); ++row) {
            const auto key = view.Key(row);
            for (const auto& kind : store::kRowKinds) names.erase({kind.kind, key.*kind.member});
          }
          return true;
        });
    for (const auto id : seen) {
      const auto [found, is_new] = contexts.try_emplace(id);
      if (!is_new) continue;
      found->second = ReadContext(db_, id);
      for (std::size_t i = 0; i < found->second.size(); ++i) {
        names.erase({store::kContextKinds[i].kind, found->second[i]});
      }
    }
  }
}

// What the entries of the batches say that are undone, this one included: only names that one of
// them brought would not be there without them.
std::vector<Json> BroughtByUndone(sql::Connection& db, const Batch& batch) {
  std::vector<Json> all;
  sql::Query query(db,
                   "SELECT l.after FROM batch b JOIN log l ON l.seq = b.entry "
                   "WHERE b.kind IN ('values', 'record') AND (b.state = 'undone' OR b.id = ?1)",
                   batch.id);
  while (query.Step()) all.push_back(log::ReadJson(query.Text(0)));
  return all;
}

std::int64_t ValuesUndo::DeactivateNames() {
  const auto brought = BroughtByUndone(db_, batch_);
  auto names = names_;
  std::erase_if(names, [&](const auto& name) {
    return std::ranges::none_of(brought, [&](const Json& after) {
      return log::AddedNames::Holds(after, name.first, name.second);
    });
  });
  std::erase_if(names,
                [&](const auto& name) { return IsNamedByRows(db_, name.first, name.second); });
  if (!names.empty()) DropUsed(names);
  std::int64_t count = 0;
  for (const auto& [kind, id] : names) count += DeactivateUndone(writing_, kind, id, batch_.id);
  return count;
}

void ValuesUndo::ForgetTypes() {
  for (const auto& [kind, id] : names_) {
    if (kind == ItemKind::Test) ForgetType(writing_, id);
  }
}

UndoneBatch UndoValues(log::Writing& writing, const Batch& batch, bool keep_changed) {
  auto& db = writing.Db();
  const auto stored = Find(db, batch);
  CheckChanged(batch, stored.changes, keep_changed, !stored.streams.empty());
  UndoneBatch undone;
  undone.report.kept = static_cast<std::int64_t>(stored.changes.size());
  ValuesUndo undo(writing, batch);
  for (const auto& each : stored.streams) {
    undo.TakeOut(each);
    undone.report.records += static_cast<std::int64_t>(each.keys.size());
    undone.streams.push_back({each.stream, each.keys.front(), each.keys.back()});
  }
  undo.DropDescriptors(stored.changed_subgroups);
  undo.TidySubgroups();
  // First, since it uses the name of who undoes it.
  AddEvent(writing, etSubgroupDelete, {});
  undone.report.names = undo.DeactivateNames();
  undo.ForgetTypes();
  return undone;
}

}  // namespace

std::vector<ListedImport> ReadImports(sql::Connection& db) {
  constexpr std::int64_t kMillisecondsOfSecond = 1000;
  std::vector<ListedImport> imports;
  sql::Query query(db,
                   "SELECT b.id, l.at, l.who, b.kind, b.source, b.lines, b.records, b.state, "
                   "(SELECT max(v.seq) FROM log v WHERE v.object = 'batch ' || b.id) "
                   "FROM batch b LEFT JOIN log l ON l.seq = b.entry ORDER BY b.id DESC");
  while (query.Step()) {
    auto& each = imports.emplace_back();
    query.Read(each.id, each.made, each.who, each.kind, each.source, each.lines, each.records,
               each.state, each.version);
    each.made /= kMillisecondsOfSecond;
  }
  return imports;
}

UndoneBatch UndoBatch(log::Writing& writing, std::int64_t id, bool keep_changed,
                      std::optional<std::int64_t> expected) {
  auto& db = writing.Db();
  writing.NeedReason();
  const auto batch = NeededBatch(db, id);
  CheckVersion(db, batch.Object(), batch.Object(), expected);
  if (batch.state == "undone") RefuseBatch(batch, "undone", " is undone already");
  const bool has_values = batch.kind == "values" || batch.kind == "record";
  if (!has_values && batch.kind != "flags" && batch.kind != "comments") {
    RefuseBatch(batch, "kind",
                " is an import of " + batch.kind +
                    "; only values, records, flags and comments can be undone");
  }
  auto undone = has_values ? UndoValues(writing, batch, keep_changed)
                           : UndoChanges(writing, batch, keep_changed);
  sql::Query(db, "UPDATE batch SET state = 'undone' WHERE id = ?1", id).Run();
  Json after = {{"state", "undone"}, {"records", undone.report.records}};
  if (undone.report.kept != 0) after["kept"] = undone.report.kept;
  writing.Add("undo", batch.Object(), log::CanonicalText({{"state", "stored"}}),
              log::CanonicalText(after));
  return undone;
}

}  // namespace orvspc::engine::change
