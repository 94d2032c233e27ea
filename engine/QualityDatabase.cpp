// SPDX-License-Identifier: Apache-2.0
#include "engine/QualityDatabase.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <utility>

#include "engine/catalogue/References.h"
#include "engine/catalogue/nearest.h"
#include "engine/change_once.h"
#include "engine/chunks/subgroups.h"
#include "engine/pareto/Lookups.h"
#include "engine/review_imports.h"
#include "engine/sql/address.h"
#include "engine/sql/counter.h"
#include "engine/statistics/Estimators.h"
#include "engine/store/DraftFile.h"
#include "engine/store/SqlStore.h"
#include "engine/store/alarm_rules.h"
#include "engine/store/backup.h"
#include "engine/store/check.h"
#include "engine/store/logs.h"
#include "engine/store/migration.h"
#include "engine/store/phases.h"
#include "engine/time/calendar.h"
#include "engine/write/alarms/Judge.h"
#include "engine/write/change/version.h"
#include "engine/write/copy.h"
#include "engine/write/import/Import.h"
#include "engine/write/log/Json.h"
#include "engine/write/phases.h"
#include "engine/write/record/Line.h"
#include "engine/write/record/Recorder.h"
#include "engine/write/settings.h"
#include "platform/Enumerations.h"
#include "platform/ExternalFailure.h"
#include "platform/TimeText.h"

