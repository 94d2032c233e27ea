// SPDX-License-Identifier: Apache-2.0
#include "engine/import/Import.h"

#include <functional>

#include "engine/import/import_kind.h"
#include "engine/sql/address.h"
#include "engine/sql/failure.h"
#include "engine/store/SqlStore.h"

namespace orvspc::engine::import {
namespace {

// In the order of the enumeration.
constexpr const KindOfFile* kKinds[] = {
    &kValuesKind,   &kLimitsKind,     &kControlLimitsKind, &kOpportunitiesKind, &kRulesKind,
    &kAlarmsKind,   &kGroupsKind,     &kRequirementsKind,  &kDefectsKind,       &kAccCodesKind,
    &kCacCodesKind, &kStateCodesKind, &kPartsKind,         &kProcessesKind,     &kEventsKind,
    &kStatesKind,   &kNetContentsKind};

ImportReport TakeLines(sql::Connection& connection, const std::string& name, const KindOfFile& kind,
                       const ImportOptions& options) {
  ImportFile file{connection,
                  {name, kind.columns, options},
                  "import " + name,
                  std::max<std::size_t>(options.most_held, 1)};
  const auto take_line = kind.begin(file);
  while (file.table.Next()) take_line();
  if (file.finish) file.finish();
  file.report.lines = file.table.Lines();
  file.report.new_names += file.names.Added();
  return file.report;
}

// In one transaction, which begins with prepare.
ImportReport TakeFile(sql::Connection& connection, const std::string& file, ImportKind kind,
                      const ImportOptions& options, const std::function<void()>& prepare) {
  connection.WaitForWriters(options.patience, options.waiting);
  connection.PrepareBulk();
  sql::Transaction transaction(connection, sql::TransactionKind::Write);
  prepare();
  auto report = TakeLines(connection, file, *kKinds[static_cast<std::size_t>(kind)], options);
  transaction.Commit();
  store::NoteWrite();
  try {
    connection.EmptyLog();
  } catch (const sql::SqlError&) {
    // What is committed stays in the log, which is emptied later.
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
    return TakeFile(*connection, file, kind, options, [] {});
  } catch (...) {
    sql::RethrowAsExternal(store->Path(), "Import");
  }
}

ImportReport ImportIntoServer(const std::string& file, const std::string& address, ImportKind kind,
                              const ImportOptions& options) {
  try {
    const auto connection = store::OpenToFill(address);
    return TakeFile(*connection, file, kind, options,
                    [&] { store::MakeTablesToFill(*connection, address); });
  } catch (...) {
    sql::RethrowAsExternal(sql::WithoutPasswords(address), "Import");
  }
}

}  // namespace orvspc::engine::import
