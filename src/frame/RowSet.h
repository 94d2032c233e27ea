// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "frame/Cursor.h"
#include "platform/Object.h"

namespace orvspc {

// Base of the public classes that hold rows: the cursor and its moves.
class RowSet : public platform::Object {
 public:
  // The row at the cursor, counted from 1; 1 on an empty set too.
  virtual std::int32_t CurrentIndex() const { return cursor_.CurrentIndex(); }

  // A move is true if the row exists; otherwise the cursor stays where it is.
  // MoveTo counts from 1.
  bool MoveTo(std::int32_t Index);
  bool MoveFirst();
  bool MoveLast();
  bool MoveNext();
  bool MovePrev();

 protected:
  // Whether the other moves call MoveTo, which then has its entry in the trail of a failure.
  enum class Moves { kDirect, kByMoveTo };

  // The module is the class's name in the trail.
  RowSet(std::string_view module, Moves moves) : module_(module), moves_(moves) {}

  virtual std::int32_t RowCount() const = 0;
  // After every successful move.
  virtual void Moved() {}

  std::string_view Module() const { return module_; }
  std::int32_t Position() const { return cursor_.Position(); }
  void ResetCursor() { cursor_.Reset(); }

 private:
  bool Stands(bool moved);

  std::string_view module_;
  Moves moves_;
  Cursor cursor_;
};

}  // namespace orvspc
