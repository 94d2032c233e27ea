// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace orvspc::engine {

// Rows with a cursor, the implementation of the record object Base. While there are none, the
// current row is the one that is being filled.
template <class Base, class Row>
class RowList : public Base {
 public:
  bool MoveFirst() override {
    cursor_ = 0;
    return !rows_.empty();
  }
  bool MoveNext() override {
    if (cursor_ + 1 >= rows_.size()) return false;
    ++cursor_;
    return true;
  }

 protected:
  bool IsEmpty() const { return rows_.empty(); }
  Row& Current() { return rows_.empty() ? single_ : rows_[cursor_]; }
  // Moves the cursor to the new row.
  void Append(Row row) {
    rows_.push_back(std::move(row));
    cursor_ = rows_.size() - 1;
  }
  // Replaces all rows; false when there are none.
  bool Assign(std::vector<Row> rows) {
    rows_ = std::move(rows);
    return MoveFirst();
  }

 private:
  std::vector<Row> rows_;
  Row single_{};
  std::size_t cursor_ = 0;
};

}  // namespace orvspc::engine
