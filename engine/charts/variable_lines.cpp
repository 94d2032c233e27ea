// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/variable_lines.h"

#include <limits>

namespace orvspc::engine::charts {
namespace {
constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();
}

VariableRun::LineSource::LineSource(const VariableRun& run, std::size_t stream, std::size_t graph,
                                    bool calculated)
    : run_(run),
      state_(run.states_[stream]),
      rows_(run.rows_.Of(stream)),
      graph_(graph),
      calculated_(calculated),
      kind_(run.plan_.LinesOf(graph)),
      cusum_(run.plan_.cusum && graph == 0),
      by_size_(IsBySize()),
      figures_(Calculated(state_.estimates)),
      specs_(run.rows_.Of(stream).specs),
      latest_{kNoValue, kNoValue, kNoValue, kNoValue} {}

VariableRun::LineSource VariableRun::LineSource::UnderCusum(const VariableRun& run,
                                                            std::size_t stream) {
  LineSource source(run, stream, 0, false);
  source.cusum_ = false;
  if (source.kind_ == ChartKind::MovingAverage) source.kind_ = ChartKind::Mean;
  source.by_size_ = source.IsBySize();
  return source;
}

bool VariableRun::LineSource::IsConstant() const {
  return cusum_ || kind_ == ChartKind::None ||
         (!UsesRows() && DependsOnPiecesOnly(kind_) && state_.constant_size >= 0);
}

statistics::PointLimits VariableRun::LineSource::Find(std::size_t place) {
  if (cusum_) return kCusumLines;
  if (kind_ == ChartKind::PreControl) return PreControlLinesAt(place);
  if (UsesRows() && run_.rows_.LimitRowAt(place) != row_) {
    row_ = run_.rows_.LimitRowAt(place);
    figures_ = row_ == kNoRow ? Calculated(state_.estimates)
                              : Stored(rows_.limits[static_cast<std::size_t>(row_)],
                                       state_.estimates, run_.plan_);
    is_known_ = 0;
  }
  if (DependsOnPiecesOnly(kind_)) return LinesOfSize(run_.table_.Sizes()[place]);
  return LinesAt(kind_, graph_, figures_, run_.SizesAt(graph_, place));
}

const statistics::PointLimits& VariableRun::LineSource::LinesOfSize(std::int32_t pieces) {
  const auto size = static_cast<std::size_t>(pieces);
  PointSizes sizes;
  sizes.pieces = pieces;
  if (size >= kKnownSizes) {
    latest_ = LinesAt(kind_, graph_, figures_, sizes);
    return latest_;
  }
  const auto bit = std::uint32_t{1} << size;
  if ((is_known_ & bit) == 0) {
    known_[size] = LinesAt(kind_, graph_, figures_, sizes);
    is_known_ |= bit;
  }
  return known_[size];
}

statistics::PointLimits VariableRun::LineSource::PreControlLinesAt(std::size_t place) {
  const auto* const row = specs_.At(run_.rows_.StampAt(place));
  if (row != spec_row_) {
    spec_row_ = row;
    const auto spec = row == nullptr ? catalogue::SpecLimits() : catalogue::SpecLimitsOf(*row);
    const auto lines = statistics::PreControlLinesOf(spec.lsl, spec.target, spec.usl);
    latest_ = FiniteOnly({lines.target, lines.upper_line, lines.lower_line, kNoValue});
  }
  return latest_;
}

}  // namespace orvspc::engine::charts
