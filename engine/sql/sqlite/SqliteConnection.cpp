// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/sqlite/SqliteConnection.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <map>
#include <unordered_map>
#include <utility>

#include "engine/sql/fail_step.h"
#include "engine/sql/failure.h"
#include "engine/sql/sqlite/ChecksumVfs.h"
#include "system/system.h"

namespace orvspc::engine::sql::sqlite {
namespace {

using std::chrono::milliseconds;

// A locked file is reported after this long; another program that is creating it gets longer, and
// one that writes a minute.
constexpr milliseconds kBusy{500}, kCreating{5000}, kWriting{60000};

SqlError::Kind KindOf(int code) {
  using enum SqlError::Kind;
  if (code == SQLITE_IOERR_DATA) return Damaged;
  // The index of the log, which readers need as well, could not grow.
  if (code == SQLITE_IOERR_SHMSIZE) return Full;
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
  SqliteStatement(sqlite3* db, std::string_view sql) : db_(db), size_(sql.size()) {
    // Our own texts, which are far shorter than an int counts.
    Check(db, sqlite3_prepare_v3(db, sql.data(), static_cast<int>(sql.size()),
                                 SQLITE_PREPARE_PERSISTENT, &statement_, nullptr));
  }
  SqliteStatement(const SqliteStatement&) = delete;
  SqliteStatement& operator=(const SqliteStatement&) = delete;
  ~SqliteStatement() override { sqlite3_finalize(statement_); }

  std::string_view Sql() const { return {sqlite3_sql(statement_), size_}; }

  void BindInt(int index, std::int64_t value) override {
    Check(db_, sqlite3_bind_int64(statement_, index, value));
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
    FailPoint();
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
  void BindSigned(int index, double value) override {
    Check(db_, sqlite3_bind_double(statement_, index, value));
  }
  std::size_t Size(int column) const {
    return static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
  }

  sqlite3* db_;
  std::size_t size_;  // of the text
  sqlite3_stmt* statement_ = nullptr;
};

// An INSERT for each row.
class SqliteRows final : public BulkRows {
 public:
  SqliteRows(Connection& connection, std::string_view sql) : insert_(connection.Prepared(sql)) {}
  ~SqliteRows() override { insert_.Reset(); }

  void BindInt(int index, std::int64_t value) override { insert_.BindInt(index, value); }
  void BindText(int index, std::string_view text) override { insert_.BindText(index, text); }
  void BindBlob(int index, std::span<const std::byte> blob) override {
    insert_.BindBlob(index, blob);
  }
  void BindNull(int index) override { insert_.BindNull(index); }
  void Add() override {
    insert_.Step();
    rows_ += insert_.Changes();
    insert_.Reset();
  }
  std::int64_t Finish() override { return std::exchange(rows_, 0); }

 private:
  void BindSigned(int index, double value) override { insert_.BindReal(index, value); }

  Statement& insert_;
  std::int64_t rows_ = 0;
};

enum class Access {
  Write,
  Create,
  Read,
  ReadUnlocked,  // of a file that nobody writes
};

int FlagsOf(Access access) {
  constexpr std::array kFlags{SQLITE_OPEN_READWRITE, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                              SQLITE_OPEN_READONLY, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI};
  return kFlags[static_cast<std::size_t>(access)] | SQLITE_OPEN_NOMUTEX;
}

// SQLite takes some names for something else than a file, unless they begin with a folder.
std::string FileName(const std::string& path, Access access) {
  if (access != Access::ReadUnlocked)
    return path.starts_with("file:") || path == ":memory:" ? "./" + path : path;
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.-";
  std::string name = "file:";
  for (const char c : path) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    if (kPlain.find(c) != std::string_view::npos) {
      name += c;
    } else {
      name.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
    }
  }
  return name + "?immutable=1";
}

// What lies beside a file.
struct Beside {
  bool log = false;    // with content
  bool index = false;  // of the log
  bool journal = false;
};

// Shows whether a file is unchanged.
struct FileState {
  std::filesystem::file_time_type written;
  std::uintmax_t size = 0;
  Beside beside;
  bool HasChangedTo(const FileState& now) const {
    return written != now.written || size != now.size || now.beside.log || now.beside.journal;
  }
};

FileState StateOf(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code error;
  const auto file = fs::canonical(fs::path(std::u8string(path.begin(), path.end())), error);
  FileState state;
  state.written = fs::last_write_time(file, error);
  const auto size = [&error](const fs::path& of) {
    const auto found = fs::file_size(of, error);
    return error ? 0 : found;
  };
  state.size = size(file);
  const auto has_content = [&](const char* ending) {
    auto name = file;
    return size(name += ending) > 0;
  };
  state.beside = {has_content("-wal"), has_content("-shm"), has_content("-journal")};
  return state;
}

// A log without an index could only be read by making one, a journal by undoing what it says.
void CheckReadable(const Beside& beside) {
  if (!beside.journal && (!beside.log || beside.index)) return;
  throw SqlError(SqlError::Kind::Other,
                 "may not be written to, and only who may can read its log (" +
                     std::string(beside.journal ? "-journal" : "-wal") +
                     "): open it once as a user who may write it and its folder");
}

class SqliteConnection final : public Connection {
 public:
  SqliteConnection(std::string path, Access access) : path_(std::move(path)), access_(access) {
    if (access_ == Access::ReadUnlocked) state_ = StateOf(path_);
    OpenDatabase(access_);
  }

