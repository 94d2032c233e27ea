// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <vector>

#include "engine/statistics/RunRules.h"
#include "engine/studies/ChartRules.h"

namespace orvspc::studies {

ChartRule AsChartRule(const engine::statistics::RunRule& rule);
// A rule that judges pieces, not points.
bool IsOfPieces(const engine::statistics::RunRule& rule);
// Those that are right, as RefusalOf says.
std::vector<engine::statistics::RunRule> RunRulesOf(std::span<const ChartRule> rules);

}  // namespace orvspc::studies
