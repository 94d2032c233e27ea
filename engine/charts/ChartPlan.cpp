// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/ChartPlan.h"

#include <iterator>

#include "platform/ChartWord.h"

namespace orvspc::engine::charts {
namespace {

static_assert(std::all_of(std::begin(kKinds), std::end(kKinds),
                          [](const KindRow& row) { return &RowOf(row.kind) == &row; }));

constexpr std::int32_t kXBar = 1, kXMed = 2, kIx = 3;
constexpr std::int32_t kRange = 1, kSd = 2, kMr = 3, kCv = 4;
constexpr std::int32_t kCusumBit = 16;

using platform::ChartCodes;
using platform::ChartCodesOf;

bool IsThreeWay(const ChartCodes& codes) {
  return (codes.graph1 == kXBar || codes.graph1 == kXMed) && codes.graph2 == kMr;
}

// None for a code that the graph has not.
ChartKind KindOf(std::int32_t graph, std::int32_t code) {
  const auto* const row = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const auto& each) {
    return each.graph == graph && each.code == code;
  });
  return row == std::end(kKinds) ? ChartKind::None : row->kind;
}

bool IsWord(std::int32_t word, bool knows_graph1) {
  const auto codes = ChartCodesOf(word);
  const auto has = [](std::int32_t graph, std::int32_t code) {
    return code == 0 || KindOf(graph, code) != ChartKind::None;
  };
  return (word & ~0xFFF) == 0 && (codes.graph1 == 0 || knows_graph1) && has(2, codes.graph2) &&
         has(3, codes.graph3);
}

ChartCodes BestGuess(ChartCodes asked, bool leave_all, const DataShape& shape) {
  asked.graph1 = shape.SinglePieces() ? kIx : kXBar;
  if (!leave_all) return asked;
  asked.graph2 = shape.SinglePieces() ? kMr : shape.RangesServe() ? kRange : kSd;
  if (shape.HasReadings()) {
    asked.graph3 = shape.most_readings > DataShape::kMaxForRange ? kSd : kRange;
  }
  return asked;
}

constexpr std::int32_t kP = 0xD, kC = 0xE, kU = 0xF;
// The fields in the order of their declaration.
constexpr AttributeChart kAttributeCharts[] = {
    {0x8, true, false, 1e3, false, "defectives / units"},
    {0x9, false, false, 1e3, true, "defects / opportunities"},
    {0xA, true, false, 1e6, false, "defectives / units"},
    {0xB, false, false, 1e6, true, "defects / opportunities"},
    {0xC, true, true, 1.0, false, "defectives / units"},
    {kP, true, false, 1.0, false, "defectives / units"},
    {kC, false, true, 1.0, false, "defects / units"},
    {kU, false, false, 1.0, false, "defects / units"},
};

const AttributeChart* ChartOf(std::int32_t code) {
  const auto* const found = std::find_if(std::begin(kAttributeCharts), std::end(kAttributeCharts),
                                         [&](const auto& chart) { return chart.code == code; });
  return found == std::end(kAttributeCharts) ? nullptr : found;
}

// Never a chart of counted defectives: its word reads as that of their share.
std::int32_t BestGuess(const AttributeShape& shape) {
  if (!shape.only_defects) return kP;
  return shape.sizes_differ ? kU : kC;
}

}  // namespace

bool IsVariableWord(std::int32_t chart_word) {
  return IsWord(chart_word, KindOf(1, ChartCodesOf(chart_word).graph1) != ChartKind::None);
}

bool IsIndividualsWord(std::int32_t chart_word) {
  const auto codes = ChartCodesOf(chart_word);
  return codes.graph1 == kIx || IsThreeWay(codes);
}

ChartPlan PlanVariableChart(std::int32_t chart_word, std::int32_t processing_word,
                            const DataShape& shape) {
  ChartPlan plan;
  auto codes = ChartCodesOf(chart_word);
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

  plan.kinds[0] = KindOf(1, codes.graph1);
  plan.kinds[1] = KindOf(2, codes.graph2);
  plan.three_way = IsThreeWay(codes);
  if (codes.graph3 != 0) {
    // A three-way chart is about the subgroup: its third graph looks inside the subgroup.
    const bool within = shape.HasReadings() && (!plan.three_way || shape.SinglePieces());
    plan.kinds[2] = KindOf(within ? 3 : 2, codes.graph3);
  }
  plan.word = codes.graph1 << 8 | codes.graph2 << 4 | codes.graph3;
  plan.cusum = (processing_word & kCusumBit) != 0;
  if (plan.cusum && plan.kinds[0] == ChartKind::PreControl) {
    plan.cusum = false;
    plan.notes.push_back({"option-ignored", "A pre-control chart has no cusum."});
  }
  return plan;
}

bool SuitsRate(const AttributeChart& chart, std::int32_t chart_word) {
  return chart_word == 0 || catalogue::RateKindOf(chart_word) == chart.Kind();
}

bool IsAttributeWord(std::int32_t chart_word) {
  return IsWord(chart_word, ChartOf(ChartCodesOf(chart_word).graph1) != nullptr);
}

bool BearsNoSize(std::int32_t chart_word) {
  const auto* const chart = ChartOf(ChartCodesOf(chart_word).graph1);
  return chart != nullptr && chart->BearsNoSize();
}

AttributePlan PlanAttributeChart(std::int32_t chart_word, std::int32_t processing_word, double ewma,
                                 const AttributeShape& shape) {
  AttributePlan plan;
  const auto graph1 = ChartCodesOf(chart_word).graph1;
  plan.chart = ChartOf(graph1 == 0 ? BestGuess(shape) : graph1);
  if ((chart_word & 0xFF) != 0) {
    plan.notes.push_back(
        {"graph-dropped", "Graphs 2 and 3 are left out: a chart of counts is one graph."});
  }
  plan.cusum = (processing_word & kCusumBit) != 0;
  // The two low bits are ambiguous (grouping or EWMA); use the ewma argument.
  plan.ewma = ewma == 1.0   ? EwmaKind::Standard
              : ewma == 2.0 ? EwmaKind::MovingCentre
                            : EwmaKind::None;
  if (plan.cusum && plan.ewma != EwmaKind::None) {
    plan.ewma = EwmaKind::None;
    plan.notes.push_back({"option-ignored", "The cusum is drawn; the EWMA asked for too is not."});
  }
  return plan;
}

}  // namespace orvspc::engine::charts
