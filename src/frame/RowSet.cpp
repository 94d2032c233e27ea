// SPDX-License-Identifier: Apache-2.0
#include "frame/RowSet.h"

#include "frame/Trail.h"

namespace orvspc {

bool RowSet::Stands(bool moved) {
  if (moved) Moved();
  return moved;
}

bool RowSet::MoveTo(std::int32_t Index) {
  return Traced(ProcedureName{module_, "MoveTo"},
                [&] { return Stands(cursor_.MoveTo(Index, RowCount())); });
}

bool RowSet::MoveFirst() {
  return Traced(ProcedureName{module_, "MoveFirst"}, [&] {
    return moves_ == Moves::kByMoveTo ? MoveTo(1) : Stands(cursor_.MoveFirst(RowCount()));
  });
}

bool RowSet::MoveLast() {
  return Traced(ProcedureName{module_, "MoveLast"}, [&] {
    return moves_ == Moves::kByMoveTo ? MoveTo(RowCount()) : Stands(cursor_.MoveLast(RowCount()));
  });
}

bool RowSet::MoveNext() {
  return Traced(ProcedureName{module_, "MoveNext"}, [&] {
    if (moves_ == Moves::kDirect) return Stands(cursor_.MoveNext(RowCount()));
    const std::int32_t index = CurrentIndex();
    return index < RowCount() && MoveTo(index + 1);
  });
}

bool RowSet::MovePrev() {
  return Traced(ProcedureName{module_, "MovePrev"}, [&] {
    return moves_ == Moves::kByMoveTo ? MoveTo(CurrentIndex() - 1)
                                      : Stands(cursor_.MovePrev(RowCount()));
  });
}

}  // namespace orvspc