namespace orvspc {

using namespace engine;

namespace {

// The first column of the first row, an identifier; empty without a row.
template <class... Values>
std::optional<std::int32_t> FindId(EmbeddedDatabase& database, std::string_view text,
                                   const Values&... values) {
  return store::Read(database, [&](store::SqlStore&, sql::Connection& db) {
    const auto holds = [&](const auto& value) {
      if constexpr (std::is_convertible_v<decltype(value), std::string_view>) {
        return db.Holds(value);
      }
      return true;
    };
    if (!(holds(values) && ...)) return std::optional<std::int32_t>();
    sql::Query query(db, text, values...);
    return query.Step() ? std::optional(query.Int(0)) : std::nullopt;
  });
}

std::string ObjectOfPhase(std::int32_t id) { return "phase " + std::to_string(id); }

// As it is before a change, for which it has to have the version that is expected. Empty: there is
// none, which the change refuses.
std::optional<Phase> SeenPhase(sql::Connection& db, std::int32_t id, const ChangeOptions& options) {
  const auto phases = store::ReadPhases(db);
  const auto found = std::ranges::find(phases, id, &Phase::id);
  if (found == phases.end()) return std::nullopt;
  change::CheckVersion(db, ObjectOfPhase(id), "phase \"" + found->name + "\"", options.expected);
  return *found;
}

// The latest entry of the log has changed what a phase separates or leaves out from a time on.
void JudgePhase(log::Writing& writing, const Phase& phase, std::int32_t from) {
  alarms::JudgeFrom(writing, {phase.part, phase.process, phase.test}, from, writing.Next() - 1);
}

const SettingKind& KindOf(const store::SqlStore& store, std::string_view name) {
  const auto* const found = FindSettingKind(name);
  if (found == nullptr) store::Refuse(store, "there is no setting \"" + std::string(name) + "\"");
  return *found;
}

// A text that is names of a part, a process and a test with slashes between them, which names may
// have, too, in the names that they have now; empty: it is none.
std::string PresentStream(const QualityDatabase& database, std::string_view text) {
  const auto name = [&](ItemKind kind, std::size_t begin, std::size_t end) {
    const auto id = database.Find(kind, text.substr(begin, end - begin));
    return id ? database.Name(kind, *id) : std::string();
  };
  for (auto a = text.find('/'); a != std::string_view::npos; a = text.find('/', a + 1)) {
    const auto part = name(ItemKind::Part, 0, a);
    if (part.empty()) continue;
    for (auto b = text.find('/', a + 1); b != std::string_view::npos; b = text.find('/', b + 1)) {
      const auto process = name(ItemKind::Process, a + 1, b);
      const auto test = name(ItemKind::Test, b + 1, text.size());
      if (process.empty() || test.empty()) continue;
      return part + "/" + process + "/" + test;
    }
  }
  return {};
}

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

const std::vector<SettingKind>& SettingKinds() {
  const auto words = statistics::EstimatorWords();
  static const std::vector<SettingKind> kinds = {
      {"sigma_estimator",
       statistics::NameOf(statistics::kUsualEstimator),
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
      {"alarm_needs",
       "acc cac",
       "codes that an alarm needs before it is closed: cause (acc), action (cac)",
       {"acc cac", "acc", "cac", "none"}},
      {"alarm_horizon", "7", "days behind the newest point in which values raise alarms", {}},
      {"approval",
       "one",
       "whether who proposed control limits may approve them, or another must",
       {"one", "two"}},
      {"subgroup_size",
       "0",
       "values of a subgroup when it is recorded, 0 for any number; of one stream it is "
       "subgroup_size:PART/PROCESS/TEST",
       {},
       true},
      {"key_days", "90", "for how many days the keys of records are kept", {}},
      {store::kPatienceSetting,
       "60",
       "for how many seconds who writes waits for other programs that do",
       {}},
      {"require_by", "no", "whether who changes something must be named (--by)", {"no", "yes"}},
  };
  return kinds;
}

const SettingKind* FindSettingKind(std::string_view name) {
  const auto colon = name.find(':');
  const auto& kinds = SettingKinds();
  const auto found = std::ranges::find(kinds, name.substr(0, colon), &SettingKind::name);
  const bool is_own = colon != std::string_view::npos;
  return found == kinds.end() || (is_own && !found->of_streams) ? nullptr : &*found;
}

std::string SettingKind::Refusal(std::string_view value) const {
  bool fits = std::ranges::find(words, value) != words.end();
  std::string takes;
  for (const auto& word : words)
    takes.append(takes.empty() ? "" : &word == &words.back() ? " or " : ", ").append(word);
  if (name == "time_zone") {
    fits = time::ZoneOffset(value).has_value();
    takes = "UTC or a fixed offset such as +02:00";
  } else if (name == "alarm_horizon") {
    fits = !value.empty() && value.size() < 6 &&
           std::ranges::all_of(value, [](char c) { return c >= '0' && c <= '9'; });
    takes = "a number of days such as 7";
  } else if (name == "shift_starts") {
    fits = time::ParseTimesOfDay(value).has_value();
    takes = "ascending times of day such as \"06:00 14:00 22:00\"";
  }
  constexpr struct {
    std::string_view name;
    std::int32_t least, most;
  } kNumbers[] = {{"subgroup_size", 0, 1'000'000},
                  {"key_days", 1, 36'500},
                  {store::kPatienceSetting, 0, 86'400}};
  for (const auto& number : kNumbers) {
    if (name != number.name) continue;
    std::int32_t given = -1;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), given);
    fits = error == std::errc() && end == value.data() + value.size() && given >= number.least &&
           given <= number.most;
    takes = "a whole number from " + std::to_string(number.least) + " to " +
            std::to_string(number.most);
  }
  if (fits) return {};
  return std::string(name) + " takes " + takes + ", not \"" + std::string(value) + "\"";
}

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

std::int32_t QualityDatabase::Require(ItemKind kind, std::string_view name) const {
  if (const auto id = Find(kind, name)) return *id;
  const auto reason = store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return catalogue::NoSuchItem(db, kind, name);
  });
  throw Refused("unknown", std::string(WordOf(kind)), std::string(name), reason);
}

std::optional<std::int32_t> QualityDatabase::Find(ItemKind kind, std::string_view name) const {
  static const auto texts = catalogue::TextsByKind([](ItemKind each) {
    return "SELECT id FROM " + catalogue::TableOf(each) + " WHERE name = ?1";
  });
  if (const auto id = FindId(*database_, texts[static_cast<std::size_t>(kind)], name)) return id;
  return FindId(*database_, "SELECT item FROM alias WHERE kind = ?1 AND name = ?2", WordOf(kind),
                name);
}

std::string QualityDatabase::Name(ItemKind kind, std::int32_t id) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection&) {
    return catalogue::NameOf(store.Cache().Names(kind), id);
  });
}

