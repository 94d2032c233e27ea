// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/sqlite.h"

namespace orvspc::engine::sql {
namespace {

struct StepFailure {
  int countdown = 0;
  bool struck = false;
};
thread_local StepFailure step_failure;

// SQLite takes some names for something else than a file, unless they begin with a folder.
std::string FileName(const std::string& path) {
  return path.starts_with("file:") || path == ":memory:" ? "./" + path : path;
}

}  // namespace

bool FailStep(int n) {
  const bool struck = step_failure.struck;
  step_failure = {n, false};
  return struck;
}

Connection::Connection(const std::string& path, int flags) {
  sqlite3* raw = nullptr;
  const int code = sqlite3_open_v2(FileName(path).c_str(), &raw, flags, nullptr);
  db_.reset(raw);
  if (code != SQLITE_OK) {
    throw SqlError(code & 0xff, raw != nullptr ? sqlite3_errmsg(raw) : sqlite3_errstr(code));
  }
  sqlite3_extended_result_codes(raw, 0);
}

void Connection::Raise(int code) const {
  throw SqlError(code & 0xff, std::string(sqlite3_errmsg(db_.get())));
}

sqlite3_stmt* Connection::Prepared(std::string_view sql) {
  if (const auto found = statements_.find(sql); found != statements_.end()) {
    return found->second.get();
  }
  sqlite3_stmt* raw = nullptr;
  const int code = sqlite3_prepare_v3(db_.get(), sql.data(), static_cast<int>(sql.size()),
                                      SQLITE_PREPARE_PERSISTENT, &raw, nullptr);
  if (code != SQLITE_OK) Raise(code);
  statements_.emplace(sql, StatementOwner(raw));
  return raw;
}

void Connection::Execute(const char* sql) {
  const int code = sqlite3_exec(db_.get(), sql, nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) Raise(code);
}

bool Query::Step() {
#ifdef ORVSPC_FAIL_POINTS
  if (step_failure.countdown > 0 && --step_failure.countdown == 0) {
    step_failure.struck = true;
    throw SqlError(SQLITE_IOERR, sqlite3_errstr(SQLITE_IOERR));
  }
#endif
  const int code = sqlite3_step(statement_);
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  connection_.Raise(code);
}

Transaction::Transaction(Connection& connection, Kind kind) : connection_(connection) {
  Query(connection, kind == Kind::Read ? "BEGIN" : "BEGIN IMMEDIATE").Step();
}

Transaction::~Transaction() {
  if (open_ && sqlite3_get_autocommit(connection_.Get()) == 0) {
    sqlite3_exec(connection_.Get(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

void Transaction::Commit() {
  Query(connection_, "COMMIT").Step();
  open_ = false;
}

}  // namespace orvspc::engine::sql
