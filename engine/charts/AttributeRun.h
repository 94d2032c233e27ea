// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "engine/charts/ChartRun.h"

namespace orvspc::engine::charts {

// Inputs of the process call of an attribute chart beside the selection.
struct AttributeRequest {
  std::int32_t chart_word = 0, processing_word = 0;
  double ewma = 0.0;
};

// What judges a stream of counts.
struct AttributeState {
  statistics::Rate rate;  // over the subgroups that count
  StreamEstimates estimates;
  bool no_size = false, no_opportunities = false, no_cusum = false;  // at some point
  bool some_size = false;
  bool no_basis = false;  // too few points in a stretch of a stream with phases
  double alpha = 0.0;     // risk of exact limits; 0: three sigmas
  bool overdispersed = false, rare = false;

  void TakeLimitsOf(const AttributeState& other) {
    rate = other.rate;
    estimates = other.estimates;
    no_basis = other.no_basis;
  }
};

// One attribute chart.
class AttributeRun : public ChartRun<AttributeRun, AttributeTable, AttributePlan, AttributeState> {
 public:
  // Returns the chart word of what was made, 0 for nothing.
  std::int32_t Process(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                       const AttributeRequest& request);
  // Units inspected in each subgroup, in the order of the data set; 0 for not known.
  std::vector<double> UnitsInspected() const;
  // Before Process: for who needs the counts themselves, in the order of the points, of subgroups
  // without a size, too.
  void KeepCounts() { keeps_counts_ = true; }
  std::span<const double> Counts() const { return counts_; }
  // Over the subgroups of a stream that count.
  const statistics::Rate& RateOf(std::size_t stream) const { return states_[stream].rate; }
  // Forgets the run.
  void Clear();

 private:
  friend ChartRun;

  void MakeUnits();
  void MakePoints();
  void TakeOptions(store::Store& store);
  // What the points say against the distribution that their limits come from.
  void Look();
  void Estimate();
  void MakeEwma();
  void MakeEwmaLines(bool calculated, std::size_t s, std::span<double> shown);
  void AddNotes(store::Store& store);

  AttributeLines LinesOf(std::size_t stream, std::size_t graph, bool calculated,
                         bool plain = false) const;
  std::int32_t SizeAt(std::size_t graph, std::size_t place) const;

  bool keeps_counts_ = false;
  std::vector<double> counts_;  // only where they are kept
  std::vector<double> units_;   // that a rate is of, or opportunities; 0 where not known
  std::array<std::vector<statistics::PointLimits>, 2> ewma_lines_;  // in force, calculated
};

}  // namespace orvspc::engine::charts