std::vector<ListedItem> QualityDatabase::Items(ItemKind kind) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    const auto& names = store.Cache().Names(kind);
    std::vector<ListedItem> items;
    for (const auto& item : store.Cache().Items(kind)->items) {
      const auto& name = names.at(item.id);
      items.push_back(
          {item.id, name, item.name == name ? "" : item.name, item.factor, item.type, item.active});
    }
    static const auto texts = catalogue::TextsByKind([](ItemKind each) {
      return "SELECT (SELECT max(l.seq) FROM log l WHERE l.object = '" + std::string(WordOf(each)) +
             " ' || i.id) FROM " + catalogue::TableOf(each) + " i ORDER BY i.id";
    });
    sql::Query versions(db, texts[static_cast<std::size_t>(kind)]);
    for (auto& item : items) item.version = versions.Step() ? versions.Int64(0) : 0;
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
  return store::Read(*database_, [](store::SqlStore&, sql::Connection& db) {
    using Row = ListedStream;
    return sql::Query(db,
                      "SELECT s.part, s.process, s.test, t.type, CAST(sum(m.count) AS BIGINT), "
                      "min(m.first_time), max(m.last_time), "
                      "coalesce((SELECT c.id FROM control_limit c WHERE c.part = s.part "
                      "AND c.test = s.test AND coalesce(c.process, s.process) = s.process "
                      "AND c.status IN ('active', 'retired') AND c.effective <= ?1 "
                      "AND coalesce(c.until, ?1 + 1) > ?1 ORDER BY c.effective DESC, "
                      "coalesce(c.process, 0) DESC, c.id DESC LIMIT 1), 0), "
                      "(SELECT count(*) FROM alarm a WHERE a.stream = s.id "
                      "AND a.state IN ('open', 'acknowledged')) "
                      "FROM stream s JOIN test t ON t.id = s.test JOIN (SELECT stream, "
                      "first_time, last_time, count FROM measurement_chunk UNION ALL "
                      "SELECT stream, time, time, 1 FROM measurement) m ON m.stream = s.id "
                      "GROUP BY s.id, s.part, s.process, s.test, t.type "
                      "ORDER BY s.part, s.process, s.test",
                      time::Now())
        .All<Row>(&Row::part, &Row::process, &Row::test, &Row::test_type, &Row::subgroups,
                  &Row::first, &Row::last, &Row::limits, &Row::open_alarms);
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
  return store::Read(*database_, [](store::SqlStore&, sql::Connection& db) {
    using Row = ListedDescriptor;
    return sql::Query(
               db,
               "SELECT d.id, g.id, d.name, g.name FROM descriptor d "
               "JOIN descriptor_group g ON g.id = d.descriptor_group ORDER BY g.name, d.name")
        .All<Row>(&Row::id, &Row::group, &Row::name, &Row::group_name);
  });
}

std::optional<std::int32_t> QualityDatabase::FindDescriptorGroup(std::string_view name) const {
  return FindId(*database_, "SELECT id FROM descriptor_group WHERE name = ?1", name);
}

std::optional<std::int32_t> QualityDatabase::FindDescriptor(std::int32_t group,
                                                            std::string_view name) const {
  return FindId(*database_, "SELECT id FROM descriptor WHERE descriptor_group = ?1 AND name = ?2",
                group, name);
}

std::string QualityDatabase::SubgroupLabel(std::int32_t subgroup) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    const auto labels = store::ReadLabels(db, subgroup, subgroup);
    return labels.empty() ? std::string() : labels.front().second;
  });
}

std::vector<std::pair<std::int32_t, std::string>> QualityDatabase::SubgroupLabels(
    std::span<const std::int32_t> subgroups) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return store::ReadLabels(db, subgroups);
  });
}

