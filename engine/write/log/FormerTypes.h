// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "engine/sql/Connection.h"

namespace orvspc::engine::log {

// The types that tests had. A test loses its type with its last values, and the entry about it says
// before it {"type": 1}; it gets one again, without an entry, with the first that come.
class FormerTypes {
 public:
  // Inside a transaction; throws SqlError.
  explicit FormerTypes(sql::Connection& db);

  // TestTypes of a test that had values at the time of an entry, also of one that was merged since.
  std::int32_t At(std::int32_t test, std::int64_t entry) const;
  // 0: it has no values.
  std::int32_t Now(std::int32_t test) const;

 private:
  struct Change {
    std::int64_t entry = 0;
    std::int32_t type = 0;  // before it
    std::int32_t into = 0;  // of a merge
  };
  std::map<std::int32_t, std::vector<Change>> changes_;  // by test, each in the order of the log
  std::map<std::int32_t, std::int32_t> now_;
};

}  // namespace orvspc::engine::log
