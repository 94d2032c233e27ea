// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "engine/store/Store.h"
#include "platform/ComplianceRecords.h"
#include "platform/Reports.h"

namespace orvspc::engine::compliance {

struct ComplianceRows {
  std::vector<API_SCRow> rows;
  std::vector<SamplingDue> windows;  // everything that was due, requirement by requirement
};

// The compliance rows of a selection, in the order of delivery; its Count is no bound. Writes the
// resolved range and states into info. False after a failure, which the store keeps.
bool RunCompliance(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                   ComplianceRows& result);

}  // namespace orvspc::engine::compliance
