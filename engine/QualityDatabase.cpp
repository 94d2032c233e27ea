// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdint>
#include <utility>

#include "engine/QualityDatabase.h"
#include "engine/review_imports.h"
#include "engine/sql/address.h"
#include "engine/store/DraftFile.h"
#include "engine/store/SqlStore.h"
#include "engine/store/backup.h"
#include "engine/store/check.h"
#include "engine/store/migration.h"
#include "engine/time/calendar.h"
#include "engine/write/copy.h"
#include "engine/write/import/Import.h"
#include "engine/write/record/Line.h"
#include "engine/write/record/Recorder.h"
#include "platform/ExternalFailure.h"
#include "platform/TimeText.h"

namespace orvspc {

using namespace engine;

namespace {

// On a server the tables are made in a database that is there.
bool MakeTables(const std::string& address, const std::function<void(QualityDatabase&)>& fill) {
  bool made = false;
  store::OpenConnection(address, true, &made);
  if (made && fill) {
    QualityDatabase database(OpenDatabase(address));
    fill(database);
  }
  return made;
}

// Whether the address is that of a database without tables.
bool IsEmptyServer(const std::string& path) {
  if (!sql::IsAddress(path)) return false;
  try {
    return !store::HasTables(*store::OpenToFill(path), path);
  } catch (...) {
    sql::RethrowAsExternal(sql::WithoutPasswords(path), store::kHostCall);
  }
}

// Makes the database unless there is one, which is false.
bool MakeNew(const std::string& path, const std::function<void(QualityDatabase&)>& fill,
             const std::string& like = {}) {
  if (sql::IsAddress(path)) return MakeTables(path, fill);
  store::DraftFile draft(path, like);
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

// The selected subgroups of each stream; none without a selection, which means all.
std::optional<std::vector<store::ChosenStream>> Chosen(
    store::SqlStore& from, const std::optional<CopySelection>& selection) {
  if (!selection) return std::nullopt;
  store::SelectOptions options;
  options.defect_filter_narrows_rows = false;
  store::DataSet data;
  auto info = selection->info;
  if (!from.Select(info, selection->filter, options, data)) {
    const auto failure = from.TakeFailure().value_or(sql::Failure{sql::kRefused, from.Path()});
    throw platform::ExternalFailure(failure.number, store::kHostCall, failure.text);
  }
  std::map<std::int64_t, std::vector<std::int32_t>> by_stream;
  from.ReadOrThrow([&](sql::Connection&) {
    std::map<std::array<std::int32_t, 3>, std::int64_t> ids;
    for (const auto& each : from.Cache().streams)
      ids[{each.part, each.process, each.test}] = each.id;
    for (const auto& each : data.subgroups) {
      by_stream[ids[{each.Part, each.Prcs, each.Test}]].push_back(each.Sgrp);
    }
  });
  std::vector<store::ChosenStream> chosen;
  for (auto& [stream, subgroups] : by_stream) {
    std::ranges::sort(subgroups);
    chosen.push_back({stream, std::move(subgroups)});
  }
  return chosen;
}

}  // namespace

std::optional<ImportKind> ImportKindFromWord(std::string_view word) {
  return import::ImportKindFromWord(word);
}
std::vector<ImportKindInfo> ImportKinds() { return import::ImportKinds(); }

std::optional<std::int64_t> ParseTime(std::string_view text, bool end_of_day) {
  constexpr std::size_t kDateAlone = 10;  // 2024-02-29
  constexpr std::string_view kBlanks = " \t";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  text = text.substr(0, text.find_last_not_of(kBlanks) + 1);
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
    : database_(std::move(database)), recorder_(std::make_shared<record::Recorder>(database_)) {}

QualityDatabase QualityDatabase::Open(const std::string& path) {
  return QualityDatabase(OpenDatabase(path));
}

QualityDatabase QualityDatabase::Create(const std::string& path,
                                        const std::function<void(QualityDatabase&)>& fill) {
  if (!MakeNew(path, fill)) store::RefuseFile(path, "is there already");
  return Open(path);
}

QualityDatabase QualityDatabase::OpenOrCreate(const std::string& path,
                                              const std::function<void(QualityDatabase&)>& fill) {
  // A server has the tables made in the transaction that opens it.
  if (!sql::IsAddress(path) && MakeNew(path, fill)) return Open(path);
  // An empty file is made a database where it lies.
  QualityDatabase existing(OpenDatabase(path, true));
  fill(existing);
  return existing;
}

ImportReport QualityDatabase::ImportInto(const std::string& path, const std::string& file,
                                         ImportKind kind, const ImportOptions& options) {
  ImportReport report;
  if (sql::IsAddress(path)) {
    report = import::ImportIntoServer(file, path, kind, options);
    if (!report.streams.empty()) ReviewAfterImport(*OpenDatabase(path), options, report);
    return report;
  }
  const auto fill = [&](QualityDatabase& database) {
    report = database.Import(file, kind, options);
  };
  OpenOrCreate(path, fill);
  return report;
}

void QualityDatabase::RecordWith(const std::string& path,
                                 const std::function<void(record::Recorder&)>& work) {
  if (IsEmptyServer(path)) {
    record::Recorder recorder(path);
    return work(recorder);
  }
  OpenOrCreate(path, [&](const QualityDatabase& database) { work(*database.recorder_); });
}

std::vector<Recorded> QualityDatabase::RecordInto(const std::string& path,
                                                  std::span<const NewRecord> records,
                                                  const Actor& actor, NewNames names) {
  std::vector<Recorded> recorded;
  RecordWith(
      path, [&](record::Recorder& recorder) { recorded = recorder.Record(records, actor, names); });
  return recorded;
}

BatchRecorded QualityDatabase::RecordBatchInto(const std::string& path,
                                               std::span<const NewRecord> records,
                                               const Actor& actor, const BatchOptions& options) {
  struct NothingIsStored {};
  BatchRecorded recorded;
  try {
    RecordWith(path, [&](record::Recorder& recorder) {
      recorded = recorder.RecordBatch(records, actor, options);
      if (recorded.refused.size() == records.size()) throw NothingIsStored();
    });
  } catch (const NothingIsStored&) {
    // No database is made.
  }
  return recorded;
}

void WatchUpgrades(std::function<void(const std::string&, int)> watch) {
  store::WatchMigrations(std::move(watch));
}

std::vector<Note> TakeNotesLeft() { return store::TakeNotes(store::kNoDatabase); }

CopyReport QualityDatabase::CopyTo(const std::string& path, const CopyOptions& options) const {
  CopyReport report;
  using Work = std::function<void(sql::Connection&)>;
  const auto from = store::SqlStoreOf(*database_);
  const auto copy = [&](const std::function<void(const Work&)>& write) {
    store::Guarded(*from, [&] {
      const auto chosen = Chosen(*from, options.selection);
      from->ReadOrThrow([&](sql::Connection& source) {
        const auto name = sql::WithoutPasswords(path);
        bool is_copying = false;
        try {
          write([&](sql::Connection& target) {
            is_copying = true;
            const auto digest = store::CopyDatabase(
                source, target, name, chosen, {options.actor, options.reason}, options.progress);
            report = {digest.measurements, digest.rows, digest.all};
            is_copying = false;
          });
        } catch (...) {
          // Of the source, which is read once more if it was lost; or the target is named already.
          if (is_copying) throw;
          sql::RethrowAsExternal(name, store::kHostCall);
        }
      });
    });
  };
  if (sql::IsAddress(path)) {
    const auto target = store::OpenToFill(path);
    copy([&](const Work& work) {
      sql::Transaction writing(*target, sql::TransactionKind::Write);
      store::MakeTablesToFill(*target, path);
      work(*target);
      writing.Commit();
      store::NoteWrite();
    });
    return report;
  }
  const auto fill = [&](const QualityDatabase& target) {
    copy([&](const Work& work) { store::SqlStoreOf(*target.database_)->Write(work); });
  };
  // Who may not read the one may not read the other.
  const auto like = sql::IsAddress(from->WholePath()) ? std::string() : from->WholePath();
  if (MakeNew(path, fill, like)) return report;
  fill(QualityDatabase(OpenDatabase(path, true)));
  return report;
}

BackupReport QualityDatabase::Backup(const std::string& to, const BackupOptions& options) const {
  const auto store = store::SqlStoreOf(*database_);
  BackupReport report{store::BackupPlace(*store, to), 0, {}};
  if (options.keep && (report.path == to || *options.keep < 1)) {
    store::RefuseFile(to, "only of backups in a folder are so many kept, at least 1");
  }
  if (options.keep && options.as_copy) {
    store::RefuseFile(to, "what goes on as a database of its own is no backup to be kept");
  }
  std::function<void(sql::Connection&)> finish;
  if (options.as_copy) {
    finish = [&](sql::Connection& db) {
      log::Writing writing(db, options.actor, options.reason);
      log::BecomeAnother(writing);
    };
  }
  report.bytes = store::MakeBackup(*store, report.path, options.progress, finish);
  if (options.keep) {
    const auto keep = static_cast<std::size_t>(*options.keep);
    report.deleted = store::DeleteOldBackups(*store, report.path, keep);
  }
  return report;
}

CheckReport QualityDatabase::Check(const std::string& path, const CheckOptions& options) {
  // Not by an open database, whose first reading would fail where the damage is.
  const auto db = store::OpenConnection(path, false);
  const auto medium = sql::IsAddress(path) ? store::Medium::Server : store::Medium::File;
  try {
    sql::Transaction reading(*db, sql::TransactionKind::Read);
    auto result = store::QuickCheck(*db, medium, options.progress);
    reading.Commit();
    CheckReport report{result.subgroups, {}, result.left_out};
    for (auto& find : result.finds) {
      report.finds.push_back({std::move(find.place), std::move(find.reason)});
    }
    return report;
  } catch (...) {
    sql::RethrowAsExternal(sql::WithoutPasswords(path), store::kHostCall);
  }
}

ImportReport QualityDatabase::Import(const std::string& file, ImportKind kind,
                                     const ImportOptions& options) {
  auto report = import::ImportCsv(file, *database_, kind, options);
  ReviewAfterImport(*database_, options, report);
  return report;
}

Recorded QualityDatabase::Record(const NewRecord& record, const Actor& actor, NewNames names) {
  return RecordSubgroup(std::span(&record, 1), actor, names).front();
}

std::vector<Recorded> QualityDatabase::RecordSubgroup(std::span<const NewRecord> records,
                                                      const Actor& actor, NewNames names) {
  return recorder_->Record(records, actor, names);
}

Batch QualityDatabase::Begin(const Actor& actor, const BatchOptions& options) {
  Batch batch;
  batch.database_ = database_;
  batch.recorder_ = recorder_;
  batch.actor_ = actor;
  batch.options_ = options;
  return batch;
}

void Batch::Add(NewRecord record) { records_.push_back(std::move(record)); }

BatchRecorded Batch::Commit() {
  const auto records = std::exchange(records_, {});
  return recorder_->RecordBatch(records, actor_, options_);
}

NewRecord RecordFromJson(std::string_view line, std::string* key) {
  return record::RecordOfLine(line, key);
}
std::string JsonOf(const std::string& key, const Recorded& recorded) {
  return record::AnswerOf(key, recorded);
}
std::string JsonOf(const std::string& key, const Refused& refused) {
  return record::AnswerOf(key, refused);
}

}  // namespace orvspc
