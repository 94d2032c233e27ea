// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>

#include "engine/write/change/StoredRecord.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/Log.h"
#include "platform/Changes.h"

// Changes of the values, counts and size of a record, by the rules of recording. Inside a write
// transaction, since names may be new. They throw Refused.
namespace orvspc::engine::change {

// Of new values, or of those of a record that gets another time. Refused (code "unreasonable")
// where one lies beyond the reasonable limits in force at the time of the record; one that is
// forced has an event.
void CheckReasonable(log::Writing& writing, const StoredRecord& record,
                     std::span<const double> values, bool force);

// Returns what an entry says of it. A record of measured values keeps one at least; one of counts
// that loses its last count has counted none.
log::Json ApplyToPiece(log::Writing& writing, StoredRecord& record, const ValueChange& change);

void SetSize(sql::Connection& db, StoredRecord& record, double size);

}  // namespace orvspc::engine::change
