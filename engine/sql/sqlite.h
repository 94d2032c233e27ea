// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

// Owners of what SQLite hands out, and its result codes as exceptions.
namespace orvspc::engine::sql {

class SqlError : public std::exception {
 public:
  SqlError(int code, std::string text) : code_(code), text_(std::move(text)) {}
  int Code() const { return code_; }  // primary result code
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  int code_;
  std::string text_;
};

struct ConnectionCloser {
  void operator()(sqlite3* db) const noexcept { sqlite3_close_v2(db); }
};
struct StatementCloser {
  void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};
using StatementOwner = std::unique_ptr<sqlite3_stmt, StatementCloser>;

// An open connection with its prepared statements; each SQL text is prepared once. Not
// synchronised: the store's mutex guards it.
class Connection {
 public:
  Connection() = default;
  // Throws SqlError.
  Connection(const std::string& path, int flags);

  sqlite3* Get() const { return db_.get(); }
  sqlite3_stmt* Prepared(std::string_view sql);
  // Texts prepared so far.
  std::size_t PreparedCount() const { return statements_.size(); }

  // Runs statements that return nothing worth reading.
  void Execute(const char* sql);

  [[noreturn]] void Raise(int code) const;

 private:
  std::unique_ptr<sqlite3, ConnectionCloser> db_;
  std::unordered_map<std::string_view, StatementOwner> statements_;  // keys live as long as we do
};

// One use of a prepared statement, which is reset at the end. SQL texts are literals. A text must
// not be used again while a Query of it lives.
class Query {
 public:
  Query(Connection& connection, std::string_view sql)
      : connection_(connection), statement_(connection.Prepared(sql)) {}
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;
  ~Query() { sqlite3_reset(statement_); }

  Query& Bind(int index, std::int64_t value) {
    sqlite3_bind_int64(statement_, index, value);
    return *this;
  }
  Query& Bind(int index, double value) {
    sqlite3_bind_double(statement_, index, value);
    return *this;
  }
  // The text must outlive the step.
  Query& Bind(int index, std::string_view text) {
    sqlite3_bind_text(statement_, index, text.data() == nullptr ? "" : text.data(),
                      static_cast<int>(text.size()), SQLITE_STATIC);
    return *this;
  }
  Query& Bind(int index, std::span<const std::byte> blob) {
    sqlite3_bind_blob(statement_, index, blob.data(), static_cast<int>(blob.size()), SQLITE_STATIC);
    return *this;
  }
  Query& BindNull(int index) {
    sqlite3_bind_null(statement_, index);
    return *this;
  }
  // 0 stands for none.
  Query& BindReference(int index, std::int64_t identifier) {
    return identifier == 0 ? BindNull(index) : Bind(index, identifier);
  }

  // True while there is a row. Throws SqlError.
  bool Step();
  // Steps a statement without rows and makes it ready for other values.
  void Run() {
    Step();
    sqlite3_reset(statement_);
  }
  void Reset() { sqlite3_reset(statement_); }

  bool IsNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
  std::int32_t Int(int column) const { return sqlite3_column_int(statement_, column); }
  std::int64_t Int64(int column) const { return sqlite3_column_int64(statement_, column); }
  double Real(int column) const { return sqlite3_column_double(statement_, column); }
  std::string_view Text(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    if (text == nullptr) return {};
    return {text, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
  }
  std::span<const std::byte> Blob(int column) const {
    const auto* data = static_cast<const std::byte*>(sqlite3_column_blob(statement_, column));
    if (data == nullptr) return {};
    return {data, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
  }

 private:
  Connection& connection_;
  sqlite3_stmt* statement_;
};

// A transaction that rolls back unless it was committed.
class Transaction {
 public:
  enum class Kind { Read, Write };
  // Write takes the write lock at once, so that a locked file shows here.
  Transaction(Connection& connection, Kind kind);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();
  void Commit();

 private:
  Connection& connection_;
  bool open_ = true;
};

// Test hook: the n-th step from now on this thread fails with an input/output error; 0 switches it
// off. Returns whether the former one has struck. Only where fail points are compiled in.
bool FailStep(int n);

}  // namespace orvspc::engine::sql
