// SPDX-License-Identifier: Apache-2.0
// The employee of those who write.
#include "engine/sql/counter.h"
#include "engine/write/log/Log.h"
#include "engine/write/log/UndoneNames.h"

namespace orvspc::engine::log {

std::int32_t Writing::Employee() {
  if (employee_) return *employee_;
  {
    sql::Query known(db_,
                     "SELECT id, 0 AS is_former FROM employee WHERE name = ?1 UNION ALL "
                     "SELECT item, 1 FROM alias WHERE kind = 'employee' AND name = ?1 "
                     "ORDER BY is_former",
                     who_);
    if (known.Step()) employee_ = known.Int(0);
  }
  if (employee_) {
    ReviveUndone(*this, ItemKind::Employee, *employee_);
    return *employee_;
  }
  employee_ = static_cast<std::int32_t>(sql::TakeIds(db_, "employee"));
  sql::Query(db_, "INSERT INTO employee(id, name) VALUES(?1, ?2)", *employee_, who_).Run();
  return *employee_;
}

}  // namespace orvspc::engine::log
