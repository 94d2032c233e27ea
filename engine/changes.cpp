// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <functional>
#include <map>
#include <utility>

#include "engine/QualityDatabase.h"
#include "engine/change_once.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroups.h"
#include "engine/store/SqlStore.h"
#include "engine/write/alarms/Judge.h"
#include "engine/write/change/Batches.h"
#include "engine/write/change/Comments.h"
#include "engine/write/change/Items.h"
#include "engine/write/change/Merge.h"
#include "engine/write/change/Records.h"
#include "engine/write/change/version.h"
#include "platform/Enumerations.h"

namespace orvspc {

using namespace engine;

namespace {

using Records = std::vector<change::StoredRecord>;

// A record as it was; where it is now counts, too.
void Touch(alarms::TouchedStreams& touched, sql::Connection& db, const change::StoredRecord& record,
           std::int64_t entry) {
  const auto id = record.subgroup.id;
  touched.Add(record.stream, {record.subgroup.time, id}, entry);
  touched.Add(record.stream, {change::NeededSubgroup(db, id).time, id}, entry);
}

ChangedRecord ChangedOf(sql::Connection& db, const change::StoredRecord& record) {
  const auto& of = record.subgroup;
  return {of.id, record.test, of.label, of.time, change::VersionOf(db, record.Object()), 0};
}

ChangedRecord ChangedOf(sql::Connection& db, const change::RestoredComment& comment) {
  const auto of = change::NeededSubgroup(db, comment.subgroup);
  const auto version = change::VersionOf(db, change::ObjectOfComment(comment.id));
  return {of.id, comment.test, of.label, of.time, version, comment.id};
}

void Give(std::vector<Alarm> alarms, std::vector<ChangedRecord>& changed) {
  if (changed.empty()) return;
  for (auto& alarm : alarms) {
    auto found = std::ranges::find(changed, alarm.test, &ChangedRecord::test);
    if (found == changed.end()) found = changed.begin();
    found->alarms.push_back(std::move(alarm));
  }
}

void JudgeAgain(log::Writing& writing, const std::vector<change::TouchedStream>& streams) {
  std::vector<alarms::Touched> touched;
  for (const auto& [stream, first, last] : streams) touched.push_back({stream, first, last});
  alarms::Judge(writing, touched);
}

// Changes the records of subgroups, each by change(writing, which).
std::vector<ChangedRecord> ChangeRecords(
    EmbeddedDatabase& database, const std::vector<std::int32_t>& subgroups,
    std::optional<std::int32_t> test, const ChangeOptions& options,
    const std::function<Records(log::Writing&, const change::Which&)>& change) {
  std::vector<ChangedRecord> changed;
  Change(database, options, [&](log::Writing& writing) {
    changed.clear();
    alarms::TouchedStreams touched;
    for (const auto subgroup : subgroups) {
      for (const auto& record : change(writing, {subgroup, test, options.expected})) {
        changed.push_back(ChangedOf(writing.Db(), record));
        Touch(touched, writing.Db(), record, changed.back().version);
      }
    }
    Give(alarms::Judge(writing, touched.All()), changed);
  });
  return changed;
}

// Calls visit(record, test) for the records of a stream from a time up to and with another.
void ForEachOf(store::SqlStore& store, sql::Connection& db, const StreamKey& stream,
               std::int64_t from, std::int64_t to,
               const std::function<void(const store::RecordView&, std::int32_t)>& visit) {
  const auto stamp = [](std::int64_t time) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(time, INT32_MIN, INT32_MAX));
  };
  for (const auto& each : store.Cache().streams) {
    if (each.part != stream.part || each.process != stream.process || each.test != stream.test)
      continue;
    store::ForEachRecord(
        db, each.id, [&](const store::RecordView& view) { visit(view, each.test); }, stamp(from),
        stamp(to));
  }
}

}  // namespace

std::optional<std::int32_t> FlagFromWord(std::string_view word) {
  constexpr std::pair<std::string_view, std::int32_t> kFlags[] = {
      {"enabled", sfEnabled}, {"disabled", sfDisabled}, {"incomplete", sfIncomplete}};
  for (const auto& [name, flag] : kFlags) {
    if (name == word) return flag;
  }
  return std::nullopt;
}

