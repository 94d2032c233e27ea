// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/postgres/PostgresConnection.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

#include "engine/sql/failure.h"
#include "engine/sql/postgres/PostgresRows.h"
#include "engine/sql/postgres/spelling.h"

namespace orvspc::engine::sql::postgres {
namespace {

// Why there is no current schema: those of the search path are not there or may not be used.
[[noreturn]] void RefuseSearchPath(Connection& connection) {
  Query hidden(connection,
               "SELECT nspname FROM string_to_table(current_setting('search_path'), ',') AS part "
               "JOIN pg_namespace ON nspname = CASE WHEN trim(part) = '\"$user\"' "
               "THEN current_user WHEN trim(part) LIKE '\"%' THEN trim(trim(part), '\"') "
               "ELSE lower(trim(part)) END WHERE NOT has_schema_privilege(nspname, 'USAGE') "
               "LIMIT 1");
  throw SqlError(SqlError::Kind::Other,
                 hidden.Step() ? "its role may not use the schema " + std::string(hidden.Text(0)) +
                                     ", for which it needs the right USAGE"
                               : "its search_path names no schema that is there");
}

}  // namespace

Statement& PostgresConnection::Prepared(std::string_view sql) {
  auto& statement = statements_[sql];
  if (!statement) {
    statement = std::make_unique<PostgresStatement>(pipeline_, SpellStatement(sql), ++numbers_);
  }
  return *statement;
}

bool PostgresConnection::Reconnect() {
  has_mark_ = pipeline_.Connect("to_regclass('orvspc_mark') IS NOT NULL");
  return true;
}

void PostgresConnection::Execute(const std::string& sql) {
  // Outside a transaction others are to see the change, too.
  std::optional<Transaction> transaction;
  if (!InTransaction()) transaction.emplace(*this, TransactionKind::Write);
  pipeline_.Execute(sql.c_str());
  if (transaction) transaction->Commit();
}

// A snapshot shows the rows of tables as they were, but tables that were made anew since as empty:
// whoever reads keeps the mark from whoever makes tables.
void PostgresConnection::Define(const std::string& sql) {
  Execute((has_mark_ ? "LOCK TABLE orvspc_mark IN ACCESS EXCLUSIVE MODE;\n" : "") +
          SpellTables(sql));
}

void PostgresConnection::KeepAppendOnly(std::string_view table, std::string_view number,
                                        bool is_kept) {
  const std::string name(table), column(number), function = name + "_append_only";
  if (!is_kept) {
    // The triggers go with their function.
    Execute("DROP FUNCTION " + function + "() CASCADE");
    return;
  }
  Execute("CREATE FUNCTION " + function +
          "() RETURNS trigger LANGUAGE plpgsql AS $body$ DECLARE next BIGINT; BEGIN "
          "IF TG_OP = 'INSERT' THEN "
          "EXECUTE format('SELECT coalesce(max(" +
          column +
          "), 0) + 1 FROM %I.%I', TG_TABLE_SCHEMA, TG_TABLE_NAME) INTO next; "
          "IF NEW." +
          column +
          " = next THEN RETURN NEW; END IF; END IF; "
          "RAISE EXCEPTION 'rows of " +
          name +
          " are only added'; END $body$; "
          "CREATE TRIGGER " +
          function + "_rows BEFORE INSERT OR UPDATE OR DELETE ON " + name +
          " FOR EACH ROW EXECUTE FUNCTION " + function + "(); CREATE TRIGGER " + function +
          "_all BEFORE TRUNCATE ON " + name + " EXECUTE FUNCTION " + function + "()");
}

std::unique_ptr<BulkRows> PostgresConnection::InsertMany(std::string_view row,
                                                         OnConflict conflict) {
  return std::make_unique<PostgresRows>(pipeline_, row, conflict);
}

// Without a snapshot begins to read on its own; all of this goes out with the first query.
void PostgresConnection::BeginReading(const std::string& snapshot) {
  // What nobody has stepped may fail, which is to skip nothing of the transaction.
  pipeline_.ForgetFailures();
  pipeline_.Sync();
  had_mark_ = has_mark_;
  writing_ = false;
  pipeline_.SendText("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY", Pipeline::Kind::Statement);
  pipeline_.BeginTransaction();
  if (!snapshot.empty()) {
    // Deliberate: without a lock, for which it might wait behind one who waits for the first
    // connection; that of the first will do.
    pipeline_.SendText(("SET TRANSACTION SNAPSHOT '" + snapshot + "'").c_str(),
                       Pipeline::Kind::Statement);
  } else if (has_mark_) {
    // Before the first query, which takes the snapshot. See Define.
    pipeline_.SendText("LOCK TABLE orvspc_mark IN ACCESS SHARE MODE", Pipeline::Kind::Statement);
  }
}

void PostgresConnection::Begin(TransactionKind kind) {
  if (kind == TransactionKind::Read) return BeginReading({});
  pipeline_.ForgetFailures();
  pipeline_.Drain();
  had_mark_ = has_mark_;
  writing_ = true;
  pipeline_.SendText("BEGIN ISOLATION LEVEL READ COMMITTED", Pipeline::Kind::Statement);
  pipeline_.BeginTransaction();
  try {
    // 0 would be without an end.
    const auto patience = std::to_string(std::max<std::int64_t>(write_patience_.count(), 1));
    pipeline_.SendText(("SET LOCAL lock_timeout = " + patience).c_str(), Pipeline::Kind::Statement);
    // Writers take turns, those of each schema: the one that has the tables, which is not the first
    // of every search path, or the one that is to have them.
    constexpr std::string_view kLock =
        "SELECT pg_advisory_xact_lock(1331852112, hashtext(coalesce("
        "(SELECT nspname FROM pg_class AS c JOIN pg_namespace AS n ON n.oid = c.relnamespace "
        "WHERE c.oid = to_regclass('orvspc_mark')), current_schema(), ''))), "
        "current_setting('transaction_read_only') = 'on'";
    Query lock(*this, kLock), version(*this, "SELECT version FROM orvspc_mark");
    lock.Send();
    if (has_mark_) version.Send();
    pipeline_.Sync();
    pipeline_.AwaitAnswer(on_wait_);  // the server answers all of this at once
    if (lock.Step() && lock.Int(1) != 0) {
      throw SqlError(SqlError::Kind::ReadOnly, "the server takes no writing");
    }
    if (has_mark_ && version.Step()) CheckVersion(version.Int(0));
  } catch (const SqlError& error) {
    Rollback();
    if (error.Which() == SqlError::Kind::Locked) throw BusyFor(write_patience_);
    throw;
  }
}

void PostgresConnection::Commit() {
  if (!writing_) {
    // Nobody need wait for the end of a reading, nor does it fail with what it has read.
    try {
      pipeline_.Sync();  // or a failure of what is under way would skip the end, too
      pipeline_.SendText("COMMIT", Pipeline::Kind::Quiet);
      pipeline_.Sync();
    } catch (const SqlError&) {
      // The connection is lost, which the next transaction finds.
    }
    pipeline_.EndTransaction();
    return;
  }
  if (pipeline_.HasFailed()) throw SqlError(SqlError::Kind::Other, "an earlier statement failed");
  if (pipeline_.HasRowsWaiting()) {
    throw SqlError(SqlError::Kind::Other, "rows in bulk were not finished");
  }
  if (has_mark_) {
    pipeline_.SendText("UPDATE orvspc_mark SET generation = generation + 1",
                       Pipeline::Kind::Statement);
  }
  pipeline_.SendText("COMMIT", Pipeline::Kind::Statement);
  pipeline_.Drain();
  // Of what nobody stepped: the server has then ended the transaction as one that failed.
  if (pipeline_.HasFailed()) throw SqlError(SqlError::Kind::Other, "an earlier statement failed");
  pipeline_.EndTransaction();
}

void PostgresConnection::Rollback() noexcept {
  if (!InTransaction()) return;
  has_mark_ = had_mark_;
  try {
    pipeline_.Sync();
    pipeline_.SendText("ROLLBACK", Pipeline::Kind::Quiet);
    pipeline_.Sync();
  } catch (const std::exception&) {
    // Without a connection there is no transaction either.
  }
  pipeline_.EndTransaction();
}

void PostgresConnection::CheckVersion(std::int32_t version) const {
  if (version <= version_) return;
  throw SqlError(SqlError::Kind::Other, "was made by a newer release (schema " +
                                            std::to_string(version) + ", this one knows " +
                                            std::to_string(version_) + ")");
}

std::int64_t PostgresConnection::DataVersion() {
  if (!has_mark_) return 0;
  // A table made anew or restored, or another server, may have the same generation.
  Query query(*this,
              "SELECT generation, version, tableoid::bigint, "
              "(extract(epoch FROM pg_postmaster_start_time()) * 1000000)::bigint "
              "FROM orvspc_mark");
  if (!query.Step()) return 0;
  CheckVersion(query.Int(1));
  const auto part = [&](int column) { return static_cast<std::uint64_t>(query.Int64(column)); };
  return static_cast<std::int64_t>(part(0) ^ part(2) * 0x9E3779B97F4A7C15U ^
                                   part(3) * 0xC2B2AE3D27D4EB4FU);
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
    if (query.Int(1) != 0) RefuseSearchPath(*this);
  }
  if (!has_mark_) return mark;
  Query query(*this, "SELECT application, version FROM orvspc_mark");
  if (query.Step()) query.Read(mark.application, mark.version);
  marked_ = mark.version;
  return mark;
}

