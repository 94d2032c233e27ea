// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace orvspc {

// What a Pareto can be binned by beside paBinTypes, whose numbers are published: the phase that
// holds for the part, process and test at the time of a subgroup, event or state.
inline constexpr std::int32_t kBinTypePhase = 1000;

}  // namespace orvspc
