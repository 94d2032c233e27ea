// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/sql/postgres/Cells.h"
#include "engine/sql/postgres/Pipeline.h"

namespace orvspc::engine::sql::postgres {

// Rows in the binary form of COPY, sent a megabyte at a time. Where a row may be there already,
// they go by way of a temporary table and one INSERT ... ON CONFLICT.
class PostgresRows final : public Cells<BulkRows> {
 public:
  PostgresRows(Pipeline& pipeline, std::string_view row, OnConflict conflict);

  void Add() override;
  std::int64_t Finish() override;

 private:
  void Append(std::uint64_t value, int size);
  void ReadTypes();
  void Send();
  std::int64_t InsertWaiting();

  Pipeline& pipeline_;
  const std::string table_, columns_, waiting_;
  const bool skips_;
  std::vector<TypeId> types_;  // of the columns; empty until the first row
  std::string rows_;           // that are to be sent
  std::int64_t count_ = 0;     // since the last Finish
  bool is_waiting_ = false;    // whether the temporary table is there
};

}  // namespace orvspc::engine::sql::postgres
