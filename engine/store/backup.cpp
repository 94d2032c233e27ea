// SPDX-License-Identifier: Apache-2.0
#include "engine/store/backup.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

#include "engine/sql/address.h"
#include "engine/sql/sqlite/SqliteConnection.h"
#include "engine/sql/sqlite/pages.h"
#include "engine/store/DraftFile.h"
#include "engine/time/calendar.h"
#include "platform/TimeText.h"
#include "system/system.h"

namespace orvspc::engine::store {
namespace {

namespace fs = std::filesystem;

std::string TimeInName() {
  auto text = platform::IsoText(time::Now());
  std::erase_if(text, [](char c) { return c == '-' || c == ':'; });
  return text + "Z";
}

// What comes before and after the time in the names of its backups.
struct NameParts {
  std::string before, after;
};
NameParts NamesOf(const SqlStore& store) {
  const auto file = system::PathOf(store.WholePath()).filename();
  return {system::TextOf(file.stem()) + "-", system::TextOf(file.extension())};
}

void CheckCopy(const std::string& path) {
  const auto copy = sql::sqlite::OpenFileToRead(path);
  sql::Transaction reading(*copy, sql::TransactionKind::Read);
  for (const auto look : {sql::sqlite::DamagedPages, sql::sqlite::DamagedStructure}) {
    const auto found = look(*copy, 1);
    if (!found.empty()) {
      RefuseFile(path, "is not made, since what was copied is damaged: " + found.front());
    }
  }
  reading.Commit();
}

}  // namespace

std::string BackupPlace(const SqlStore& store, const std::string& to) {
  if (sql::IsAddress(store.WholePath())) {
    Refuse(store, "is on a server, whose backups are those of pg_dump (docs/how-to/postgresql.md)");
  }
  if (sql::IsAddress(to)) RefuseFile(to, "a backup is a file; copy writes to a server");
  const auto state = system::StateOf(to);
  if (!state || state->kind != system::FileKind::Folder) return to;
  const auto [before, after] = NamesOf(store);
  return system::TextOf(system::PathOf(to) / system::PathOf(before + TimeInName() + after));
}

void MakeBackup(SqlStore& store, const std::string& path,
                const std::function<void(int)>& progress) {
  DraftFile draft(path);
  if (draft.IsThere()) RefuseFile(path, "is there already");
  draft.Fill([&](const std::string& name) {
    Guarded(store, [&] {
      store.ReadOrThrow([&](sql::Connection& db) {
        try {
          sql::sqlite::BackUp(db, name, progress);
        } catch (const sql::SqlError& error) {
          // Of the database; all others are of the backup.
          if (error.Which() == sql::SqlError::Kind::Damaged) throw;
          sql::RethrowAsExternal(name, kHostCall);
        }
      });
    });
    try {
      CheckCopy(name);
    } catch (const sql::SqlError&) {
      sql::RethrowAsExternal(name, kHostCall);
    }
  });
  if (!draft.PutInPlace()) RefuseFile(path, "is there already");
}

}  // namespace orvspc::engine::store
