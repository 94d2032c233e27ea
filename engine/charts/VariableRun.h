// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "engine/charts/ChartPlan.h"
#include "engine/charts/Estimates.h"
#include "engine/charts/Lines.h"
#include "engine/charts/PointTable.h"
#include "engine/charts/RunRows.h"
#include "engine/charts/variable_lines.h"
#include "engine/statistics/RunRules.h"
#include "engine/store/Store.h"
#include "platform/ArrayRef.h"
#include "platform/CtrlChrt6.h"

namespace orvspc::engine::charts {

// One variable chart, from its process call to its end. Points are made at once; lines and signals
// when they are asked for. May throw; ChartLibrary keeps that as a failure.
class VariableRun {
 public:
  // Returns the chart word of what was made, 0 for nothing.
  std::int32_t Process(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                       const API_CCVarOptions& options);

  // Fills the array; returns the elements written. Writes nothing and returns 0 for an unknown code
  // or graph, another element size or an array that is too short. Tests can be taken once, and
  // subgroups as long as not both were taken.
  std::int32_t Deliver(const platform::ArrayRef& array, platform::ChartData code,
                       std::int32_t graph);

  bool IsOpen() const { return plan_.word != 0; }
  const ChartPlan& Plan() const { return plan_; }
  std::span<const ChartStream> Streams() const { return table_.Streams(); }
  const RunRows& Rows() const { return rows_; }
  const StreamEstimates& EstimatesOf(std::size_t stream) const { return states_[stream].estimates; }

  // Forgets the run. Storage of a small one is kept for the next.
  void Clear();

 private:
  // What judges a stream.
  struct StreamState {
    StreamEstimates estimates;
    std::int32_t constant_size = 0;  // of every subgroup; -1 where they differ
    bool no_lines = false;           // of a pre-control chart
    bool no_cusum = false;           // at some point, for want of a sigma
  };

  void MakeColumns(store::Store& store);
  void Estimate(std::span<const double> sds, statistics::EstimatorSetting setting);
  void MakeRatios(std::span<const double> sds);
  void MakeMovingRanges();
  void MakeMovingAverages();
  bool MakePreControl();
  void MakeCusum();
  void AddNotes(store::Store& store) const;

  VariableLines LinesOf(std::size_t stream, std::size_t graph, bool calculated, bool cusum) const;
  std::int32_t SizeAt(std::size_t graph, std::size_t place) const;
  std::int32_t DeliverColumn(const platform::ArrayRef& array, platform::ChartData code,
                             std::size_t graph);
  void WritePoints(std::size_t graph, std::span<double> out) const;
  void WriteSizes(std::size_t graph, std::span<std::int32_t> out) const;
  void WriteMarks(std::size_t graph, bool calculated, std::span<std::int32_t> out);
  const std::vector<std::uint32_t>& MarksOf(std::size_t graph, bool calculated);

  PointTable table_;
  RunRows rows_{table_};
  ChartPlan plan_;
  std::vector<StreamState> states_;
  std::array<std::vector<double>, 3> points_;  // of the graphs
  std::vector<AverageWindow> windows_;         // moving average
  WithinPieces within_;
  std::vector<std::uint32_t> zone_marks_;  // of a pre-control chart
  std::vector<statistics::RunRule> graph_rules_;
  std::vector<std::uint32_t> marks_;  // those asked for last
  struct {
    std::size_t graph = 3;
    bool calculated = false;
  } marked_;  // whose marks they are
};

}  // namespace orvspc::engine::charts
