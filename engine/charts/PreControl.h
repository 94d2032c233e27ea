// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "engine/charts/PointTable.h"
#include "engine/statistics/RunRules.h"

namespace orvspc::engine::charts {

// Pre-control of one stream: each piece is judged by the specification limits in force at its
// subgroup.
struct PreControlInput {
  const store::DataSet& data;
  const PointTable& table;
  const ChartStream& stream;
  std::span<const API_CCSpecLim> specs;
  std::span<const statistics::RunRule> rules;  // zone rules alone
};

// Writes the points of the stream, each the piece farthest from the target, and their marks, both
// in columns of the table. False when the stream has no lines at any point; its points are then
// NaN.
bool FillPreControl(const PreControlInput& input, std::span<double> points,
                    std::span<std::uint32_t> marks);

}  // namespace orvspc::engine::charts
