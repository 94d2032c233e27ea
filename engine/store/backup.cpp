// SPDX-License-Identifier: Apache-2.0
#include "engine/store/backup.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "engine/sql/address.h"
#include "engine/sql/sqlite/SqliteConnection.h"
#include "engine/sql/sqlite/pages.h"
#include "engine/store/DraftFile.h"
#include "engine/store/check.h"
#include "engine/time/calendar.h"
#include "engine/write/log/Log.h"
#include "platform/TimeText.h"
#include "system/system.h"

namespace orvspc::engine::store {
namespace {

namespace fs = std::filesystem;

// The time in the name of a backup, with 0 for each digit.
constexpr std::string_view kTimeForm = "00000000T000000Z";

bool HasTimeForm(std::string_view text) {
  return std::ranges::equal(text, kTimeForm, [](char c, char form) {
    return form == '0' ? std::isdigit(static_cast<unsigned char>(c)) != 0 : c == form;
  });
}

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

bool IsNameOfBackup(const NameParts& parts, std::string_view name) {
  if (!name.starts_with(parts.before) || !name.ends_with(parts.after)) return false;
  name.remove_prefix(parts.before.size());
  return name.size() == kTimeForm.size() + parts.after.size() &&
         HasTimeForm(name.substr(0, kTimeForm.size()));
}

// Of the database in a file that this release can read and nobody has open; else empty.
std::string IdentityIn(const std::string& path) {
  for (const auto* ending : {"-wal", "-shm", "-journal"}) {
    if (system::IsThere(path + ending)) return {};
  }
  try {
    const auto db = sql::sqlite::OpenFileToRead(path);
    sql::Transaction reading(*db, sql::TransactionKind::Read);
    auto identity = log::IdentityOf(*db);
    reading.Commit();
    return identity;
  } catch (const sql::SqlError&) {
    return {};
  }
}

void CheckCopy(const std::string& path) {
  const auto copy = sql::sqlite::OpenFileToRead(path);
  sql::Transaction reading(*copy, sql::TransactionKind::Read);
  const auto refuse = [&](const std::string& damage) {
    RefuseFile(path, "is not made, since what was copied is damaged: " + damage);
  };
  for (const auto look : {sql::sqlite::DamagedPages, sql::sqlite::DamagedStructure}) {
    if (const auto found = look(*copy, 1); !found.empty()) refuse(found.front());
  }
  try {
    CheckPacked(*copy);
  } catch (const sql::SqlError&) {
    throw;
  } catch (const std::runtime_error& damage) {
    refuse(damage.what());
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

std::int64_t MakeBackup(SqlStore& store, const std::string& path,
                        const std::function<void(int)>& progress,
                        const std::function<void(sql::Connection&)>& finish) {
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
      if (finish) {
        const auto copy = OpenConnection(name, false);
        sql::Transaction writing(*copy, sql::TransactionKind::Write);
        finish(*copy);
        writing.Commit();
      }
      CheckCopy(name);
    } catch (const sql::SqlError&) {
      sql::RethrowAsExternal(name, kHostCall);
    }
  });
  if (!draft.PutInPlace()) RefuseFile(path, "is there already");
  const auto state = system::StateOf(path);
  return state ? state->size : 0;
}

std::vector<std::string> DeleteOldBackups(SqlStore& store, const std::string& path,
                                          std::size_t keep) {
  const auto parts = NamesOf(store);
  const auto made = system::PathOf(path);
  std::string identity;
  Guarded(store,
          [&] { store.ReadOrThrow([&](sql::Connection& db) { identity = log::IdentityOf(db); }); });
  std::vector<fs::path> others;
  std::error_code error, ignored;
  for (fs::directory_iterator at(system::PathOf(FolderOf(path)), error), end; !error && at != end;
       at.increment(error)) {
    const auto name = at->path().filename();
    const bool is_plain = at->symlink_status(ignored).type() == fs::file_type::regular;
    if (is_plain && name != made.filename() && IsNameOfBackup(parts, system::TextOf(name)) &&
        IdentityIn(system::TextOf(at->path())) == identity) {
      others.push_back(at->path());
    }
  }
  if (error) RefuseFile(FolderOf(path), error.message());
  // Their names have their times.
  std::ranges::sort(others);
  others.resize(others.size() - std::min(others.size(), keep - 1));
  std::vector<std::string> deleted;
  for (const auto& old : others) {
    if (!fs::remove(old, error) && error) RefuseFile(system::TextOf(old), error.message());
    deleted.push_back(system::TextOf(old));
  }
  return deleted;
}

}  // namespace orvspc::engine::store
