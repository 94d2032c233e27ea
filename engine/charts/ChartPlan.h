// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace orvspc::engine::charts {

// What one graph shows. Wider than the codes of the chart word, which name the request: the same
// code of graph 3 means the readings inside a piece where there are any.
enum class ChartKind : std::uint8_t {
  None,
  Mean,
  Median,
  Individuals,
  MovingAverage,
  PreControl,
  Range,
  Sd,
  MovingRange,
  Cv,
  PieceRange,  // mean over the pieces of the range of the readings inside a piece
  PieceSd,
  Attribute,  // any chart of counted defectives or defects
};

// Sizes that decide which charts make sense, over the subgroups that count.
struct DataShape {
  std::int32_t least_size = 0, largest_size = 0;  // pieces of the subgroups that have any
  std::int32_t most_readings = 0;                 // most readings inside one piece

  // Ranges lose too much against standard deviations above this size.
  static constexpr std::int32_t kMaxForRange = 10;

  bool SinglePieces() const { return largest_size <= 1; }
  bool RangesServe() const { return least_size == largest_size && largest_size <= kMaxForRange; }
  bool HasReadings() const { return most_readings >= 2; }
};

struct PlanNote {
  std::string_view code, text;
};

// The charts of one run.
struct ChartPlan {
  std::int32_t word = 0;  // what is produced, in the form of the chart word
  std::array<ChartKind, 3> kinds{};
  // Mean or median judged by the moving ranges of the points.
  bool three_way = false;
  bool cusum = false;
  std::vector<PlanNote> notes;

  // Graphs that a reader of the word asks for: the highest one that exists.
  std::int32_t GraphCount() const;
  // Sigma of graph 1 comes from the differences of neighbouring points.
  bool SigmaFromPoints() const;
  // What the limits of a graph are made of: those of a three-way chart are an individuals chart's.
  ChartKind LinesOf(std::size_t graph) const;
  // Graph 3 looks inside the pieces.
  bool WithinPieces() const {
    return kinds[2] == ChartKind::PieceRange || kinds[2] == ChartKind::PieceSd;
  }
};

// False for a word that no variable chart has.
bool IsVariableWord(std::int32_t chart_word);

// True when a chart word asks for an individuals or a three-way chart.
bool IsIndividualsWord(std::int32_t chart_word);
bool HasThirdGraph(std::int32_t chart_word);

// Settles what is produced for a request. A zero graph 1 is chosen by the shape of the data; a word
// of zero leaves the other graphs to it as well. chart_word must be a variable word.
ChartPlan PlanVariableChart(std::int32_t chart_word, std::int32_t processing_word,
                            const DataShape& shape);

}  // namespace orvspc::engine::charts
