// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <limits>

#include "engine/charts/Marks.h"
#include "engine/charts/VariableRun.h"
#include "engine/charts/delivery.h"
#include "engine/charts/forget.h"
#include "engine/charts/variable_lines.h"
#include "engine/store/parallel.h"

// What is read from a finished run. Columns stand stream after stream; everything that leaves
// stands in the order of the data set.
namespace orvspc::engine::charts {
namespace {

using platform::ArrayRef;
using platform::ChartData;

constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();

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
    WriteLines(graph, line->calculated, line->line, out);
    return static_cast<std::int32_t>(count);
  }
  if (graph != 0 || !rows_.WriteSpecs(code, out)) return 0;
  return static_cast<std::int32_t>(count);
}

PointSizes VariableRun::SizesAt(std::size_t graph, std::size_t place) const {
  PointSizes sizes;
  sizes.pieces = table_.Sizes()[place];
  if (graph == 0 && !windows_.empty()) {
    const auto& window = windows_[place];
    const auto count = std::find(window.begin(), window.end(), 0) - window.begin();
    sizes.window = std::span(window).first(static_cast<std::size_t>(count));
  }
  if (graph == 2 && plan_.WithinPieces()) sizes.readings = within_.SizesAt(place);
  return sizes;
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
    std::fill(out.begin(), out.end(), kNoValue);
  } else if (table_.InOrder()) {
    std::copy(points.begin(), points.end(), out.begin());
  } else {
    for (std::size_t place = 0; place < out.size(); ++place) {
      out[table_.SubgroupAt(place)] = points[place];
    }
  }
}

void VariableRun::WriteSizes(std::size_t graph, std::span<std::int32_t> out) const {
  for (std::size_t place = 0; place < out.size(); ++place) {
    out[table_.SubgroupAt(place)] = SizeAt(graph, place);
  }
}

void VariableRun::WriteLines(std::size_t graph, bool calculated,
                             double statistics::PointLimits::*line, std::span<double> out) const {
  const auto streams = table_.Streams();
  for (std::size_t s = 0; s < streams.size(); ++s) {
    LineSource lines(*this, s, graph, calculated);
    if (lines.IsConstant()) {
      const double value = lines.At(streams[s].begin).*line;
      for (auto place = streams[s].begin; place < streams[s].end; ++place) {
        out[table_.SubgroupAt(place)] = value;
      }
      continue;
    }
    for (auto place = streams[s].begin; place < streams[s].end; ++place) {
      out[table_.SubgroupAt(place)] = lines.At(place).*line;
    }
  }
}

void VariableRun::WriteMarks(std::size_t graph, bool calculated, std::span<std::int32_t> out) {
  if (plan_.kinds[graph] == ChartKind::None ||
      (plan_.kinds[graph] == ChartKind::PreControl && calculated)) {
    std::fill(out.begin(), out.end(), 0);
    return;
  }
  const auto& marks = MarksOf(graph, calculated);
  for (std::size_t place = 0; place < out.size(); ++place) {
    out[table_.SubgroupAt(place)] = static_cast<std::int32_t>(marks[place]);
  }
}

const std::vector<std::uint32_t>& VariableRun::MarksOf(std::size_t graph, bool calculated) {
  // Without stored limits both forms are the same, and a reader asks for one after the other.
  if (!rows_.HasStoredLimits() || (plan_.cusum && graph == 0)) calculated = false;
  if (marked_.graph == graph && marked_.calculated == calculated && !marks_.empty()) return marks_;
  const auto streams = table_.Streams();
  const bool zones = plan_.kinds[graph] == ChartKind::PreControl;
  if (zones) {
    marks_ = zone_marks_;
  } else {
    marks_.resize(table_.Count());
    SelectForGraph(rows_.Rules(), plan_.kinds[graph], plan_.cusum && graph == 0, graph_rules_);
  }
  for (std::size_t s = 0; s < streams.size(); ++s) {
    const auto& stream = streams[s];
    const auto of_stream = std::span(marks_).subspan(stream.begin, stream.Count());
    if (!zones) MarkStream(s, graph, calculated, of_stream);
    rows_.KeepAlarms(s, graph, of_stream);
  }
  marked_ = {graph, calculated};
  return marks_;
}

void VariableRun::MarkStream(std::size_t s, std::size_t graph, bool calculated,
                             std::span<std::uint32_t> marks) const {
  const auto& stream = table_.Streams()[s];
  store::ForHalves(stream.Count(), [&](std::size_t from, std::size_t to) {
    LineSource lines(*this, s, graph, calculated);
    MarkInput input;
    input.points = Part(points_[graph], stream);
    input.used = Part(table_.Used(), stream);
    input.lines = [&](std::size_t i) { return lines.At(stream.begin + i); };
    statistics::PointLimits constant{};
    if (lines.IsConstant()) {
      constant = lines.At(stream.begin);
      input.constant = &constant;
    }
    if (!calculated && rows_.HasStoredLimits()) {
      input.restart = [&](std::size_t i) { return rows_.RestartsAt(stream, stream.begin + i); };
    }
    EvaluateMarks(input, graph_rules_, marks, from, to);
  });
}

}  // namespace orvspc::engine::charts