void PostgresConnection::SetMark(std::int32_t application, std::int32_t version) {
  if (!has_mark_) {
    // Of tables that are made anew no generation is one of the former tables.
    Execute(
        "CREATE TABLE orvspc_mark(application BIGINT NOT NULL, version BIGINT NOT NULL, "
        "generation BIGINT NOT NULL); INSERT INTO orvspc_mark "
        "VALUES(0, 0, floor(random() * 4611686018427387904)::bigint)");
    has_mark_ = true;
  }
  Query(*this, "UPDATE orvspc_mark SET application = ?1, version = ?2", application, version).Run();
  marked_ = version;
}

std::unique_ptr<Connection> PostgresConnection::OpenReader() noexcept {
  try {
    return std::make_unique<PostgresConnection>(pipeline_.Address());
  } catch (const std::exception&) {
    return nullptr;
  }
}

bool PostgresConnection::BeginBeside(Connection& first) {
  std::string snapshot;
  try {
    Query query(first, "SELECT pg_export_snapshot()");
    query.Step();
    snapshot = query.Text(0);
  } catch (const SqlError& error) {
    // A failure ends the transaction, and inside a savepoint nothing can be exported.
    throw SqlError(SqlError::Kind::Lost, error.what());
  }
  const auto begin = [&] {
    if (!pipeline_.IsConnected()) Reconnect();
    BeginReading(snapshot);
    pipeline_.Drain();
  };
  for (const bool is_again : {false, true}) {
    try {
      begin();
      return true;
    } catch (const SqlError& error) {
      Rollback();
      if (is_again || error.Which() != SqlError::Kind::Lost) return false;
    }
  }
  return false;
}

std::unique_ptr<Connection> OpenServer(const std::string& address,
                                       const std::function<void(Connection&)>& check) {
  auto connection = std::make_unique<PostgresConnection>(address);
  try {
    check(*connection);
  } catch (const SqlError& error) {
    if (error.Which() != SqlError::Kind::Lost || connection->HasWritten()) throw;
    connection->Reconnect();
    check(*connection);
  }
  connection->HoldVersion();
  return connection;
}

}  // namespace orvspc::engine::sql::postgres
