// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/postgres/PostgresRows.h"

#include <algorithm>
#include <utility>

#include "engine/sql/fail_step.h"
#include "engine/sql/postgres/PostgresStatement.h"

namespace orvspc::engine::sql::postgres {
namespace {

constexpr std::string_view kHeader{"PGCOPY\n\377\r\n\0\0\0\0\0\0\0\0\0", 19};
constexpr std::size_t kBurst = 1 << 20;

}  // namespace

PostgresRows::PostgresRows(Pipeline& pipeline, std::string_view row, OnConflict conflict)
    : Cells(static_cast<int>(std::count(row.begin(), row.end(), ',')) + 1),
      pipeline_(pipeline),
      table_(row.substr(0, row.find('('))),
      columns_(row.substr(table_.size() + 1, row.size() - table_.size() - 2)),
      waiting_("orvspc_waiting_" + table_),
      skips_(conflict == OnConflict::Skip) {}

void PostgresRows::Append(std::uint64_t value, int size) {
  for (int i = size; i-- > 0;) rows_ += static_cast<char>(value >> (8 * i));
}

void PostgresRows::Add() {
  FailPoint();
  if (types_.empty()) ReadTypes();
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
  if (count_++ == 0) pipeline_.BeginRows();
  if (rows_.size() >= kBurst) Send();
}

std::int64_t PostgresRows::Finish() {
  Send();
  if (count_ > 0) pipeline_.FinishRows();
  const auto count = std::exchange(count_, 0);
  return is_waiting_ ? InsertWaiting() : count;
}

void PostgresRows::ReadTypes() {
  PostgresStatement columns(pipeline_, {"SELECT " + columns_ + " FROM " + table_ + " LIMIT 0", 0},
                            0);
  columns.Step();
  types_ = columns.ColumnTypes();
  columns.Reset();
}

void PostgresRows::Send() {
  if (rows_.empty()) return;
  if (skips_ && !is_waiting_) {
    pipeline_.Execute(("CREATE TEMPORARY TABLE " + waiting_ + " ON COMMIT DROP AS SELECT " +
                       columns_ + " FROM " + table_ + " WITH NO DATA")
                          .c_str());
    is_waiting_ = true;
  }
  Append(UINT16_MAX, 2);
  pipeline_.Copy(
      "COPY " + (skips_ ? waiting_ : table_) + "(" + columns_ + ") FROM STDIN (FORMAT binary)",
      rows_);
  rows_.clear();
}

std::int64_t PostgresRows::InsertWaiting() {
  PostgresStatement insert(pipeline_,
                           {"INSERT INTO " + table_ + "(" + columns_ + ") SELECT " + columns_ +
                                " FROM " + waiting_ + " ORDER BY ctid ON CONFLICT DO NOTHING",
                            0},
                           0);
  insert.Step();
  const auto stored = insert.Changes();
  insert.Reset();
  pipeline_.Execute(("DROP TABLE " + waiting_).c_str());
  is_waiting_ = false;
  return stored;
}

}  // namespace orvspc::engine::sql::postgres
