// SPDX-License-Identifier: Apache-2.0
#include "engine/write/import/Import.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>

#include "engine/chunks/StreamWalk.h"
#include "engine/sql/address.h"
#include "engine/sql/failure.h"
#include "engine/sql/texts.h"
#include "engine/store/SqlStore.h"
#include "engine/write/import/import_kind.h"
#include "engine/write/log/AddedNames.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/Log.h"
#include "engine/write/log/UndoneNames.h"
#include "system/Sha256.h"
#include "system/system.h"

namespace orvspc::engine::import {
namespace {

// In the order of the enumeration.
constexpr const KindOfFile* kKinds[] = {
    &kValuesKind,   &kLimitsKind,      &kControlLimitsKind, &kOpportunitiesKind, &kRulesKind,
    &kAlarmsKind,   &kGroupsKind,      &kRequirementsKind,  &kDefectsKind,       &kAccCodesKind,
    &kCacCodesKind, &kStateCodesKind,  &kPartsKind,         &kProcessesKind,     &kEventsKind,
    &kStatesKind,   &kNetContentsKind, &kFlagsKind,         &kCommentsKind};

std::string Sha256OfFile(const std::string& name) {
  constexpr std::size_t kBlock = 1 << 16;
  std::ifstream file(system::PathOf(name), std::ios::binary);
  std::vector<char> block(kBlock);
  system::Sha256 sha;
  while (file) {
    file.read(block.data(), static_cast<std::streamsize>(block.size()));
    sha.Add(std::string_view(block.data(), static_cast<std::size_t>(file.gcount())));
  }
  return system::HexOf(sha.Finish());
}

// What the file was, and what has come of it: a row of the table and an entry of the log, which
// names the first of those that its lines have added.
void KeepBatch(log::Writing& writing, const std::string& name, const KindOfFile& kind,
               const ImportFile& file, const ImportOptions& options, std::int64_t first_entry,
               const log::AddedNames& names) {
  const auto& report = file.report;
  const bool has_values = kind.kind == ImportKind::Values;
  const auto source = sql::MadeStorable(name);  // a file's name may be any bytes
  const auto records = has_values ? file.records : report.rows;
  const auto of_source = options.hash_source ? Sha256OfFile(name) : std::string();
  log::Json after = {
      {"kind", kind.word}, {"source", source}, {"lines", report.lines}, {"records", records}};
  if (!file.digest.empty()) after["digest"] = file.digest;
  if (first_entry != writing.Next()) after["first"] = first_entry;
  if (!of_source.empty()) after["source_sha256"] = of_source;
  if (has_values) names.AddTo(after);
  const auto entry =
      writing.Add("import", "batch " + std::to_string(file.batch), {}, log::CanonicalText(after));
  Run(writing.Db(),
      "INSERT INTO batch(id, kind, source, source_sha256, lines, records, digest, state, entry) "
      "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, 'stored', ?8)",
      file.batch, kind.word, source, of_source, report.lines, records, file.digest, entry);
}

// Of the streams that are judged by their specification limits alone.
void NoteNoLimits(sql::Connection& db, const std::vector<std::int64_t>& streams,
                  ImportReport& report) {
  if (streams.empty()) return;
  if (streams.size() == 1) {
    report.notes.push_back(
        {alarms::kNoLimitsCode, alarms::kNoLimitsText, store::StreamText(db, streams[0])});
    return;
  }
  report.notes.push_back({alarms::kNoLimitsCode,
                          "no control limits in force for " + std::to_string(streams.size()) +
                              " streams: orvspc limits propose",
                          {}});
}

ImportReport TakeLines(log::Writing& writing, const std::string& name, const KindOfFile& kind,
                       const ImportOptions& options) {
  auto& connection = writing.Db();
  ImportFile file{writing,
                  connection,
                  {name, kind.columns, options},
                  "import " + name,
                  std::max<std::size_t>(options.most_held, 1),
                  options.refuse_new_items,
                  sql::TakeIds(connection, "batch")};
  const auto first_entry = writing.Next();
  const log::AddedNames names(connection);
  const auto take_line = kind.begin(file);
  while (file.table.Next()) take_line();
  if (file.finish) file.finish();
  file.report.lines = file.table.Lines();
  file.report.new_names += file.names.Added();
  file.report.new_items = file.names.NewItems();
  std::ranges::move(file.names.Notes(), std::back_inserter(file.report.notes));
  file.report.batch = file.batch;
  KeepBatch(writing, name, kind, file, options, first_entry, names);
  for (const auto& [of, id] : file.names.Revived()) log::AddActivate(writing, of, id);
  const auto touched = file.touched.All();
  for (const auto& each : touched) file.report.streams.push_back(each.stream);
  std::vector<std::int64_t> without_limits;
  file.report.alarms = alarms::Judge(writing, touched, &without_limits);
  if (kind.kind == ImportKind::Values) NoteNoLimits(writing.Db(), without_limits, file.report);
  return file.report;
}

// What the database asks for.
std::chrono::seconds PatienceIn(sql::Connection& connection) {
  const sql::Transaction transaction(connection, sql::TransactionKind::Read);
  sql::Query query(connection, "SELECT value FROM setting WHERE key = ?1 ORDER BY id DESC LIMIT 1",
                   store::kPatienceSetting);
  return store::PatienceOf(query.Step() ? query.Text(0) : std::string_view());
}

// In one transaction, which begins with prepare.
ImportReport TakeFile(sql::Connection& connection, const std::string& file, ImportKind kind,
                      const ImportOptions& options, std::chrono::milliseconds patience,
                      const std::function<void()>& prepare) {
  connection.WaitForWriters(options.patience.value_or(patience), options.waiting);
  connection.PrepareBulk();
  sql::Transaction transaction(connection, sql::TransactionKind::Write);
  prepare();
  log::Writing writing(connection, options.actor, options.reason);
  auto report = TakeLines(writing, file, *kKinds[static_cast<std::size_t>(kind)], options);
  transaction.Commit();
  store::NoteWrite();
  try {
    connection.EmptyLog();
  } catch (const sql::SqlError& error) {
    // What is committed stays in the log, which is emptied later, unless it cannot be read.
    if (error.Which() == sql::SqlError::Kind::Damaged) throw;
  }
  return report;
}

}  // namespace

std::vector<ImportKindInfo> ImportKinds() {
  std::vector<ImportKindInfo> all;
  for (const auto* kind : kKinds) all.push_back(*kind);
  return all;
}

std::optional<ImportKind> ImportKindFromWord(std::string_view word) {
  for (const auto* kind : kKinds) {
    if (kind->word == word) return kind->kind;
  }
  return std::nullopt;
}

ImportReport ImportCsv(const std::string& file, platform::Database& database, ImportKind kind,
                       const ImportOptions& options) {
  const auto store = store::SqlStoreOf(database);
  try {
    // Beside the store's own connection, which reads on meanwhile.
    const auto connection = store::OpenConnection(store->WholePath(), false);
    return TakeFile(*connection, file, kind, options, PatienceIn(*connection), [] {});
  } catch (...) {
    sql::RethrowAsExternal(store->Path(), "Import");
  }
}

ImportReport ImportIntoServer(const std::string& file, const std::string& address, ImportKind kind,
                              const ImportOptions& options) {
  try {
    const auto connection = store::OpenToFill(address);
    const auto patience =
        store::HasTables(*connection, address) ? PatienceIn(*connection) : store::kPatience;
    return TakeFile(*connection, file, kind, options, patience,
                    [&] { store::MakeTablesToFill(*connection, address); });
  } catch (...) {
    sql::RethrowAsExternal(sql::WithoutPasswords(address), "Import");
  }
}

}  // namespace orvspc::engine::import
