// SPDX-License-Identifier: Apache-2.0
#include "engine/store/migration.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "engine/chunks/subgroups.h"
#include "engine/schema/schema.h"
#include "engine/sql/fail_step.h"
#include "engine/sql/sqlite/SqliteConnection.h"
#include "engine/sql/sqlite/pages.h"
#include "engine/store/DraftFile.h"
#include "engine/store/Store.h"
#include "engine/store/digest.h"
#include "engine/store/record_of_v2.h"
#include "engine/write/chunks/MeasurementBuffer.h"
#include "engine/write/chunks/SubgroupWriter.h"
#include "engine/write/log/Log.h"
#include "system/system.h"

namespace orvspc::engine::store {
namespace {

constexpr std::string_view kOldRows =
    "SELECT packed, coalesce(context, 0), subgroup, time FROM measurement_2 WHERE stream = ?1 "
    "ORDER BY time, subgroup";

// The values of a stream as schema 2 has them.
void ForEachOldRecord(sql::Connection& db, std::int64_t stream,
                      const std::function<void(const Measurement&)>& take) {
  std::vector<double> values;
  std::vector<RowKey> keys;
  sql::Query query(db, kOldRows, stream);
  while (query.Step()) {
    const auto record = PackedView::Of(query.Blob(0));
    const auto subgroup = query.Int(2), time = query.Int(3);
    if (!record || record->Time() != time || record->Subgroup() != subgroup) {
      throw sql::SqlError(
          sql::SqlError::Kind::Damaged,
          "the values of subgroup " + std::to_string(subgroup) + " do not fit their checksum");
    }
    values.clear();
    keys.clear();
    for (std::size_t i = 0; i < record->Count(); ++i) {
      values.push_back(record->Value(i));
      if (!record->IsPlain()) keys.push_back(record->Key(i));
    }
    take({record->Time(), record->Subgroup(), query.Int(1), record->Size(), record->Flag(), 0, 0,
          values, keys});
  }
}

void ForEachOldSubgroup(sql::Connection& db,
                        const std::function<void(const SubgroupFacts&)>& take) {
  sql::Query query(db, "SELECT id, part, process, time, label FROM subgroup_2 ORDER BY id");
  while (query.Step()) {
    take({query.Int(0), query.Int(1), query.Int(2), query.Int(3), query.Text(4)});
  }
}

thread_local MigrationWatch watch_migrations;

// In MB below 1 GB; rounded down, or up.
std::string Rounded(std::int64_t bytes, bool up) {
  constexpr std::int64_t kMegabyte = 1'000'000, kTenthOfGigabyte = 100'000'000;
  const bool is_small = bytes < 10 * kTenthOfGigabyte;
  const auto unit = is_small ? kMegabyte : kTenthOfGigabyte;
  const auto units = bytes / unit + (up && bytes % unit != 0 ? 1 : 0);
  return is_small ? std::to_string(units) + " MB"
                  : std::to_string(units / 10) + "." + std::to_string(units % 10) + " GB";
}

// What a number of copies of a file need, and what its device has; nothing where the system cannot
// tell.
struct Room {
  std::int64_t needed, available;
};
std::optional<Room> RoomFor(const std::string& path, double copies) {
  const auto state = system::StateOf(path);
  std::error_code error;
  const auto space = std::filesystem::space(system::PathOf(FolderOf(TargetOf(path))), error);
  if (!state || error) return std::nullopt;
  return Room{static_cast<std::int64_t>(copies * static_cast<double>(state->size)),
              static_cast<std::int64_t>(std::min<std::uintmax_t>(
                  space.available, std::numeric_limits<std::int64_t>::max()))};
}

// Of this schema on values lie in chunks, and stay where they are.
constexpr std::int32_t kFirstWithChunks = 3;

// The backup, and where values move what they need beside the old ones.
void CheckRoom(const std::string& path, std::int32_t version) {
  constexpr double kBackup = 1.2, kValues = 1.0;
  const auto room = RoomFor(path, version < kFirstWithChunks ? kBackup + kValues : kBackup);
  if (!room || room->available >= room->needed) return;  // what is missing shows later
  RefuseFile(path, "is of an older release; to bring it forward " +
                       RoomText(room->needed, room->available) + " on " + FolderOf(TargetOf(path)));
}

bool AreSame(const std::string& a, const std::string& b) {
  std::ifstream first(system::PathOf(a), std::ios::binary),
      second(system::PathOf(b), std::ios::binary);
  using Bytes = std::istreambuf_iterator<char>;
  return first && second && std::equal(Bytes(first), Bytes(), Bytes(second), Bytes());
}

// A copy of the file beside it, which has its name only when it is whole: "q.db.v2". Others of that
// name stay: it is then "q.db.v2-2", unless the other is the same, as one of a program that was
// killed.
class Backup {
 public:
  // db is in a transaction that has changed nothing yet.
  Backup(sql::Connection& db, const std::string& path, std::int32_t version)
      : Backup(path, TargetOf(path) + ".v" + std::to_string(version)) {
    RemoveFiles(draft_);
    sql::sqlite::BackUp(path, draft_);
    if (!sql::sqlite::HasPagesOf(draft_, db)) {
      RefuseFile(original_, "its backup " + path_ + " cannot be made: what was written differs");
    }
    const auto name = path_;
    for (int i = 2; system::IsThere(path_) && !AreSame(path_, draft_); ++i) {
      path_ = name + "-" + std::to_string(i);
    }
    if (system::IsThere(path_)) {
      is_needed_ = true;  // as others may have made it
      RemoveFiles(draft_);
      draft_.clear();
      return;
    }
    flushed_ = std::async(std::launch::async,
                          [draft = draft_] { return system::Flush(draft) ? 0 : errno; });
  }
  Backup(const Backup&) = delete;
  Backup& operator=(const Backup&) = delete;
  ~Backup() {
    if (flushed_.valid()) flushed_.wait();
    if (!is_needed_) RemoveFiles(draft_.empty() ? path_ : draft_);
  }
  // Waits until all of it is on the device, which it has to be before the file changes.
  void Finish() {
    if (draft_.empty()) return;
    int error = flushed_.get();
    if (sql::IsToFail()) error = EIO;
    if (error == 0 && !system::RenameToFree(draft_, path_)) error = errno;
    if (error != 0) {
      RefuseFile(original_, "its backup " + path_ + " cannot be written: " + std::strerror(error));
    }
    draft_.clear();
  }
  // The file has changed.
  const std::string& Keep() {
    is_needed_ = true;
    return path_;
  }

