// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/postgres/PostgresConnection.h"

#include <libpq-fe.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <deque>
#include <unordered_map>

#include "engine/sql/fail_step.h"
#include "engine/sql/postgres/server_failure.h"
#include "engine/sql/postgres/spelling.h"
#include "engine/sql/postgres/wire.h"

namespace orvspc::engine::sql::postgres {
namespace {

struct ResultDeleter {
  void operator()(PGresult* result) const noexcept { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, ResultDeleter>;

struct ConnectionDeleter {
  void operator()(PGconn* connection) const noexcept { PQfinish(connection); }
};
using Server = std::unique_ptr<PGconn, ConnectionDeleter>;

constexpr int kBinary = 1;
constexpr std::chrono::milliseconds kWriting = std::chrono::minutes(1);

// Of a session, in place of what the server or its role has set.
constexpr std::pair<std::string_view, std::string_view> kSettings[] = {
    {"jit", "off"},  // compiling costs more than our statements take
    {"cursor_tuple_fraction", "0.001"},
    {"random_page_cost", "1.1"},
    {"bytea_output", "hex"},
};

// Where a value to be sent lies: a number in the cell itself, the rest with the caller.
struct Cell {
  TypeId type = kUnknownType;
  bool is_null = true;
  bool is_real = false;
  std::int64_t whole = 0;
  double real = 0.0;
  std::string_view bytes;

  // In the form of a type. The number lies in `number`.
  std::string_view BytesAs(TypeId wanted, NumberBytes& number) const {
    if (type != kInt8 && type != kFloat8) return bytes;
    number = is_real ? BytesOf(real, wanted) : BytesOf(whole, wanted);
    return number.View();
  }
};

// The values of a statement or a row.
template <class Base>
class Cells : public Base {
 public:
  explicit Cells(int count) : cells_(static_cast<std::size_t>(count)) {}

  void BindInt(int index, std::int64_t value) override {
    At(index) = {kInt8, false, false, value, 0.0, {}};
  }
  void BindReal(int index, double value) override {
    At(index) = {kFloat8, false, true, 0, value, {}};
  }
  void BindText(int index, std::string_view text) override { BindBytes(index, kText, text); }
  void BindBlob(int index, std::span<const std::byte> blob) override {
    BindBytes(index, kBytea, {reinterpret_cast<const char*>(blob.data()), blob.size()});
  }
  void BindNull(int index) override { At(index) = {}; }

 protected:
  std::vector<Cell> cells_;

 private:
  Cell& At(int index) {
    if (index < 1 || static_cast<std::size_t>(index) > cells_.size()) {
      throw SqlError(SqlError::Kind::Other,
                     "the statement has no parameter " + std::to_string(index));
    }
    return cells_[static_cast<std::size_t>(index) - 1];
  }
  void BindBytes(int index, TypeId type, std::string_view bytes) {
    auto& cell = At(index);
    if (bytes.size() > INT_MAX) throw SqlError(SqlError::Kind::Other, "string or blob too big");
    cell = {type, false, false, 0, 0.0, bytes.data() == nullptr ? "" : bytes};
  }
};

class PostgresStatement;

// What was sent and not yet answered.
struct Request {
  enum class Kind {
    Statement,  // its failure is thrown
    Quiet,      // its failure is of no interest
    Sync,       // after a failure the server resumes after it
  };
  Kind kind;
  PostgresStatement* owner;  // whom the answer is for; null: nobody
};

class PostgresConnection final : public Connection {
 public:
  explicit PostgresConnection(std::string address) : address_(std::move(address)) { Connect(); }
  ~PostgresConnection() override;

  Statement& Prepared(std::string_view sql) override;
  std::size_t PreparedCount() const override { return statements_.size(); }
  void Execute(const std::string& sql) override;
  void Define(const std::string& sql) override;
  std::unique_ptr<BulkRows> InsertMany(std::string_view row, OnConflict conflict) override;

  void Begin(TransactionKind kind) override;
  void WaitForWriters(std::chrono::milliseconds at_most, std::function<void()> on_wait) override {
    write_patience_ = at_most;
    on_wait_ = std::move(on_wait);
  }
  void Commit() override;
  void Rollback() noexcept override;
  bool InTransaction() const override { return transaction_ != 0; }

  std::int64_t DataVersion() override;
  bool Reconnect() override {
    Connect();
    return true;
  }
  SchemaMark Mark() override;
  void SetMark(std::int32_t application, std::int32_t version) override;

  // The server needs neither.
  void PrepareBulk() override {}
  bool EmptyLog() override { return true; }

  std::unique_ptr<Connection> OpenReader() noexcept override;
  void NoteState() override {}
  bool BeginBeside(Connection& first) override;

  // --- For statements ----------------------------------------------------------------------------
  // Each transaction has its number; 0: there is none.
  std::int64_t TransactionNumber() const { return transaction_; }
  // Counts the connections made, since what is prepared goes with its connection.
  int Session() const { return session_; }
  // All of these only send; the answers come in this order.
  void SendText(const char* sql, Request::Kind kind, PostgresStatement* owner = nullptr);
  void SendPrepare(const std::string& name, const std::string& sql,
                   const std::vector<TypeId>& types);
  void SendPrepared(const std::string& name, std::span<const char* const> values,
                    std::span<const int> lengths, std::span<const int> formats,
                    PostgresStatement* owner);
  // Has the server answer what was sent.
  void Sync();
  // Takes the next answer.
  void Receive();
  // Answers that are still to come are for nobody.
  void Forget(const PostgresStatement& statement) noexcept;
  // Copies rows to the server.
  void Copy(const std::string& sql, std::string_view rows);

 private:
  void Connect();
  void Check();
  [[noreturn]] void Drop(const SqlError& failure);
  void Sent(int was_sent, Request::Kind kind, PostgresStatement* owner);
  // Waits for all answers.
  void Drain();
  // Calls on_wait now and then until an answer is there.
  void AwaitAnswer();
  // Runs work while nothing else is under way.
  template <class Work>
  void Alone(Work work);
  Result ExecuteNow(const char* sql, ExecStatusType expected);

  const std::string address_;
  Server server_;
  int session_ = 0;
  std::int64_t transaction_ = 0, transactions_ = 0;
  bool writing_ = false;
  bool has_mark_ = false, had_mark_ = false;  // had: when the transaction began
  bool failed_ = false;                       // a statement of the transaction
  bool synced_ = true;
  std::deque<Request> pending_;
  // Keys are texts that outlive the connection.
  std::unordered_map<std::string_view, std::unique_ptr<PostgresStatement>> statements_;
  int numbers_ = 0;  // of statements, for their names
  std::chrono::milliseconds write_patience_ = kWriting;
  std::function<void()> on_wait_;
};

class PostgresStatement final : public Cells<Statement> {
 public:
  PostgresStatement(PostgresConnection& connection, Spelled sql, int number)
      : Cells(sql.parameters),
        connection_(connection),
        sql_(std::move(sql.text)),
        number_(std::to_string(number)),
        types_(cells_.size(), kUnknownType) {}

  void ExpectMany(int first) override { first_ = first; }

  void Send() override {
    if (!is_running_) Start();
  }
  bool Step() override {
    FailPoint();
    if (!is_running_) Start();
    if (is_new_) {
      TakeFirst();
    } else {
      ++row_;
    }
    while (row_ >= RowCount()) {
      if (!has_more_) return false;
      NextBatch();
    }
    return true;
  }
  void Reset() noexcept override;
  std::int64_t Changes() const override {
    if (!result_) return 0;
    const std::string_view text = PQcmdTuples(result_.get());
    return std::strtoll(std::string(text).c_str(), nullptr, 10);
  }

  bool IsNull(int column) const override { return PQgetisnull(result_.get(), row_, column) != 0; }
  std::int64_t Int(int column) const override { return IntOf(Bytes(column), Type(column)); }
  double Real(int column) const override { return RealOf(Bytes(column), Type(column)); }
  std::string_view Text(int column) const override { return Bytes(column); }
  std::span<const std::byte> Blob(int column) const override {
    const auto bytes = Bytes(column);
    return {reinterpret_cast<const std::byte*>(bytes.data()), bytes.size()};
  }

  std::vector<TypeId> ColumnTypes() const {
    std::vector<TypeId> types;
    for (int i = 0; result_ && i < PQnfields(result_.get()); ++i) types.push_back(Type(i));
    return types;
  }

  // An answer of the server.
  void Take(Result result) { arrived_ = std::move(result); }

 private:
  // A batch of rows fits the caches of both sides.
  static constexpr std::size_t kBatchBytes = 1 << 19;

  int RowCount() const { return result_ ? PQntuples(result_.get()) : 0; }
  std::string_view Bytes(int column) const {
    return {PQgetvalue(result_.get(), row_, column),
            static_cast<std::size_t>(PQgetlength(result_.get(), row_, column))};
  }
  TypeId Type(int column) const { return PQftype(result_.get(), column); }

  void Start();
  void TakeFirst();
  void Prepare(bool as_cursor);
  void Fetch();
  void Await();
  void NextBatch();

  PostgresConnection& connection_;
  const std::string sql_, number_;
  std::string name_;           // under which the server knows it; empty for one that is used once
  std::vector<TypeId> types_;  // of the parameters, as far as values have shown them
  int session_ = 0;            // in which it was prepared; 0: never
  int versions_ = 0;
  bool is_cursor_ = false;                    // prepared as one
  int first_ = 0;                             // of ExpectMany
  bool is_running_ = false, is_new_ = false;  // new: without its first answer
  std::int64_t cursor_of_ = 0;  // the transaction that has an open cursor; 0: there is none
  bool has_more_ = false, is_asked_ = false;
  int asked_ = 0;  // rows of the batch that is under way
  Result result_, arrived_;
  int row_ = 0;
};

// --- Statements ----------------------------------------------------------------------------------

// The types of the parameters are those of the values seen so far, so that a null leaves its type
// to the server until a value comes.
void PostgresStatement::Prepare(bool as_cursor) {
  bool changed = session_ != connection_.Session() || is_cursor_ != as_cursor;
  for (std::size_t i = 0; i < cells_.size(); ++i) {
    const auto type = cells_[i].type;
    const bool is_known =
        type == kUnknownType || type == types_[i] || (type == kInt8 && types_[i] == kFloat8);
    if (is_known) continue;
    types_[i] = type;
    changed = true;
  }
  if (!changed) return;
  session_ = 0;
  is_cursor_ = as_cursor;
  if (number_ != "0") name_ = "s" + number_ + "_" + std::to_string(++versions_);
  connection_.SendPrepare(
      name_, (as_cursor ? "DECLARE c" + number_ + " NO SCROLL CURSOR FOR " : "") + sql_, types_);
}

void PostgresStatement::Start() {
  const bool as_cursor = first_ > 0 && connection_.InTransaction();
  result_.reset();
  arrived_.reset();
  Prepare(as_cursor);
  const auto count = cells_.size();
  std::vector<NumberBytes> numbers(count);
  std::vector<const char*> values(count);
  std::vector<int> lengths(count), formats(count, kBinary);
  for (std::size_t i = 0; i < count; ++i) {
    if (cells_[i].is_null) continue;
    const auto bytes = cells_[i].BytesAs(types_[i], numbers[i]);
    values[i] = bytes.data();
    lengths[i] = static_cast<int>(bytes.size());
  }
  is_running_ = is_new_ = true;
  is_asked_ = false;
  has_more_ = false;
  connection_.SendPrepared(name_, values, lengths, formats, as_cursor ? nullptr : this);
  if (as_cursor) {
    cursor_of_ = connection_.TransactionNumber();
    asked_ = first_;
    Fetch();
  }
}

void PostgresStatement::TakeFirst() {
  Await();
  is_new_ = false;
  row_ = 0;
  session_ = connection_.Session();
  has_more_ = is_cursor_ && RowCount() == asked_;
}

void PostgresStatement::Fetch() {
  const auto text = "FETCH " + std::to_string(asked_) + " FROM c" + number_;
  connection_.SendText(text.c_str(), Request::Kind::Statement, this);
  is_asked_ = true;
}

void PostgresStatement::Await() {
  connection_.Sync();
  while (!arrived_) connection_.Receive();
  result_ = std::move(arrived_);
  is_asked_ = false;
}

// Batches grow; from the third on the server makes the next one while this one is being read.
void PostgresStatement::NextBatch() {
  const bool is_second = !is_asked_;
  const auto next_size = [&] {
    const auto rows = std::max(RowCount(), 1);
    const auto bytes = PQresultMemorySize(result_.get()) / static_cast<std::size_t>(rows) + 1;
    return static_cast<int>(
        std::clamp<std::size_t>(kBatchBytes / bytes, 1, static_cast<std::size_t>(rows) * 8));
  };
  if (is_second) {
    asked_ = next_size();
    Fetch();
  }
  Await();
  row_ = 0;
  has_more_ = RowCount() == asked_;
  if (!has_more_) return;
  asked_ = next_size();
  Fetch();
  connection_.Sync();
}

void PostgresStatement::Reset() noexcept {
  if (is_running_) connection_.Forget(*this);
  const bool has_cursor = cursor_of_ != 0 && cursor_of_ == connection_.TransactionNumber();
  is_running_ = false;
  cursor_of_ = 0;
  first_ = 0;
  result_.reset();
  arrived_.reset();
  if (!has_cursor) return;
  try {
    connection_.SendText(("CLOSE c" + number_).c_str(), Request::Kind::Quiet);
  } catch (const std::exception&) {
    // The cursor ends with its transaction.
  }
}

// --- Rows in bulk --------------------------------------------------------------------------------

// Rows in the binary form of COPY, sent a megabyte at a time. Where a row may be there already,
// they go by way of a table of the transaction.
class PostgresRows final : public Cells<BulkRows> {
 public:
  PostgresRows(PostgresConnection& connection, std::string_view row, OnConflict conflict)
      : Cells(static_cast<int>(std::count(row.begin(), row.end(), ',')) + 1),
        connection_(connection),
        table_(row.substr(0, row.find('('))),
        columns_(row.substr(row.find('(') + 1)),
        skips_(conflict == OnConflict::Skip) {
    columns_.pop_back();
  }

  void Add() override {
    FailPoint();
    if (types_.empty()) Open();
    if (rows_.empty()) rows_.append(kHeader);
    Append(static_cast<std::uint64_t>(cells_.size()), 2);
    for (std::size_t i = 0; i < cells_.size(); ++i) {
      if (cells_[i].is_null) {
        Append(UINT32_MAX, 4);
        continue;
      }
      NumberBytes number;
      const auto bytes = cells_[i].BytesAs(types_[i], number);
      Append(bytes.size(), 4);
      rows_.append(bytes);
    }
    ++count_;
    if (rows_.size() >= kBurst) Send();
  }

  std::int64_t Finish() override {
    if (types_.empty()) return 0;
    Send();
    if (!skips_) return std::exchange(count_, 0);
    const auto into = "INSERT INTO " + table_ + "(" + columns_ + ") SELECT " + columns_ + " FROM " +
                      kWaiting + " ORDER BY ctid ON CONFLICT DO NOTHING";
    const auto stored = Changed(into);
    connection_.Execute(std::string("DROP TABLE ") + kWaiting);
    types_.clear();
    count_ = 0;
    return stored;
  }

 private:
  static constexpr std::string_view kHeader{"PGCOPY\n\377\r\n\0\0\0\0\0\0\0\0\0", 19};
  static constexpr std::size_t kBurst = 1 << 20;
  static constexpr const char* kWaiting = "orvspc_waiting";

  void Append(std::uint64_t value, int size) {
    for (int i = size; i-- > 0;) rows_ += static_cast<char>(value >> (8 * i));
  }
  std::int64_t Changed(const std::string& sql) {
    PostgresStatement statement(connection_, {sql, 0}, 0);
    statement.Step();
    const auto changes = statement.Changes();
    statement.Reset();
    return changes;
  }
  void Open();
  void Send() {
    if (rows_.empty()) return;
    Append(UINT16_MAX, 2);
    connection_.Copy(
        "COPY " + (skips_ ? kWaiting : table_) + "(" + columns_ + ") FROM STDIN (FORMAT binary)",
        rows_);
    rows_.clear();
  }

  PostgresConnection& connection_;
  std::string table_, columns_;
  bool skips_;
  std::vector<TypeId> types_;
  std::string rows_;
  std::int64_t count_ = 0;
};

// --- The connection ------------------------------------------------------------------------------

PostgresConnection::~PostgresConnection() = default;

void PostgresConnection::Connect() {
  pending_.clear();
  synced_ = true;
  transaction_ = 0;
  server_.reset();
  // Parameters before the address apply where the address gives none.
  const char* const names[] = {"connect_timeout", "fallback_application_name", "dbname",
                               "client_encoding", nullptr};
  const char* const values[] = {"10", "orvspc", address_.c_str(), "UTF8", nullptr};
  server_.reset(PQconnectdbParams(names, values, 1));
  if (!server_) throw std::bad_alloc();
  if (PQstatus(server_.get()) != CONNECTION_OK) throw ConnectFailureOf(server_.get());
  PQsetNoticeProcessor(
      server_.get(), [](void*, const char*) {}, nullptr);
  ++session_;
  Check();
}

// Whether this is a database that we can work with; and the settings of the session.
void PostgresConnection::Check() {
  constexpr int kOldestServer = 150000;
  if (PQserverVersion(server_.get()) < kOldestServer) {
    throw SqlError(SqlError::Kind::Other, "its server is older than PostgreSQL 15");
  }
  const char* encoding = PQparameterStatus(server_.get(), "server_encoding");
  if (encoding == nullptr || std::string_view(encoding) != "UTF8") {
    throw SqlError(SqlError::Kind::Other, std::string("its encoding is ") +
                                              (encoding == nullptr ? "unknown" : encoding) +
                                              "; UTF8 needed");
  }
  std::string text = "SELECT to_regclass('orvspc_mark') IS NOT NULL";
  for (const auto& [name, value] : kSettings) {
    text.append(", set_config('").append(name).append("', '").append(value).append("', false)");
  }
  const auto result = ExecuteNow(text.c_str(), PGRES_TUPLES_OK);
  has_mark_ = *PQgetvalue(result.get(), 0, 0) == 't';
  PQenterPipelineMode(server_.get());
}

// The connection is of no use any more.
void PostgresConnection::Drop(const SqlError& failure) {
  pending_.clear();
  synced_ = true;
  transaction_ = 0;
  server_.reset();
  throw SqlError(failure);
}

Statement& PostgresConnection::Prepared(std::string_view sql) {
  auto& statement = statements_[sql];
  if (!statement) {
    statement = std::make_unique<PostgresStatement>(*this, SpellStatement(sql), ++numbers_);
  }
  return *statement;
}

void PostgresConnection::Sent(int was_sent, Request::Kind kind, PostgresStatement* owner) {
  if (was_sent != 1) Drop(Lost());
  pending_.push_back({kind, owner});
  synced_ = kind == Request::Kind::Sync;
}

void PostgresConnection::SendText(const char* sql, Request::Kind kind, PostgresStatement* owner) {
  if (!server_) throw Lost();
  Sent(PQsendQueryParams(server_.get(), sql, 0, nullptr, nullptr, nullptr, nullptr, kBinary), kind,
       owner);
}

void PostgresConnection::SendPrepare(const std::string& name, const std::string& sql,
                                     const std::vector<TypeId>& types) {
  if (!server_) throw Lost();
  Sent(PQsendPrepare(server_.get(), name.c_str(), sql.c_str(), static_cast<int>(types.size()),
                     types.data()),
       Request::Kind::Statement, nullptr);
}

void PostgresConnection::SendPrepared(const std::string& name, std::span<const char* const> values,
                                      std::span<const int> lengths, std::span<const int> formats,
                                      PostgresStatement* owner) {
  if (!server_) throw Lost();
  Sent(PQsendQueryPrepared(server_.get(), name.c_str(), static_cast<int>(values.size()),
                           values.data(), lengths.data(), formats.data(), kBinary),
       Request::Kind::Statement, owner);
}

void PostgresConnection::Sync() {
  if (synced_) return;
  if (!server_) throw Lost();
  Sent(PQpipelineSync(server_.get()), Request::Kind::Sync, nullptr);
}

void PostgresConnection::Receive() {
  if (!server_ || pending_.empty()) throw Lost();
  Result result(PQgetResult(server_.get()));
  const auto request = pending_.front();
  const auto status = result ? PQresultStatus(result.get()) : PGRES_FATAL_ERROR;
  if (status == PGRES_FATAL_ERROR) {
    const auto failure = FailureOf(server_.get(), result.get());
    if (failure.Which() == SqlError::Kind::Lost) Drop(failure);
    failed_ = true;
    pending_.pop_front();
    const Result end(PQgetResult(server_.get()));
    // The server skips the rest of what was sent with it.
    for (auto& each : pending_) {
      if (each.kind == Request::Kind::Sync) break;
      each = {Request::Kind::Quiet, nullptr};
    }
    if (request.kind != Request::Kind::Quiet) throw SqlError(failure);
    return;
  }
  pending_.pop_front();
  if (status == PGRES_PIPELINE_SYNC) return;
  const Result end(PQgetResult(server_.get()));  // of this answer
  if (status == PGRES_PIPELINE_ABORTED) return;
  if (request.owner != nullptr) request.owner->Take(std::move(result));
}

void PostgresConnection::Forget(const PostgresStatement& statement) noexcept {
  for (auto& request : pending_) {
    if (request.owner == &statement) request = {Request::Kind::Quiet, nullptr};
  }
}

void PostgresConnection::Drain() {
  Sync();
  while (!pending_.empty()) Receive();
}

template <class Work>
void PostgresConnection::Alone(Work work) {
  Drain();
  if (!server_) throw Lost();
  PQexitPipelineMode(server_.get());
  const struct Again {
    PostgresConnection& connection;
    ~Again() {
      if (connection.server_) PQenterPipelineMode(connection.server_.get());
    }
  } again{*this};
  work();
}

Result PostgresConnection::ExecuteNow(const char* sql, ExecStatusType expected) {
  Result result(PQexec(server_.get(), sql));
  if (result && PQresultStatus(result.get()) == expected) return result;
  const auto failure = FailureOf(server_.get(), result.get());
  if (failure.Which() == SqlError::Kind::Lost) Drop(failure);
  throw SqlError(failure);
}

void PostgresConnection::Execute(const std::string& sql) {
  // Outside a transaction others are to see the change, too.
  std::optional<Transaction> transaction;
  if (!InTransaction()) transaction.emplace(*this, TransactionKind::Write);
  Alone([&] {
    const Result result(PQexec(server_.get(), sql.c_str()));
    const auto status = result ? PQresultStatus(result.get()) : PGRES_FATAL_ERROR;
    if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) return;
    const auto failure = FailureOf(server_.get(), result.get());
    if (failure.Which() == SqlError::Kind::Lost) Drop(failure);
    throw SqlError(failure);
  });
  if (transaction) transaction->Commit();
}

void PostgresConnection::Define(const std::string& sql) { Execute(SpellTables(sql)); }

void PostgresConnection::Copy(const std::string& sql, std::string_view rows) {
  Alone([&] {
    ExecuteNow(sql.c_str(), PGRES_COPY_IN);
    if (PQputCopyData(server_.get(), rows.data(), static_cast<int>(rows.size())) != 1 ||
        PQputCopyEnd(server_.get(), nullptr) != 1) {
      Drop(Lost());
    }
    const Result result(PQgetResult(server_.get()));
    const bool is_done = result && PQresultStatus(result.get()) == PGRES_COMMAND_OK;
    const auto failure = is_done ? Lost() : FailureOf(server_.get(), result.get());
    if (!is_done && failure.Which() == SqlError::Kind::Lost) Drop(failure);
    const Result end(PQgetResult(server_.get()));
    if (!is_done) throw SqlError(failure);
  });
}

void PostgresRows::Open() {
  PostgresStatement columns(connection_, {"SELECT " + columns_ + " FROM " + table_ + " LIMIT 0", 0},
                            0);
  columns.Step();
  types_ = columns.ColumnTypes();
  columns.Reset();
  if (!skips_) return;
  connection_.Execute(std::string("CREATE TEMPORARY TABLE ") + kWaiting +
                      " ON COMMIT DROP AS SELECT " + columns_ + " FROM " + table_ +
                      " WITH NO DATA");
}

std::unique_ptr<BulkRows> PostgresConnection::InsertMany(std::string_view row,
                                                         OnConflict conflict) {
  return std::make_unique<PostgresRows>(*this, row, conflict);
}

void PostgresConnection::Begin(TransactionKind kind) {
  failed_ = false;
  had_mark_ = has_mark_;
  writing_ = kind == TransactionKind::Write;
  if (!writing_) {
    SendText("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY", Request::Kind::Statement);
    transaction_ = ++transactions_;
    return;
  }
  Drain();
  SendText("BEGIN ISOLATION LEVEL READ COMMITTED", Request::Kind::Statement);
  transaction_ = ++transactions_;
  try {
    // 0 would be without an end.
    const auto patience = std::to_string(std::max<std::int64_t>(write_patience_.count(), 1));
    SendText(("SET LOCAL lock_timeout = " + patience).c_str(), Request::Kind::Statement);
    // Writers take turns, those of each schema.
    constexpr std::string_view kLock =
        "SELECT pg_advisory_xact_lock(1331852112, hashtext(current_schema())), "
        "current_setting('transaction_read_only') = 'on'";
    Query lock(*this, kLock);
    lock.Send();
    Sync();
    AwaitAnswer();  // the server answers all of this at once
    if (lock.Step() && lock.Int(1) != 0) {
      throw SqlError(SqlError::Kind::ReadOnly, "the server takes no writing");
    }
  } catch (...) {
    Rollback();
    throw;
  }
}

// Nothing else is under way, so that what comes in next is the answer.
void PostgresConnection::AwaitAnswer() {
  constexpr int kPause = 50;  // milliseconds
  pollfd socket{PQsocket(server_.get()), POLLIN, 0};
  while (on_wait_ && poll(&socket, 1, kPause) == 0) on_wait_();
}

void PostgresConnection::Commit() {
  if (!writing_) {
    // Nobody need wait for the end of a reading.
    SendText("COMMIT", Request::Kind::Quiet);
    Sync();
    transaction_ = 0;
    return;
  }
  if (failed_) throw SqlError(SqlError::Kind::Other, "an earlier statement failed");
  if (has_mark_) {
    SendText("UPDATE orvspc_mark SET generation = generation + 1", Request::Kind::Statement);
  }
  SendText("COMMIT", Request::Kind::Statement);
  Drain();
  transaction_ = 0;
}

void PostgresConnection::Rollback() noexcept {
  if (!InTransaction()) return;
  has_mark_ = had_mark_;
  try {
    Sync();
    SendText("ROLLBACK", Request::Kind::Quiet);
    Sync();
  } catch (const std::exception&) {
    // Without a connection there is no transaction either.
  }
  transaction_ = 0;
}

std::int64_t PostgresConnection::DataVersion() {
  if (!has_mark_) return 0;
  return Query(*this, "SELECT generation FROM orvspc_mark").RunForInt().value_or(0);
}

SchemaMark PostgresConnection::Mark() {
  SchemaMark mark;
  {
    Query query(*this,
                "SELECT to_regclass('orvspc_mark') IS NOT NULL, current_schema() IS NULL, "
                "EXISTS(SELECT FROM pg_class WHERE relkind IN ('r', 'p', 'v', 'm', 'f') AND "
                "relnamespace = (SELECT oid FROM pg_namespace WHERE nspname = current_schema()))");
    query.Step();
    has_mark_ = query.Int(0) != 0;
    mark.has_tables = query.Int(2) != 0;
    if (query.Int(1) != 0) {
      throw SqlError(SqlError::Kind::Other, "its search_path names no schema that is there");
    }
  }
  if (!has_mark_) return mark;
  Query query(*this, "SELECT application, version FROM orvspc_mark");
  if (query.Step()) query.Read(mark.application, mark.version);
  return mark;
}

void PostgresConnection::SetMark(std::int32_t application, std::int32_t version) {
  if (!has_mark_) {
    Execute(
        "CREATE TABLE orvspc_mark(application BIGINT NOT NULL, version BIGINT NOT NULL, "
        "generation BIGINT NOT NULL); INSERT INTO orvspc_mark VALUES(0, 0, 1)");
    has_mark_ = true;
  }
  Query(*this, "UPDATE orvspc_mark SET application = ?1, version = ?2", application, version).Run();
}

std::unique_ptr<Connection> PostgresConnection::OpenReader() noexcept {
  try {
    return std::make_unique<PostgresConnection>(address_);
  } catch (const std::exception&) {
    return nullptr;
  }
}

bool PostgresConnection::BeginBeside(Connection& first) {
  std::string set;
  {
    Query query(first, "SELECT pg_export_snapshot()");
    query.Step();
    set = "SET TRANSACTION SNAPSHOT '" + std::string(query.Text(0)) + "'";
  }
  try {
    if (!server_) Connect();
    Begin(TransactionKind::Read);
    SendText(set.c_str(), Request::Kind::Statement);
    Drain();
    return true;
  } catch (const SqlError&) {
    Rollback();
    return false;
  }
}

}  // namespace

std::unique_ptr<Connection> OpenServer(const std::string& address,
                                       const std::function<void(Connection&)>& check) {
  auto connection = std::make_unique<PostgresConnection>(address);
  check(*connection);
  return connection;
}

}  // namespace orvspc::engine::sql::postgres