std::vector<SubgroupComment> QualityDatabase::Comments(
    std::span<const std::int32_t> subgroups) const {
  if (subgroups.empty()) return {};
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    std::vector<SubgroupComment> comments;
    sql::Query query(db, sql::ManyRows{64},
                     "SELECT id, subgroup, test, tsno, time, employee, note FROM comment "
                     "WHERE subgroup BETWEEN ?1 AND ?2 ORDER BY subgroup, time, id",
                     subgroups.front(), subgroups.back());
    while (query.Step()) {
      if (!std::ranges::binary_search(subgroups, query.Int(1))) continue;
      auto& row = comments.emplace_back();
      query.Read(row.id, row.subgroup, row.test, row.tsno, row.time, row.employee, row.note);
    }
    return comments;
  });
}

std::vector<SubgroupDescriptor> QualityDatabase::DescriptorsOf(
    std::span<const std::int32_t> subgroups) const {
  if (subgroups.empty()) return {};
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    std::vector<SubgroupDescriptor> descriptors;
    const auto read = [&](std::int32_t first, std::int32_t last) {
      sql::Query query(db, sql::ManyRows{64},
                       "SELECT s.subgroup, g.id, d.id, s.tsno, g.name, d.name "
                       "FROM subgroup_descriptor s JOIN descriptor d ON d.id = s.descriptor "
                       "JOIN descriptor_group g ON g.id = d.descriptor_group "
                       "WHERE s.subgroup BETWEEN ?1 AND ?2 "
                       "ORDER BY s.subgroup, g.id, d.id, s.tsno",
                       first, last);
      while (query.Step()) {
        if (!std::ranges::binary_search(subgroups, query.Int(0))) continue;
        auto& row = descriptors.emplace_back();
        query.Read(row.subgroup, row.group, row.descriptor, row.tsno, row.group_name, row.name);
      }
    };
    if (!sql::Query(db, "SELECT 1 FROM subgroup_descriptor LIMIT 1").Step()) return descriptors;
    // One statement serves identifiers that lie close together, as those of one import do.
    constexpr std::int64_t kCloseTogether = 4;
    const auto width = std::int64_t{subgroups.back()} - subgroups.front() + 1;
    if (width <= kCloseTogether * static_cast<std::int64_t>(subgroups.size())) {
      read(subgroups.front(), subgroups.back());
    } else {
      for (const auto id : subgroups) read(id, id);
    }
    return descriptors;
  });
}

namespace {

std::vector<ListedEvent> Listed(const std::vector<store::EventRow>& rows) {
  std::vector<ListedEvent> events;
  for (const auto& row : rows) {
    events.push_back({row.id, row.type, row.name, row.employee, row.process, row.part, row.test,
                      row.acc, row.acc_employee, row.cac, row.cac_employee, row.flag, row.time,
                      row.subgroup_time, row.acc_time, row.cac_time, row.finish});
  }
  return events;
}

}  // namespace

std::vector<ListedEvent> QualityDatabase::EventsOfSubgroups(std::int64_t from,
                                                            std::int64_t to) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return Listed(store::EventsOfSubgroups(db, from, to));
  });
}

std::vector<ListedEvent> QualityDatabase::Events(std::span<const std::int32_t> events) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    std::vector<store::EventRow> rows;
    for (const auto id : events) {
      if (const auto row = store::ReadEvent(db, id)) rows.push_back(*row);
    }
    return Listed(rows);
  });
}

std::vector<ListedEvent> QualityDatabase::Downtimes(std::int32_t process, std::int64_t from,
                                                    std::int64_t to) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return Listed(store::DowntimesBetween(db, process, from, to));
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
      state = {row->process, row->state, row->type,
               catalogue::NameOf(store.Cache().Names(ItemKind::StateCode), row->state), row->time};
    }
    return state;
  });
}

