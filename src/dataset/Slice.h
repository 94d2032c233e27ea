// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "frame/Array.h"
#include "frame/Cursor.h"
#include "platform/Object.h"
#include "platform/RowRecords.h"

namespace orvspc {

class Friend;

// Base of the rows of one subgroup: a copy of them and a cursor. CurrentIndex counts from 1 and is
// 0 when there are no rows; a move that is not possible returns false and the cursor stays.
template <class Row>
class Slice : public platform::Object {
 public:

  std::int32_t Count() const { return rows_.Count(); }
  std::int32_t CurrentIndex() const { return Count() == 0 ? 0 : cursor_.CurrentIndex(); }
  bool MoveFirst();
  bool MoveLast();
  bool MoveNext();
  bool MovePrev();

  // Takes the rows; the cursor stands on the first.
  void Load(const Friend&, Array<Row> Rows);

 protected:
  enum class Empty { kFails, kAnswersDefault };

  // The module of the trail, and what a Get does without rows.
  Slice(std::string_view module, Empty empty) : module_(module), empty_(empty) {}

  // get(current row), with the trail name "<module>.<property>(g)".
  template <class Get>
  auto Read(std::string_view property, Get&& get) const;

 private:
  template <class Body>
  bool Move(std::string_view procedure, Body&& body);

  std::string_view module_;
  Empty empty_;
  Array<Row> rows_;
  Cursor cursor_;
};

extern template class Slice<API_TestData>;
extern template class Slice<API_DescriptorData>;
extern template class Slice<API_CommentData>;

}  // namespace orvspc
