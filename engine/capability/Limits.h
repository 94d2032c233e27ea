// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "engine/capability/StreamSample.h"
#include "engine/statistics/CapabilityIndices.h"
#include "engine/store/Store.h"
#include "platform/CapabilityRecords.h"

// Which limits a capability analysis is held against.
namespace orvspc::engine::capability {

enum class Normalization : std::uint8_t { None = 0, Nominal = 1, Target = 2 };

// Values in place of the stored upper limit, target and lower limit. One that is not finite, or
// beyond 1e300 in size, says that there is no such limit.
struct LimitOverride {
  double usl, target, lsl;
};

struct LimitsInForce {
  API_CASpecLim8 record{};          // normalised; all 0 when there are none
  statistics::Tolerance tolerance;  // of the record
  std::vector<double> origins;      // what each stream's values are moved down by
};

// The rows in force at the newest value of each part and test. Several parts and tests must agree
// in all limits to 1e-9 of their width, after normalising; otherwise none holds. Adds its notes.
LimitsInForce FindLimits(store::Store& store, std::span<const StreamSample> streams,
                         const std::optional<LimitOverride>& override_by, Normalization normalize);

// The limits of a record as numbers.
statistics::Tolerance ToleranceOf(const API_CASpecLim8& record);

// Net contents in force, by the same rule; a record of zeros when there are none.
API_CANccLim8 FindNetContents(store::Store& store, std::span<const StreamSample> streams);

}  // namespace orvspc::engine::capability