std::vector<ProcessState> QualityDatabase::StatesBetween(std::int32_t process, std::int64_t from,
                                                         std::int64_t to) const {
  if (process == 0) return {};  // the log would read it as every process
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    const auto& names = store.Cache().Names(ItemKind::StateCode);
    std::vector<ProcessState> states;
    for (const auto& row : store::ReadStateLog(db, process, from, to)) {
      states.push_back(
          {row.process, row.state, row.type, catalogue::NameOf(names, row.state), row.time});
    }
    return states;
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

void QualityDatabase::UseChartOptions(std::map<std::string, std::string, std::less<>> options) {
  store::SqlStoreOf(*database_)->UseChartOptions(std::move(options));
}

std::vector<ChartOption> QualityDatabase::ChartOptionsOf(const StreamKey& stream) const {
  const auto store = store::SqlStoreOf(*database_);
  std::vector<ChartOption> options;
  for (const auto& kind : ChartOptionKinds()) {
    const auto found = store->ChartOption(stream.part, stream.process, stream.test, 1, kind.key);
    if (found) options.push_back({std::string(kind.key), found->value, found->of_database});
  }
  return options;
}

std::vector<ListedChartOption> QualityDatabase::ChartOptions() const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    std::vector<ListedChartOption> listed;
    for (const auto& row : store.Cache().chart_options) {
      if (write::ChartOptionBefore(db, row) != row.id) continue;
      auto& each = listed.emplace_back();
      static_cast<StreamKey&>(each) = {row.part, row.process, row.test};
      each.id = row.id;
      each.graph = row.graph;
      each.key = row.key;
      each.value = row.value;
      each.version = change::VersionOf(db, "chart-option " + std::to_string(row.id));
    }
    return listed;
  });
}

std::int32_t QualityDatabase::ChangeChartOption(const StreamKey& of, std::int32_t graph,
                                                const std::string& key, const std::string& value,
                                                const ChangeOptions& options) {
  const auto* const kind = FindChartOptionKind(key);
  auto refusal = kind == nullptr          ? "there is no option of charts \"" + key + "\""
                 : graph < 1 || graph > 3 ? "a chart has graphs 1 to 3"
                                          : kind->Refusal(value);
  if (refusal.empty()) refusal = kind->RefusalOfGraph(graph);
  if (refusal.empty() && of.test != 0) refusal = kind->RefusalOfTest();
  if (!refusal.empty()) store::Refuse(*store::SqlStoreOf(*database_), refusal);
  std::int32_t id = 0;
  Change(*database_, options, [&](log::Writing& writing) {
    const store::OptionRow row{0, of.part, of.process, of.test, graph, key, value};
    const auto before = write::ChartOptionBefore(writing.Db(), row);
    change::CheckVersion(writing.Db(), "chart-option " + std::to_string(before), key,
                         options.expected);
    id = write::StoreChartOption(writing, row);
  });
  return id;
}

std::vector<std::string> QualityDatabase::SettingNames() const {
  std::vector<std::string> names;
  for (const auto& kind : SettingKinds()) names.emplace_back(kind.name);
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection&) {
    for (const auto& [name, value] : store.Cache().settings) {
      if (name.find(':') != std::string::npos && FindSettingKind(name)) names.push_back(name);
    }
    return names;
  });
}

std::string QualityDatabase::Setting(std::string_view name) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection&) {
    const auto& kind = KindOf(store, name);
    const auto found = store.Cache().settings.find(name);
    return found == store.Cache().settings.end() ? std::string(kind.fallback) : found->second;
  });
}

std::int64_t QualityDatabase::SettingVersion(std::string_view name) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return change::VersionOf(db, "setting " + std::string(name));
  });
}

void QualityDatabase::Set(std::string_view asked, std::string_view value, const Actor& actor,
                          const std::string& reason) {
  ChangeSetting(asked, value, {actor, reason});
}

void QualityDatabase::ChangeSetting(std::string_view asked, std::string_view value,
                                    const ChangeOptions& options) {
  const auto store = store::SqlStoreOf(*database_);
  const auto refusal = KindOf(*store, asked).Refusal(value);
  if (!refusal.empty()) store::Refuse(*store, refusal);
  std::string name(asked);
  if (const auto colon = name.find(':'); colon != std::string::npos) {
    const auto stream = PresentStream(*this, asked.substr(colon + 1));
    if (stream.empty()) {
      store::Refuse(*store,
                    "\"" + name.substr(colon + 1) +
                        "\" is no stream; write PART/PROCESS/TEST with names that are there");
    }
    name.replace(colon + 1, std::string::npos, stream);
  }
  Change(*database_, options, [&](log::Writing& writing) {
    const auto object = "setting " + name;
    change::CheckVersion(writing.Db(), object, object, options.expected);
    write::StoreSetting(writing, name, value);
  });
}

