// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/store/Store.h"
#include "engine/write/log/Log.h"
#include "platform/SamplingCheck.h"

namespace orvspc::engine::alarms {

// Finds the windows of sampling requirements that are over and short, as the analysis of compliance
// counts them. Inside the write transaction of the store.
//   - Each has one event, unique by requirement and due time, an entry of the log and a row of the
//     outbox. It is withdrawn when the window was filled since, or is no more.
//   - A requirement is judged from its mark on: at first no further back than the setting
//     alarm_horizon from its newest window that is over.
//   - The mark keeps that distance and stops at the first window that is short. Samples that reach
//     a full window before the mark change nothing.
//   - A lot or job is over when another one of the requirement has begun after its last subgroup.
SamplingCheck CheckSamples(store::Store& store, log::Writing& writing);

}  // namespace orvspc::engine::alarms
