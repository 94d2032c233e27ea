// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "engine/catalogue/limits.h"

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

// What the size of a point counts.
enum class SizeOf : std::uint8_t { Subgroup, Window, Pair, Readings };
// What a sigma is estimated from; ByShape: what suits the sizes of the data.
enum class Source : std::uint8_t { ByShape, Ranges, Deviations, MovingRanges };

// The one table of charts of values: a row for each kind, in the order of the enumeration.
struct KindRow {
  ChartKind kind;
  std::int32_t graph, code;  // in the chart word; 0 where no word asks for it by itself
  SizeOf size;
  Source source;       // of the sigma of a graph 2 or 3; that of graph 1 follows graph 2
  bool every_rule;     // run rules judge its points; otherwise the limits rule alone
  bool lines_by_size;  // its lines depend on nothing but figures of the stream and the pieces
};
inline constexpr KindRow kKinds[] = {
    {ChartKind::None, 0, 0, SizeOf::Subgroup, Source::ByShape, false, true},
    {ChartKind::Mean, 1, 1, SizeOf::Subgroup, Source::ByShape, true, true},
    {ChartKind::Median, 1, 2, SizeOf::Subgroup, Source::ByShape, true, true},
    {ChartKind::Individuals, 1, 3, SizeOf::Subgroup, Source::ByShape, true, true},
    {ChartKind::MovingAverage, 1, 4, SizeOf::Window, Source::ByShape, false, false},
    {ChartKind::PreControl, 1, 5, SizeOf::Subgroup, Source::ByShape, false, false},
    {ChartKind::Range, 2, 1, SizeOf::Subgroup, Source::Ranges, false, true},
    {ChartKind::Sd, 2, 2, SizeOf::Subgroup, Source::Deviations, false, true},
    {ChartKind::MovingRange, 2, 3, SizeOf::Pair, Source::ByShape, false, true},
    {ChartKind::Cv, 2, 4, SizeOf::Subgroup, Source::Deviations, false, true},
    {ChartKind::PieceRange, 3, 1, SizeOf::Readings, Source::Ranges, false, false},
    {ChartKind::PieceSd, 3, 2, SizeOf::Readings, Source::Deviations, false, false},
    {ChartKind::Attribute, 0, 0, SizeOf::Subgroup, Source::ByShape, false, true},
};
constexpr const KindRow& RowOf(ChartKind kind) { return kKinds[static_cast<std::size_t>(kind)]; }

// Sizes that decide which charts make sense, over the subgroups that count.
struct DataShape {
  std::int32_t least_size = 0, largest_size = 0;  // pieces of the subgroups that have any
  std::int32_t most_readings = 0;                 // most readings inside one piece

  // Ranges lose too much against standard deviations above this size.
  static constexpr std::int32_t kMaxForRange = 10;

  // A subgroup without pieces adds nothing.
  void AddSize(std::int32_t pieces) {
    if (pieces < 1) return;
    least_size = least_size == 0 ? pieces : std::min(least_size, pieces);
    largest_size = std::max(largest_size, pieces);
  }
  bool SinglePieces() const { return largest_size <= 1; }
  bool RangesServe() const { return least_size == largest_size && largest_size <= kMaxForRange; }
  bool HasReadings() const { return most_readings >= 2; }
};

struct PlanNote {
  std::string code, text;
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
  std::int32_t GraphCount() const {
    return kinds[2] != ChartKind::None ? 3 : kinds[1] != ChartKind::None ? 2 : 1;
  }
  ChartKind KindOf(std::size_t graph) const { return kinds[graph]; }
  // A point says something about those before it.
  bool IsWeighted(std::size_t graph) const { return cusum && graph == 0; }
  // Sigma of graph 1 comes from the differences of neighbouring points.
  bool SigmaFromPoints() const { return LinesOf(0) == ChartKind::Individuals; }
  // What the limits of a graph are made of: those of a three-way chart are an individuals chart's.
  ChartKind LinesOf(std::size_t graph) const {
    return graph == 0 && three_way ? ChartKind::Individuals : kinds[graph];
  }
  // Graph 3 looks inside the pieces.
  bool WithinPieces() const { return RowOf(kinds[2]).size == SizeOf::Readings; }
};

// False for a word that no variable chart has.
bool IsVariableWord(std::int32_t chart_word);

// True when a chart word asks for an individuals or a three-way chart.
bool IsIndividualsWord(std::int32_t chart_word);

// Settles what is produced for a request. A zero graph 1 is chosen by the shape of the data; a word
// of zero leaves the other graphs to it as well. chart_word must be a variable word.
ChartPlan PlanVariableChart(std::int32_t chart_word, std::int32_t processing_word,
                            const DataShape& shape);

// One chart of counts; kAttributeCharts in the source is the one table of them.
struct AttributeChart {
  std::int32_t code;     // of graph 1 in the chart word
  bool defectives;       // units that are bad; otherwise defects
  bool counted;          // the count itself is shown, otherwise the rate
  double scale;          // of a rate that is shown: 1, per thousand, per million
  bool per_opportunity;  // a rate is one per opportunity for a defect
  const char* rate;      // how its mean is made

  // A count of defects makes sense without a size: that of one unit.
  bool BearsNoSize() const { return counted && !defectives; }
  // What a mean is on the chart.
  catalogue::RateKind Kind() const { return catalogue::RateKindOf(code << 8); }
};

enum class EwmaKind { None, Standard, MovingCentre };

// What decides which chart makes sense, over the subgroups that count.
struct AttributeShape {
  bool only_defects = true;   // no test of defectives
  bool sizes_differ = false;  // also where some are known and others are not
};

// The chart of one run.
struct AttributePlan {
  const AttributeChart* chart = nullptr;
  bool cusum = false;
  EwmaKind ewma = EwmaKind::None;
  std::vector<PlanNote> notes;

  // In the form of the chart word; 0 without a chart.
  std::int32_t Word() const { return chart == nullptr ? 0 : chart->code << 8; }
  std::int32_t GraphCount() const { return 1; }
  ChartKind KindOf(std::size_t) const { return ChartKind::Attribute; }
  // A point says something about those before it.
  bool IsWeighted(std::size_t) const { return cusum || ewma != EwmaKind::None; }
};

// Whether the mean of limits made from the chart of that word is the rate of this chart: a share, a
// rate a unit or one an opportunity. A word of 0 is not known and serves.
bool SuitsRate(const AttributeChart& chart, std::int32_t chart_word);

// False for a word that no attribute chart has.
bool IsAttributeWord(std::int32_t chart_word);
// Of such a word: whether its chart has a point where no size is known.
bool BearsNoSize(std::int32_t chart_word);

// Settles what is produced. A zero graph 1 is chosen by the shape of the data; the other graphs do
// not exist here. ewma: 1 standard, 2 moving centre line, anything else none.
// chart_word must be an attribute word.
AttributePlan PlanAttributeChart(std::int32_t chart_word, std::int32_t processing_word, double ewma,
                                 const AttributeShape& shape);

}  // namespace orvspc::engine::charts
