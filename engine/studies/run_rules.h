// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <vector>

#include "engine/statistics/RunRules.h"
#include "engine/studies/RunLengths.h"

namespace orvspc::studies {

// Those that are right, as RefusalOf says.
std::vector<engine::statistics::RunRule> RunRulesOf(std::span<const ChartRule> rules);

}  // namespace orvspc::studies
