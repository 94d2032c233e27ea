// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "engine/sql/Connection.h"
#include "engine/store/digest.h"
#include "platform/Actor.h"

namespace orvspc::engine::store {

// The subgroups of a copy that does not take all, ascending.
using ChosenSubgroups = std::vector<std::int32_t>;
// Of each stream; a stream that is not there gives nothing.
struct ChosenStream {
  std::int64_t stream = 0;
  ChosenSubgroups subgroups;
};

// Who copies, and why, for the log.
struct CopyActor {
  Actor actor;
  std::string reason;
};

// Copies everything that a database holds, or the chosen subgroups and everything else, into one
// that is as it was made; identifiers stay. The log comes along, with an entry behind it that names
// the database and the entry that it was copied from; the other keeps its identity. Compares the
// digests of both at the end. Inside a read transaction of the one and a write transaction of the
// other, which the caller commits.
//   name_of_to  what failures of the other database begin with
//   progress    is called with the measurements copied so far
//   Failures    of what is copied: SqlError, std::runtime_error when a record is damaged; of the
//               other, which holds something, cannot be written or has another digest in the end:
//               platform::ExternalFailure
DatabaseDigest CopyDatabase(sql::Connection& from, sql::Connection& to,
                            const std::string& name_of_to,
                            const std::optional<std::vector<ChosenStream>>& chosen,
                            const CopyActor& actor,
                            const std::function<void(std::int64_t)>& progress);

}  // namespace orvspc::engine::store
