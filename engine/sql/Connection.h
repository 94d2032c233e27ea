// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

// What the engine needs of a database with SQL; a folder for each database implements it. SQL texts
// are in the common dialect: ON CONFLICT, RETURNING, coalesce; parameters are ?1, ?2, ...
namespace orvspc::engine::sql {

class SqlError : public std::runtime_error {
 public:
  enum class Kind {
    Locked,        // by another connection
    Busy,          // another connection wrote for as long as Begin waits
    Full,          // no room left on the device
    ReadOnly,      // may not be written to
    NoRight,       // that the statement needs
    Damaged,       // not what this database wrote
    NotADatabase,  // no database at all
    OutOfMemory,
    Constraint,  // a row breaks a rule of its table
    Lost,        // the connection to the server, or none could be made
    Other,
  };

  SqlError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
  Kind Which() const { return kind_; }

 private:
  Kind kind_;
};

// Of the identifiers of a table, see counter.h.
struct Counter {
  std::string text;                   // the query that reads it
  std::optional<std::int64_t> taken;  // the last one given, where the transaction has given any
};

// An identifier to be stored; 0 means none and becomes null.
struct Reference {
  std::int64_t id;
};

// Places for values, which count from 1. Bound texts and blobs must outlive the step.
class Parameters {
 public:
  virtual ~Parameters() = default;
  virtual void BindInt(int index, std::int64_t value) = 0;
  // A zero has no sign: not every database keeps it.
  void BindReal(int index, double value) { BindSigned(index, value == 0.0 ? 0.0 : value); }
  virtual void BindText(int index, std::string_view text) = 0;
  virtual void BindBlob(int index, std::span<const std::byte> blob) = 0;
  virtual void BindNull(int index) = 0;

  // Values for the places 1, 2, ... An optional without a value is null, an array has a place for
  // each element.
  template <class... Values>
  void Bind(const Values&... values) {
    [[maybe_unused]] int place = 1;
    (BindNext(place, values), ...);
  }

 private:
  template <class T>
  void BindNext(int& place, const T& value) {
    static_assert(!std::is_same_v<T, char> && !std::is_null_pointer_v<T>, "a text or a number");
    if constexpr (std::is_same_v<T, Reference>) {
      value.id == 0 ? BindNull(place) : BindInt(place, value.id);
    } else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
      BindInt(place, static_cast<std::int64_t>(value));
    } else if constexpr (std::is_floating_point_v<T>) {
      BindReal(place, value);
    } else if constexpr (std::is_convertible_v<T, std::span<const std::byte>>) {
      BindBlob(place, value);
    } else {
      BindText(place, value);
    }
    ++place;
  }
  template <class T>
  void BindNext(int& place, const std::optional<T>& value) {
    if (value) return BindNext(place, *value);
    BindNull(place++);
  }
  template <class T, std::size_t kSize>
  void BindNext(int& place, const std::array<T, kSize>& values) {
    for (const auto& value : values) BindNext(place, value);
  }
  // A real number as it is.
  virtual void BindSigned(int index, double value) = 0;
};

// A prepared statement. Columns count from 0. All but Reset and the columns throw SqlError.
class Statement : public Parameters {
 public:
  // Before the first step: there may be very many rows, of which perhaps only the first few are
  // read. Without it a database may keep all of them in memory.
  virtual void ExpectMany(int /*first*/) {}
  // In place of the first step's beginning: has a server work on it while other statements are
  // sent, too.
  virtual void Send() {}
  // True while there is a row.
  virtual bool Step() = 0;
  // Ready for other values; those that are bound stay.
  virtual void Reset() noexcept = 0;
  // Rows that the latest INSERT, UPDATE or DELETE changed.
  virtual std::int64_t Changes() const = 0;

  // Of the row; null reads as 0 and as nothing. Texts and blobs live until the next step.
  virtual bool IsNull(int column) const = 0;
  virtual std::int64_t Int(int column) const = 0;
  virtual double Real(int column) const = 0;
  virtual std::string_view Text(int column) const = 0;
  virtual std::span<const std::byte> Blob(int column) const = 0;
};

