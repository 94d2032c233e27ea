// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "engine/statistics/Sample.h"
#include "engine/store/Store.h"

namespace orvspc::engine::capability {

// The values that count of one part, process and test.
struct StreamSample {
  std::int32_t part = 0, process = 0, test = 0;
  std::int32_t oldest = 0, newest = 0;  // times of its subgroups
  statistics::Sample sample;
};

// Reads the piece values of the subgroups of variable tests that count: the enabled ones; where the
// selection asks for none of those, all that it asks for. Streams by the order of their reading;
// one without values is left out. False on a failure, which the store keeps.
bool ReadStreams(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                 std::vector<StreamSample>& streams);

}  // namespace orvspc::engine::capability
