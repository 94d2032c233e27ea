// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "engine/store/Store.h"

// What sampling requirements say of a stream.
namespace orvspc::engine::store {

// Seconds in which the process runs from one subgroup of a stream to the next, where a requirement
// of the kind interval is in force at the time; of several the least. Throws SqlError.
std::optional<double> SamplingIntervalOf(Store& store, std::int32_t part, std::int32_t process,
                                         std::int32_t test, std::int64_t time);

}  // namespace orvspc::engine::store
