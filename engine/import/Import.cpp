// SPDX-License-Identifier: Apache-2.0
#include "engine/import/Import.h"

#include "engine/import/import_table.h"
#include "engine/sql/failure.h"
#include "engine/store/SqlStore.h"
#include "engine/time/calendar.h"

namespace orvspc::engine::import {
namespace {

struct Kind {
  std::string_view word;
  ImportKind kind;
  ImportReport (*import)(const ImportContext&);
};
constexpr Kind kKinds[] = {
    {"values", ImportKind::Values, ImportValues},
    {"limits", ImportKind::Limits, ImportLimits},
    {"control-limits", ImportKind::ControlLimits, ImportControlLimits},
    {"opportunities", ImportKind::Opportunities, ImportOpportunities},
    {"rules", ImportKind::Rules, ImportRules},
    {"alarms", ImportKind::Alarms, ImportAlarms},
    {"groups", ImportKind::Groups, ImportGroups},
    {"requirements", ImportKind::Requirements, ImportRequirements},
    {"defects", ImportKind::Defects, ImportDefects},
    {"acc-codes", ImportKind::AccCodes, ImportAccCodes},
    {"cac-codes", ImportKind::CacCodes, ImportCacCodes},
    {"state-codes", ImportKind::StateCodes, ImportStateCodes},
    {"parts", ImportKind::Parts, ImportParts},
    {"processes", ImportKind::Processes, ImportProcesses},
    {"events", ImportKind::Events, ImportEvents},
    {"states", ImportKind::States, ImportStates},
    {"net-contents", ImportKind::NetContents, ImportNetContents},
};

}  // namespace

std::optional<ImportKind> ImportKindFromWord(std::string_view word) {
  for (const auto& each : kKinds) {
    if (each.word == word) return each.kind;
  }
  return std::nullopt;
}

std::vector<std::string_view> ImportKindWords() {
  std::vector<std::string_view> words;
  for (const auto& each : kKinds) words.push_back(each.word);
  return words;
}

ImportReport ImportCsv(const std::string& file, platform::Database& database, ImportKind kind,
                       const ImportOptions& options) {
  const auto store = store::SqlStoreOf(database);
  try {
    // Beside the store's own connection, which reads on meanwhile.
    const auto connection = store::OpenConnection(store->Path(), false);
    connection->PrepareBulk();
    sql::Transaction transaction(*connection, sql::TransactionKind::Write);
    const ImportContext context{*connection, file, options, "import " + file, time::Now()};
    const auto report = kKinds[static_cast<std::size_t>(kind)].import(context);
    transaction.Commit();
    store::NoteWrite();
    try {
      connection->EmptyLog();
    } catch (const sql::SqlError&) {
      // What is committed stays in the log, which is emptied later.
    }
    return report;
  } catch (...) {
    sql::RethrowAsExternal(store->Path(), "Import");
  }
}

}  // namespace orvspc::engine::import
