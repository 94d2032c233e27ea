// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/AttributePlan.h"

#include <algorithm>
#include <iterator>

namespace orvspc::engine::charts {
namespace {

constexpr std::int32_t kP = 0xD, kC = 0xE, kU = 0xF;
constexpr std::int32_t kMaxGraph2 = 4, kMaxGraph3 = 2;
constexpr std::int32_t kCusumBit = 16;
constexpr double kThousand = 1e3, kMillion = 1e6;

constexpr const char* kShare = "defectives / units";
constexpr const char* kPerUnit = "defects / units";
constexpr const char* kPerOpportunity = "defects / opportunities";

// The fields in the order of their declaration.
constexpr AttributeChart kCharts[] = {
    {0x8, true, false, kThousand, false, kShare},
    {0x9, false, false, kThousand, true, kPerOpportunity},
    {0xA, true, false, kMillion, false, kShare},
    {0xB, false, false, kMillion, true, kPerOpportunity},
    {0xC, true, true, 1.0, false, kShare},
    {kP, true, false, 1.0, false, kShare},
    {kC, false, true, 1.0, false, kPerUnit},
    {kU, false, false, 1.0, false, kPerUnit},
};

const AttributeChart* ChartOf(std::int32_t code) {
  const auto* const found = std::find_if(std::begin(kCharts), std::end(kCharts),
                                         [&](const auto& chart) { return chart.code == code; });
  return found == std::end(kCharts) ? nullptr : found;
}

// Never a chart of counted defectives: its word reads as that of their share.
std::int32_t BestGuess(const AttributeShape& shape) {
  if (!shape.only_defects) return kP;
  return shape.sizes_differ ? kU : kC;
}

}  // namespace

bool SuitsRate(const AttributeChart& chart, std::int32_t chart_word) {
  return chart_word == 0 || catalogue::RateKindOf(chart_word) == RateKindOf(chart);
}

bool IsAttributeWord(std::int32_t chart_word) {
  const auto graph1 = (chart_word >> 8) & 15;
  return (chart_word & ~0xFFF) == 0 && (graph1 == 0 || ChartOf(graph1) != nullptr) &&
         ((chart_word >> 4) & 15) <= kMaxGraph2 && (chart_word & 15) <= kMaxGraph3;
}

AttributePlan PlanAttributeChart(std::int32_t chart_word, std::int32_t processing_word, double ewma,
                                 const AttributeShape& shape) {
  AttributePlan plan;
  const auto graph1 = (chart_word >> 8) & 15;
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
