// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/Records.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <span>
#include <utility>

#include "engine/chunks/subgroups.h"
#include "engine/sql/counter.h"
#include "engine/write/change/Comments.h"
#include "engine/write/change/Items.h"
#include "engine/write/change/LaterNames.h"
#include "engine/write/change/events.h"
#include "engine/write/change/pieces.h"
#include "engine/write/change/version.h"
#include "engine/write/chunks/StreamWriter.h"
#include "engine/write/chunks/SubgroupWriter.h"
#include "engine/write/last_label.h"
#include "engine/write/log/FormerTypes.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/UndoneNames.h"
#include "engine/write/log/texts.h"
#include "engine/write/record_rules.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::change {
namespace {

using catalogue::ItemKind;
using log::Json;

std::string NameOfTest(sql::Connection& db, std::int32_t test) {
  sql::Query query(db, "SELECT name FROM test WHERE id = ?1", test);
  return query.Step() ? std::string(query.Text(0)) : std::to_string(test);
}

log::FormerRecord FormerOf(sql::Connection& db, const StoredRecord& record) {
  return {CanonicalOf(db, record), record.batch, record.entry, {}};
}

std::string BeforeOf(sql::Connection& db, const StoredRecord& record) {
  return log::TextOf(FormerOf(db, record));
}

// What an entry says of a record after it, with the digest of it all.
std::string AfterOf(sql::Connection& db, Json after, const StoredRecord& record) {
  after["digest"] = log::DigestOf(CanonicalOf(db, record));
  return log::CanonicalText(after);
}

EventOf About(const StoredRecord& record) {
  return {record.subgroup.process, record.subgroup.part, record.test, record.subgroup.time};
}

std::vector<StoredRecord> Needed(sql::Connection& db, const Which& which) {
  const auto subgroup = NeededSubgroup(db, which.subgroup);
  auto records = ReadRecords(db, subgroup, which.test);
  if (records.empty()) {
    const auto name = "#" + std::to_string(which.subgroup);
    throw Refused("unknown", "subgroup", name,
                  which.test ? name + " has no values of " + NameOfTest(db, *which.test)
                             : name + " has no values");
  }
  CheckVersion(
      db, records,
      records.size() == 1 ? CalledBy(db, records.front()) : "#" + std::to_string(which.subgroup),
      which.expected);
  return records;
}

void Put(sql::Connection& db, const StoredRecord& record) {
  const auto view = record.View();
  store::StreamWriter writer(db);
  writer.Write(record.stream, std::span(&view, 1));
  writer.Finish();
}

void TakeOut(sql::Connection& db, const StoredRecord& record) {
  const store::RecordKey key{record.subgroup.time, record.subgroup.id};
  store::StreamWriter writer(db);
  writer.Remove(record.stream, std::span(&key, 1));
  writer.Finish();
}

// Changes each record by change(record), which returns what the entry says after it.
template <class Change>
std::vector<StoredRecord> ChangeEach(log::Writing& writing, const Which& which,
                                     std::string_view operation, EventTypes event,
                                     const Change& change) {
  auto& db = writing.Db();
  writing.NeedReason();
  auto records = Needed(db, which);
  for (const auto& before : records) {
    auto record = before;
    Json after = change(record);
    const auto text = BeforeOf(db, before);
    record.entry = writing.Next();
    Put(db, record);
    writing.Add(operation, record.Object(), text, AfterOf(db, std::move(after), record));
    AddEvent(writing, event, About(record));
  }
  return records;
}

std::string_view WordOfFlag(std::int32_t flag) {
  return flag == sfDisabled ? "disabled" : flag == sfIncomplete ? "incomplete" : "enabled";
}

void ChangeContext(log::Writing& writing, const std::map<std::string, std::string>& changes,
                   StoredRecord& record) {
  auto& db = writing.Db();
  auto context = ReadContext(db, record.context);
  for (const auto& [column, name] : changes) {
    const auto* const kind =
        std::ranges::find(store::kContextKinds, column, &store::ContextKind::column);
    if (kind == std::end(store::kContextKinds)) {
      throw Refused("unknown", column, name, "a subgroup has no " + column);
    }
    context[static_cast<std::size_t>(kind - std::begin(store::kContextKinds))] =
        name.empty() ? 0 : TakeItem(writing, kind->kind, column, name);
  }
  record.context = ContextId(db, context);
}

// Another one of the same label and time gives way if it was deleted.
void NeedPlace(sql::Connection& db, const store::SubgroupFacts& subgroup) {
  const auto there = store::FindSubgroups(db, std::span(&subgroup, 1)).front();
  if (there == 0 || there == subgroup.id || GivesWay(db, there)) return;
  throw Refused("stored", "label", std::string(subgroup.label),
                "#" + std::to_string(there) + " has this label and time already");
}

// Label and time are those of the whole subgroup. Returns its records as they were.
std::vector<StoredRecord> MoveSubgroup(log::Writing& writing, const StoredSubgroup& from,
                                       const SubgroupChange& change) {
  auto& db = writing.Db();
  auto to = from;
  to.time = change.time.value_or(from.time);
  to.label = change.label.value_or(from.label);
  const store::SubgroupFacts facts{from.id, to.part, to.process, to.time, to.label};
  NeedPlace(db, facts);
  auto records = ReadRecords(db, from);
  std::vector<std::string> before;
  for (const auto& each : records) {
    before.push_back(BeforeOf(db, each));
    TakeOut(db, each);
  }
  if (change.label) {
    write::SettleLastLabel(db, from.part, from.process, write::NumberOfLabel(to.label));
  }
  if (to.time != from.time) MoveEvents(db, from, to.time);
  store::ReplaceSubgroup(db, facts);
  Json after;
  if (change.time) after["time"] = to.time;
  if (change.label) after["label"] = to.label;
  for (std::size_t i = 0; i < records.size(); ++i) {
    auto record = records[i];
    record.subgroup = to;
    record.entry = writing.Next();
    Put(db, record);
    writing.Add("edit-subgroup", record.Object(), before[i], AfterOf(db, after, record));
    AddEvent(writing, etSubgroupEdit, About(record));
  }
  return records;
}

struct OldState {
  std::int32_t subgroup = 0, test = 0;  // of the names that they have now
  log::CanonicalRecord record;
  std::int64_t batch = 0;
  std::vector<std::int64_t> dropped;  // comments, see log::FormerRecord
  std::int32_t test_then = 0, type = 0;
};

// What an entry about a record says of the time before it.
OldState BeforeEntry(sql::Connection& db, std::int64_t entry, const LaterNames& names) {
  sql::Query query(db, "SELECT object, before FROM log WHERE seq = ?1", entry);
  const auto refuse = [&](const std::string& why) {
    throw Refused("entry", "entry", std::to_string(entry),
                  "entry " + std::to_string(entry) + " " + why);
  };
  if (!query.Step()) refuse("is not in the log");
  const std::string object(query.Text(0));
  OldState old;
  if (std::sscanf(object.c_str(), "subgroup %d test %d", &old.subgroup, &old.test) != 2) {
    refuse("is about " + object + ", not about values");
  }
  if (query.Text(1).empty()) refuse("stored these values first; edit delete takes them out");
  old.test_then = old.test;
  old.type = log::FormerTypes(db).At(old.test, entry);
  old.test = names.Now(ItemKind::Test, old.test);
  auto former = log::FormerRecordOf(log::ReadJson(query.Text(1)));
  old.batch = former.batch;
  old.dropped = std::move(former.dropped);
  old.record = std::move(former.record);
  log::PutInUsual(old.record, old.type == ttVariable);
  return old;
}

// "has measured values"
std::string TextOfType(std::int32_t type) {
  return type == ttVariable  ? "has measured values"
         : type == ttDefects ? "counts defects"
                             : "counts defectives";
}

// Whether what is there is another record than the one that an entry is about: this was taken out,
// and another one was recorded in its place.
bool WasRecordedAnew(sql::Connection& db, const OldState& old, std::int64_t entry) {
  std::map<std::int64_t, int> records;  // of each entry, in the order in which they came
  int record = 0, newest = 0;
  bool is_out = false;
  std::int64_t from = 0;
  for (auto test = old.test_then; test != 0;) {
    StoredRecord place;
    place.subgroup.id = old.subgroup;
    place.test = test;
    const auto object = place.Object(), of_test = "test " + std::to_string(test);
    for (sql::Query about(db,
                          "SELECT seq, operation, before, after FROM log WHERE object = ?1 "
                          "AND seq > ?2 ORDER BY seq",
                          object, from);
         about.Step();) {
      if (is_out && !about.Text(2).empty()) {
        record = ++newest;
      } else if (is_out) {
        record = records[log::ReadJson(about.Text(3)).value("entry", std::int64_t{0})];
      }
      records[about.Int64(0)] = record;
      is_out = about.Text(1) == "delete";
    }
    // What is said of it after a merge is about the other test.
    sql::Query merge(db,
                     "SELECT seq, after FROM log WHERE object = ?1 AND operation = 'merge' "
                     "AND seq > ?2",
                     of_test, from);
    test = 0;
    if (merge.Step()) {
      from = merge.Int64(0);
      test = log::ReadJson(merge.Text(1)).value("into", 0);
    }
  }
  return is_out || record != records[entry];
}

// A test that has lost its last values has its type again with those that come back.
void PutBackType(sql::Connection& db, const OldState& old, std::int64_t entry) {
  const auto type = TypeOf(db, old.test);
  if (type == old.type || old.type == 0) return;
  if (type == 0) return SetType(db, old.test, old.type);
  const auto name = NameOfTest(db, old.test);
  throw Refused("type", "test", name,
                "entry " + std::to_string(entry) + " " + TextOfType(old.type) + ", and " + name +
                    " " + TextOfType(type) + " since");
}

// An item that is in use again.
std::int32_t NeededAgain(log::Writing& writing, const LaterNames& names, ItemKind kind,
                         const std::string& name) {
  const auto id = names.Find(kind, name);
  if (!id) {
    const std::string word(WordOf(kind));
    throw Refused("unknown", word, name, "there is no " + word + " \"" + name + "\"");
  }
  log::ReviveUndone(writing, kind, *id);
  return *id;
}

// Comments that went with the record come back under their numbers. One that has come back before
// and has entries since is as these say.
void PutBackComments(log::Writing& writing, const OldState& old, const LaterNames& names) {
  auto& db = writing.Db();
  for (std::size_t i = 0; i < std::min(old.dropped.size(), old.record.comments.size()); ++i) {
    const auto id = old.dropped[i];
    if (id == 0 || VersionOf(db, ObjectOfComment(id)) != 0) continue;
    if (sql::Query(db, "SELECT 1 FROM comment WHERE id = ?1", id).RunForInt()) continue;
    const auto& comment = old.record.comments[i];
    const auto employee = comment.employee.empty()
                              ? 0
                              : NeededAgain(writing, names, ItemKind::Employee, comment.employee);
    sql::Query(db,
               "INSERT INTO comment(id, subgroup, test, tsno, time, employee, note) "
               "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7)",
               id, old.subgroup, old.test, comment.tsno, comment.time.value_or(0),
               sql::Reference{employee}, comment.text)
        .Run();
  }
}

bool IsUndone(sql::Connection& db, std::int64_t batch) {
  return sql::Query(db, "SELECT 1 FROM batch WHERE id = ?1 AND state = 'undone'", batch)
      .RunForInt()
      .has_value();
}

// The same of descriptors. What brought them is known after a delete, unless it was undone.
void PutBackDescriptors(sql::Connection& db, const OldState& old) {
  const bool was_undone = IsUndone(db, old.batch);
  for (const auto& each : old.record.descriptors) {
    const auto descriptor = sql::Query(db,
                                       "SELECT d.id FROM descriptor d "
                                       "JOIN descriptor_group g ON g.id = d.descriptor_group "
                                       "WHERE g.name = ?1 AND d.name = ?2",
                                       each.group, each.name)
                                .RunForInt();
    if (!descriptor) continue;
    const auto source = sql::Query(db,
                                   "SELECT 1 FROM descriptor_source WHERE subgroup = ?1 "
                                   "AND descriptor = ?2 AND tsno = ?3 LIMIT 1",
                                   old.subgroup, *descriptor, each.tsno)
                            .RunForInt();
    if (!source && !was_undone) continue;
    sql::Query(db,
               "INSERT INTO subgroup_descriptor(subgroup, descriptor, tsno) "
               "VALUES(?1, ?2, ?3) ON CONFLICT DO NOTHING",
               old.subgroup, *descriptor, each.tsno)
        .Run();
    if (source) continue;
    sql::Query(db,
               "INSERT INTO descriptor_source(subgroup, descriptor, tsno, batch) "
               "VALUES(?1, ?2, ?3, ?4) ON CONFLICT DO NOTHING",
               old.subgroup, *descriptor, each.tsno, old.batch)
        .Run();
  }
}

std::int64_t StreamOf(sql::Connection& db, const StoredRecord& record) {
  const auto& of = record.subgroup;
  const auto found =
      sql::Query(db, "SELECT id FROM stream WHERE part = ?1 AND process = ?2 AND test = ?3",
                 of.part, of.process, record.test)
          .RunForInt();
  if (found) return *found;
  const auto id = sql::TakeIds(db, "stream");
  sql::Query(db, "INSERT INTO stream(id, part, process, test) VALUES(?1, ?2, ?3, ?4)", id, of.part,
             of.process, record.test)
      .Run();
  return id;
}

StoredRecord RecordOf(log::Writing& writing, const OldState& old, const LaterNames& names) {
  auto& db = writing.Db();
  StoredRecord record;
  record.subgroup = NeededSubgroup(db, old.subgroup);
  record.test = old.test;
  record.stream = StreamOf(db, record);
  record.batch = old.batch;
  record.flag = old.record.flag;
  record.size = old.record.size;
  log::ReviveUndone(writing, ItemKind::Part, record.subgroup.part);
  log::ReviveUndone(writing, ItemKind::Process, record.subgroup.process);
  log::ReviveUndone(writing, ItemKind::Test, record.test);
  store::Context context{};
  for (std::size_t i = 0; i < context.size(); ++i) {
    const auto& kind = store::kContextKinds[i];
    const auto given = old.record.context.find(std::string(kind.column));
    if (given != old.record.context.end()) {
      context[i] = NeededAgain(writing, names, kind.kind, given->second);
    }
  }
  record.context = ContextId(db, context);
  for (const auto& piece : old.record.pieces) {
    const auto item = [&](ItemKind kind, const std::string& name) {
      return name.empty() ? 0 : NeededAgain(writing, names, kind, name);
    };
    store::RowKey key{};
    key.Tsno = piece.tsno;
    key.Sbno = piece.sbno;
    key.Sn = item(ItemKind::Serial, piece.serial);
    key.Def = item(ItemKind::Defect, piece.defect);
    key.Gage = item(ItemKind::Gage, piece.gage);
    record.keys.push_back(key);
    record.values.push_back(piece.value);
  }
  return record;
}

}  // namespace

