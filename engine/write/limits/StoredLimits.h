// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/write/limits/Compute.h"
#include "engine/write/log/Log.h"
#include "platform/LimitRecords.h"

// Rows of control limits and what becomes of them. All inside a transaction; each step adds an
// entry of the log for each row that it changes, and throws Refused where it cannot be.
namespace orvspc::engine::limits {

// By part, test, process, effective time and age. Of one part, process or test where given.
std::vector<ListedLimit> ReadLimits(sql::Connection& db, const store::StreamIds& of = {});
// Code "unknown" where there is none.
ListedLimit NeedLimit(sql::Connection& db, std::int32_t id);
std::vector<LimitExclusion> ExclusionsOf(sql::Connection& db, std::int32_t id);
// Those of the rows of a stream that hold or held, each subgroup once, with the newest reason.
std::vector<LimitExclusion> LeftOut(sql::Connection& db, const store::StreamIds& stream);

// Stores what was computed as a proposed row that holds from the end of its data on. Code "missing"
// where something keeps it from being proposed, unless the request forces it.
std::int32_t Propose(log::Writing& writing, const LimitRequest& request, const Computed& computed);
// Puts other figures, data, words and, where the request has one, effective time into a row that is
// proposed.
void Revise(log::Writing& writing, std::int32_t id, const LimitRequest& request,
            const Computed& computed);

// The steps, on the version that the caller saw, or on any.
//   Approve  it holds from its effective time on; rows of its stream that held end there, a retired
//            one also where it began there, and it ends where the next one begins. With new_phase,
//            a phase of that name begins, too; a policy may begin one without being asked.
//   Reject   it never holds
//   Withdraw the same, by the review that proposed it: it is void, since no person was against it
//   Retire   it holds up to and without a time before its end; older rows do not come back
//   Void     it holds nowhere, and what it replaced holds again in its place, a retired row no
//            longer than it held by itself
using Expected = std::optional<std::int64_t>;
void Approve(log::Writing& writing, std::int32_t id, const LimitApproval& approval,
             Expected expected);
void Reject(log::Writing& writing, std::int32_t id, Expected expected);
void Withdraw(log::Writing& writing, std::int32_t id);
void Retire(log::Writing& writing, std::int32_t id, std::int32_t at, Expected expected);
void Void(log::Writing& writing, std::int32_t id, Expected expected);

LimitDetails Details(store::SqlStore& store, sql::Connection& db, std::int32_t id);
LimitComparison Compare(const ListedLimit& first, const ListedLimit& second);

}  // namespace orvspc::engine::limits
