// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/sqlite/SqliteConnection.h"

#include <sqlite3.h>

#include <unordered_map>

#include "engine/sql/sqlite/ChecksumVfs.h"

namespace orvspc::engine::sql {
namespace {

struct StepFailure {
  int countdown = 0;
  bool struck = false;
};
thread_local StepFailure step_failure;

}  // namespace

bool FailStep(int n) {
  const bool struck = step_failure.struck;
  step_failure = {n, false};
  return struck;
}

}  // namespace orvspc::engine::sql

namespace orvspc::engine::sql::sqlite {
namespace {

// A locked file is reported after this long; another program that is creating it gets longer.
constexpr int kBusyMilliseconds = 500;
constexpr int kCreatingMilliseconds = 5000;
// One that writes is waited for.
constexpr int kWritingMilliseconds = 60000;

SqlError::Kind KindOf(int code) {
  using enum SqlError::Kind;
  if (code == SQLITE_IOERR_DATA) return Damaged;
  static constexpr std::pair<int, SqlError::Kind> kKinds[] = {
      {SQLITE_BUSY, Locked},       {SQLITE_LOCKED, Locked},        {SQLITE_FULL, Full},
      {SQLITE_READONLY, ReadOnly}, {SQLITE_CORRUPT, Damaged},      {SQLITE_NOTADB, NotADatabase},
      {SQLITE_NOMEM, OutOfMemory}, {SQLITE_CONSTRAINT, Constraint}};
  for (const auto& [primary, kind] : kKinds)
    if ((code & 0xff) == primary) return kind;
  return Other;
}

[[noreturn]] void Throw(sqlite3* db, int code) {
  if (db == nullptr) throw SqlError(KindOf(code), sqlite3_errstr(code));
  throw SqlError(KindOf(code), code == SQLITE_IOERR_DATA ? DamageOf(db) : sqlite3_errmsg(db));
}

void Check(sqlite3* db, int code) {
  if (code != SQLITE_OK) Throw(db, code);
}

class SqliteStatement final : public Statement {
 public:
  SqliteStatement(sqlite3* db, std::string_view sql) : db_(db) {
    // Our own texts, which are far shorter than an int counts.
    Check(db, sqlite3_prepare_v3(db, sql.data(), static_cast<int>(sql.size()),
                                 SQLITE_PREPARE_PERSISTENT, &statement_, nullptr));
  }
  SqliteStatement(const SqliteStatement&) = delete;
  SqliteStatement& operator=(const SqliteStatement&) = delete;
  ~SqliteStatement() override { sqlite3_finalize(statement_); }

  void BindInt(int index, std::int64_t value) override {
    Check(db_, sqlite3_bind_int64(statement_, index, value));
  }
  void BindReal(int index, double value) override {
    Check(db_, sqlite3_bind_double(statement_, index, value));
  }
  void BindText(int index, std::string_view text) override {
    Check(db_, sqlite3_bind_text64(statement_, index, text.data() == nullptr ? "" : text.data(),
                                   text.size(), SQLITE_STATIC, SQLITE_UTF8));
  }
  void BindBlob(int index, std::span<const std::byte> blob) override {
    Check(db_, sqlite3_bind_blob64(statement_, index, blob.data(), blob.size(), SQLITE_STATIC));
  }
  void BindNull(int index) override { Check(db_, sqlite3_bind_null(statement_, index)); }

  bool Step() override {
#ifdef ORVSPC_FAIL_POINTS
    if (step_failure.countdown > 0 && --step_failure.countdown == 0) {
      step_failure.struck = true;
      throw SqlError(SqlError::Kind::Other, sqlite3_errstr(SQLITE_IOERR));
    }
#endif
    const int code = sqlite3_step(statement_);
    if (code == SQLITE_ROW) return true;
    if (code == SQLITE_DONE) return false;
    Throw(db_, code);
  }
  void Reset() noexcept override { sqlite3_reset(statement_); }
  std::int64_t Changes() const override { return sqlite3_changes64(db_); }

