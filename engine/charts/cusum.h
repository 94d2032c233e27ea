// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "engine/charts/Lines.h"
#include "engine/charts/RunRows.h"

namespace orvspc::engine::charts {

// What became of the points of a stream.
struct CusumOutcome {
  bool no_sigma = false;            // some point has none above 0, and so no cusum
  std::vector<std::size_t> beyond;  // places whose sum is beyond the largest number
};

// Replaces the points of one stream by their cusum about the lines that the chart would have
// without it; a change of the stored limits begins anew. `points` is the whole column, `lines` is
// asked in ascending order.
CusumOutcome FillCusum(const StreamTable& table, const ChartStream& stream, const RunRows& rows,
                       const std::function<statistics::PointLimits(std::size_t place)>& lines,
                       std::vector<double>& points);

}  // namespace orvspc::engine::charts
