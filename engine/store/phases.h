// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "engine/log/Log.h"
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

// All of these need a reason and throw Refused, with the code
//   name, freeze_after  for a value that is none
//   time                for an end that is not after the start
//   overlap             where another phase of the same stream lies in it
//   unknown             for an identifier that no phase has
//
// Adds one, and returns it with identifier, reason, who and when of the writing.
Phase AddPhase(log::Writing& writing, Phase phase);
// Begins one that lasts until the next phase of its streams; the one of the same part, process and
// test that holds at its start ends there. Another one that does is an overlap.
Phase BeginPhase(log::Writing& writing, Phase phase);
// Gives a phase another end.
void EndPhase(log::Writing& writing, std::int32_t id, std::int32_t finish);
void RemovePhase(log::Writing& writing, std::int32_t id);

}  // namespace orvspc::engine::store