  bool IsNull(int column) const override {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
  }
  std::int64_t Int(int column) const override { return sqlite3_column_int64(statement_, column); }
  double Real(int column) const override { return sqlite3_column_double(statement_, column); }
  std::string_view Text(int column) const override {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return text == nullptr ? std::string_view() : std::string_view(text, Size(column));
  }
  std::span<const std::byte> Blob(int column) const override {
    const auto* data = static_cast<const std::byte*>(sqlite3_column_blob(statement_, column));
    if (data == nullptr) return {};
    return {data, Size(column)};
  }

 private:
  std::size_t Size(int column) const {
    return static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
  }

  sqlite3* db_;
  sqlite3_stmt* statement_ = nullptr;
};

// SQLite takes some names for something else than a file, unless they begin with a folder.
std::string FileName(const std::string& path) {
  return path.starts_with("file:") || path == ":memory:" ? "./" + path : path;
}

class SqliteConnection final : public Connection {
 public:
  SqliteConnection(const std::string& path, int flags) {
    const char* const layer = ChecksumVfs();
    if (layer == nullptr) Throw(nullptr, SQLITE_NOMEM);
    sqlite3* raw = nullptr;
    const int code =
        sqlite3_open_v2(FileName(path).c_str(), &raw, flags | SQLITE_OPEN_NOMUTEX, layer);
    db_.reset(raw);
    Check(raw, code);
    sqlite3_extended_result_codes(raw, 1);
  }

  // A file that is yet to be made gets a checksum on each page.
  void UseChecksumsIfNew() {
    if (Number("PRAGMA page_count") == 0) Reserve(kReservedBytes);
  }
  void AddChecksums() {
    Number("PRAGMA schema_version");  // reads the header
    if (Reserve(-1) >= kReservedBytes) return;
    // In the log, so that a kill leaves the former pages or the new ones.
    UseWriteAheadLog(kWritingMilliseconds);
    Reserve(kReservedBytes);
    Patience(kWritingMilliseconds);
    Execute("VACUUM");
    Patience(kBusyMilliseconds);
    EmptyLog();
  }

  Statement& Prepared(std::string_view sql) override {
    auto& statement = statements_[sql];
    if (!statement) {
      try {
        statement = std::make_unique<SqliteStatement>(db_.get(), sql);
      } catch (...) {
        statements_.erase(sql);
        throw;
      }
    }
    return *statement;
  }
  std::size_t PreparedCount() const override { return statements_.size(); }
  void Execute(const std::string& sql) override {
    Check(db_.get(), sqlite3_exec(db_.get(), sql.c_str(), nullptr, nullptr, nullptr));
  }