std::vector<Phase> QualityDatabase::Phases() const {
  return store::Read(*database_,
                     [](store::SqlStore& store, sql::Connection&) { return store.Cache().phases; });
}

Phase QualityDatabase::AddPhase(const Phase& phase, const ChangeOptions& options) {
  Phase added;
  Change(*database_, options, [&](log::Writing& writing) {
    added = write::AddPhase(writing, phase);
    JudgePhase(writing, added, added.start);
  });
  return added;
}

void QualityDatabase::EndPhase(std::int32_t id, std::int32_t finish, const ChangeOptions& options) {
  Change(*database_, options, [&](log::Writing& writing) {
    const auto before = SeenPhase(writing.Db(), id, options);
    write::EndPhase(writing, id, finish);
    if (before) JudgePhase(writing, *before, std::min(finish, before->finish.value_or(finish)));
  });
}

void QualityDatabase::RemovePhase(std::int32_t id, const ChangeOptions& options) {
  Change(*database_, options, [&](log::Writing& writing) {
    const auto before = SeenPhase(writing.Db(), id, options);
    write::RemovePhase(writing, id);
    if (before) JudgePhase(writing, *before, before->start);
  });
}

std::int64_t QualityDatabase::PhaseVersion(std::int32_t id) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return change::VersionOf(db, ObjectOfPhase(id));
  });
}

void QualityDatabase::JoinPhases(bool join) { store::SqlStoreOf(*database_)->JoinPhases(join); }

ShiftPlan QualityDatabase::Shifts() const {
  return {time::ParseTimesOfDay(Setting("shift_starts"))
              .value_or(*time::ParseTimesOfDay(time::kUsualShifts)),
          time::ZoneOffset(Setting("time_zone")).value_or(0)};
}

// --- Rows of limits ------------------------------------------------------------------------------

