// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/variable_lines.h"

#include <algorithm>

#include "platform/NaN.h"

namespace orvspc::engine::charts {

using platform::kNaN;

VariableLines::VariableLines(const VariableLineInput& input)
    : in_(input),
      kind_(input.plan.LinesOf(input.graph)),
      by_row_(!input.calculated && input.rows.HasStoredLimits()),
      figures_(Calculated(input.estimates)),
      specs_(input.rows.Of(input.stream).specs),
      latest_{kNaN, kNaN, kNaN, kNaN} {
  // A cusum is taken about the lines that the chart would have without it.
  const bool under_cusum = in_.plan.cusum && in_.graph == 0 && !in_.cusum;
  if (under_cusum && kind_ == ChartKind::MovingAverage) kind_ = ChartKind::Mean;
  by_size_ = !in_.cusum && !by_row_ && DependsOnPiecesOnly(kind_);
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
                   ? Calculated(in_.estimates)
                   : Stored(limits[static_cast<std::size_t>(row_)], in_.estimates, in_.plan);
    is_known_ = 0;
  }
  if (DependsOnPiecesOnly(kind_)) return LinesOfSize(in_.table.Sizes()[place]);
  return LinesAt(kind_, in_.graph, figures_, SizesAt(place));
}

const statistics::PointLimits& VariableLines::LinesOfSize(std::int32_t pieces) {
  const auto size = static_cast<std::size_t>(pieces);
  PointSizes sizes;
  sizes.pieces = pieces;
  if (size >= kKnownSizes) {
    latest_ = LinesAt(kind_, in_.graph, figures_, sizes);
    return latest_;
  }
  const auto bit = std::uint32_t{1} << size;
  if ((is_known_ & bit) == 0) {
    known_[size] = LinesAt(kind_, in_.graph, figures_, sizes);
    is_known_ |= bit;
  }
  return known_[size];
}

PointSizes VariableLines::SizesAt(std::size_t place) const {
  PointSizes sizes;
  sizes.pieces = in_.table.Sizes()[place];
  if (in_.graph == 0 && !in_.windows.empty()) {
    const auto& window = in_.windows[place];
    const auto count = std::find(window.begin(), window.end(), 0) - window.begin();
    sizes.window = std::span(window).first(static_cast<std::size_t>(count));
  }
  if (in_.graph == 2 && in_.plan.WithinPieces()) sizes.readings = in_.within.SizesAt(place);
  return sizes;
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
