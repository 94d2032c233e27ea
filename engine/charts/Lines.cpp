// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/Lines.h"

#include <cmath>
#include <limits>

namespace orvspc::engine {
namespace {

constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();

SigmaEstimate FromRow(double value) {
  SigmaEstimate sigma;
  sigma.value = value;
  sigma.name = "stored limits";
  sigma.used = 1;
  return sigma;
}

}  // namespace

LineFigures Calculated(const StreamEstimates& estimates) {
  return {estimates.mean, estimates.sp,          estimates.within,
          estimates.sw,   estimates.gamma.value, estimates.mean_size};
}

LineFigures Stored(const ControlLimit& limit, const StreamEstimates& estimates,
                   const ChartPlan& plan) {
  auto figures = Calculated(estimates);
  const double mean = limit.row.F_MEAN, sp = limit.row.F_SP, sw = limit.row.F_SW;
  figures.centre = mean;
  if (sp > 0.0) {
    figures.sp = FromRow(sp);
    figures.within = figures.sp;
    figures.sw = figures.sp;
    if (mean > 0.0) figures.gamma = sp / mean;
  }
  if (sw > 0.0) {
    figures.sw = FromRow(sw);
    // SW of an individuals or three-way chart is the sigma inside its subgroups, unless graph 3
    // looks inside the pieces and SW is that of a reading.
    if (IsIndividualsWord(limit.chart_word)) {
      figures.within = plan.WithinPieces() ? estimates.within : figures.sw;
    }
  }
  return figures;
}

PointLimits LinesAt(ChartKind lines, std::size_t graph, const LineFigures& figures,
                    const PointSizes& sizes) {
  const auto n = sizes.pieces;
  const auto& spread = graph == 1 ? figures.within : figures.sw;
  const bool at_subgroup = lines == ChartKind::Mean || lines == ChartKind::Median;
  if ((at_subgroup && n < 1) || (lines == ChartKind::MovingAverage && sizes.window.empty())) {
    return {figures.centre, kNoValue, kNoValue, kNoValue};
  }
  switch (lines) {
    case ChartKind::Mean:
      return MeanLimits(figures.centre, SigmaAt(figures.sp, n), n);
    case ChartKind::Median:
      // The median of one piece is the piece.
      return n == 1 ? MeanLimits(figures.centre, SigmaAt(figures.sp, n), 1.0)
                    : MedianLimits(figures.centre, SigmaAt(figures.sp, n), n);
    case ChartKind::Individuals:
      return MeanLimits(figures.centre, figures.sp.value, figures.mean_size);
    case ChartKind::MovingAverage:
      return MovingAverageLimits(figures.centre, figures.sp.value, sizes.window);
    case ChartKind::Range:
      return RangeLimits(SigmaAt(spread, n), n);
    case ChartKind::Sd:
      return SdLimits(SigmaAt(spread, n), n);
    case ChartKind::MovingRange:
      return MovingRangeLimits(figures.sp.value / std::sqrt(figures.mean_size));
    case ChartKind::Cv:
      return CvLimits(figures.gamma, n);
    case ChartKind::PieceRange:
      return WithinPieceRangeLimits(figures.sw.value, sizes.readings);
    case ChartKind::PieceSd:
      return WithinPieceSdLimits(figures.sw.value, sizes.readings);
    case ChartKind::PreControl:
    case ChartKind::None:
      break;
  }
  return {kNoValue, kNoValue, kNoValue, kNoValue};
}

bool DependsOnPiecesOnly(ChartKind lines) {
  return lines != ChartKind::MovingAverage && lines != ChartKind::PieceRange &&
         lines != ChartKind::PieceSd && lines != ChartKind::PreControl;
}

}  // namespace orvspc::engine
