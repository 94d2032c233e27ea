// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/charts/ChartPlan.h"
#include "engine/charts/Estimates.h"
#include "engine/charts/Lines.h"
#include "engine/charts/PointTable.h"
#include "engine/charts/RunRows.h"

namespace orvspc::engine::charts {

// Sizes of the subgroups in a moving average; 0 for none.
using AverageWindow = std::array<std::int32_t, 3>;

// What the lines of one graph along one stream of a variable chart follow from.
struct VariableLineInput {
  const PointTable& table;
  const RunRows& rows;
  const ChartPlan& plan;
  const std::vector<AverageWindow>& windows;  // empty: no moving averages
  const WithinPieces& within;
  const StreamEstimates& estimates;
  std::int32_t constant_size = 0;  // of every subgroup; -1 where they differ
  std::size_t stream = 0, graph = 0;
  bool calculated = false;  // else the form in force
  bool cusum = false;       // the lines of a cusum; else those that it is taken about
};

// Lines of one graph along one stream. Asked in ascending order it computes only where the number
// of pieces or the row in force changes.
class VariableLines {
 public:
  explicit VariableLines(const VariableLineInput& input);

  statistics::PointLimits At(std::size_t place) {
    if (by_size_) {
      const auto size = static_cast<std::size_t>(in_.table.Sizes()[place]);
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
  PointSizes SizesAt(std::size_t place) const;

  VariableLineInput in_;
  ChartKind kind_;
  bool by_row_;
  bool by_size_;  // the number of pieces alone decides
  LineFigures figures_;
  catalogue::EffectiveRows<API_CCSpecLim> specs_;
  std::int32_t row_ = kNoRow;
  const API_CCSpecLim* spec_row_ = nullptr;
  statistics::PointLimits latest_;
  // Of the row in force, by number of pieces.
  static constexpr std::size_t kKnownSizes = 32;
  std::array<statistics::PointLimits, kKnownSizes> known_;
  std::uint32_t is_known_ = 0;
};

}  // namespace orvspc::engine::charts
