// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <vector>

#include "engine/statistics/Sample.h"

namespace orvspc::engine::statistics {

// Quantiles of a large sample after Hazen, as Quantile does for a sorted one, without sorting or
// copying it: the values are counted in cells of the number line, which are narrowed around the
// ranks asked for.
// Returns  one for each probability (0..1); empty for an empty sample
std::vector<double> SampleQuantiles(const Sample& sample, std::span<const double> probabilities);

}  // namespace orvspc::engine::statistics
