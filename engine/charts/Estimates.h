// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

#include "engine/charts/ChartPlan.h"
#include "engine/charts/PointTable.h"
#include "engine/statistics/Estimators.h"
#include "platform/Reports.h"

namespace orvspc::engine::charts {

// Of a sigma from moving ranges that was widened.
inline constexpr std::string_view kWidenedName = "MR-est ar1";

// The calculated figures of one stream.
struct StreamEstimates {
  double mean = 0.0;
  std::string_view mean_name;
  std::int64_t mean_used = 0;

  statistics::SigmaEstimate sp;      // sigma of one piece as the limits of graph 1 see it
  statistics::SigmaEstimate within;  // as range and deviation on graph 2 see it
  statistics::SigmaEstimate moving;  // as the moving range on graph 2 sees it
  statistics::SigmaEstimate sw;      // as graph 3 sees it
  statistics::SigmaEstimate
      gamma;                   // coefficient of variation of one piece; only where graph 2 shows it
  double mean_size = 0.0;      // pieces a subgroup
  double mean_readings = 0.0;  // readings a piece
  // Moving ranges beside a graph 1 that takes its sigma from inside the subgroups.
  bool own_moving = false;
  // Widened limits were asked for, and the sigma is the usual one.
  bool not_widened = false;
  // A figure is beyond the largest number and therefore left out.
  bool overflow = false;
};

// Columns of one stream. `base` is what graph 1 is about: mean or median of each subgroup.
struct EstimateInput {
  std::span<const double> base, ranges, sds, ratios;
  std::span<const std::int32_t> sizes;
  std::span<const std::uint8_t> used;  // empty: all
  std::span<const std::uint8_t> anew;  // not 0: no moving range into it; empty: none
  // Graph 3 inside the pieces: statistics and sizes of its pieces, and which of them count.
  std::span<const double> piece_statistics;
  std::span<const std::int32_t> piece_sizes;
  std::span<const std::uint8_t> piece_used;
  bool screen_moving = false;  // large moving ranges are dropped
  bool widen = false;          // for points that lean on those before them
};

// Whether the estimates of a plan read the standard deviations of some stream of this shape.
bool NeedsDeviations(const ChartPlan& plan, const DataShape& shape);

// Shape of the sizes of one stream, over the points that count.
DataShape ShapeOf(std::span<const std::int32_t> sizes, std::span<const std::uint8_t> used);

StreamEstimates EstimateStream(const ChartPlan& plan, const EstimateInput& input,
                               statistics::EstimatorSetting setting);

// Sizes alone: without mean and sigmas there are no calculated limits.
StreamEstimates WithoutFigures(const StreamEstimates& estimates);

// Mean size of the statistic of each graph: pieces, the span of a moving range, or readings.
double AverageSize(const ChartPlan& plan, const StreamEstimates& estimates, std::size_t graph);

StreamReport ReportOf(const ChartStream& stream, const StreamEstimates& estimates);

}  // namespace orvspc::engine::charts
