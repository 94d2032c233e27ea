// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <unordered_map>

#include "engine/schema/schema.h"
#include "engine/sql/failures.h"
#include "engine/store/DraftFile.h"
#include "engine/store/SqliteStore.h"
#include "platform/ExternalFailure.h"

namespace orvspc::engine::store {
namespace {

// A locked file is reported after this long; another program that is making it is given more.
constexpr int kBusyMilliseconds = 500;
constexpr int kMakingMilliseconds = 5000;
constexpr std::int32_t kFailure = -2147221504;

[[noreturn]] void Refuse(const std::string& path, const std::string& reason) {
  RefuseFile(path, reason);
}

class HandleTable {
 public:
  std::int32_t Add(std::shared_ptr<SqliteStore> store) {
    const std::lock_guard lock(mutex_);
    // Handles are not used twice before all have been used, so that a kept one stays refused.
    do {
      last_ = last_ == INT32_MAX ? 1 : last_ + 1;
    } while (stores_.contains(last_));
    stores_.emplace(last_, std::move(store));
    return last_;
  }
  void Remove(std::int32_t handle) {
    const std::lock_guard lock(mutex_);
    stores_.erase(handle);
  }
  std::shared_ptr<SqliteStore> Find(std::int32_t handle) {
    const std::lock_guard lock(mutex_);
    const auto found = stores_.find(handle);
    return found == stores_.end() ? nullptr : found->second;
  }

 private:
  std::mutex mutex_;
  std::unordered_map<std::int32_t, std::shared_ptr<SqliteStore>> stores_;
  std::int32_t last_ = 0;
};

// Never destroyed: a database object of static life may close after it would have been.
HandleTable& Handles() {
  static auto* const table = new HandleTable;
  return *table;
}

class OpenedDatabase final : public EmbeddedDatabase {
 public:
  explicit OpenedDatabase(std::shared_ptr<SqliteStore> store)
      : store_(std::move(store)), handle_(Handles().Add(store_)) {}
  OpenedDatabase(const OpenedDatabase&) = delete;
  OpenedDatabase& operator=(const OpenedDatabase&) = delete;
  ~OpenedDatabase() override { Handles().Remove(handle_); }

  std::int32_t ConnectionHandle() override { return handle_; }
  std::int32_t DatabaseValue(std::int32_t value) override { return value_.exchange(value); }
  std::optional<Failure> TakeFailure() override { return store_->TakeFailure(); }

  const std::shared_ptr<SqliteStore>& Opened() const { return store_; }