// Many rows for one table: bind the columns of a row, then Add. A row may reach the table as late
// as at Finish; a transaction with rows that were not finished may fail to commit. Functions throw
// SqlError.
class BulkRows : public Parameters {
 public:
  virtual void Add() = 0;
  // Returns the rows stored since the last call. More may follow.
  virtual std::int64_t Finish() = 0;
};

// What becomes of a row whose key is there already.
enum class OnConflict { Fail, Skip };

enum class TransactionKind {
  Read,   // sees one state of the database
  Write,  // takes the write lock at once, so that a locked database shows here
};

// What marks a database as one of ours.
struct SchemaMark {
  std::int32_t application = 0, version = 0;
  bool has_tables = false;
};

// An open connection with its prepared statements. Not synchronised. Functions throw SqlError.
class Connection {
 public:
  virtual ~Connection() = default;

  // Each text is prepared once; it must live as long as the connection. The statement is that of
  // the connection: one text serves one Query at a time.
  virtual Statement& Prepared(std::string_view sql) = 0;
  virtual std::size_t PreparedCount() const = 0;
  // Whether a text can be in a row of this database; see texts.h. A statement takes no other.
  virtual bool Holds(std::string_view text) const = 0;
  // Runs one or more statements whose rows nobody reads.
  virtual void Execute(const std::string& sql) = 0;
  // The same for statements that define tables, which are written as SQLite spells them.
  virtual void Define(const std::string& sql) { Execute(sql); }
  // Lets rows of a table only be added, each with the next whole number in this column, or ends
  // that. Against accidents: whoever owns the table can end it. Inside a write transaction.
  virtual void KeepAppendOnly(std::string_view table, std::string_view number, bool is_kept) = 0;
  // For rows such as "part(id, name)".
  virtual std::unique_ptr<BulkRows> InsertMany(std::string_view row, OnConflict conflict) = 0;

  virtual void Begin(TransactionKind kind) = 0;
  // How long Begin waits for other connections that write before the database is locked; a minute
  // until this is called again. on_wait is called several times a second meanwhile; it must not
  // throw.
  virtual void WaitForWriters(std::chrono::milliseconds at_most, std::function<void()> on_wait) = 0;
  virtual void Commit() = 0;
  virtual void Rollback() noexcept = 0;
  virtual bool InTransaction() const = 0;

  // Differs from an earlier answer once another connection has changed the database.
  virtual std::int64_t DataVersion() = 0;
  // Opens it again after SqlError::Kind::Lost. Throws when that fails, too; false: this database
  // has no connection that can be lost.
  virtual bool Reconnect() { return false; }

  virtual SchemaMark Mark() = 0;
  // Inside the transaction that makes the tables.
  virtual void SetMark(std::int32_t application, std::int32_t version) = 0;

  // Before a transaction that writes much.
  virtual void PrepareBulk() = 0;
  // Moves everything committed from a log into the database itself. False: not everything, since
  // another connection was in the way.
  virtual bool EmptyLog() = 0;

  // A second connection to the same database that only reads; null when there cannot be one.
  virtual std::unique_ptr<Connection> OpenReader() noexcept = 0;
  // Of such a connection: begins to read the state that the first one reads in the transaction that
  // it is in. False, and nothing is begun, when it cannot. NoteState comes before that transaction.
  // Throws SqlError::Kind::Lost when that transaction is of no use any more.
  virtual void NoteState() = 0;
  virtual bool BeginBeside(Connection& first) = 0;

  // By table; for counter.h alone.
  std::map<std::string, Counter, std::less<>>& Counters() { return counters_; }

 private:
  std::map<std::string, Counter, std::less<>> counters_;
};

// Of a Query with very many rows: how many of them are read at least, as a rule.
struct ManyRows {
  int first;
};