 private:
  // Complete, so that the draft goes where the other constructor fails.
  Backup(const std::string& path, const std::string& name)
      : original_(path), path_(name), draft_(name + ".new") {}

  std::string original_, path_;
  std::string draft_;         // until it has its name
  std::future<int> flushed_;  // in the meantime; errno
  bool is_needed_ = false;
};

// A table that the schema has copied in this version, and where the rows of before are.
struct CopiedTable {
  std::int32_t version;
  std::string_view now, before, columns;
};
constexpr CopiedTable kCopied[] = {
    {3, "comment", "comment_2", "id, subgroup, test, tsno, time, employee, note"},
    {3, "subgroup_descriptor", "subgroup_descriptor_2", "subgroup, descriptor, tsno"},
    {4, "control_limit", "control_limit_3",
     "id, part, process, test, effective, mean, sp, spl, sw, swl, start, finish, chart_word, "
     "status, rule, replaced_by, who, made"}};

struct Comparison {
  const CopiedTable& table;
  std::vector<std::string> differences;  // each gives a row where the two differ
};

const std::vector<Comparison>& Comparisons() {
  static const auto comparisons = [] {
    std::vector<Comparison> all;
    for (const auto& table : kCopied) {
      const std::string now(table.now), before(table.before);
      const auto rows = [&](const std::string& of) {
        return "SELECT " + std::string(table.columns) + " FROM " + of;
      };
      const auto count = [](const std::string& of) { return "(SELECT count(*) FROM " + of + ")"; };
      all.push_back({table,
                     {rows(before) + " EXCEPT " + rows(now), rows(now) + " EXCEPT " + rows(before),
                      "SELECT 1 WHERE " + count(before) + " <> " + count(now)}});
    }
    return all;
  }();
  return comparisons;
}

[[noreturn]] void RefuseDifference() {
  throw std::runtime_error("what the new schema holds differs from what the old one held");
}

// Drops the rows of before once they are those of now.
void CheckCopied(sql::Connection& db, std::int32_t version) {
  for (const auto& [table, differences] : Comparisons()) {
    if (version >= table.version) continue;
    for (const auto& text : differences) {
      if (sql::Query(db, text).Step()) RefuseDifference();
    }
    db.Execute("DROP TABLE " + std::string(table.before));
  }
}

// Returns the digest of what there was, and is.
std::string MoveValues(sql::Connection& db, const MigrationProgress& progress) {
  const auto all = sql::Query(db, "SELECT count(*) FROM measurement_2").RunForInt().value_or(0);
  constexpr std::int64_t kStep = 50'000;
  std::int64_t count = 0;
  MeasurementBuffer buffer(db);
  SubgroupWriter writer(db, SubgroupWriter::Into::EmptyDatabase);
  std::vector<bool> lack_measurements;  // by identifier of the subgroup; those come first
  // Moved while they are digested, since reading them is a good part of the work.
  const auto before = DigestOf(
      db,
      [&](std::int64_t stream, const auto& take) {
        ForEachOldRecord(db, stream, [&](const Measurement& each) {
          take(each);
          buffer.Add(stream, each);
          const auto subgroup = static_cast<std::size_t>(each.subgroup);
          if (subgroup < lack_measurements.size()) lack_measurements[subgroup] = false;
          if (++count % kStep == 0 && progress) progress(static_cast<int>(5 + 60 * count / all));
        });
      },
      [&](const auto& take) {
        ForEachOldSubgroup(db, [&](const SubgroupFacts& each) {
          take(each);
          writer.Add(each);
          const auto id = static_cast<std::size_t>(each.id);
          if (lack_measurements.size() <= id) lack_measurements.resize(id + 1);
          lack_measurements[id] = true;
        });
      });
  buffer.Flush();
  writer.Flush();
  std::vector<std::int32_t> with_rows;
  for (std::size_t id = 0; id < lack_measurements.size(); ++id) {
    if (lack_measurements[id]) with_rows.push_back(static_cast<std::int32_t>(id));
  }
  SealWithRows(db, with_rows);
  // The last is what the other refers to.
  for (const char* table : {"measurement_2", "subgroup_2"}) {
    db.Execute("DROP TABLE " + std::string(table));
  }
  if (count != all || DigestOf(db) != before) RefuseDifference();
  return before.all;
}

}  // namespace

void BringTablesForward(sql::Connection& db, std::int32_t version,
                        const MigrationProgress& progress) {
  constexpr int kTablesMade = 4;  // percent
  schema::BringForward(db, version);
  if (progress) progress(kTablesMade);
  CheckCopied(db, version);
  if (version < kFirstWithChunks) {
    const auto digest = MoveValues(db, progress);
    return log::BeginLog(db, version == 0 ? std::string() : digest);
  }
  log::BeginLog(db, DigestOf(db).all);
}

std::string RoomText(std::int64_t needed, std::int64_t available) {
  return "needs " + Rounded(needed, true) + ", " + Rounded(available, false) + " free";
}

bool HasRoomForItself(const std::string& path) {
  constexpr double kNeeded = 1.2;
  const auto room = RoomFor(path, kNeeded);
  return !room || room->available >= room->needed;
}

void WatchMigrations(MigrationWatch watch) { watch_migrations = std::move(watch); }

void TellMigration(const std::string& path, int percent) {
  if (watch_migrations) watch_migrations(path, percent);
}

void BringFileForward(sql::Connection& db, const std::string& path) {
  const auto tell = [&](int percent) { TellMigration(path, percent); };
  sql::sqlite::LeaveLog(db);
  sql::Transaction transaction(db, sql::TransactionKind::Write);
  const auto version = db.Mark().version;
  if (version >= schema::kSchemaVersion) return;  // another program was quicker
  tell(0);
  CheckRoom(path, version);
  Backup backup(db, path, version);
  BringTablesForward(db, version, tell);
  backup.Finish();
  transaction.Commit();
  const auto& kept = backup.Keep();
  tell(100);
  AddNote("brought-forward", path + " was brought forward from schema " + std::to_string(version) +
                                 " to " + std::to_string(schema::kSchemaVersion) +
                                 "; the former file is kept as " + kept + ".");
}

}  // namespace orvspc::engine::store
