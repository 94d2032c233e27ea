// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "engine/catalogue/limits.h"
#include "engine/charts/ChartPlan.h"

namespace orvspc::engine::charts {

// One chart of counts.
struct AttributeChart {
  std::int32_t code;     // of graph 1 in the chart word
  bool defectives;       // units that are bad; otherwise defects
  bool counted;          // the count itself is shown, otherwise the rate
  double scale;          // of a rate that is shown: 1, per thousand, per million
  bool per_opportunity;  // a rate is one per opportunity for a defect
  const char* rate;      // how its mean is made
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
  // A point says something about those before it.
  bool IsWeighted() const { return cusum || ewma != EwmaKind::None; }
};

// What a mean is on the chart.
inline catalogue::RateKind RateKindOf(const AttributeChart& chart) {
  return catalogue::RateKindOf(chart.code << 8);
}

// Whether the mean of limits made from the chart of that word is the rate of this chart: a share, a
// rate a unit or one an opportunity. A word of 0 is not known and serves.
bool SuitsRate(const AttributeChart& chart, std::int32_t chart_word);

// False for a word that no attribute chart has.
bool IsAttributeWord(std::int32_t chart_word);

// Settles what is produced. A zero graph 1 is chosen by the shape of the data; the other graphs do
// not exist here. ewma: 1 standard, 2 moving centre line, anything else none.
// chart_word must be an attribute word.
AttributePlan PlanAttributeChart(std::int32_t chart_word, std::int32_t processing_word, double ewma,
                                 const AttributeShape& shape);

}  // namespace orvspc::engine::charts