std::string DropComments(sql::Connection& db, const StoredRecord& record) {
  auto former = FormerOf(db, record);
  sql::Query comments(db,
                      "SELECT CASE WHEN c.test = ?2 AND NOT EXISTS "
                      "(SELECT 1 FROM log WHERE object = 'comment ' || c.id) "
                      "THEN c.id ELSE 0 END FROM comment c "
                      "WHERE c.subgroup = ?1 AND coalesce(c.test, ?2) = ?2 ORDER BY c.time, c.id",
                      record.subgroup.id, record.test);
  while (comments.Step()) former.dropped.push_back(comments.Int64(0));
  for (const auto id : former.dropped) {
    if (id != 0) sql::Query(db, "DELETE FROM comment WHERE id = ?1", id).Run();
  }
  return log::TextOf(former);
}

std::vector<StoredRecord> SetFlag(log::Writing& writing, const Which& which, std::int32_t flag) {
  return ChangeEach(writing, which, "edit-flag",
                    flag == sfDisabled ? etSubgroupDisable : etSubgroupEdit,
                    [&](StoredRecord& record) -> Json {
                      record.flag = flag;
                      return {{"flag", WordOfFlag(flag)}};
                    });
}

StoredRecord SetFlagBack(log::Writing& writing, std::int32_t subgroup, std::int32_t test,
                         std::int32_t flag, std::int64_t entry) {
  auto& db = writing.Db();
  auto record = Needed(db, {subgroup, test, {}}).front();
  const auto before = BeforeOf(db, record);
  record.flag = flag;
  record.entry = writing.Next();
  Put(db, record);
  writing.Add("restore", record.Object(), before, AfterOf(db, {{"entry", entry}}, record));
  return record;
}

