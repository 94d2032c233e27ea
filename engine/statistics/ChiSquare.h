// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "engine/statistics/Distributions.h"

namespace orvspc::engine::statistics {

// Goodness of fit of a sample to a distribution whose parameters were estimated from it, over cells
// of equal probability.
//   cells          min(floor(sqrt N), floor(N/5)), so that each expects 5 values or more
//   value          sum (observed - N/cells)^2 / (N/cells)
//   degrees        cells - 1 - parameters; below 1 there is no test: degrees 0, value 0,
//                  probability 1
struct ChiSquareTest {
  std::int32_t degrees = 0;
  double value = 0.0;
  double probability = 1.0;  // of a larger value
};

std::int32_t ChiSquareCells(std::int64_t count);

// The cells - 1 inner edges, ascending. A value on an edge belongs to the cell below it.
std::vector<double> EqualProbabilityEdges(const Distribution& law, std::int32_t cells);

ChiSquareTest ChiSquareOf(std::span<const std::int64_t> observed, int parameters);

}  // namespace orvspc::engine::statistics