std::vector<std::int32_t> QualityDatabase::FindSubgroups(std::string_view part,
                                                         std::string_view process,
                                                         std::string_view label,
                                                         std::optional<std::int32_t> time) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    const auto item = [&](ItemKind kind, std::string_view name) {
      return name.empty() ? 0 : change::FindItem(db, kind, name).value_or(-1);
    };
    const auto of_part = item(ItemKind::Part, part), of_process = item(ItemKind::Process, process);
    const auto fits = [](std::int32_t asked, std::int32_t id) { return asked == 0 || asked == id; };
    std::vector<std::int32_t> known;
    std::int32_t first = INT32_MAX, last = INT32_MIN;
    store::ForEachSubgroup(db, 1, INT32_MAX, [&](const store::SubgroupFacts& each) {
      if (!fits(of_part, each.part) || !fits(of_process, each.process) ||
          (!label.empty() && each.label != label) || (time && each.time != *time)) {
        return;
      }
      known.push_back(each.id);
      first = std::min(first, each.time);
      last = std::max(last, each.time);
    });
    // A deleted subgroup is known, and has no values.
    std::vector<std::int32_t> found;
    for (const auto& stream : store.Cache().streams) {
      if (!fits(of_part, stream.part) || !fits(of_process, stream.process)) continue;
      store::ForEachRecord(
          db, stream.id,
          [&](const store::RecordView& record) {
            if (std::ranges::binary_search(known, record.Subgroup()))
              found.push_back(record.Subgroup());
          },
          first, last);
    }
    std::ranges::sort(found);
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
  });
}

std::vector<std::int64_t> QualityDatabase::CommentVersions(
    std::span<const std::int64_t> comments) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    std::vector<std::int64_t> versions;
    versions.reserve(comments.size());
    for (const auto id : comments)
      versions.push_back(change::VersionOf(db, change::ObjectOfComment(id)));
    return versions;
  });
}

std::vector<std::pair<std::int32_t, std::int64_t>> QualityDatabase::RecordVersions(
    const StreamKey& stream, std::int64_t from, std::int64_t to) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    std::vector<change::StoredRecord> records;
    ForEachOf(store, db, stream, from, to, [&](const store::RecordView& view, std::int32_t test) {
      auto& record = records.emplace_back();
      record.subgroup.id = view.Subgroup();
      record.test = test;
      record.batch = view.Batch();
      record.entry = view.Entry();
    });
    std::vector<std::pair<std::int32_t, std::int64_t>> versions;
    versions.reserve(records.size());
    for (const auto& record : records)
      versions.emplace_back(record.subgroup.id, change::VersionOf(db, record));
    std::ranges::sort(versions);
    return versions;
  });
}

std::vector<std::int32_t> QualityDatabase::EditedSubgroups(const StreamKey& stream,
                                                           std::int64_t from,
                                                           std::int64_t to) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    std::vector<std::int32_t> edited;
    ForEachOf(store, db, stream, from, to, [&](const store::RecordView& record, std::int32_t) {
      if (record.Entry() != 0) edited.push_back(record.Subgroup());
    });
    std::ranges::sort(edited);
    return edited;
  });
}

std::vector<ChangedRecord> QualityDatabase::ChangeFlag(const std::vector<std::int32_t>& subgroups,
                                                       std::optional<std::int32_t> test,
                                                       std::int32_t flag,
                                                       const ChangeOptions& options) {
  return ChangeRecords(*database_, subgroups, test, options,
                       [&](log::Writing& writing, const change::Which& which) {
                         return change::SetFlag(writing, which, flag);
                       });
}

std::vector<ChangedRecord> QualityDatabase::ChangeValue(std::int32_t subgroup, std::int32_t test,
                                                        const ValueChange& change,
                                                        const ChangeOptions& options) {
  return ChangeRecords(*database_, {subgroup}, test, options,
                       [&](log::Writing& writing, const change::Which& which) {
                         return change::ChangePiece(writing, which, change);
                       });
}

