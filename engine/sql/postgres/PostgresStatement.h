// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/sql/postgres/Cells.h"
#include "engine/sql/postgres/Pipeline.h"
#include "engine/sql/postgres/spelling.h"

namespace orvspc::engine::sql::postgres {

// A prepared statement. The server prepares it at its first use, and again on a new connection.
class PostgresStatement final : public Cells<Statement>, public Receiver {
 public:
  PostgresStatement(Pipeline& pipeline, Spelled sql, int number)
      : Cells(sql.parameters),
        pipeline_(pipeline),
        sql_(std::move(sql.text)),
        number_(std::to_string(number)),
        types_(cells_.size(), kUnknownType) {}

  void ExpectMany(int first) override { first_ = first; }

  void Send() override {
    if (!is_running_) Start();
  }
  bool Step() override;
  void Reset() noexcept override;
  std::int64_t Changes() const override;

  bool IsNull(int column) const override { return PQgetisnull(result_.get(), row_, column) != 0; }
  std::int64_t Int(int column) const override { return IntOf(Bytes(column), Type(column)); }
  double Real(int column) const override { return RealOf(Bytes(column), Type(column)); }
  std::string_view Text(int column) const override { return Bytes(column); }
  std::span<const std::byte> Blob(int column) const override {
    const auto bytes = Bytes(column);
    return {reinterpret_cast<const std::byte*>(bytes.data()), bytes.size()};
  }

  std::vector<TypeId> ColumnTypes() const;

  void Take(Result result) override { arrived_ = std::move(result); }

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

  Pipeline& pipeline_;
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

}  // namespace orvspc::engine::sql::postgres
