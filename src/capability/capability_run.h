// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "capability/CAResults.h"
#include "frame/Array.h"
#include "platform/Database.h"
#include "platform/SelectionRecord.h"

namespace orvspc::capability_run {

// The calls of the capability library for the settings that `results` holds, and what came back
// into `results`. Leaves them as they are when the library returns 0.
// Deliberate: true on every path; a failure inside the library looks like no data.
bool AnalyzeDS(platform::Database& Database, API_DSInfo& DSInfo, Array<std::int32_t>& DSFilter,
               CAResults& Results);

}  // namespace orvspc::capability_run
