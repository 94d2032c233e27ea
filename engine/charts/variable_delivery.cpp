// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>

#include "engine/charts/VariableRun.h"
#include "engine/charts/column_storage.h"
#include "engine/charts/delivery.h"
#include "engine/charts/stream_lines.h"
#include "platform/NaN.h"

// Reading a finished run. Columns are ordered by stream; what is delivered is in the order of the
// data set.
namespace orvspc::engine::charts {
namespace {

using platform::ArrayRef;
using platform::ChartData;

}  // namespace

std::int32_t VariableRun::Deliver(const ArrayRef& array, ChartData code, std::int32_t graph) {
  if (!IsOpen()) return 0;
  const auto rows = rows_.Deliver(array, code);
  if (rows != 0 || graph < 1 || graph > plan_.GraphCount()) return rows;
  return DeliverColumn(array, code, static_cast<std::size_t>(graph) - 1);
}

std::int32_t VariableRun::DeliverColumn(const ArrayRef& array, ChartData code, std::size_t graph) {
  const auto count = table_.Count();
  if (code == ChartData::SGSizes || code == ChartData::cOOCs || code == ChartData::OOCs) {
    const auto out = Room<std::int32_t>(array, count);
    if (out.empty()) return 0;
    if (code == ChartData::SGSizes) {
      WriteSizes(graph, out);
    } else {
      WriteMarks(graph, code == ChartData::cOOCs, out);
    }
    return static_cast<std::int32_t>(count);
  }
  const auto out = Room<double>(array, count);
  if (out.empty()) return 0;
  if (code == ChartData::Points) {
    WritePoints(graph, out);
    return static_cast<std::int32_t>(count);
  }
  if (const auto* const line = LineOf(code)) {
    // A pre-control chart has the lines of the specification limits and nothing calculated.
    if (line->calculated && plan_.kinds[graph] == ChartKind::PreControl) return 0;
    const bool cusum = plan_.cusum && graph == 0;
    WriteLines(
        table_, [&](std::size_t s) { return LinesOf(s, graph, line->calculated, cusum); },
        line->line, out);
    return static_cast<std::int32_t>(count);
  }
  if (graph != 0 || !rows_.WriteSpecs(code, out)) return 0;
  return static_cast<std::int32_t>(count);
}

VariableLines VariableRun::LinesOf(std::size_t stream, std::size_t graph, bool calculated,
                                   bool cusum) const {
  const auto& state = states_[stream];
  return VariableLines({table_, rows_, plan_, windows_, within_, state.estimates,
                        state.constant_size, stream, graph, calculated, cusum});
}

std::int32_t VariableRun::SizeAt(std::size_t graph, std::size_t place) const {
  if (plan_.kinds[graph] == ChartKind::None || std::isnan(points_[graph][place])) return 0;
  std::int32_t size = 0;
  switch (plan_.kinds[graph]) {
    case ChartKind::MovingRange:
      return 2;
    case ChartKind::MovingAverage:
      if (windows_.empty()) return table_.Sizes()[place];
      for (const auto pieces : windows_[place]) size += pieces;
      return size;
    case ChartKind::PieceRange:
    case ChartKind::PieceSd:
      for (const auto readings : within_.SizesAt(place)) size += readings;
      return size;
    default:
      return table_.Sizes()[place];
  }
}

void VariableRun::WritePoints(std::size_t graph, std::span<double> out) const {
  const auto& points = points_[graph];
  if (plan_.kinds[graph] == ChartKind::None) {
    std::fill(out.begin(), out.end(), platform::kNaN);
  } else if (table_.InOrder()) {
    std::copy(points.begin(), points.end(), out.begin());
  } else {
    table_.Scatter(points, out);
  }
}

void VariableRun::WriteSizes(std::size_t graph, std::span<std::int32_t> out) const {
  for (std::size_t place = 0; place < out.size(); ++place) {
    out[table_.SubgroupAt(place)] = SizeAt(graph, place);
  }
}

void VariableRun::WriteMarks(std::size_t graph, bool calculated, std::span<std::int32_t> out) {
  if (plan_.kinds[graph] == ChartKind::None ||
      (plan_.kinds[graph] == ChartKind::PreControl && calculated)) {
    std::fill(out.begin(), out.end(), 0);
    return;
  }
  table_.Scatter(MarksOf(graph, calculated), out);
}

const std::vector<std::uint32_t>& VariableRun::MarksOf(std::size_t graph, bool calculated) {
  const bool cusum = plan_.cusum && graph == 0;
  // Without stored limits both forms are the same, and a reader asks for one after the other.
  if (!rows_.HasStoredLimits() || cusum) calculated = false;
  if (marked_.graph == graph && marked_.calculated == calculated && !marks_.empty()) return marks_;
  if (plan_.kinds[graph] == ChartKind::PreControl) {
    marks_ = zone_marks_;
  } else {
    SelectForGraph(rows_.Rules(), plan_.kinds[graph], cusum, graph_rules_);
    EvaluateStreams(
        table_, rows_, points_[graph],
        [&](std::size_t s) { return LinesOf(s, graph, calculated, cusum); },
        !calculated && rows_.HasStoredLimits(), graph_rules_, marks_);
  }
  rows_.KeepAlarms(graph, marks_);
  marked_ = {graph, calculated};
  return marks_;
}

}  // namespace orvspc::engine::charts
