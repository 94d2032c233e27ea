// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/undo_changes.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <utility>

#include "engine/write/change/Comments.h"
#include "engine/write/change/LaterNames.h"
#include "engine/write/change/Records.h"
#include "engine/write/change/events.h"
#include "engine/write/change/version.h"
#include "engine/write/log/Json.h"

namespace orvspc::engine::change {
namespace {

// What a batch did to one record, or one comment.
struct ChangeByBatch {
  std::int32_t subgroup = 0, test = 0;  // of a record, as the item is now
  std::int64_t comment = 0;             // of a comment
  std::int64_t entry = 0, last = 0;     // its first and its latest one about it
  std::int32_t flag = 0;                // before that
  std::int64_t changed = 0;             // the newest entry of somebody else since; 0: none
};

bool IsChangedBack(sql::Connection& db, const ChangeByBatch& change, const LaterNames& names) {
  const auto subgroup = FindSubgroup(db, change.subgroup);
  if (!subgroup) return false;
  const auto now = ReadRecords(db, *subgroup, change.test);
  return !now.empty() && IsAsLeft(db, now.front(), change.last, names);
}

// The entries of the batch lie in a row before that about itself, which names the first.
std::vector<ChangeByBatch> ChangesOf(sql::Connection& db, const Batch& batch) {
  std::int64_t first = batch.entry;
  {
    sql::Query query(db, "SELECT after FROM log WHERE seq = ?1", batch.entry);
    if (query.Step()) first = log::ReadJson(query.Text(0)).value("first", first);
  }
  const LaterNames names(db, batch.entry);
  std::map<std::pair<std::int32_t, std::int32_t>, ChangeByBatch> records;  // by the test of then
  std::map<std::int64_t, ChangeByBatch> comments;
  sql::Query query(db,
                   "SELECT seq, object, before FROM log WHERE seq >= ?1 AND seq < ?2 ORDER BY seq",
                   first, batch.entry);
  while (query.Step()) {
    const std::string object(query.Text(1));
    ChangeByBatch change;
    change.entry = query.Int64(0);
    long long comment = 0;
    std::int32_t test = 0;
    if (std::sscanf(object.c_str(), "comment %lld", &comment) == 1) {
      change.comment = comment;
      const auto version = VersionOf(db, object);
      change.changed = version > change.entry ? version : 0;
      comments.try_emplace(comment, change);
    } else if (std::sscanf(object.c_str(), "subgroup %d test %d", &change.subgroup, &test) == 2) {
      change.test = names.Now(catalogue::ItemKind::Test, test);
      change.flag = log::ReadJson(query.Text(2)).value("flag", 0);
      StoredRecord now;
      now.subgroup.id = change.subgroup;
      now.test = change.test;
      const auto version = std::max(VersionOf(db, object), VersionOf(db, now.Object()));
      change.changed = version > batch.entry ? version : 0;
      records.try_emplace({change.subgroup, test}, change).first->second.last = change.entry;
    }
  }
  std::vector<ChangeByBatch> all;
  for (auto& [place, change] : records) {
    if (change.changed != 0 && IsChangedBack(db, change, names)) change.changed = 0;
    all.push_back(change);
  }
  for (const auto& [comment, change] : comments) all.push_back(change);
  return all;
}

}  // namespace

UndoneBatch UndoChanges(log::Writing& writing, const Batch& batch, bool keep_changed) {
  auto& db = writing.Db();
  const auto all = ChangesOf(db, batch);
  std::vector<std::int64_t> changed;
  for (const auto& each : all) {
    if (each.changed != 0) changed.push_back(each.changed);
  }
  CheckChanged(batch, changed, keep_changed, changed.size() < all.size());
  UndoneBatch undone;
  undone.report.kept = static_cast<std::int64_t>(changed.size());
  std::map<std::int64_t, TouchedStream> streams;
  for (const auto& each : all) {
    if (each.changed != 0) continue;
    ++undone.report.records;
    if (each.comment != 0) {
      TakeOutComment(writing, each.comment);
      continue;
    }
    const auto record = SetFlagBack(writing, each.subgroup, each.test, each.flag, each.entry);
    const store::RecordKey key{record.subgroup.time, record.subgroup.id};
    auto& touched =
        streams.try_emplace(record.stream, TouchedStream{record.stream, key, key}).first->second;
    touched.first = std::min(touched.first, key);
    touched.last = std::max(touched.last, key);
  }
  for (const auto& [stream, touched] : streams) undone.streams.push_back(touched);
  AddEvent(writing, etSubgroupEdit, {});
  return undone;
}

}  // namespace orvspc::engine::change
