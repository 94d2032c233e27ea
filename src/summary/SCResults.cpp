// SPDX-License-Identifier: Apache-2.0
#include "summary/SCResults.h"

#include "frame/Checked.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"
#include "platform/NaN.h"

namespace orvspc {
namespace {

// Date of a row that has no start: 1970-01-01.
constexpr double kNoStart = 25569.0;

}  // namespace

SCResults::SCResults() : RowSet("SCResults", Moves::kByMoveTo) {
  Reset(Friend{});
  // The quiet NaN is taken as it is: no division that could trap.
  no_value_ = platform::kNaN;
}

void SCResults::Reset(const Friend&) {
  rows_.Erase();
  names_.Erase();
  ResetCursor();
  count_ = 0;
}

void SCResults::Load(const Friend&, const Array<API_SCRow>& Rows, const Array<SCNames>& Names) {
  Traced("SCResults.Load", [&] {
    // Deliberate: the cursor is not touched.
    rows_ = Rows.Copy();
    names_ = Names.Copy();
    count_ = checked::Narrow(rows_.UpperBound() + 1);
  });
}

std::string SCResults::Name(std::string SCNames::*name) const {
  return Untraced([&] { return names_[Position()].*name; });
}

double SCResults::StartTime() const {
  // Deliberate: only a row of detail has a start; for any other kind its stamp is not looked at.
  return Untraced(
      [&] { return Current().ResultType == 0 ? TimeStampToDate(Current().StartStamp) : kNoStart; });
}

double SCResults::Statistic(Figure figure) const {
  return Value(figure, Current().ResultType == 0 && Current().TestCount != 0);
}

std::int32_t SCResults::CurrentIndex() const {
  return Traced("SCResults.CurrentIndex(g)", [&] { return RowSet::CurrentIndex(); });
}

}  // namespace orvspc
