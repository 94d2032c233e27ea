// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "engine/charts/ChartPlan.h"
#include "engine/charts/Estimates.h"
#include "engine/statistics/ChartFormulas.h"
#include "engine/store/Store.h"

namespace orvspc::engine::charts {

// What the lines of one stream are drawn from: its own estimates (the calculated form) or a stored
// control-limit row (the form in force).
struct LineFigures {
  double centre = 0.0;
  // Of graph 1, of range and deviation on graph 2, of its moving range, of graph 3.
  statistics::SigmaEstimate sp, within, moving, sw;
  double gamma = 0.0;
  double mean_size = 0.0;
};

LineFigures Calculated(const StreamEstimates& estimates);
// A row has two sigmas, and its chart word says what they mean. Figures that it lacks come from the
// estimates. The mean size is always that of the chart.
LineFigures Stored(const store::ControlLimit& limit, const StreamEstimates& estimates,
                   const ChartPlan& plan);

// Sizes behind the statistic at one point.
struct PointSizes {
  std::int32_t pieces = 0;
  std::span<const std::int32_t> window;    // moving average: sizes of the subgroups in it
  std::span<const std::int32_t> readings;  // graph 3 inside the pieces: readings of each piece
};

// Centre and limits of one graph at a point. NaN where they do not exist or are not finite; the
// centre of graph 1 exists at a point without pieces too.
statistics::PointLimits LinesAt(ChartKind lines, std::size_t graph, const LineFigures& figures,
                                const PointSizes& sizes);

// NaN for what is infinite.
statistics::PointLimits FiniteOnly(statistics::PointLimits lines);

// True when the lines depend on nothing but the figures and the number of pieces.
bool DependsOnPiecesOnly(ChartKind lines);

// Cusum in sigmas: reference value and decision interval.
inline constexpr double kCusumReference = 0.5;
inline constexpr double kCusumDecision = 5.0;
inline constexpr statistics::PointLimits kCusumLines{0.0, kCusumDecision, -kCusumDecision, 1.0};

}  // namespace orvspc::engine::charts
