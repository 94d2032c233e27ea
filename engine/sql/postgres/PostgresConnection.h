// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "engine/sql/postgres/Pipeline.h"
#include "engine/sql/postgres/PostgresStatement.h"

namespace orvspc::engine::sql::postgres {

// The database at a libpq address.
class PostgresConnection final : public Connection {
 public:
  explicit PostgresConnection(std::string address) : pipeline_(std::move(address)) { Reconnect(); }

  Statement& Prepared(std::string_view sql) override;
  std::size_t PreparedCount() const override { return statements_.size(); }
  bool Holds(std::string_view text) const override { return IsStorable(text); }
  void Execute(const std::string& sql) override;
  void Define(const std::string& sql) override;
  void KeepAppendOnly(std::string_view table, std::string_view number, bool is_kept) override;
  std::unique_ptr<BulkRows> InsertMany(std::string_view row, OnConflict conflict) override;

  void Begin(TransactionKind kind) override;
  void WaitForWriters(std::chrono::milliseconds at_most, std::function<void()> on_wait) override {
    write_patience_ = at_most;
    on_wait_ = std::move(on_wait);
  }
  void Commit() override;
  void Rollback() noexcept override;
  bool InTransaction() const override { return pipeline_.TransactionNumber() != 0; }

  std::int64_t DataVersion() override;
  bool Reconnect() override;
  // Newer tables than those of the latest Mark are refused from now on, as another program may
  // bring them forward.
  void HoldVersion() { version_ = marked_; }
  // Whether the latest transaction was one that writes.
  bool HasWritten() const { return writing_; }
  SchemaMark Mark() override;
  void SetMark(std::int32_t application, std::int32_t version) override;

  // The server needs neither.
  void PrepareBulk() override {}
  bool EmptyLog() override { return true; }

  std::unique_ptr<Connection> OpenReader() noexcept override;
  void NoteState() override {}
  bool BeginBeside(Connection& first) override;

 private:
  void BeginReading(const std::string& snapshot);
  void CheckVersion(std::int32_t version) const;

  Pipeline pipeline_;
  bool writing_ = false;
  bool has_mark_ = false, had_mark_ = false;  // had: when the transaction began
  std::int32_t version_ = INT32_MAX;          // the highest schema that is used
  std::int32_t marked_ = INT32_MAX;           // as last read or set
  // Keys are texts that outlive the connection.
  std::unordered_map<std::string_view, std::unique_ptr<PostgresStatement>> statements_;
  int numbers_ = 0;  // of statements, for their names
  std::chrono::milliseconds write_patience_ = std::chrono::minutes(1);
  std::function<void()> on_wait_;
};

// Opens the database and calls check, once more where a reading of its lost the connection. Throws
// SqlError.
std::unique_ptr<Connection> OpenServer(const std::string& address,
                                       const std::function<void(Connection&)>& check);

}  // namespace orvspc::engine::sql::postgres