std::vector<StoredRecord> ChangePiece(log::Writing& writing, const Which& which,
                                      const ValueChange& change) {
  return ChangeEach(writing, which, "edit-value", etSubgroupEdit, [&](StoredRecord& record) {
    auto after = ApplyToPiece(writing, record, change);
    if (change.what != ValueChange::What::Remove) {
      CheckReasonable(writing, record, std::span(&change.value, 1), change.force);
    }
    return after;
  });
}

std::vector<StoredRecord> ChangeSubgroup(log::Writing& writing, const Which& which,
                                         const SubgroupChange& change) {
  auto& db = writing.Db();
  writing.NeedReason();
  auto before = Needed(db, which);
  auto later = which;
  if (change.label && !change.label->empty()) log::NeedName("label", *change.label);
  if (change.time) {
    if (const auto broken = write::BrokenRuleOfTime(*change.time, writing.Seconds())) {
      throw Refused(broken->code, std::string(broken->field), broken->value,
                    std::string(broken->field) + ": " + broken->reason);
    }
  }
  if (change.time || change.label) {
    if (which.test) {
      throw Refused("test", "test", NameOfTest(db, *which.test),
                    "label and time are those of the whole subgroup; leave --test out");
    }
    if (change.time && *change.time != before.front().subgroup.time) {
      for (auto record : before) {
        record.subgroup.time = *change.time;
        CheckReasonable(writing, record, record.values, change.force);
      }
    }
    MoveSubgroup(writing, before.front().subgroup, change);
    later.expected.reset();
  }
  if (!change.size && change.context.empty()) return before;
  ChangeEach(writing, later, "edit-subgroup", etSubgroupEdit, [&](StoredRecord& record) {
    Json after;
    if (change.size) {
      SetSize(db, record, *change.size);
      after["size"] = log::Number(*change.size);
    }
    if (!change.context.empty()) {
      ChangeContext(writing, change.context, record);
      after["context"] = change.context;
    }
    return after;
  });
  return before;
}

