// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/postgres/PostgresStatement.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "engine/sql/fail_step.h"

namespace orvspc::engine::sql::postgres {
namespace {

constexpr int kBinary = 1;

}  // namespace

bool PostgresStatement::Step() {
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

std::int64_t PostgresStatement::Changes() const {
  if (!result_) return 0;
  return std::strtoll(PQcmdTuples(result_.get()), nullptr, 10);
}

std::vector<TypeId> PostgresStatement::ColumnTypes() const {
  std::vector<TypeId> types;
  for (int i = 0; result_ && i < PQnfields(result_.get()); ++i) types.push_back(Type(i));
  return types;
}

// The types of the parameters are those of the values seen so far, so that a null leaves its type
// to the server until a value comes.
void PostgresStatement::Prepare(bool as_cursor) {
  bool changed = session_ != pipeline_.Session() || is_cursor_ != as_cursor;
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
  pipeline_.SendPrepare(
      name_, (as_cursor ? "DECLARE c" + number_ + " NO SCROLL CURSOR FOR " : "") + sql_, types_);
}

void PostgresStatement::Start() {
  const bool as_cursor = first_ > 0 && pipeline_.TransactionNumber() != 0;
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
  pipeline_.SendPrepared(name_, values, lengths, formats, as_cursor ? nullptr : this);
  if (as_cursor) {
    cursor_of_ = pipeline_.TransactionNumber();
    asked_ = first_;
    Fetch();
  }
}

void PostgresStatement::TakeFirst() {
  Await();
  is_new_ = false;
  row_ = 0;
  session_ = pipeline_.Session();
  has_more_ = is_cursor_ && RowCount() == asked_;
}

void PostgresStatement::Fetch() {
  const auto text = "FETCH " + std::to_string(asked_) + " FROM c" + number_;
  pipeline_.SendText(text.c_str(), Pipeline::Kind::Statement, this);
  is_asked_ = true;
}

void PostgresStatement::Await() {
  pipeline_.Sync();
  while (!arrived_) pipeline_.Receive();
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
  pipeline_.Sync();
}

void PostgresStatement::Reset() noexcept {
  if (is_running_) pipeline_.Forget(*this);
  const bool has_cursor = cursor_of_ != 0 && cursor_of_ == pipeline_.TransactionNumber();
  is_running_ = false;
  cursor_of_ = 0;
  first_ = 0;
  result_.reset();
  arrived_.reset();
  if (!has_cursor) return;
  try {
    pipeline_.SendText(("CLOSE c" + number_).c_str(), Pipeline::Kind::Quiet);
  } catch (const std::exception&) {
    // The cursor ends with its transaction.
  }
}

}  // namespace orvspc::engine::sql::postgres
