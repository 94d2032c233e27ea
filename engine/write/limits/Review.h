// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "engine/write/limits/StoredLimits.h"

// Policies of streams that say when limits are proposed anew. Inside a transaction.
namespace orvspc::engine::limits {

// Those that hold, one for each part, process and test; oldest first.
std::vector<BaselinePolicy> ReadPolicies(sql::Connection& db);
// word: of a preset. 0 for any part, process or test. Returns its number.
std::int32_t SetPolicy(log::Writing& writing, const store::StreamIds& of, std::string_view word);

// Looks at the streams that have a policy, of one part, process or test where given.
//   proposed    the first run of points on one side of the centre in force that is long enough and
//               has a cause at its first point or the two before: a row is proposed that holds from
//               that point on, out of its first points, and an event says so
//   updated     a row that waits for more points has those that came
//   withdrawn   its run was over before there were enough, or its cause is recorded no more
//   no-cause    a run is long enough, and nothing says why
//   not-ready   its points cannot give limits; the text says what is missing
//   no-limits   there is no row in force whose centre could be compared
// Nothing is approved, and what a person rejected is not proposed again.
std::vector<LimitReview> Review(store::SqlStore& store, log::Writing& writing,
                                const store::StreamIds& of);
// The same of streams by their numbers.
std::vector<LimitReview> Review(store::SqlStore& store, log::Writing& writing,
                                const std::vector<std::int64_t>& streams);
// Whether one of them has a policy that is on.
bool HavePolicy(store::SqlStore& store, sql::Connection& db,
                const std::vector<std::int64_t>& streams);

}  // namespace orvspc::engine::limits
