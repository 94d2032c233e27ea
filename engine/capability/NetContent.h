// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/statistics/Sample.h"
#include "platform/CapabilityRecords.h"

namespace orvspc::engine::capability {

// The values, multiplied by the factor of the row (0: 1), held against net contents: scores with
// the long-term deviation (positive: inside), actual and expected percent of packages strictly
// beyond, expected by the normal distribution. All 0 without a row.
API_CANccResults NetContentResults(const statistics::Sample& values, const API_CANccLim8& limits);

}  // namespace orvspc::engine::capability
