// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

#include "engine/charts/VariableRun.h"

namespace orvspc::engine::charts {

// Lines of one graph along one stream, in one of the two forms. Asked in ascending order it
// computes only where the number of pieces or the row in force changes.
class VariableRun::LineSource {
 public:
  LineSource(const VariableRun& run, std::size_t stream, std::size_t graph, bool calculated);

  // What the cusum of graph 1 is taken about: the lines that the chart would have without it.
  static LineSource UnderCusum(const VariableRun& run, std::size_t stream);

  statistics::PointLimits At(std::size_t place) {
    if (by_size_) {
      const auto size = static_cast<std::size_t>(run_.table_.Sizes()[place]);
      if (size < kKnownSizes && (is_known_ >> size & 1) != 0) return known_[size];
    }
    return Find(place);
  }
  // One answer serves the whole stream.
  bool IsConstant() const;

 private:
  statistics::PointLimits Find(std::size_t place);
  statistics::PointLimits PreControlLinesAt(std::size_t place);
  const statistics::PointLimits& LinesOfSize(std::int32_t pieces);
  bool UsesRows() const { return !calculated_ && run_.rows_.HasStoredLimits(); }
  // Whether the number of pieces alone decides.
  bool IsBySize() const { return !cusum_ && !UsesRows() && DependsOnPiecesOnly(kind_); }

  const VariableRun& run_;
  const StreamState& state_;
  const RunRows::OfStream& rows_;
  std::size_t graph_;
  bool calculated_;
  ChartKind kind_;
  bool cusum_;
  bool by_size_;
  LineFigures figures_;
  catalogue::EffectiveRows<API_CCSpecLim> specs_;
  std::int32_t row_ = kNoRow;
  const API_CCSpecLim* spec_row_ = nullptr;
  statistics::PointLimits latest_{};
  // Of the row in force, by number of pieces.
  static constexpr std::size_t kKnownSizes = 32;
  std::array<statistics::PointLimits, kKnownSizes> known_;
  std::uint32_t is_known_ = 0;
};

}  // namespace orvspc::engine::charts
