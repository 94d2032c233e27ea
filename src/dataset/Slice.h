// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "frame/Array.h"
#include "frame/RowSet.h"
#include "platform/RowRecords.h"

namespace orvspc {

class Friend;

// Base of the rows of one subgroup: a copy of them and a cursor. CurrentIndex counts from 1 and is
// 0 when there are no rows; a move that is not possible returns false and the cursor stays.
template <class Row>
class Slice : public RowSet {
 public:
  std::int32_t Count() const { return rows_.Count(); }
  std::int32_t CurrentIndex() const override { return Count() == 0 ? 0 : RowSet::CurrentIndex(); }

  // For the library. Takes the rows; the cursor is on the first.
  void Load(const Friend&, Array<Row> Rows);

 protected:
  enum class Empty { kFails, kAnswersDefault };

  // The module of the trail, and what a Get does without rows.
  Slice(std::string_view module, Empty empty) : RowSet(module, Moves::kDirect), empty_(empty) {}

  // get(current row), with the trail name "<module>.<property>(g)".
  template <class Get>
  auto Read(std::string_view property, Get&& get) const;
  std::int32_t Field(std::string_view property, std::int32_t Row::*field) const;

 private:
  using RowSet::MoveTo;  // a slice has the four others alone
  std::int32_t RowCount() const override { return Count(); }

  Empty empty_;
  Array<Row> rows_;
};

extern template class Slice<API_TestData>;
extern template class Slice<API_DescriptorData>;
extern template class Slice<API_CommentData>;

}  // namespace orvspc
