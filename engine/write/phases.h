// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "engine/write/log/Log.h"
#include "platform/Phase.h"

// Changes of phases. In no stream do two of them overlap.
namespace orvspc::engine::write {

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

}  // namespace orvspc::engine::write
