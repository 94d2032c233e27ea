// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "engine/sql/Connection.h"
#include "engine/store/digest.h"

namespace orvspc::engine::store {

// The subgroups of a copy that does not take all, ascending.
using ChosenSubgroups = std::vector<std::int32_t>;
// Of each stream; a stream that is not there gives nothing.
struct ChosenStream {
  std::int64_t stream = 0;
  ChosenSubgroups subgroups;
};

// Copies everything that a database holds, or the chosen subgroups and everything else, into one
// that holds nothing yet; identifiers stay. Compares the digests of both at the end. Inside a read
// transaction of the one and a write transaction of the other, which the caller commits. Throws
// SqlError, and std::runtime_error when a record is damaged, the other database holds something or
// the digests differ.
//   progress  is called with the measurements copied so far
DatabaseDigest CopyDatabase(sql::Connection& from, sql::Connection& to,
                            const std::optional<std::vector<ChosenStream>>& chosen,
                            const std::function<void(std::int64_t)>& progress);

}  // namespace orvspc::engine::store
