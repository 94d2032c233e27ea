// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>

#include "engine/sql/address.h"
#include "engine/sql/sqlite/ChecksumVfs.h"
#include "engine/sql/sqlite/SqliteConnection.h"
#ifdef ORVSPC_POSTGRESQL
#include "engine/PostgreSQL.h"
#endif

// Where the databases of a test are: files of its folder, or where ORVSPC_TEST_STORE has an
// address, schemas of that database.
namespace orvspc::tests {

using engine::sql::Connection;

// Empty: tests are on files.
inline const std::string& ServerAddress() {
  static const std::string address = [] {
    const char* text = std::getenv("ORVSPC_TEST_STORE");
    if (text == nullptr) return std::string();
#ifdef ORVSPC_POSTGRESQL
    AddPostgreSQL();
#endif
    return std::string(text);
  }();
  return address;
}

inline bool OnServer() { return !ServerAddress().empty(); }

inline void RunOnServer(const std::string& address, const std::string& sql) {
  engine::sql::OpenServer(address, [](Connection&) {})->Execute(sql);
}

// Those of one folder, which go with the object.
class Stores {
 public:
  explicit Stores(std::filesystem::path folder) : folder_(std::move(folder)) {}
  Stores(const Stores&) = delete;
  Stores& operator=(const Stores&) = delete;
  ~Stores() {
    for (const auto& schema : schemas_) {
      try {
        RunOnServer(ServerAddress(), "DROP SCHEMA " + schema + " CASCADE");
      } catch (const std::exception&) {
        // The server goes with everything in it.
      }
    }
  }

  // The path or the address of the database of a name, which is empty at first.
  std::string At(const std::string& name) {
    if (!OnServer()) return (folder_ / name).string();
    std::string schema = "t_";
    for (const char c : folder_.filename().string() + "_" + name) {
      const bool is_plain = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
      schema += is_plain ? std::string(1, c) : "_" + std::to_string(static_cast<unsigned char>(c));
    }
    if (schemas_.insert(schema).second) RunOnServer(ServerAddress(), "CREATE SCHEMA " + schema);
    return ServerAddress() + "&options=-clock_timeout%3D500ms%20-csearch_path%3D" + schema;
  }
  // Empties it. Nobody has it open.
  void Remove(const std::string& name) {
    if (!OnServer()) {
      for (const char* end : {"", "-wal", "-shm"}) std::filesystem::remove(At(name) + end);
      return;
    }
    const auto address = At(name);
    const auto schema = address.substr(address.rfind("%3D") + 3);
    RunOnServer(ServerAddress(), "DROP SCHEMA " + schema + " CASCADE; CREATE SCHEMA " + schema);
  }

 private:
  std::filesystem::path folder_;
  std::set<std::string> schemas_;
};

// A connection without the engine's settings, to a file that is made if it is not there. Pages get
// checksums.
inline sqlite3* OpenBare(const std::string& path) {
  sqlite3* db = nullptr;
  sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                  engine::sql::sqlite::ChecksumVfs());
  return db;
}

// Changes rows behind the back of the engine, without checks of foreign keys and without triggers.
// Throws.
inline void ChangeRows(const std::string& path, std::string sql) {
  if (engine::sql::IsAddress(path)) {
    constexpr std::pair<std::string_view, std::string_view> kSpellings[] = {
        {"PRAGMA user_version", "UPDATE orvspc_mark SET version "},
        {" x'", " bytea '\\x"},
        {"(x'", "(bytea '\\x"},
        {" AS BLOB)", " AS BYTEA)"}};
    constexpr const char* kZeroblob =
        "CREATE OR REPLACE FUNCTION zeroblob(size integer) RETURNS bytea LANGUAGE sql AS "
        "$$ SELECT decode(repeat('00', size), 'hex') $$;";
    for (const auto& [ours, theirs] : kSpellings) {
      for (auto at = sql.find(ours); at != sql.npos; at = sql.find(ours, at + theirs.size())) {
        sql.replace(at, ours.size(), theirs);
      }
    }
    return RunOnServer(path,
                       std::string(kZeroblob) + "SET session_replication_role = replica;" + sql);
  }
  sqlite3* const db = OpenBare(path);
  sqlite3_db_config(db, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  const bool done = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
  const std::string reason = sqlite3_errmsg(db);
  sqlite3_close(db);
  if (!done) throw std::runtime_error(reason);
}

// A connection beside that of the store.
inline std::unique_ptr<Connection> OpenBeside(const std::string& path) {
  const auto unchecked = [](Connection&) {};
  return engine::sql::IsAddress(path) ? engine::sql::OpenServer(path, unchecked)
                                      : engine::sql::sqlite::OpenFile(path, false, unchecked);
}

}  // namespace orvspc::tests
