// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "engine/charts/ChartRun.h"

namespace orvspc::engine::charts {

// What judges a stream of values.
struct VariableState {
  StreamEstimates estimates;
  std::int32_t constant_size = 0;  // of every subgroup; -1 where they differ
  bool no_lines = false;           // of a pre-control chart
  bool no_cusum = false;
  bool no_basis = false;  // too few points in a stretch of a stream with phases

  void TakeLimitsOf(const VariableState& other) {
    estimates = other.estimates;
    no_basis = other.no_basis;
  }
};

// What a store that is a window of another one may ask for; "yes": large moving ranges are dropped.
inline constexpr std::string_view kScreenMovingRanges = "screen-moving-ranges";

// One variable chart.
class VariableRun : public ChartRun<VariableRun, PointTable, ChartPlan, VariableState> {
 public:
  // Returns the chart word of what was made, 0 for nothing.
  std::int32_t Process(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                       const API_CCVarOptions& options);
  // Forgets the run.
  void Clear();
  // For who has an option of his own for sigma: that of charts is not read.
  void TakeUsualSigma() { usual_sigma_ = true; }

 private:
  friend ChartRun;

  void MakeColumns(store::Store& store);
  void Estimate(store::Store& store, std::span<const double> sds);
  void MakeRatios(std::span<const double> sds);
  void MakeMovingRanges();
  void MakeMovingAverages();
  bool MakePreControl();
  // Whether the options of a stream ask for limits that are widened for correlated points.
  bool AsksToWiden(store::Store& store, const ChartStream& stream) const;
  // Every point that counts in a stretch is judged by a stored row with a sigma.
  bool HasStoredSigma(std::size_t s) const;
  void AddNotes(store::Store& store);
  // Graph 1 has means or single values, and its notes are wanted.
  bool NotesLevels() const;
  // Where the mean may have changed, if that is asked for.
  void NoteSteps(store::Store& store, std::size_t s);
  // Of points that lean on those before them.
  void NoteNeighbours(store::Store& store, std::size_t s);
  // Whether a rule that is on for graph 1 looks at more than one point or at zones.
  bool JudgesRuns(store::Store& store, const ChartStream& stream);

  VariableLines LinesOf(std::size_t stream, std::size_t graph, bool calculated,
                        bool plain = false) const;
  std::int32_t SizeAt(std::size_t graph, std::size_t place) const;
  void Judge(std::size_t graph, bool calculated);

  std::vector<AverageWindow> windows_;  // moving average
  WithinPieces within_;
  std::vector<std::uint32_t> zone_marks_;  // of a pre-control chart
  bool usual_sigma_ = false;               // see TakeUsualSigma
};

}  // namespace orvspc::engine::charts