std::vector<StoredRecord> Delete(log::Writing& writing, const Which& which) {
  auto& db = writing.Db();
  writing.NeedReason();
  auto records = Needed(db, which);
  for (const auto& record : records) {
    const auto before = DropComments(db, record);
    TakeOut(db, record);
    writing.Add("delete", record.Object(), before, "");
    AddEvent(writing, etSubgroupDelete, About(record));
  }
  const auto& subgroup = records.front().subgroup;
  if (ReadRecords(db, subgroup).empty()) EmptySubgroup(db, subgroup);
  for (const auto& record : records) ForgetType(writing, record.test);
  return records;
}

std::vector<StoredRecord> Restore(log::Writing& writing, std::int64_t entry,
                                  std::optional<std::int64_t> expected) {
  auto& db = writing.Db();
  writing.NeedReason();
  const LaterNames names(db, entry);
  const auto old = BeforeEntry(db, entry, names);
  const auto stored = NeededSubgroup(db, old.subgroup);
  auto now = ReadRecords(db, stored, old.test);
  if (expected) {
    CheckVersion(db, VersionOf(db, stored, old.test),
                 "#" + std::to_string(old.subgroup) + " " + NameOfTest(db, old.test), expected);
  }
  if (!now.empty() && WasRecordedAnew(db, old, entry)) {
    const auto name = CalledBy(db, now.front());
    throw Refused("stored", "entry", std::to_string(entry),
                  name + " has values again; edit delete takes them out first");
  }
  const auto time = static_cast<std::int32_t>(old.record.time.value_or(stored.time));
  std::vector<StoredRecord> changed;
  if (time != stored.time || old.record.label != stored.label) {
    SubgroupChange back;
    back.time = time;
    back.label = old.record.label;
    changed = MoveSubgroup(writing, stored, back);
    now = ReadRecords(db, NeededSubgroup(db, old.subgroup), old.test);
  } else if (now.empty()) {
    // Former releases could lose sight of a subgroup without values, and store another like it.
    NeedPlace(db, {stored.id, stored.part, stored.process, stored.time, stored.label});
  }
  PutBackType(db, old, entry);
  auto record = RecordOf(writing, old, names);
  const auto before = now.empty() ? std::string() : BeforeOf(db, now.front());
  PutBackComments(writing, old, names);
  record.entry = writing.Next();
  Put(db, record);
  if (now.empty()) PutBackDescriptors(db, old);
  writing.Add("restore", record.Object(), before, AfterOf(db, {{"entry", entry}}, record));
  AddEvent(writing, etSubgroupEdit, About(record));
  changed.insert(changed.begin(), std::move(record));
  return changed;
}

}  // namespace orvspc::engine::change
