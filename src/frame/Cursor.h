// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "frame/Checked.h"

namespace orvspc {

// The current row of a result class. The public index counts from 1, the position from 0. A move to
// a row that does not exist returns false and the cursor stays; no move ever fails.
class Cursor {
 public:
  std::int32_t Position() const { return position_; }
  std::int32_t CurrentIndex() const { return checked::Add(position_, 1); }

  // To the first row, as after loading.
  void Reset() { position_ = 0; }

  bool MoveTo(std::int32_t index, std::int32_t count) {
    return Stand(std::int64_t{index} - 1, count);
  }
  bool MoveFirst(std::int32_t count) { return Stand(0, count); }
  bool MoveLast(std::int32_t count) { return Stand(std::int64_t{count} - 1, count); }
  bool MoveNext(std::int32_t count) { return Stand(std::int64_t{position_} + 1, count); }
  // After a reload the cursor may lie past the end; MovePrev still steps back one row at a time.
  bool MovePrev(std::int32_t count) {
    if (count == 0 || position_ == 0) return false;
    --position_;
    return true;
  }

 private:
  bool Stand(std::int64_t position, std::int32_t count) {
    if (position < 0 || position >= count) return false;
    position_ = static_cast<std::int32_t>(position);
    return true;
  }

  std::int32_t position_ = 0;
};

}  // namespace orvspc