  // A file that is yet to be made gets a checksum on each page.
  void UseChecksumsIfNew() {
    if (Number("PRAGMA page_count") == 0) Reserve(kReservedBytes);
  }
  void AddChecksums() {
    Number("PRAGMA schema_version");  // reads the header
    if (Reserve(-1) >= kReservedBytes) return;
    {
      // Who waited would do again what another program is doing.
      const Patience none(*this, milliseconds(0));
      // In the log, so that a kill leaves the former pages or the new ones.
      UseWriteAheadLog(milliseconds(0));
      Reserve(kReservedBytes);
      Execute("VACUUM");
    }
    EmptyLog();
  }

  // Page by page. The source is in a transaction, so that its writers do not make SQLite begin
  // anew.
  void CopyFrom(SqliteConnection& source, const std::function<void(int)>& progress) {
    constexpr int kPages = 1024;
    const StrictPages strict(source.db_.get());
    if (source.Reserve(-1) >= kReservedBytes) {
      // A first page that says so: SQLite may write that of the source last.
      Reserve(kReservedBytes);
      Execute("PRAGMA page_size=" + std::to_string(source.Number("PRAGMA page_size")) +
              ";PRAGMA user_version=1");
    }
    auto* const backup = sqlite3_backup_init(db_.get(), "main", source.db_.get(), "main");
    if (backup == nullptr) Throw(db_.get(), sqlite3_errcode(db_.get()));
    while (sqlite3_backup_step(backup, kPages) == SQLITE_OK) {
      const std::int64_t pages = sqlite3_backup_pagecount(backup);
      constexpr int kWhole = 100;
      if (progress) {
        progress(static_cast<int>(kWhole - kWhole * sqlite3_backup_remaining(backup) / pages));
      }
    }
    const int code = sqlite3_backup_finish(backup);
    // The target is new: what is damaged is the source.
    if (KindOf(code) == SqlError::Kind::Damaged) Throw(source.db_.get(), code);
    if (code != SQLITE_OK) Throw(db_.get(), code);
  }
  sqlite3* Handle() const { return db_.get(); }

  Statement& Prepared(std::string_view sql) override {
    // One that is where it was the last time is found sooner.
    auto*& known = known_[sql.data()];
    if (known != nullptr && known->Sql() == sql) return *known;
    auto& statement = statements_[sql];
    if (!statement) {
      try {
        statement = std::make_unique<SqliteStatement>(db_.get(), sql);
      } catch (...) {
        statements_.erase(sql);
        throw;
      }
    }
    known = statement.get();
    return *statement;
  }
  std::size_t PreparedCount() const override { return statements_.size(); }
  bool Holds(std::string_view /*text*/) const override { return true; }
  void Execute(const std::string& sql) override {
    Check(db_.get(), sqlite3_exec(db_.get(), sql.c_str(), nullptr, nullptr, nullptr));
  }

