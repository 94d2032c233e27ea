// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <stdexcept>
#include <thread>
#include <unordered_map>

#include "engine/schema/schema.h"
#include "engine/sql/address.h"
#include "engine/sql/failure.h"
#include "engine/sql/sqlite/SqliteConnection.h"
#include "engine/store/DraftFile.h"
#include "engine/store/SqlStore.h"
#include "engine/store/migration.h"
#include "platform/ExternalFailure.h"
#include "system/system.h"

namespace orvspc::engine::store {
namespace {

// The open stores by handle.
struct HandleTable {
  std::mutex mutex;
  std::unordered_map<std::int32_t, std::shared_ptr<SqlStore>> stores;
  std::int32_t last = 0;
};

// Never destroyed: a database object of static life may close after it would have been.
HandleTable& Handles() {
  static auto* const table = new HandleTable;
  return *table;
}

std::shared_ptr<SqlStore> FindStore(std::int32_t handle) {
  auto& [mutex, stores, last] = Handles();
  const std::lock_guard lock(mutex);
  const auto found = stores.find(handle);
  return found == stores.end() ? nullptr : found->second;
}

// What can be said without opening the file as a database.
void CheckFile(const std::string& path, bool create) {
  if (path.empty()) RefuseFile(path, "");
  const auto state = system::StateOf(path);
  if (!state) {
    const int error = errno;
    if (error == ENOENT || error == ENOTDIR) CheckNotMistyped(path);
    if (error == ENOENT && create) return CheckNoLogLeft(path);
    RefuseFile(path, error == ENOENT ? "there is no such file" : std::strerror(error));
  }
  if (state->kind == system::FileKind::Folder) RefuseFile(path, "is a folder");
  if (state->kind != system::FileKind::Plain) RefuseFile(path, "is no plain file");
  if (!system::MayRead(path)) RefuseFile(path, "may not be read");
  CheckNoLogLeft(path);
}

// Why a file may not be written to; empty when it may.
std::string WhyReadOnly(const std::string& path) {
  if (system::IsThere(path) && !system::MayWrite(path)) return "may not be written to";
  // The write-ahead log lies beside the file.
  const auto target = TargetOf(path);
  const auto folder = FolderOf(target);
  if (!system::IsThere(folder)) {
    return "there is no folder " + FolderOf(sql::WithoutPasswords(target));
  }
  return system::MayWrite(folder) ? "" : "its folder may not be written to";
}

// Says whether the file is a database of ours, and of which schema; 0 is one that is yet to be
// made: an empty file, or one without a mark and without a table.
std::int32_t SchemaOf(sql::Connection& connection, const std::string& path, bool create) {
  const auto mark = connection.Mark();
  if (mark.application != schema::kApplicationId) {
    const bool is_bare = mark.application == 0 && mark.version == 0 && !mark.has_tables;
    if (!is_bare) {
      RefuseFile(path, sql::IsAddress(path) ? "has other tables and is no quality database"
                                            : "is an SQLite file, but no quality database");
    }
    if (!create) RefuseFile(path, "is empty and no quality database");
    return 0;
  }
  if (mark.version < 0) RefuseFile(path, "is damaged: its schema has a negative version");
  if (mark.version > schema::kSchemaVersion) {
    RefuseFile(path, "was made by a newer release (schema " + std::to_string(mark.version) +
                         ", this one knows " + std::to_string(schema::kSchemaVersion) + ")");
  }
  return mark.version;
}

// Whether there is a database of an older schema.
bool IsOld(sql::Connection& connection, const std::string& path, bool create) {
  sql::Transaction transaction(connection, sql::TransactionKind::Read);
  const auto version = SchemaOf(connection, path, create);
  transaction.Commit();
  return version > 0 && version < schema::kSchemaVersion;
}

[[noreturn]] void RefuseOld(const std::string& path, std::int32_t version) {
  RefuseFile(path, "was made by an older release (schema " + std::to_string(version) +
                       ") and may not be written to, so it cannot be brought forward");
}

// Runs work, which brings a database forward; says where it may not be written to.
template <class Work>
void RunForward(const std::string& path, std::int32_t version, Work work) {
  try {
    work();
  } catch (const sql::SqlError& error) {
    using enum sql::SqlError::Kind;
    if (version > 0 && (error.Which() == ReadOnly || error.Which() == NoRight)) {
      RefuseOld(path, version);
    }
    throw;
  }
}

// Brings the database to the present schema, inside a write transaction. Returns whether it was
// empty.
bool MakeTables(sql::Connection& connection, const std::string& path, bool create) {
  const auto version = SchemaOf(connection, path, create);
  if (version == schema::kSchemaVersion) return false;
  RunForward(path, version, [&] { BringTablesForward(connection, version); });
  return version == 0;
}

// The same in a transaction of its own, where it is needed. Looked at again under the write lock:
// another program may have made it in the meantime.
bool Prepare(sql::Connection& connection, const std::string& path, bool create) {
  std::int32_t version = 0;
  {
    const sql::Transaction reading(connection, sql::TransactionKind::Read);
    version = SchemaOf(connection, path, create);
  }
  bool was_empty = false;
  if (version == schema::kSchemaVersion) return was_empty;
  RunForward(path, version, [&] {
    sql::Transaction writing(connection, sql::TransactionKind::Write);
    was_empty = MakeTables(connection, path, create);
    writing.Commit();
  });
  return was_empty;
}

// Whether a program writes into the file itself, as only one that makes it or brings it forward
// does.
bool IsWrittenWithoutLog(const std::string& path) {
  const auto journal = system::StateOf(TargetOf(path) + "-journal");
  return journal && journal->size > 0;
}

// Of several programs that open an older file at once, each keeps the others from being alone with
// it: so they let go of it, and try again for a while. Who finds it locked by the one that brings
// it forward waits for that as long as for a writer.
std::unique_ptr<sql::Connection> OpenAndBringForward(const std::string& path, bool create) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::seconds kForOthers{5}, kForWriter{60};
  const auto begin = Clock::now();
  auto until = begin;
  bool is_told = false;
  const auto tell_waiting = [&] {
    is_told = true;
    TellMigration(path, -1);
  };
  std::random_device random;
  for (bool is_old = false;;) {
    try {
      auto opened = sql::sqlite::OpenFile(
          path, create,
          [&](sql::Connection& connection) {
            if (IsOld(connection, path, create)) {
              is_old = true;
              return BringFileForward(connection, path);
            }
            Prepare(connection, path, create);
          },
          tell_waiting);
      if (is_told) TellMigration(path, 100);
      return opened;
    } catch (const sql::SqlError& error) {
      if (error.Which() != sql::SqlError::Kind::Locked) throw;
      const auto now = Clock::now();
      if (is_old) until = std::max(until, begin + kForOthers);
      // It may be the last time that its journal is there.
      if (IsWrittenWithoutLog(path)) until = std::min(now + kForOthers, begin + kForWriter);
      if (now >= until) throw;
    }
    tell_waiting();
    std::this_thread::sleep_for(std::chrono::milliseconds(5 + random() % 40));
  }
}

std::unique_ptr<sql::Connection> OpenToWrite(const std::string& path, bool create) {
  auto opened = OpenAndBringForward(path, create);
  // Otherwise the log would fill the device with what cannot be ended.
  if (!HasRoomForItself(path)) return opened;
  try {
    // Of a file that was brought forward.
    sql::sqlite::AddChecksums(*opened);
    return opened;
  } catch (const sql::SqlError& error) {
    const auto kind = error.Which();
    if (kind != sql::SqlError::Kind::Full && kind != sql::SqlError::Kind::Locked) throw;
  }
  // It is used without them until there is room, or nobody writes. Opened anew, since the
  // connection would go on to reserve bytes for them.
  opened.reset();
  return OpenAndBringForward(path, create);
}

std::unique_ptr<sql::Connection> OpenOnServer(const std::string& address,
                                              const std::function<void(sql::Connection&)>& check) {
  try {
    return sql::OpenServer(address, check);
  } catch (const sql::SqlError& error) {
    RefuseFile(address, sql::ReasonOf(error));
  } catch (const std::runtime_error& error) {
    RefuseFile(address, error.what());  // of values that are damaged
  }
}

// A file that may not be brought forward.
void CheckSchema(sql::Connection& connection, const std::string& path) {
  sql::Transaction transaction(connection, sql::TransactionKind::Read);
  const auto version = SchemaOf(connection, path, false);
  if (version < schema::kSchemaVersion) RefuseOld(path, version);
  transaction.Commit();
}

struct KeptNote {
  std::int32_t handle;
  Note note;
  std::size_t left_out = 0;  // notes that it replaces; 0: it is a note of its own
};

struct ThreadNotes {
  std::int32_t handle = 0;  // of the database that new ones belong to
  std::vector<KeptNote> notes;
};
thread_local ThreadNotes thread_notes;

// Whether anybody can still ask for the notes of that database.
bool CanBeTaken(std::int32_t handle) {
  return handle == kNoDatabase || FindStore(handle) != nullptr;
}

// Of the oldest half only how many they were stays, in one note for each database.
void LeaveOutOldestHalf(std::vector<KeptNote>& notes) {
  std::map<std::int32_t, std::size_t> left_out;
  const auto rest = notes.begin() + static_cast<std::ptrdiff_t>(notes.size() / 2);
  for (auto old = notes.begin(); old != rest; ++old)
    if (CanBeTaken(old->handle)) left_out[old->handle] += std::max(old->left_out, std::size_t{1});
  std::vector<KeptNote> kept;
  // Before any note has moved, so that none is lost where memory runs out; with the one to come.
  kept.reserve(left_out.size() + static_cast<std::size_t>(notes.end() - rest) + 1);
  for (const auto& [handle, count] : left_out)
    kept.push_back({handle,
                    {"notes-cut",
                     count == 1 ? "1 note that came before is left out."
                                : std::to_string(count) + " notes that came before are left out.",
                     {}},
                    count});
  std::move(rest, notes.end(), std::back_inserter(kept));
  notes = std::move(kept);
}

}  // namespace

