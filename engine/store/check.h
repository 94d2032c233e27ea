// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "engine/sql/Connection.h"

namespace orvspc::engine::store {

// Something that is not as the program wrote it.
struct CheckFind {
  std::string place, reason;
};

struct CheckResult {
  std::int64_t subgroups = 0;
  std::vector<CheckFind> finds;
  std::int64_t left_out = 0;  // finds beyond the first thousand
};

enum class Medium { File, Server };

// Looks whether a database is whole, without a look at what values, limits and the log say.
//
//   - of a file, its pages and their structure
//   - references: each identifier that a row names is there
//   - checksums of chunks, of hot records and of blocks of subgroups
//   - chunks are in order, have what their row says, and share no record with the hot ones
//   - a subgroup is stored once; time, part and process of a record are those of its subgroup
//   - no identifier is above the last one given
//   - limits and phases: those that hold at the same time
//
// progress is called with the subgroups seen so far. Inside a read transaction. What is damaged is
// passed over. Throws SqlError for other failures, and where a server's transaction ends by damage.
CheckResult QuickCheck(sql::Connection& db, Medium medium,
                       const std::function<void(std::int64_t)>& progress);

// Reads all that has a checksum of its own: chunks, hot records and blocks of subgroups. A page
// that was written again matches its checksum whatever is in them. Inside a read transaction.
// Throws std::runtime_error, which names the first that is damaged, and SqlError.
void CheckPacked(sql::Connection& db);

}  // namespace orvspc::engine::store