  void KeepAppendOnly(std::string_view table, std::string_view number, bool is_kept) override {
    const std::string name(table), column(number);
    // Without the one for INSERT, INSERT OR REPLACE would change a row.
    const std::pair<std::string, std::string> triggers[] = {
        {"UPDATE", ""},
        {"DELETE", ""},
        {"INSERT", " WHEN NEW." + column + " IS NOT (SELECT coalesce(max(" + column +
                       "), 0) + 1 FROM " + name + ")"}};
    for (const auto& [event, condition] : triggers) {
      const auto trigger = name + "_append_only_" + event;
      Execute(is_kept
                  ? "CREATE TRIGGER " + trigger + " BEFORE " + event + " ON " + name + condition +
                        " BEGIN SELECT RAISE(ABORT, 'rows of " + name + " are only added'); END"
                  : "DROP TRIGGER " + trigger);
    }
  }

  std::unique_ptr<BulkRows> InsertMany(std::string_view row, OnConflict conflict) override {
    auto& texts = texts_[conflict == OnConflict::Skip ? 1 : 0];
    auto found = texts.find(row);
    if (found == texts.end()) {
      std::string text = "INSERT INTO " + std::string(row) + " VALUES(?1";
      const auto commas = std::count(row.begin(), row.end(), ',');
      for (std::ptrdiff_t i = 0; i < commas; ++i) text += ", ?" + std::to_string(i + 2);
      text += conflict == OnConflict::Skip ? ") ON CONFLICT DO NOTHING" : ")";
      found = texts.emplace(row, std::move(text)).first;
    }
    return std::make_unique<SqliteRows>(*this, found->second);
  }

