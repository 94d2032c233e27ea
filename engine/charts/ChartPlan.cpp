// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/ChartPlan.h"

namespace orvspc::engine::charts {
namespace {

constexpr std::int32_t kXBar = 1, kXMed = 2, kIx = 3, kPc = 5;
constexpr std::int32_t kRange = 1, kSd = 2, kMr = 3, kCv = 4;
constexpr std::int32_t kCusumBit = 16;

struct Codes {
  std::int32_t graph1, graph2, graph3;
};

Codes CodesOf(std::int32_t word) { return {(word >> 8) & 15, (word >> 4) & 15, word & 15}; }

Codes BestGuess(Codes asked, bool leave_all, const DataShape& shape) {
  asked.graph1 = shape.SinglePieces() ? kIx : kXBar;
  if (!leave_all) return asked;
  asked.graph2 = shape.SinglePieces() ? kMr : shape.RangesServe() ? kRange : kSd;
  if (shape.HasReadings()) {
    asked.graph3 = shape.most_readings > DataShape::kMaxForRange ? kSd : kRange;
  }
  return asked;
}

}  // namespace

std::int32_t ChartPlan::GraphCount() const {
  return kinds[2] != ChartKind::None ? 3 : kinds[1] != ChartKind::None ? 2 : 1;
}

bool ChartPlan::SigmaFromPoints() const { return kinds[0] == ChartKind::Individuals || three_way; }

ChartKind ChartPlan::LinesOf(std::size_t graph) const {
  return graph == 0 && three_way ? ChartKind::Individuals : kinds[graph];
}

bool IsVariableWord(std::int32_t chart_word) {
  const auto codes = CodesOf(chart_word);
  return (chart_word & ~0xFFF) == 0 && codes.graph1 <= kPc && codes.graph2 <= kCv &&
         codes.graph3 <= kSd;
}

bool IsIndividualsWord(std::int32_t chart_word) {
  const auto codes = CodesOf(chart_word);
  return codes.graph1 == kIx ||
         ((codes.graph1 == kXBar || codes.graph1 == kXMed) && codes.graph2 == kMr);
}

bool HasThirdGraph(std::int32_t chart_word) { return CodesOf(chart_word).graph3 != 0; }

ChartPlan PlanVariableChart(std::int32_t chart_word, std::int32_t processing_word,
                            const DataShape& shape) {
  constexpr std::array kGraph1 = {ChartKind::None,          ChartKind::Mean,
                                  ChartKind::Median,        ChartKind::Individuals,
                                  ChartKind::MovingAverage, ChartKind::PreControl};
  constexpr std::array kGraph2 = {ChartKind::None, ChartKind::Range, ChartKind::Sd,
                                  ChartKind::MovingRange, ChartKind::Cv};
  ChartPlan plan;
  auto codes = CodesOf(chart_word);
  if (codes.graph1 == 0) codes = BestGuess(codes, chart_word == 0, shape);

  if (shape.SinglePieces()) {
    if (codes.graph2 == kRange || codes.graph2 == kSd) {
      codes.graph2 = kMr;
      plan.notes.push_back(
          {"graph-changed", "Graph 2 shows moving ranges: every subgroup has one piece."});
    } else if (codes.graph2 == kCv) {
      codes.graph2 = 0;
      plan.notes.push_back({"graph-dropped",
                            "Graph 2 is left out: a coefficient of variation needs more than one "
                            "piece in a subgroup."});
    }
    if (codes.graph3 != 0 && !shape.HasReadings()) {
      codes.graph3 = 0;
      plan.notes.push_back({"graph-dropped",
                            "Graph 3 is left out: there are neither readings inside a piece nor "
                            "subgroups of more than one piece."});
    }
  }

  const auto graph1 = static_cast<std::size_t>(codes.graph1);
  const auto graph2 = static_cast<std::size_t>(codes.graph2);
  plan.kinds[0] = kGraph1[graph1];
  plan.kinds[1] = kGraph2[graph2];
  plan.three_way = (codes.graph1 == kXBar || codes.graph1 == kXMed) && codes.graph2 == kMr;
  if (codes.graph3 != 0) {
    // A three-way chart is about the subgroup: its third graph looks inside the subgroup.
    const bool within = shape.HasReadings() && (!plan.three_way || shape.SinglePieces());
    const bool range = codes.graph3 == kRange;
    plan.kinds[2] = within ? (range ? ChartKind::PieceRange : ChartKind::PieceSd)
                           : (range ? ChartKind::Range : ChartKind::Sd);
  }
  plan.word = codes.graph1 << 8 | codes.graph2 << 4 | codes.graph3;
  plan.cusum = (processing_word & kCusumBit) != 0;
  if (plan.cusum && plan.kinds[0] == ChartKind::PreControl) {
    plan.cusum = false;
    plan.notes.push_back({"option-ignored", "A pre-control chart has no cusum."});
  }
  return plan;
}

}  // namespace orvspc::engine::charts