 private:
  std::shared_ptr<SqliteStore> store_;
  std::int32_t handle_;
  std::atomic<std::int32_t> value_ = 0;
};

// What can be said without opening the file as a database.
void CheckFile(const std::string& path, bool create) {
  if (path.empty()) Refuse(path, "the database has no name");
  struct stat state {};
  if (stat(path.c_str(), &state) != 0) {
    if (errno == ENOENT && create) return CheckNoLogLeft(path);
    Refuse(path, errno == ENOENT ? "there is no such file" : std::strerror(errno));
  }
  if (S_ISDIR(state.st_mode)) Refuse(path, "is a folder");
  if (!S_ISREG(state.st_mode)) Refuse(path, "is no plain file");
  if (access(path.c_str(), R_OK) != 0) Refuse(path, "may not be read");
  if (access(path.c_str(), W_OK) != 0) Refuse(path, "may not be written to");
}

// The write-ahead log lies beside the file, so its folder must be writable too.
void CheckFolder(const std::string& path) {
  auto folder = std::filesystem::path(TargetOf(path)).parent_path().string();
  if (folder.empty()) folder = ".";
  if (access(folder.c_str(), F_OK) != 0) Refuse(path, "there is no folder " + folder);
  if (access(folder.c_str(), W_OK) != 0) Refuse(path, "its folder may not be written to");
}

std::int32_t Pragma(sql::Connection& connection, std::string_view sql) {
  sql::Query query(connection, sql);
  return query.Step() ? query.Int(0) : 0;
}

// Says whether the file is a database of ours, and of which schema; 0 is one that is yet to be
// made: an empty file, or one of SQLite without a mark and without a table.
std::int32_t SchemaOf(sql::Connection& connection, const std::string& path, bool create) {
  const auto application = Pragma(connection, "PRAGMA application_id");
  const auto version = Pragma(connection, "PRAGMA user_version");
  if (application != schema::kApplicationId) {
    const bool is_bare = application == 0 && version == 0 &&
                         Pragma(connection, "SELECT count(*) FROM sqlite_master") == 0;
    if (!is_bare) Refuse(path, "is an SQLite file, but no quality database");
    if (!create) Refuse(path, "is empty and no quality database");
    return 0;
  }
  if (version > schema::kSchemaVersion) {
    Refuse(path, "was made by a newer release (schema " + std::to_string(version) +
                     ", this one knows " + std::to_string(schema::kSchemaVersion) + ")");
  }
  return version;
}

// SQLite does not wait for other connections here, but gives up at once.
void UseWriteAheadLog(sql::Connection& connection, int patience) {
  constexpr int kPause = 10;
  for (;; patience -= kPause) {
    try {
      return connection.Execute("PRAGMA journal_mode=WAL");
    } catch (const sql::SqlError& error) {
      if (error.Code() != SQLITE_BUSY || patience <= 0) throw;
    }
    sqlite3_sleep(kPause);
  }
}

sql::Connection Open(const std::string& path, bool create) {
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | (create ? SQLITE_OPEN_CREATE : 0);
  sql::Connection connection(path, flags);
  const int patience = create ? kMakingMilliseconds : kBusyMilliseconds;
  sqlite3_busy_timeout(connection.Get(), patience);
  if (sqlite3_db_readonly(connection.Get(), "main") == 1) Refuse(path, "may not be written to");
  connection.Execute("PRAGMA foreign_keys=ON");
  const auto schema = [&](sql::Transaction::Kind kind) {
    sql::Transaction transaction(connection, kind);
    const auto version = SchemaOf(connection, path, create);
    if (kind == sql::Transaction::Kind::Write && version < schema::kSchemaVersion) {
      schema::BringForward(connection, version);
    }
    transaction.Commit();
    return version;
  };
  // Looked at again under the write lock: another program may have made it in the meantime.
  if (schema(sql::Transaction::Kind::Read) < schema::kSchemaVersion)
    schema(sql::Transaction::Kind::Write);
  // Only when it is ours: the switch writes to the file.
  UseWriteAheadLog(connection, patience);
  // Full: what was committed survives a power cut too. Imports commit once, so it costs little.
  connection.Execute("PRAGMA synchronous=FULL");
  connection.Execute("PRAGMA journal_size_limit=16777216");
  sqlite3_busy_timeout(connection.Get(), kBusyMilliseconds);
  return connection;
}

std::vector<Note>& NotesOfThread() {
  thread_local std::vector<Note> notes;
  return notes;
}

}  // namespace

void RefuseFile(const std::string& path, const std::string& reason) {
  throw platform::ExternalFailure(kFailure, "OpenDatabase", path + ": " + reason);
}

sql::Connection OpenConnection(const std::string& path, bool create) {
  CheckFile(path, create);
  CheckFolder(path);
  try {
    return Open(path, create);
  } catch (const sql::SqlError& error) {
    Refuse(path, sql::ReasonOf(error));
  }
}

std::shared_ptr<SqliteStore> SqliteStoreOf(std::int32_t handle) { return Handles().Find(handle); }

std::shared_ptr<SqliteStore> SqliteStoreOf(platform::Database& database) {
  if (auto* opened = dynamic_cast<OpenedDatabase*>(&database)) return opened->Opened();
  if (auto store = SqliteStoreOf(database.ConnectionHandle())) return store;
  throw platform::ExternalFailure(kFailure, "Database",
                                  "The database object is none of the embedded engine");
}

std::shared_ptr<Store> StoreOf(std::int32_t handle) { return SqliteStoreOf(handle); }

void AddNote(std::string code, std::string text, std::string stream) {
  NotesOfThread().push_back({std::move(code), std::move(text), std::move(stream)});
}

}  // namespace orvspc::engine::store

namespace orvspc {

std::shared_ptr<EmbeddedDatabase> OpenDatabase(const std::string& path, bool create) {
  using namespace engine::store;
  return std::make_shared<OpenedDatabase>(
      std::make_shared<SqliteStore>(OpenConnection(path, create), path));
}

std::vector<Note> TakeNotes() { return std::exchange(engine::store::NotesOfThread(), {}); }

}  // namespace orvspc