void RefuseFile(const std::string& path, const std::string& reason) {
  throw platform::ExternalFailure(sql::kRefused, "OpenDatabase",
                                  path.empty() ? "the name of the database is empty"
                                               : sql::WithoutPasswords(path) + ": " + reason);
}

std::unique_ptr<sql::Connection> OpenConnection(const std::string& path, bool create, bool* made) {
  if (sql::IsAddress(path)) {
    return OpenOnServer(path, [&](sql::Connection& connection) {
      const bool was_empty = Prepare(connection, path, create);
      if (made != nullptr) *made = was_empty;
    });
  }
  CheckFile(path, create);
  const auto why_read_only = WhyReadOnly(path);
  if (create && !why_read_only.empty()) RefuseFile(path, why_read_only);
  try {
    if (why_read_only.empty()) {
      try {
        return OpenToWrite(path, create);
      } catch (const sql::SqlError& error) {
        // The system does not always know beforehand.
        if (create || error.Which() != sql::SqlError::Kind::ReadOnly) throw;
      }
    }
    auto opened = sql::sqlite::OpenFileToRead(path);
    CheckSchema(*opened, path);
    return opened;
  } catch (const sql::SqlError& error) {
    RefuseFile(path, sql::ReasonOf(error));
  } catch (const std::runtime_error& error) {
    RefuseFile(path, error.what());
  }
}

