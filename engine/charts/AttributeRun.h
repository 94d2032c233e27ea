// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "engine/charts/AttributePlan.h"
#include "engine/charts/AttributeTable.h"
#include "engine/charts/Estimates.h"
#include "engine/charts/RunRows.h"
#include "engine/charts/attribute_lines.h"
#include "engine/statistics/ChartFormulas.h"
#include "engine/statistics/TimeWeighted.h"
#include "engine/store/Store.h"
#include "platform/ArrayRef.h"
#include "platform/CtrlChrt6.h"

namespace orvspc::engine::charts {

// Inputs of the process call of an attribute chart beside the selection.
struct AttributeRequest {
  std::int32_t chart_word = 0, processing_word = 0;
  double ewma = 0.0;
};

// One attribute chart, from its process call to its end. Points are made at once; lines and signals
// when they are asked for. May throw; ChartLibrary keeps that as a failure.
class AttributeRun {
 public:
  // Returns the chart word of what was made, 0 for nothing.
  std::int32_t Process(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                       const AttributeRequest& request);

  // Fills the array; returns the elements written. Writes nothing and returns 0 for an unknown code
  // or graph, another element size or an array that is too short. Tests can be taken once, and
  // subgroups as long as not both were taken.
  std::int32_t Deliver(const platform::ArrayRef& array, platform::ChartData code,
                       std::int32_t graph);

  bool IsOpen() const { return is_open_; }
  const AttributePlan& Plan() const { return plan_; }
  std::span<const ChartStream> Streams() const { return table_.Streams(); }
  const RunRows& Rows() const { return rows_; }
  const StreamEstimates& EstimatesOf(std::size_t stream) const { return states_[stream].estimates; }
  // Units inspected in each subgroup, in the order of the data set; 0 for not known.
  std::vector<double> UnitsInspected() const;

  // Forgets the run. Storage of a small one is kept for the next.
  void Clear();

 private:
  struct StreamState {
    statistics::Rate rate;  // over the subgroups that count
    StreamEstimates estimates;
    bool no_size = false, no_opportunities = false, no_cusum = false;  // at some point
    bool some_size = false;
  };

  void MakeUnits();
  void MakePoints();
  void Estimate();
  void MakeCusum();
  void MakeEwma();
  void MakeEwmaLines(bool calculated, std::size_t s, std::span<double> shown);
  void AddNotes(store::Store& store) const;

  AttributeLines LinesOf(std::size_t stream, bool calculated) const;
  // What a cusum or an EWMA is taken about: the lines that the chart would have without it.
  AttributeLines PlainLinesOf(std::size_t stream, bool calculated) const;

  std::int32_t DeliverColumn(const platform::ArrayRef& array, platform::ChartData code);
  void WriteSizes(std::span<std::int32_t> out) const;
  void WriteMarks(bool calculated, std::span<std::int32_t> out);

  AttributeTable table_;
  RunRows rows_{table_};
  AttributePlan plan_;
  std::vector<StreamState> states_;
  std::vector<double> points_;
  std::vector<double> units_;  // behind a rate: units or opportunities; 0 where not known
  std::array<std::vector<statistics::PointLimits>, 2> ewma_lines_;  // in force, calculated
  std::vector<std::uint32_t> marks_;                                // those asked for last
  std::optional<bool> marked_;  // whether those are of the calculated form
  bool is_open_ = false;
};

}  // namespace orvspc::engine::charts