// One use of a prepared statement, which is reset at the end.
class Query {
 public:
  // With values for ?1, ?2, ...
  template <class... Values>
  Query(Connection& connection, std::string_view sql, const Values&... values)
      : statement_(connection.Prepared(sql)) {
    Bind(values...);
  }
  template <class... Values>
  Query(Connection& connection, ManyRows many, std::string_view sql, const Values&... values)
      : Query(connection, sql, values...) {
    statement_.ExpectMany(many.first);
  }
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;
  ~Query() { statement_.Reset(); }

  // Values for ?1, ?2, ...
  template <class... Values>
  void Bind(const Values&... values) {
    statement_.Bind(values...);
  }

  // Has a server begin, so that the rows are there, or nearly, at the first step.
  void Send() { statement_.Send(); }
  // True while there is a row.
  bool Step() { return statement_.Step(); }
  // Steps a statement without rows and makes it ready for other values. Returns the rows changed.
  std::int64_t Run() {
    statement_.Step();
    const auto changes = statement_.Changes();
    statement_.Reset();
    return changes;
  }
  // Steps a statement with at most one row of one column and makes it ready for other values.
  // Empty without a row.
  std::optional<std::int64_t> RunForInt() {
    std::optional<std::int64_t> value;
    if (Step()) value = statement_.Int(0);
    statement_.Reset();
    return value;
  }

  bool IsNull(int column) const { return statement_.IsNull(column); }
  std::int32_t Int(int column) const { return static_cast<std::int32_t>(statement_.Int(column)); }
  std::int64_t Int64(int column) const { return statement_.Int(column); }
  double Real(int column) const { return statement_.Real(column); }
  std::string_view Text(int column) const { return statement_.Text(column); }
  std::span<const std::byte> Blob(int column) const { return statement_.Blob(column); }

  // The columns from the first (or a later one) on, by the types of what they are read into; an
  // array takes one for each element.
  template <class... T>
  void Read(T&... out) const {
    ReadFrom(0, out...);
  }
  template <class... T>
  void ReadFrom(int column, T&... out) const {
    (ReadNext(column, out), ...);
  }

  // The rows that are left, each with the columns in its members.
  template <class Row, class... Members>
  std::vector<Row> All(Members... members) {
    std::vector<Row> rows;
    while (Step()) {
      auto& row = rows.emplace_back();
      Read(row.*members...);
    }
    return rows;
  }

 private:
  template <class T>
  void ReadNext(int& column, T& out) const {
    ReadInto(column++, out);
  }
  template <class T, std::size_t kSize>
  void ReadNext(int& column, std::array<T, kSize>& out) const {
    for (auto& each : out) ReadInto(column++, each);
  }
  template <class T>
  void ReadInto(int column, std::optional<T>& out) const {
    out.reset();
    if (!IsNull(column)) ReadInto(column, out.emplace());
  }
  template <class T>
  void ReadInto(int column, T& out) const {
    if constexpr (std::is_same_v<T, bool>) {
      out = Int64(column) != 0;
    } else if constexpr (std::is_integral_v<T>) {
      out = static_cast<T>(Int64(column));
    } else if constexpr (std::is_same_v<T, std::string>) {
      out = Text(column);
    } else {
      out = Real(column);
    }
  }

  Statement& statement_;
};

// Writes the counters that the transaction has advanced, see counter.h.
void StoreCounters(Connection& connection);

// A transaction that rolls back unless it was committed.
class Transaction {
 public:
  Transaction(Connection& connection, TransactionKind kind) : connection_(connection) {
    connection.Begin(kind);
    for (auto& [table, counter] : connection.Counters()) counter.taken.reset();
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction() {
    if (open_) connection_.Rollback();
  }
  void Commit() {
    StoreCounters(connection_);
    connection_.Commit();
    open_ = false;
  }

 private:
  Connection& connection_;
  bool open_ = true;
};

// Test hook: the n-th step from now on this thread fails; 0 switches it off. Returns whether the
// former one has struck. Only where fail points are compiled in.
bool FailStep(int n);

}  // namespace orvspc::engine::sql