  void Begin(TransactionKind kind) override {
    if (kind == TransactionKind::Read) {
      if (HasChanged()) OpenAgain();
      Query(*this, "BEGIN").Step();
      return;
    }
    // SQLite would begin to read.
    if (IsReadOnly()) Throw(nullptr, SQLITE_READONLY);
    const Patience patient(*this, write_patience_, true);
    try {
      Query(*this, "BEGIN IMMEDIATE").Step();
    } catch (const SqlError& error) {
      if (error.Which() == SqlError::Kind::Locked) throw BusyFor(write_patience_);
      throw;
    }
  }
  void WaitForWriters(milliseconds at_most, std::function<void()> on_wait) override {
    write_patience_ = at_most;
    on_wait_ = std::move(on_wait);
  }
  void Commit() override {
    Query(*this, "COMMIT").Step();
    if (HasChanged()) {
      throw SqlError(SqlError::Kind::Other, "was changed while it was read; try again");
    }
  }
  void Rollback() noexcept override {
    if (InTransaction()) sqlite3_exec(db_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
  bool InTransaction() const override { return sqlite3_get_autocommit(db_.get()) == 0; }

  std::int64_t DataVersion() override {
    constexpr int kVersionBits = 32;
    return (times_opened_ << kVersionBits) + Number("PRAGMA data_version");
  }

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
  // Writers are kept out meanwhile, so readers are waited for only once the log has become large.
  bool EmptyLog() override {
    constexpr int kLargeLog = 4096;  // pages
    int pages = 0, moved = 0;
    const auto checkpoint = [&] {
      return sqlite3_wal_checkpoint_v2(db_.get(), nullptr, SQLITE_CHECKPOINT_TRUNCATE, &pages,
                                       &moved);
    };
    int code = 0;
    {
      const Patience none(*this, milliseconds(0));
      code = checkpoint();
    }
    if (KindOf(code) == SqlError::Kind::Locked && pages >= kLargeLog) code = checkpoint();
    if (KindOf(code) == SqlError::Kind::Locked) return false;
    Check(db_.get(), code);
    return pages == moved;
  }

  std::unique_ptr<Connection> OpenReader() noexcept override {
    try {
      const char* path = sqlite3_db_filename(db_.get(), "main");
      if (path == nullptr || *path == '\0') return nullptr;
      auto reader = std::make_unique<SqliteConnection>(
          path, access_ == Access::Create ? Access::Write : access_);
      reader->Execute("PRAGMA query_only=ON");
      reader->DataVersion();  // opens the file
      // Each is the file at the path, so they are one.
      if (HasMoved() || reader->HasMoved()) return nullptr;
      return reader;
    } catch (const std::exception&) {
      return nullptr;
    }
  }

  void NoteState() override { noted_ = DataVersion(); }
  // Both see the same state if it has not changed since before the first began.
  bool BeginBeside(Connection& /*first*/) override {
    Begin(TransactionKind::Read);
    if (DataVersion() == noted_) return true;
    Rollback();
    return false;
  }

  bool IsReadOnly() const { return sqlite3_db_readonly(db_.get(), "main") == 1; }

  // While it lives, a lock is waited for so long.
  class Patience {
   public:
    Patience(SqliteConnection& connection, milliseconds at_most, bool for_writers = false)
        : connection_(connection),
          before_(connection.patience_),
          was_for_writers_(connection.for_writers_) {
      connection.patience_ = at_most;
      connection.for_writers_ = for_writers;
    }
    Patience(const Patience&) = delete;
    Patience& operator=(const Patience&) = delete;
    ~Patience() {
      connection_.patience_ = before_;
      connection_.for_writers_ = was_for_writers_;
    }

   private:
    SqliteConnection& connection_;
    milliseconds before_;
    bool was_for_writers_;
  };

  // SQLite does not wait for other connections here, but gives up at once.
  void UseWriteAheadLog(milliseconds patience) {
    constexpr milliseconds kPause{10};
    for (;; patience -= kPause) {
      try {
        return Execute("PRAGMA journal_mode=WAL");
      } catch (const SqlError& error) {
        if (error.Which() != SqlError::Kind::Locked || patience.count() <= 0) throw;
      }
      sqlite3_sleep(static_cast<int>(kPause.count()));
    }
  }

 private:
  struct Closer {
    void operator()(sqlite3* db) const noexcept { sqlite3_close_v2(db); }
  };

  // On failure everything is as it was.
  void OpenDatabase(Access access) {
    const char* const layer = ChecksumVfs();
    if (layer == nullptr) Throw(nullptr, SQLITE_NOMEM);
    sqlite3* raw = nullptr;
    const int code = sqlite3_open_v2(FileName(path_, access).c_str(), &raw, FlagsOf(access), layer);
    std::unique_ptr<sqlite3, Closer> opened(raw);
    Check(raw, code);
    sqlite3_extended_result_codes(raw, 1);
    sqlite3_busy_handler(raw, Wait, this);
    db_ = std::move(opened);
    access_ = access;
    ++times_opened_;
  }

  // Of a file that is read without locks: whether another program has written it.
  bool HasChanged() const {
    return access_ == Access::ReadUnlocked && state_.HasChangedTo(StateOf(path_));
  }
  void OpenAgain() {
    known_.clear();
    statements_.clear();
    const auto state = StateOf(path_);
    CheckReadable(state.beside);
    OpenDatabase(state.beside.index ? Access::Read : Access::ReadUnlocked);
    state_ = state;
  }

  // Called with how often it was since the lock was met. 0: no longer.
  static int Wait(void* connection, int times) {
    constexpr std::array kPauses{1, 2, 5, 10, 15, 20, 25, 25, 25, 50, 50, 100};
    // Who waits for long looks more often than those who come later, and so goes before them.
    constexpr milliseconds kLong{1000}, kShortPause{2};
    auto& own = *static_cast<SqliteConnection*>(connection);
    const auto now = std::chrono::steady_clock::now();
    if (times == 0) own.waits_since_ = now;
    if (now - own.waits_since_ >= own.patience_) return 0;
    const bool is_long = own.for_writers_ && now - own.waits_since_ >= kLong;
    // Several times a second.
    constexpr int kShortPausesOfCall = 32;
    const bool calls = own.for_writers_ && own.on_wait_;
    if (calls && (!is_long || times % kShortPausesOfCall == 0)) own.on_wait_();
    const auto pause = kPauses[std::min(static_cast<std::size_t>(times), kPauses.size() - 1)];
    sqlite3_sleep(is_long ? static_cast<int>(kShortPause.count()) : pause);
    return 1;
  }

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

  std::string path_;
  Access access_;
  FileState state_;  // when the file is read without locks
  std::int64_t times_opened_ = 0;
  milliseconds patience_ = kBusy, write_patience_ = kWriting;
  bool for_writers_ = false;  // whether it waits for them
  std::chrono::steady_clock::time_point waits_since_;
  std::function<void()> on_wait_;
  std::unique_ptr<sqlite3, Closer> db_;
  std::int64_t noted_ = 0;
  std::array<std::map<std::string, std::string, std::less<>>, 2> texts_;  // of InsertMany
  // Destroyed before the connection. Keys are texts that outlive the connection.
  std::unordered_map<std::string_view, std::unique_ptr<SqliteStatement>> statements_;
  std::unordered_map<const char*, SqliteStatement*> known_;  // by where its text begins
};

}  // namespace

std::unique_ptr<Connection> OpenFile(const std::string& path, bool create,
                                     const std::function<void(Connection&)>& check,
                                     std::function<void()> on_wait) {
  auto connection =
      std::make_unique<SqliteConnection>(path, create ? Access::Create : Access::Write);
  const auto patience = create ? kCreating : kBusy;
  const SqliteConnection::Patience patient(*connection, patience, true);
  connection->WaitForWriters(kWriting, std::move(on_wait));
  if (connection->IsReadOnly()) Throw(nullptr, SQLITE_READONLY);
  connection->UseChecksumsIfNew();
  connection->Execute("PRAGMA foreign_keys=ON");
  // What is deleted is overwritten where that takes no page more; pages that become free are left.
  connection->Execute("PRAGMA secure_delete=FAST");
  check(*connection);
  connection->UseWriteAheadLog(patience);
  // Full: what was committed survives a power cut too. Imports commit once, so it costs little.
  connection->Execute("PRAGMA synchronous=FULL");
  // Whoever fills the log moves it into the file: few commits wait for that, and it stays as large
  // as it is, so that a flush need not write how large it became.
  connection->Execute("PRAGMA wal_autocheckpoint=4000");
  connection->Execute("PRAGMA journal_size_limit=16777216");
  connection->WaitForWriters(kWriting, {});
  return connection;
}

std::unique_ptr<Connection> OpenFileToRead(const std::string& path) {
  // Another program may close the file, and its log with it, between the look and the opening.
  constexpr int kAttempts = 3;
  for (int attempt = 1;; ++attempt) {
    const auto beside = StateOf(path).beside;
    CheckReadable(beside);
    // An index alone may be of use to nobody.
    const bool is_shared = beside.index && (beside.log || attempt == 1);
    try {
      auto connection =
          std::make_unique<SqliteConnection>(path, is_shared ? Access::Read : Access::ReadUnlocked);
      connection->Mark();  // opens the log
      return connection;
    } catch (const SqlError&) {
      if (attempt == kAttempts) throw;
    }
  }
}

void LeaveLog(Connection& connection) { connection.Execute("PRAGMA journal_mode=DELETE"); }

void BackUp(const std::string& from, const std::string& to) {
  SqliteConnection source(from, Access::Read);
  Transaction reading(source, TransactionKind::Read);
  BackUp(source, to);
  reading.Commit();
}

void BackUp(Connection& from, const std::string& to, const std::function<void(int)>& progress) {
  Query(from, "PRAGMA schema_version").RunForInt();  // reads the header
  // Before any byte is in it.
  const auto* const path = sqlite3_db_filename(HandleOf(from), "main");
  if (!system::IsThere(to) && !system::MakeFileLike(to, path)) {
    throw SqlError(errno == ENOSPC ? SqlError::Kind::Full : SqlError::Kind::Other,
                   to + " cannot be made: " + std::strerror(errno));
  }
  SqliteConnection target(to, Access::Create);
  target.CopyFrom(static_cast<SqliteConnection&>(from), progress);
}

sqlite3* HandleOf(Connection& connection) {
  return static_cast<SqliteConnection&>(connection).Handle();
}

void AddChecksums(Connection& connection) {
  static_cast<SqliteConnection&>(connection).AddChecksums();
}

}  // namespace orvspc::engine::sql::sqlite
