// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/Lines.h"

#include <algorithm>
#include <cmath>

#include "platform/NaN.h"

namespace orvspc::engine::charts {
namespace {

using platform::kNaN;

statistics::SigmaEstimate FromRow(double value, double bar = kNaN) {
  return {.value = value, .name = "stored limits", .used = 1, .sbar = bar};
}

// The figures that the form in force of a stream is drawn from: the estimates, with those of a
// stored row in their place. A row has two sigmas, and its chart word says what they mean. The mean
// size is that of the chart, unless the row has the size that its sigmas came from.
StreamEstimates WithStored(const store::ControlLimit& limit, const StreamEstimates& estimates,
                           const ChartPlan& plan) {
  auto figures = estimates;
  const auto& more = limit.figures;
  const double mean = limit.row.F_MEAN, sp = limit.row.F_SP, sw = limit.row.F_SW;
  const bool sp_of_points = IsIndividualsWord(limit.chart_word);
  bool has_within = sp > 0.0;
  figures.mean = mean;
  if (sp > 0.0) {
    figures.sp = FromRow(sp, more.sp_bar);
    figures.within = figures.sp;
    figures.sw = figures.sp;
    // Beside a sigma from inside the subgroups, moving ranges have one that no row holds.
    if (!estimates.own_moving || sp_of_points) figures.moving = figures.sp;
  }
  if (sw > 0.0) {
    figures.sw = FromRow(sw, more.sw_bar);
    // SW of an individuals or three-way chart is the sigma inside its subgroups, unless its graph 3
    // looked inside the pieces: then it is that of a reading.
    if (sp_of_points) {
      has_within = !(plan.WithinPieces() && (limit.chart_word & 15) != 0);
      figures.within = has_within ? figures.sw : estimates.within;
    }
  }
  if (!std::isnan(more.within)) {
    figures.within = FromRow(more.within, more.within_bar);
    has_within = true;
  }
  if (has_within && mean > 0.0) figures.gamma.value = figures.within.value / mean;
  if (!std::isnan(more.gamma)) figures.gamma = FromRow(more.gamma);
  if (!std::isnan(more.moving)) figures.moving = FromRow(more.moving);
  if (!std::isnan(more.average_size)) figures.mean_size = more.average_size;
  return figures;
}

// Sizes behind the statistic at one point.
struct PointSizes {
  std::int32_t pieces = 0;
  std::span<const std::int32_t> window = {};    // moving average: sizes of the subgroups in it
  std::span<const std::int32_t> readings = {};  // graph 3 inside the pieces: of each piece
};

// Centre and limits of one graph at a point. NaN where they do not exist; the centre of graph 1
// exists at a point without pieces too.
statistics::PointLimits Formula(ChartKind lines, std::size_t graph, const StreamEstimates& figures,
                                const PointSizes& sizes) {
  const auto n = sizes.pieces;
  const auto& spread = graph == 1 ? figures.within : figures.sw;
  const bool at_subgroup = lines == ChartKind::Mean || lines == ChartKind::Median;
  if ((at_subgroup && n < 1) || (lines == ChartKind::MovingAverage && sizes.window.empty())) {
    return {figures.mean, kNaN, kNaN, kNaN};
  }
  switch (lines) {
    case ChartKind::Mean:
      return statistics::MeanLimits(figures.mean, statistics::SigmaAt(figures.sp, n), n);
    case ChartKind::Median:
      return statistics::MedianLimits(figures.mean, statistics::SigmaAt(figures.sp, n), n);
    case ChartKind::Individuals:
      return statistics::MeanLimits(figures.mean, figures.sp.value, figures.mean_size);
    case ChartKind::MovingAverage:
      return statistics::MovingAverageLimits(figures.mean, figures.sp.value, sizes.window);
    case ChartKind::Range:
      return statistics::RangeLimits(statistics::SigmaAt(spread, n), n);
    case ChartKind::Sd:
      return statistics::SdLimits(statistics::SigmaAt(spread, n), n);
    case ChartKind::MovingRange:
      return statistics::MovingRangeLimits(figures.moving.value / std::sqrt(figures.mean_size));
    case ChartKind::Cv:
      return statistics::CvLimits(figures.gamma.value, n);
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

bool GivesSigma(const catalogue::ControlLimit& limit, const StreamEstimates& estimates,
                const ChartPlan& plan, std::size_t graph) {
  auto unknown = estimates;
  for (auto* each : {&unknown.sp, &unknown.within, &unknown.moving, &unknown.sw, &unknown.gamma}) {
    each->value = kNaN;
  }
  const auto figures = WithStored(limit, unknown, plan);
  switch (plan.LinesOf(graph)) {
    case ChartKind::Mean:
    case ChartKind::Median:
    case ChartKind::Individuals:
    case ChartKind::MovingAverage:
      return !std::isnan(figures.sp.value);
    case ChartKind::Range:
    case ChartKind::Sd:
      return !std::isnan((graph == 1 ? figures.within : figures.sw).value);
    case ChartKind::MovingRange:
      return !std::isnan(figures.moving.value);
    case ChartKind::Cv:
      return !std::isnan(figures.gamma.value);
    case ChartKind::PieceRange:
    case ChartKind::PieceSd:
      return !std::isnan(figures.sw.value);
    default:
      return true;
  }
}

VariableLines::VariableLines(const VariableLineInput& input)
    : in_(input),
      kind_(input.plan.LinesOf(input.graph)),
      by_row_(!input.calculated && input.rows.HasStoredLimits()),
      figures_(input.estimates),
      specs_(input.rows.Of(input.stream).specs),
      latest_{kNaN, kNaN, kNaN, kNaN} {
  // A cusum is taken about the lines that the chart would have without it.
  const bool under_cusum = in_.plan.cusum && in_.graph == 0 && !in_.cusum;
  if (under_cusum && kind_ == ChartKind::MovingAverage) kind_ = ChartKind::Mean;
  by_size_ = !in_.cusum && !by_row_ && RowOf(kind_).lines_by_size;
}

bool VariableLines::IsConstant() const {
  return in_.cusum || kind_ == ChartKind::None || (by_size_ && in_.constant_size >= 0);
}

statistics::PointLimits VariableLines::Find(std::size_t place) {
  if (in_.cusum) return kCusumLines;
  if (kind_ == ChartKind::PreControl) return PreControlLinesAt(place);
  if (by_row_ && in_.rows.LimitRowAt(place) != row_) {
    row_ = in_.rows.LimitRowAt(place);
    const auto& limits = in_.rows.Of(in_.stream).limits;
    figures_ = row_ == kNoRow
                   ? in_.estimates
                   : WithStored(limits[static_cast<std::size_t>(row_)], in_.estimates, in_.plan);
    is_known_ = 0;
  }
  if (RowOf(kind_).lines_by_size) return LinesOfSize(in_.table.Sizes()[place]);
  PointSizes sizes{in_.table.Sizes()[place]};
  if (in_.graph == 0 && !in_.windows.empty()) {
    const auto& window = in_.windows[place];
    const auto count = std::find(window.begin(), window.end(), 0) - window.begin();
    sizes.window = std::span(window).first(static_cast<std::size_t>(count));
  }
  if (in_.graph == 2 && in_.plan.WithinPieces()) sizes.readings = in_.within.SizesAt(place);
  return FiniteOnly(Formula(kind_, in_.graph, figures_, sizes));
}

const statistics::PointLimits& VariableLines::LinesOfSize(std::int32_t pieces) {
  const auto size = static_cast<std::size_t>(pieces);
  const auto bit = size < kKnownSizes ? std::uint32_t{1} << size : 0;
  auto& lines = bit != 0 ? known_[size] : latest_;
  if ((is_known_ & bit) == 0) lines = FiniteOnly(Formula(kind_, in_.graph, figures_, {pieces}));
  is_known_ |= bit;
  return lines;
}

statistics::PointLimits VariableLines::PreControlLinesAt(std::size_t place) {
  const auto* const row = specs_.At(in_.rows.StampAt(place));
  if (row != spec_row_) {
    spec_row_ = row;
    const auto spec = row == nullptr ? catalogue::SpecLimits() : catalogue::SpecLimitsOf(*row);
    const auto lines = statistics::PreControlLinesOf(spec.lsl, spec.target, spec.usl);
    latest_ = FiniteOnly({lines.target, lines.upper_line, lines.lower_line, kNaN});
  }
  return latest_;
}

}  // namespace orvspc::engine::charts
