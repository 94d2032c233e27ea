// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/Records.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

#include "engine/chunks/subgroups.h"
#include "engine/sql/counter.h"
#include "engine/write/change/Items.h"
#include "engine/write/change/events.h"
#include "engine/write/change/version.h"
#include "engine/write/chunks/StreamWriter.h"
#include "engine/write/chunks/SubgroupWriter.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/texts.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::change {
namespace {

using catalogue::ItemKind;
using log::Json;

constexpr double kMaxValue = 1e300, kMaxCount = 1e9;
// Beside the record itself in `before` of an entry.
constexpr const char* kBatchKey = "batch";
constexpr const char* kEntryKey = "changed";

std::string NameOfTest(sql::Connection& db, std::int32_t test) {
  sql::Query query(db, "SELECT name FROM test WHERE id = ?1", test);
  return query.Step() ? std::string(query.Text(0)) : std::to_string(test);
}

// "#4711 Diameter"
std::string CalledBy(sql::Connection& db, const StoredRecord& record) {
  return "#" + std::to_string(record.subgroup.id) + " " + NameOfTest(db, record.test);
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

std::int32_t TypeOf(sql::Connection& db, std::int32_t test) {
  return static_cast<std::int32_t>(
      sql::Query(db, "SELECT type FROM test WHERE id = ?1", test).RunForInt().value_or(0));
}

void CheckValue(sql::Connection& db, const StoredRecord& record, double value) {
  const auto refuse = [&](const char* code, const std::string& text) {
    throw Refused(code, "value", std::to_string(value), CalledBy(db, record) + ": " + text);
  };
  if (!std::isfinite(value) || std::fabs(value) >= kMaxValue) {
    refuse("number", "a value is a finite number below 1e300");
  }
  if (TypeOf(db, record.test) == ttVariable) return;
  if (value < 0.0 || value > kMaxCount || value != std::floor(value)) {
    refuse("count", "a count is a whole number from 0 to 1000000000");
  }
}

std::string PieceText(const ValueChange& change) {
  return "piece " + std::to_string(change.tsno) +
         (change.sbno == 0 ? "" : ", reading " + std::to_string(change.sbno));
}

Json ApplyPiece(sql::Connection& db, StoredRecord& record, const ValueChange& change) {
  using enum ValueChange::What;
  const auto found = std::ranges::find_if(record.keys, [&](const store::RowKey& key) {
    return key.Tsno == change.tsno && key.Sbno == change.sbno;
  });
  const bool is_there = found != record.keys.end();
  const auto place = found - record.keys.begin();
  const bool counts_pieces = record.size == static_cast<double>(record.values.size());
  const auto refuse = [&](const char* code, const std::string& text) {
    throw Refused(code, "tsno", std::to_string(change.tsno), CalledBy(db, record) + ": " + text);
  };
  if (change.what != Remove) CheckValue(db, record, change.value);
  if (change.what == Add) {
    auto key = store::RowKey{0, change.tsno, change.sbno, 0, 0};
    if (key.Tsno == 0) {
      for (const auto& each : record.keys) key.Tsno = std::max(key.Tsno, each.Tsno);
      ++key.Tsno;
    } else if (is_there) {
      refuse("stored", PieceText(change) + " is there already");
    }
    const auto behind = std::ranges::find_if(record.keys, [&](const store::RowKey& each) {
      return std::pair(each.Tsno, each.Sbno) > std::pair(key.Tsno, key.Sbno);
    });
    const auto at = behind - record.keys.begin();
    record.keys.insert(behind, key);
    record.values.insert(record.values.begin() + at, change.value);
  } else if (!is_there) {
    refuse("unknown", "there is no " + PieceText(change));
  } else if (change.what == Set) {
    record.values[static_cast<std::size_t>(place)] = change.value;
  } else {
    if (record.values.size() == 1) {
      refuse("size", "it is the last value; edit delete takes the record out");
    }
    record.keys.erase(found);
    record.values.erase(record.values.begin() + place);
  }
  if (counts_pieces && TypeOf(db, record.test) == ttVariable) {
    record.size = static_cast<double>(record.values.size());
  }
  Json after = {{"tsno", change.tsno}};
  if (change.sbno != 0) after["sbno"] = change.sbno;
  if (change.what == Remove) {
    after["removed"] = true;
  } else {
    after["value"] = log::Number(change.value);
  }
  return after;
}

std::int32_t NeededItem(sql::Connection& db, ItemKind kind, const std::string& name) {
  if (const auto id = FindItem(db, kind, name)) return *id;
  const std::string word(WordOf(kind));
  throw Refused("unknown", word, name, "there is no " + word + " \"" + name + "\"");
}

void ChangeContext(sql::Connection& db, const std::map<std::string, std::string>& changes,
                   StoredRecord& record) {
  auto context = ReadContext(db, record.context);
  for (const auto& [column, name] : changes) {
    const auto* const kind =
        std::ranges::find(store::kContextKinds, column, &store::ContextKind::column);
    if (kind == std::end(store::kContextKinds)) {
      throw Refused("unknown", column, name, "a subgroup has no " + column);
    }
    context[static_cast<std::size_t>(kind - std::begin(store::kContextKinds))] =
        name.empty() ? 0 : NeededItem(db, kind->kind, name);
  }
  record.context = ContextId(db, context);
}

// Label and time are those of the whole subgroup.
void MoveSubgroup(log::Writing& writing, const StoredSubgroup& from, const SubgroupChange& change) {
  auto& db = writing.Db();
  auto to = from;
  to.time = change.time.value_or(from.time);
  to.label = change.label.value_or(from.label);
  const store::SubgroupFacts facts{from.id, to.part, to.process, to.time, to.label};
  const auto there = store::FindSubgroups(db, std::span(&facts, 1)).front();
  if (there != 0 && there != from.id) {
    throw Refused("stored", "label", to.label,
                  "#" + std::to_string(there) + " has this label and time already");
  }
  const auto records = ReadRecords(db, from);
  std::vector<std::string> before;
  for (const auto& each : records) {
    before.push_back(BeforeOf(db, each));
    TakeOut(db, each);
  }
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
}

struct OldState {
  std::int32_t subgroup = 0, test = 0;
  log::CanonicalRecord record;
  std::int64_t batch = 0;
  bool was_undone = false;  // with comments and descriptors
};

// What an entry about a record says of the time before it.
OldState BeforeEntry(sql::Connection& db, std::int64_t entry) {
  sql::Query query(db, "SELECT object, before, after FROM log WHERE seq = ?1", entry);
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
  auto json = log::ReadJson(query.Text(1));
  if (json.is_null()) refuse("stored these values first; edit delete takes them out");
  old.was_undone = query.Text(2).starts_with("{\"undone\":");
  old.batch = json.value(kBatchKey, std::int64_t{0});
  json.erase(kBatchKey);
  json.erase(kEntryKey);
  old.record = log::RecordOf(json);
  log::PutInUsual(old.record, IsMeasured(db, old.test));
  return old;
}

// Comments and descriptors that went with an import and are not there.
void PutBackTexts(sql::Connection& db, const OldState& old) {
  for (const auto& comment : old.record.comments) {
    const auto employee =
        comment.employee.empty() ? 0 : NeededItem(db, ItemKind::Employee, comment.employee);
    const auto time = comment.time.value_or(0);
    if (sql::Query(db,
                   "SELECT 1 FROM comment WHERE subgroup = ?1 AND coalesce(test, ?2) = ?2 "
                   "AND tsno = ?3 AND time = ?4 AND note = ?5",
                   old.subgroup, old.test, comment.tsno, time, comment.text)
            .RunForInt()) {
      continue;
    }
    sql::Query(db,
               "INSERT INTO comment(id, subgroup, test, tsno, time, employee, note) "
               "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7)",
               sql::TakeIds(db, "comment"), old.subgroup, old.test, comment.tsno, time,
               sql::Reference{employee}, comment.text)
        .Run();
  }
  for (const auto& each : old.record.descriptors) {
    sql::Query(db,
               "INSERT INTO subgroup_descriptor(subgroup, descriptor, tsno) "
               "SELECT ?1, d.id, ?4 FROM descriptor d "
               "JOIN descriptor_group g ON g.id = d.descriptor_group "
               "WHERE g.name = ?2 AND d.name = ?3 ON CONFLICT DO NOTHING",
               old.subgroup, each.group, each.name, each.tsno)
        .Run();
  }
}

StoredRecord RecordOf(sql::Connection& db, const OldState& old) {
  StoredRecord record;
  record.subgroup = NeededSubgroup(db, old.subgroup);
  record.test = old.test;
  record.stream =
      sql::Query(db, "SELECT id FROM stream WHERE part = ?1 AND process = ?2 AND test = ?3",
                 record.subgroup.part, record.subgroup.process, record.test)
          .RunForInt()
          .value_or(0);
  record.batch = old.batch;
  record.flag = old.record.flag;
  record.size = old.record.size;
  store::Context context{};
  for (std::size_t i = 0; i < context.size(); ++i) {
    const auto& kind = store::kContextKinds[i];
    const auto given = old.record.context.find(std::string(kind.column));
    if (given != old.record.context.end()) context[i] = NeededItem(db, kind.kind, given->second);
  }
  record.context = ContextId(db, context);
  for (const auto& piece : old.record.pieces) {
    const auto item = [&](ItemKind kind, const std::string& name) {
      return name.empty() ? 0 : NeededItem(db, kind, name);
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

std::string BeforeOf(sql::Connection& db, const StoredRecord& record) {
  auto json = log::JsonOf(CanonicalOf(db, record));
  if (record.batch != 0) json[kBatchKey] = record.batch;
  if (record.entry != 0) json[kEntryKey] = record.entry;
  return log::CanonicalText(json);
}

std::vector<StoredRecord> SetFlag(log::Writing& writing, const Which& which, std::int32_t flag) {
  return ChangeEach(writing, which, "edit-flag",
                    flag == sfDisabled ? etSubgroupDisable : etSubgroupEdit,
                    [&](StoredRecord& record) -> Json {
                      record.flag = flag;
                      return {{"flag", WordOfFlag(flag)}};
                    });
}

std::vector<StoredRecord> ChangePiece(log::Writing& writing, const Which& which,
                                      const ValueChange& change) {
  return ChangeEach(writing, which, "edit-value", etSubgroupEdit,
                    [&](StoredRecord& record) { return ApplyPiece(writing.Db(), record, change); });
}

std::vector<StoredRecord> ChangeSubgroup(log::Writing& writing, const Which& which,
                                         const SubgroupChange& change) {
  auto& db = writing.Db();
  writing.NeedReason();
  auto before = Needed(db, which);
  auto later = which;
  if (change.label && !change.label->empty()) log::NeedName("label", *change.label);
  if (change.time || change.label) {
    if (which.test) {
      throw Refused("test", "test", NameOfTest(db, *which.test),
                    "label and time are those of the whole subgroup; leave --test out");
    }
    MoveSubgroup(writing, before.front().subgroup, change);
    later.expected.reset();
  }
  if (!change.size && change.context.empty()) return before;
  ChangeEach(writing, later, "edit-subgroup", etSubgroupEdit, [&](StoredRecord& record) {
    Json after;
    if (change.size) {
      record.size = *change.size;
      after["size"] = log::Number(*change.size);
    }
    if (!change.context.empty()) {
      ChangeContext(db, change.context, record);
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
    const auto before = BeforeOf(db, record);
    TakeOut(db, record);
    writing.Add("delete", record.Object(), before, "");
    AddEvent(writing, etSubgroupDelete, About(record));
  }
  const auto& subgroup = records.front().subgroup;
  if (ReadRecords(db, subgroup).empty()) {
    store::KeepFindable(
        db, {subgroup.id, subgroup.part, subgroup.process, subgroup.time, subgroup.label});
  }
  return records;
}

StoredRecord Restore(log::Writing& writing, std::int64_t entry,
                     std::optional<std::int64_t> expected) {
  auto& db = writing.Db();
  writing.NeedReason();
  const auto old = BeforeEntry(db, entry);
  const auto stored = NeededSubgroup(db, old.subgroup);
  const auto now = ReadRecords(db, stored, old.test);
  if (expected) {
    CheckVersion(db, VersionOf(db, stored, old.test),
                 "#" + std::to_string(old.subgroup) + " " + NameOfTest(db, old.test), expected);
  }
  const auto time = static_cast<std::int32_t>(old.record.time.value_or(stored.time));
  if (time != stored.time || old.record.label != stored.label) {
    SubgroupChange back;
    back.time = time;
    back.label = old.record.label;
    MoveSubgroup(writing, stored, back);
  }
  auto record = RecordOf(db, old);
  const auto before = now.empty() ? std::string() : BeforeOf(db, now.front());
  record.entry = writing.Next();
  Put(db, record);
  if (old.was_undone) PutBackTexts(db, old);
  writing.Add("restore", record.Object(), before, AfterOf(db, {{"entry", entry}}, record));
  AddEvent(writing, etSubgroupEdit, About(record));
  return record;
}

}  // namespace orvspc::engine::change