namespace {

// By effective time, among equals by age; part and test are those that were asked for.
template <class Row>
std::vector<Row> LimitRows(sql::Connection& db, const StreamKey& stream);

template <>
std::vector<SpecificationLimits> LimitRows(sql::Connection& db, const StreamKey& stream) {
  static constexpr std::pair<std::string_view, std::int32_t> kAlarms[] = {
      {"usl", slfUSL}, {"target", slfTAR}, {"lsl", slfLSL}, {"ugb", slfUGB}, {"lgb", slfLGB},
      {"url", slfURL}, {"lrl", slfLRL},    {"uwp", slfUWP}, {"lwp", slfLWP}};
  std::vector<SpecificationLimits> rows;
  sql::Query query(db,
                   "SELECT effective, usl, target, lsl, ugb, lgb, url, lrl, uwp, lwp, cp, cpk, "
                   "aflag, scale, name FROM spec_limit WHERE part = ?1 AND test = ?2 "
                   "ORDER BY effective, id",
                   stream.part, stream.test);
  while (query.Step()) {
    auto& row = rows.emplace_back();
    std::int32_t alarms = 0;
    query.Read(row.effective, row.usl, row.target, row.lsl, row.ugb, row.lgb, row.url, row.lrl,
               row.uwp, row.lwp, row.cp, row.cpk, alarms, row.scale, row.name);
    for (const auto& [name, flag] : kAlarms)
      if ((alarms & flag) != 0) row.alarms.append(row.alarms.empty() ? "" : " ").append(name);
    if (row.alarms.empty()) row.alarms = "none";
  }
  return rows;
}

// Those for any process before those for the process itself.
template <>
std::vector<ControlLimits> LimitRows(sql::Connection& db, const StreamKey& stream) {
  using Row = ControlLimits;
  return sql::Query(db,
                    "SELECT coalesce(process, 0), effective, mean, sp, spl, sw, swl, start, "
                    "finish, chart_word, used, id, until FROM control_limit WHERE part = ?1 "
                    "AND test = ?2 AND status IN ('active', 'retired') "
                    "AND (until IS NULL OR until > effective) AND coalesce(process, 0) IN (0, ?3) "
                    "ORDER BY effective, coalesce(process, 0), id",
                    stream.part, stream.test, stream.process)
      .All<Row>(&Row::process, &Row::effective, &Row::mean, &Row::sp, &Row::spl, &Row::sw,
                &Row::swl, &Row::start, &Row::finish, &Row::chart_word, &Row::used, &Row::id,
                &Row::until);
}

template <>
std::vector<Opportunities> LimitRows(sql::Connection& db, const StreamKey& stream) {
  return sql::Query(db,
                    "SELECT effective, opportunities FROM opportunity WHERE part = ?1 "
                    "AND test = ?2 ORDER BY effective, id",
                    stream.part, stream.test)
      .All<Opportunities>(&Opportunities::effective, &Opportunities::opportunities);
}

template <>
std::vector<NetContents> LimitRows(sql::Connection& db, const StreamKey& stream) {
  using Row = NetContents;
  return sql::Query(db,
                    "SELECT effective, class, quantity, nominal, mav, with_upper, mavl, mavlp, "
                    "mavu, mavup, t1l, t1lp, t1u, t1up, t2l, t2lp, t2u, t2up, factor, name "
                    "FROM net_content WHERE part = ?1 AND test = ?2 ORDER BY effective, id",
                    stream.part, stream.test)
      .All<Row>(&Row::effective, &Row::class_name, &Row::quantity, &Row::nominal, &Row::mav,
                &Row::upper, &Row::mavl, &Row::mavlp, &Row::mavu, &Row::mavup, &Row::t1l,
                &Row::t1lp, &Row::t1u, &Row::t1up, &Row::t2l, &Row::t2lp, &Row::t2u, &Row::t2up,
                &Row::factor, &Row::name);
}

// Empty: without an end.
template <class Row>
std::int64_t UntilOf(const Row& row) {
  if constexpr (std::is_same_v<Row, ControlLimits>) {
    if (row.until) return *row.until;
  }
  return catalogue::kNever;
}

// Rows that one takes over from another: the same time, and of control limits the same process and
// charts.
template <class Row>
bool Replaces(const Row& newer, const Row& older) {
  if constexpr (std::is_same_v<Row, ControlLimits>) {
    if (newer.process != older.process || UntilOf(newer) < UntilOf(older)) return false;
    if (!catalogue::ShareCharts(newer.chart_word, older.chart_word)) return false;
  }
  return newer.effective == older.effective;
}

}  // namespace

template <class Row>
std::vector<Row> QualityDatabase::Versions(const StreamKey& stream) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    std::vector<Row> rows;
    for (auto& row : LimitRows<Row>(db, stream)) {
      row.part = stream.part;
      row.test = stream.test;
      std::erase_if(rows, [&](const Row& before) { return Replaces(row, before); });
      rows.push_back(std::move(row));
    }
    return rows;
  });
}

template <class Row>
std::optional<Row> QualityDatabase::InForce(const StreamKey& stream, std::int64_t time) const {
  auto rows = Versions<Row>(stream);
  auto after = std::ranges::upper_bound(rows, time, {}, &Row::effective);
  while (after != rows.begin() && UntilOf(*std::prev(after)) <= time) --after;
  return after == rows.begin() ? std::nullopt : std::optional(std::move(*std::prev(after)));
}

template std::vector<SpecificationLimits> QualityDatabase::Versions(const StreamKey&) const;
template std::vector<ControlLimits> QualityDatabase::Versions(const StreamKey&) const;
template std::vector<Opportunities> QualityDatabase::Versions(const StreamKey&) const;
template std::vector<NetContents> QualityDatabase::Versions(const StreamKey&) const;
template std::optional<SpecificationLimits> QualityDatabase::InForce(const StreamKey&,
                                                                     std::int64_t) const;
template std::optional<ControlLimits> QualityDatabase::InForce(const StreamKey&,
                                                               std::int64_t) const;
template std::optional<Opportunities> QualityDatabase::InForce(const StreamKey&,
                                                               std::int64_t) const;
template std::optional<NetContents> QualityDatabase::InForce(const StreamKey&, std::int64_t) const;

}  // namespace orvspc
