// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "engine/sql/Connection.h"
#include "platform/Phase.h"

// Phases of streams in the database. In no stream do two of them overlap.
namespace orvspc::engine::store {

// By start.
std::vector<Phase> ReadPhases(sql::Connection& db);

bool HoldsFor(const Phase& phase, std::int32_t part, std::int32_t process, std::int32_t test);

// Whether there is a stream and a time in which both hold.
bool Overlap(const Phase& a, const Phase& b);

// Those of one stream, by start; 0 is any.
std::vector<Phase> PhasesOf(const std::vector<Phase>& phases, std::int32_t part,
                            std::int32_t process, std::int32_t test);

}  // namespace orvspc::engine::store
