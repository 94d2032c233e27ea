// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "platform/Object.h"

namespace orvspc::platform {

// A date in a cell, in days since 1899-12-30.
struct Date {
  double days = 0.0;
  friend bool operator==(const Date&, const Date&) = default;
};

// The value of one column of a limit row.
using Cell = std::variant<std::int32_t, double, Date, std::u16string>;

// A table of limit rows, and at the same time one row that is being filled: Let writes to the
// current row, Add takes over a copy of another object's current row, so that one row object can
// serve all rows. Columns are the F_ names of the database, and for those that have none their
// offset in the wire record: Word20, Stamp4, Double712. Failures are thrown as ExternalFailure.
class LimitTable : public Object {
 public:
  virtual void Let(std::string_view column, const Cell& value) = 0;
  // A column that was never given reads as 32-bit 0.
  virtual Cell Get(std::string_view column) = 0;

  // Appends a copy of the other object's current row, which becomes the current one.
  virtual void Add(LimitTable& row) = 0;

  // False when the table is empty.
  virtual bool MoveFirst() = 0;
  // False when there is no next row; the cursor then stays.
  virtual bool MoveNext() = 0;
};

}  // namespace orvspc::platform
