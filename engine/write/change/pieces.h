// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/write/change/StoredRecord.h"
#include "engine/write/log/Json.h"
#include "platform/Changes.h"

// Changes of the values, counts and size of a record, by the rules of recording. Inside a write
// transaction, since names may be new. They throw Refused.
namespace orvspc::engine::change {

// Refused (code "unreasonable") where the new value lies beyond the reasonable limits in force,
// unless it is forced; returns whether it does.
bool CheckReasonable(sql::Connection& db, const StoredRecord& record, const ValueChange& change);

// Returns what an entry says of it. A record of measured values keeps one at least; one of counts
// that loses its last count has counted none.
log::Json ApplyToPiece(log::Writing& writing, StoredRecord& record, const ValueChange& change);

void SetSize(sql::Connection& db, StoredRecord& record, double size);

}  // namespace orvspc::engine::change