std::unique_ptr<sql::Connection> OpenToFill(const std::string& address) {
  return OpenOnServer(address, [](sql::Connection&) {});
}

bool HasTables(sql::Connection& connection, const std::string& address) {
  const sql::Transaction reading(connection, sql::TransactionKind::Read);
  return SchemaOf(connection, address, true) != 0;
}

void MakeTablesToFill(sql::Connection& connection, const std::string& address) {
  MakeTables(connection, address, true);
}

StoreHandle::StoreHandle(std::shared_ptr<SqlStore> store) {
  auto& [mutex, stores, last] = Handles();
  const std::lock_guard lock(mutex);
  // Handles are not used twice before all have been used, so that a kept one stays refused.
  do {
    last = last == INT32_MAX ? 1 : last + 1;
  } while (stores.contains(last));
  stores.emplace(last, std::move(store));
  number_ = last;
}

StoreHandle::~StoreHandle() {
  const std::lock_guard lock(Handles().mutex);
  Handles().stores.erase(number_);
}

std::shared_ptr<SqlStore> SqlStoreOf(platform::Database& database) {
  if (auto store = FindStore(database.ConnectionHandle())) return store;
  throw platform::ExternalFailure(sql::kRefused, "Database",
                                  "The database object is none of the embedded engine");
}

std::shared_ptr<Store> StoreOf(platform::Database& database) { return SqlStoreOf(database); }

std::shared_ptr<Store> StoreOf(std::int32_t handle) { return FindStore(handle); }

std::vector<Note> TakeNotes() {
  std::vector<Note> notes;
  for (auto& each : std::exchange(thread_notes.notes, {})) notes.push_back(std::move(each.note));
  return notes;
}

std::size_t NoteCount() { return thread_notes.notes.size(); }

void KeepNotes(std::size_t count) {
  auto& notes = thread_notes.notes;
  if (count < notes.size())
    notes.erase(notes.begin() + static_cast<std::ptrdiff_t>(count), notes.end());
}

std::vector<Note> TakeNotes(std::int32_t handle) {
  std::vector<Note> notes;
  std::vector<KeptNote> others;
  for (auto& each : thread_notes.notes) {
    if (each.handle == handle || each.handle == kNoDatabase) {
      notes.push_back(std::move(each.note));
    } else if (CanBeTaken(each.handle)) {
      others.push_back(std::move(each));
    }
  }
  thread_notes.notes = std::move(others);
  return notes;
}

NotesBelongTo::NotesBelongTo(std::int32_t handle)
    : before_(std::exchange(thread_notes.handle, handle)) {}

NotesBelongTo::~NotesBelongTo() { thread_notes.handle = before_; }

void AddNote(std::string code, std::string text, std::string stream) {
  auto& [handle, notes] = thread_notes;
  // A host that never asks for them must not run out of memory.
  if (notes.size() >= kMaxNotes) LeaveOutOldestHalf(notes);
  notes.push_back({handle, {std::move(code), std::move(text), std::move(stream)}});
}

}  // namespace orvspc::engine::store
