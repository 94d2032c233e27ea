// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/Lines.h"

#include <cmath>

#include "platform/NaN.h"

namespace orvspc::engine::charts {
namespace {

using platform::kNaN;

statistics::SigmaEstimate FromRow(double value) {
  statistics::SigmaEstimate sigma;
  sigma.value = value;
  sigma.name = "stored limits";
  sigma.used = 1;
  return sigma;
}

}  // namespace

LineFigures Calculated(const StreamEstimates& estimates) {
  return {estimates.mean, estimates.sp,          estimates.within,   estimates.moving,
          estimates.sw,   estimates.gamma.value, estimates.mean_size};
}

LineFigures Stored(const store::ControlLimit& limit, const StreamEstimates& estimates,
                   const ChartPlan& plan) {
  auto figures = Calculated(estimates);
  const double mean = limit.row.F_MEAN, sp = limit.row.F_SP, sw = limit.row.F_SW;
  const bool sp_of_points = IsIndividualsWord(limit.chart_word);
  bool has_within = sp > 0.0;
  figures.centre = mean;
  if (sp > 0.0) {
    figures.sp = FromRow(sp);
    figures.within = figures.sp;
    figures.sw = figures.sp;
    // Beside a sigma from inside the subgroups, moving ranges have one that no row holds.
    if (!estimates.own_moving || sp_of_points) figures.moving = figures.sp;
  }
  if (sw > 0.0) {
    figures.sw = FromRow(sw);
    // SW of an individuals or three-way chart is the sigma inside its subgroups, unless its graph 3
    // looked inside the pieces: then it is that of a reading.
    if (sp_of_points) {
      has_within = !(plan.WithinPieces() && HasThirdGraph(limit.chart_word));
      figures.within = has_within ? figures.sw : estimates.within;
    }
  }
  if (has_within && mean > 0.0) figures.gamma = figures.within.value / mean;
  return figures;
}

namespace {

statistics::PointLimits Formula(ChartKind lines, std::size_t graph, const LineFigures& figures,
                                const PointSizes& sizes) {
  const auto n = sizes.pieces;
  const auto& spread = graph == 1 ? figures.within : figures.sw;
  const bool at_subgroup = lines == ChartKind::Mean || lines == ChartKind::Median;
  if ((at_subgroup && n < 1) || (lines == ChartKind::MovingAverage && sizes.window.empty())) {
    return {figures.centre, kNaN, kNaN, kNaN};
  }
  switch (lines) {
    case ChartKind::Mean:
      return statistics::MeanLimits(figures.centre, statistics::SigmaAt(figures.sp, n), n);
    case ChartKind::Median:
      // The median of one piece is the piece.
      return n == 1
                 ? statistics::MeanLimits(figures.centre, statistics::SigmaAt(figures.sp, n), 1.0)
                 : statistics::MedianLimits(figures.centre, statistics::SigmaAt(figures.sp, n), n);
    case ChartKind::Individuals:
      return statistics::MeanLimits(figures.centre, figures.sp.value, figures.mean_size);
    case ChartKind::MovingAverage:
      return statistics::MovingAverageLimits(figures.centre, figures.sp.value, sizes.window);
    case ChartKind::Range:
      return statistics::RangeLimits(statistics::SigmaAt(spread, n), n);
    case ChartKind::Sd:
      return statistics::SdLimits(statistics::SigmaAt(spread, n), n);
    case ChartKind::MovingRange:
      return statistics::MovingRangeLimits(figures.moving.value / std::sqrt(figures.mean_size));
    case ChartKind::Cv:
      return statistics::CvLimits(figures.gamma, n);
    case ChartKind::PieceRange:
      return statistics::WithinPieceRangeLimits(figures.sw.value, sizes.readings);
    case ChartKind::PieceSd:
      return statistics::WithinPieceSdLimits(figures.sw.value, sizes.readings);
    case ChartKind::PreControl:
    case ChartKind::Attribute:
    case ChartKind::None:
      break;
  }
  return {kNaN, kNaN, kNaN, kNaN};
}

}  // namespace

statistics::PointLimits FiniteOnly(statistics::PointLimits lines) {
  for (auto* line : {&lines.centre, &lines.upper, &lines.lower, &lines.sigma}) {
    if (!std::isfinite(*line)) *line = kNaN;
  }
  return lines;
}

statistics::PointLimits LinesAt(ChartKind lines, std::size_t graph, const LineFigures& figures,
                                const PointSizes& sizes) {
  return FiniteOnly(Formula(lines, graph, figures, sizes));
}

bool DependsOnPiecesOnly(ChartKind lines) {
  return lines != ChartKind::MovingAverage && lines != ChartKind::PieceRange &&
         lines != ChartKind::PieceSd && lines != ChartKind::PreControl;
}

}  // namespace orvspc::engine::charts