  void Begin(TransactionKind kind) override {
    Query(*this, kind == TransactionKind::Read ? "BEGIN" : "BEGIN IMMEDIATE").Step();
  }
  void Commit() override { Query(*this, "COMMIT").Step(); }
  void Rollback() noexcept override {
    if (InTransaction()) sqlite3_exec(db_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
  bool InTransaction() const override { return sqlite3_get_autocommit(db_.get()) == 0; }

  std::int64_t DataVersion() override { return Number("PRAGMA data_version"); }

  SchemaMark Mark() override {
    return {static_cast<std::int32_t>(Number("PRAGMA application_id")),
            static_cast<std::int32_t>(Number("PRAGMA user_version")),
            Number("SELECT count(*) FROM sqlite_master") != 0};
  }
  void SetMark(std::int32_t application, std::int32_t version) override {
    Execute("PRAGMA application_id=" + std::to_string(application) +
            ";PRAGMA user_version=" + std::to_string(version));
  }

  void PrepareBulk() override {
    Execute("PRAGMA cache_size=-65536");
    // EmptyLog follows at the end, in place of several checkpoints on the way.
    Execute("PRAGMA wal_autocheckpoint=0");
  }
  bool EmptyLog() override {
    int pages = 0, moved = 0;
    const int code =
        sqlite3_wal_checkpoint_v2(db_.get(), nullptr, SQLITE_CHECKPOINT_TRUNCATE, &pages, &moved);
    if (KindOf(code) == SqlError::Kind::Locked) return false;
    Check(db_.get(), code);
    return pages == moved;
  }

  std::unique_ptr<Connection> OpenReader() noexcept override {
    try {
      const char* path = sqlite3_db_filename(db_.get(), "main");
      if (path == nullptr || *path == '\0') return nullptr;
      auto reader = std::make_unique<SqliteConnection>(path, SQLITE_OPEN_READWRITE);
      reader->Execute("PRAGMA query_only=ON");
      reader->DataVersion();  // opens the file
      // Each is the file at the path, so they are one.
      if (HasMoved() || reader->HasMoved()) return nullptr;
      return reader;
    } catch (const std::exception&) {
      return nullptr;
    }
  }

  void Patience(int milliseconds) { sqlite3_busy_timeout(db_.get(), milliseconds); }
  bool IsReadOnly() const { return sqlite3_db_readonly(db_.get(), "main") == 1; }

  // SQLite does not wait for other connections here, but gives up at once.
  void UseWriteAheadLog(int patience) {
    constexpr int kPause = 10;
    for (;; patience -= kPause) {
      try {
        return Execute("PRAGMA journal_mode=WAL");
      } catch (const SqlError& error) {
        if (error.Which() != SqlError::Kind::Locked || patience <= 0) throw;
      }
      sqlite3_sleep(kPause);
    }
  }

 private:
  struct Closer {
    void operator()(sqlite3* db) const noexcept { sqlite3_close_v2(db); }
  };

  // Reserves so many bytes of each page when the file is made or vacuumed; -1 changes nothing.
  // Returns how many are reserved or will be.
  int Reserve(int bytes) {
    Check(db_.get(), sqlite3_file_control(db_.get(), "main", SQLITE_FCNTL_RESERVE_BYTES, &bytes));
    return bytes;
  }

  std::int64_t Number(std::string_view sql) { return Query(*this, sql).RunForInt().value_or(0); }

  // Whether the path leads to another file by now.
  bool HasMoved() const {
    int moved = 0;
    const int code = sqlite3_file_control(db_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
    // Where the question is unknown, an open file keeps its name.
    return code != SQLITE_NOTFOUND && (code != SQLITE_OK || moved != 0);
  }

  std::unique_ptr<sqlite3, Closer> db_;
  // Destroyed before the connection. Keys are texts that outlive the connection.
  std::unordered_map<std::string_view, std::unique_ptr<SqliteStatement>> statements_;
};

}  // namespace

std::unique_ptr<Connection> OpenFile(const std::string& path, bool create,
                                     const std::function<void(Connection&)>& check) {
  auto connection = std::make_unique<SqliteConnection>(
      path, SQLITE_OPEN_READWRITE | (create ? SQLITE_OPEN_CREATE : 0));
  const int patience = create ? kCreatingMilliseconds : kBusyMilliseconds;
  connection->Patience(patience);
  if (connection->IsReadOnly()) {
    throw SqlError(SqlError::Kind::ReadOnly, "attempt to write a readonly database");
  }
  connection->UseChecksumsIfNew();
  connection->Execute("PRAGMA foreign_keys=ON");
  check(*connection);
  connection->UseWriteAheadLog(patience);
  // Full: what was committed survives a power cut too. Imports commit once, so it costs little.
  connection->Execute("PRAGMA synchronous=FULL");
  connection->Execute("PRAGMA journal_size_limit=16777216");
  connection->Patience(kBusyMilliseconds);
  return connection;
}

void AddChecksums(Connection& connection) {
  static_cast<SqliteConnection&>(connection).AddChecksums();
}

}  // namespace orvspc::engine::sql::sqlite
