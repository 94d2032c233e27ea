// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/Comments.h"

#include <algorithm>
#include <cstdio>

#include "engine/chunks/subgroups.h"
#include "engine/sql/counter.h"
#include "engine/write/change/LaterNames.h"
#include "engine/write/change/StoredRecord.h"
#include "engine/write/change/events.h"
#include "engine/write/change/version.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/UndoneNames.h"
#include "engine/write/log/texts.h"

namespace orvspc::engine::change {
namespace {

struct StoredComment {
  std::int32_t subgroup = 0, test = 0, piece = 0, time = 0;
  std::string who, text;

  std::string Before() const {
    return log::CanonicalText({{"subgroup", subgroup},
                               {"test", test},
                               {"tsno", piece},
                               {"time", time},
                               {"who", who},
                               {"text", text}});
  }
};

void CheckText(std::string_view text) {
  log::NeedText("text", text);
  const auto characters = log::CharactersOf(text);
  if (characters == 0 || characters > log::kMaxComment) {
    throw Refused("text", "text", std::string(text),
                  "a comment has 1 to " + std::to_string(log::kMaxComment) +
                      " characters, this one " + std::to_string(characters));
  }
}

// A piece is one of the test that the comment is of; 0: of none.
void CheckPiece(const std::vector<StoredRecord>& records, std::int32_t test, std::int32_t piece,
                const std::string& name) {
  if (piece == 0) return;
  const auto number = std::to_string(piece);
  if (test == 0) {
    throw Refused("test", "tsno", number, "piece " + number + " is a piece of which test?");
  }
  if (std::ranges::none_of(records.front().keys,
                           [&](const store::RowKey& key) { return key.Tsno == piece; })) {
    throw Refused("unknown", "tsno", number, name + " has no piece " + number + " of this test");
  }
}

// As an entry has it, of what its items are now.
StoredComment FormerOf(const log::Json& before, const LaterNames& names) {
  StoredComment former;
  former.subgroup = before.value("subgroup", 0);
  former.test = names.Now(catalogue::ItemKind::Test, before.value("test", 0));
  former.piece = before.value("tsno", 0);
  former.time = before.value("time", 0);
  former.who = before.value("who", "");
  former.text = before.value("text", "");
  return former;
}

StoredComment Needed(sql::Connection& db, std::int64_t comment) {
  sql::Query query(db,
                   "SELECT c.subgroup, coalesce(c.test, 0), c.tsno, c.time, "
                   "coalesce(e.name, ''), c.note FROM comment c "
                   "LEFT JOIN employee e ON e.id = c.employee WHERE c.id = ?1",
                   comment);
  if (!query.Step()) {
    throw Refused("unknown", "comment", std::to_string(comment),
                  "there is no comment " + std::to_string(comment));
  }
  StoredComment found;
  query.Read(found.subgroup, found.test, found.piece, found.time, found.who, found.text);
  return found;
}

EventOf About(sql::Connection& db, const StoredComment& comment) {
  EventOf of;
  of.test = comment.test;
  store::ForEachSubgroup(db, comment.subgroup, comment.subgroup, [&](const auto& facts) {
    of.part = facts.part;
    of.process = facts.process;
    of.subgroup_time = facts.time;
  });
  return of;
}

}  // namespace

std::string ObjectOfComment(std::int64_t comment) { return "comment " + std::to_string(comment); }

std::int64_t AddComment(log::Writing& writing, std::int32_t subgroup, std::int32_t test,
                        std::int32_t piece, std::string_view text,
                        std::optional<std::int64_t> expected) {
  auto& db = writing.Db();
  CheckText(text);
  const auto of = NeededSubgroup(db, subgroup);
  const auto name = "#" + std::to_string(subgroup);
  const auto records = ReadRecords(db, of, test == 0 ? std::nullopt : std::optional(test));
  if (records.empty()) {
    if (test == 0) throw Refused("unknown", "subgroup", name, name + " has no values");
    throw Refused("unknown", "test", std::to_string(test), name + " has no values of this test");
  }
  CheckPiece(records, test, piece, name);
  CheckVersion(db, records, name, expected);
  const auto id = sql::TakeIds(db, "comment");
  sql::Query(db,
             "INSERT INTO comment(id, subgroup, test, tsno, time, employee, note) "
             "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7)",
             id, subgroup, sql::Reference{test}, piece, writing.Seconds(), writing.Employee(), text)
      .Run();
  writing.Add(
      "comment-add", ObjectOfComment(id), "",
      StoredComment{subgroup, test, piece, writing.Seconds(), writing.Who(), std::string(text)}
          .Before());
  return id;
}

void EditComment(log::Writing& writing, std::int64_t comment, std::string_view text,
                 std::optional<std::int64_t> expected) {
  auto& db = writing.Db();
  writing.NeedReason();
  CheckText(text);
  const auto stored = Needed(db, comment);
  CheckVersion(db, ObjectOfComment(comment), ObjectOfComment(comment), expected);
  sql::Query(db, "UPDATE comment SET note = ?2 WHERE id = ?1", comment, text).Run();
  writing.Add("comment-edit", ObjectOfComment(comment), stored.Before(),
              log::CanonicalText({{"text", text}}));
  AddEvent(writing, etSubgroupEdit, About(db, stored));
}

void TakeOutComment(log::Writing& writing, std::int64_t comment) {
  auto& db = writing.Db();
  const auto stored = Needed(db, comment);
  sql::Query(db, "DELETE FROM comment WHERE id = ?1", comment).Run();
  writing.Add("comment-remove", ObjectOfComment(comment), stored.Before(), "");
}

void RemoveComment(log::Writing& writing, std::int64_t comment,
                   std::optional<std::int64_t> expected) {
  auto& db = writing.Db();
  writing.NeedReason();
  const auto stored = Needed(db, comment);
  CheckVersion(db, ObjectOfComment(comment), ObjectOfComment(comment), expected);
  TakeOutComment(writing, comment);
  AddEvent(writing, etSubgroupEdit, About(db, stored));
}

std::optional<RestoredComment> RestoreComment(log::Writing& writing, std::int64_t entry,
                                              std::optional<std::int64_t> expected) {
  auto& db = writing.Db();
  writing.NeedReason();
  std::string object, text, operation;
  {
    sql::Query query(db, "SELECT object, before, operation FROM log WHERE seq = ?1", entry);
    if (query.Step()) query.Read(object, text, operation);
  }
  long long comment = 0;
  if (std::sscanf(object.c_str(), "comment %lld", &comment) != 1) return std::nullopt;
  if (text.empty()) {
    throw Refused("entry", "entry", std::to_string(entry),
                  "entry " + std::to_string(entry) +
                      " stored this comment first; comment remove takes it out");
  }
  CheckVersion(db, object, object, expected);
  const LaterNames names(db, entry);
  const auto former = FormerOf(log::ReadJson(text), names);
  std::string before;
  if (operation == "comment-remove") {
    if (sql::Query(db, "SELECT 1 FROM comment WHERE id = ?1", comment).RunForInt()) {
      throw Refused("stored", "comment", std::to_string(comment), object + " is there already");
    }
    const auto author = names.Find(catalogue::ItemKind::Employee, former.who).value_or(0);
    if (author != 0) log::ReviveUndone(writing, catalogue::ItemKind::Employee, author);
    sql::Query(db,
               "INSERT INTO comment(id, subgroup, test, tsno, time, employee, note) "
               "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7)",
               comment, former.subgroup, sql::Reference{former.test}, former.piece, former.time,
               sql::Reference{author}, former.text)
        .Run();
  } else {
    before = Needed(db, comment).Before();
    sql::Query(db, "UPDATE comment SET note = ?2 WHERE id = ?1", comment, former.text).Run();
  }
  writing.Add("restore", object, before,
              log::CanonicalText({{"entry", entry}, {"text", former.text}}));
  AddEvent(writing, etSubgroupEdit, About(db, former));
  return RestoredComment{comment, former.subgroup, former.test};
}

}  // namespace orvspc::engine::change