std::vector<ChangedRecord> QualityDatabase::ChangeSubgroups(
    const std::vector<std::int32_t>& subgroups, std::optional<std::int32_t> test,
    const SubgroupChange& change, const ChangeOptions& options) {
  return ChangeRecords(*database_, subgroups, test, options,
                       [&](log::Writing& writing, const change::Which& which) {
                         return change::ChangeSubgroup(writing, which, change);
                       });
}

std::vector<ChangedRecord> QualityDatabase::DeleteSubgroups(
    const std::vector<std::int32_t>& subgroups, std::optional<std::int32_t> test,
    const ChangeOptions& options) {
  return ChangeRecords(*database_, subgroups, test, options,
                       [](log::Writing& writing, const change::Which& which) {
                         return change::Delete(writing, which);
                       });
}

std::vector<ChangedRecord> QualityDatabase::Restore(std::int64_t entry,
                                                    const ChangeOptions& options) {
  std::vector<ChangedRecord> changed;
  Change(*database_, options, [&](log::Writing& writing) {
    changed.clear();
    if (const auto comment = change::RestoreComment(writing, entry, options.expected)) {
      changed.push_back(ChangedOf(writing.Db(), *comment));
      return;
    }
    const auto records = change::Restore(writing, entry, options.expected);
    alarms::TouchedStreams touched;
    for (const auto& record : records) {
      const auto restored = ChangedOf(writing.Db(), record);
      Touch(touched, writing.Db(), record, restored.version);
      const bool is_former = !changed.empty() && record.test == changed.front().test;
      if (!is_former) changed.push_back(restored);
    }
    Give(alarms::Judge(writing, touched.All()), changed);
  });
  return changed;
}

std::vector<ListedImport> QualityDatabase::Imports() const {
  return store::Read(*database_,
                     [](store::SqlStore&, sql::Connection& db) { return change::ReadImports(db); });
}

UndoReport QualityDatabase::UndoImport(std::int64_t batch, bool keep_changed,
                                       const ChangeOptions& options) {
  UndoReport report;
  Change(*database_, options, [&](log::Writing& writing) {
    const auto undone = change::UndoBatch(writing, batch, keep_changed, options.expected);
    JudgeAgain(writing, undone.streams);
    report = undone.report;
  });
  return report;
}

std::int64_t QualityDatabase::AddComment(std::int32_t subgroup, std::int32_t test,
                                         std::int32_t tsno, std::string_view text,
                                         const ChangeOptions& options) {
  std::int64_t id = 0;
  Change(*database_, options, [&](log::Writing& writing) {
    id = change::AddComment(writing, subgroup, test, tsno, text, options.expected);
  });
  return id;
}

void QualityDatabase::ChangeComment(std::int64_t comment, std::string_view text,
                                    const ChangeOptions& options) {
  Change(*database_, options, [&](log::Writing& writing) {
    change::EditComment(writing, comment, text, options.expected);
  });
}

void QualityDatabase::RemoveComment(std::int64_t comment, const ChangeOptions& options) {
  Change(*database_, options,
         [&](log::Writing& writing) { change::RemoveComment(writing, comment, options.expected); });
}

void QualityDatabase::Rename(ItemKind kind, std::string_view name, std::string_view to,
                             const ChangeOptions& options) {
  Change(*database_, options,
         [&](log::Writing& writing) { change::Rename(writing, kind, name, to, options.expected); });
}

void QualityDatabase::Merge(ItemKind kind, std::string_view from, std::string_view into,
                            const ChangeOptions& options) {
  Change(*database_, options, [&](log::Writing& writing) {
    JudgeAgain(writing, change::Merge(writing, kind, from, into, options.expected));
  });
}

void QualityDatabase::SetActive(ItemKind kind, std::string_view name, bool is_active,
                                const ChangeOptions& options) {
  Change(*database_, options, [&](log::Writing& writing) {
    change::SetActive(writing, kind, name, is_active, options.expected);
  });
}

}  // namespace orvspc
