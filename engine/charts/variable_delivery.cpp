// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <limits>

#include "engine/charts/Marks.h"
#include "engine/charts/VariableRun.h"
#include "engine/charts/forget.h"
#include "engine/charts/variable_lines.h"
#include "engine/store/halves.h"

// What is read from a finished run. Columns stand stream after stream; everything that leaves
// stands in the order of the data set.
namespace orvspc::engine {
namespace {

using platform::ArrayRef;
using platform::ChartData;

constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();

// The first count elements of the array; empty when it holds something else or too few.
template <class T>
std::span<T> Room(const ArrayRef& array, std::size_t count) {
  const auto all = array.As<T>();
  return all.size() < count ? std::span<T>() : all.first(count);
}

template <class T>
std::int32_t CopyRows(const ArrayRef& array, const std::vector<T>& rows) {
  const auto out = Room<T>(array, rows.size());
  std::copy_n(rows.begin(), out.size(), out.begin());
  return static_cast<std::int32_t>(out.size());
}

// What a data call with a graph number fills.
struct LineCode {
  ChartData code;
  bool calculated;
  double PointLimits::*line;
};
constexpr LineCode kLineCodes[] = {
    {ChartData::cUCLs, true, &PointLimits::upper}, {ChartData::cCLs, true, &PointLimits::centre},
    {ChartData::cLCLs, true, &PointLimits::lower}, {ChartData::UCLs, false, &PointLimits::upper},
    {ChartData::Cls, false, &PointLimits::centre}, {ChartData::LCLs, false, &PointLimits::lower},
};

struct SpecCode {
  ChartData code;
  double SpecLines::*line;
};
constexpr SpecCode kSpecCodes[] = {
    {ChartData::USLs, &SpecLines::usl},
    {ChartData::Targets, &SpecLines::target},
    {ChartData::LSLs, &SpecLines::lsl},
};

}  // namespace

std::int32_t VariableRun::Deliver(const ArrayRef& array, ChartData code, std::int32_t graph) {
  if (!IsOpen()) return 0;
  switch (code) {
    case ChartData::Totals:
      return DeliverTotals(array);
    case ChartData::Subgroups:
      return DeliverSubgroups(array);
    case ChartData::Tests:
      return DeliverTests(array);
    case ChartData::CtrlLims:
      return CopyRows(array, limit_rows_);
    case ChartData::SpecLims:
      return CopyRows(array, spec_rows_);
    default:
      if (graph < 1 || graph > plan_.GraphCount()) return 0;
      return DeliverColumn(array, code, static_cast<std::size_t>(graph) - 1);
  }
}

std::int32_t VariableRun::DeliverTotals(const ArrayRef& array) const {
  const auto out = Room<API_CCTotals>(array, 1);
  if (out.empty()) return 0;
  API_CCTotals totals{};
  totals.SubgroupCount = static_cast<std::int32_t>(table_.Count());
  totals.TestCount = test_count_;
  totals.SpecLimCount = static_cast<std::int32_t>(spec_rows_.size());
  totals.CtrlLimCount = static_cast<std::int32_t>(limit_rows_.size());
  out[0] = totals;
  return 1;
}

std::int32_t VariableRun::DeliverSubgroups(const ArrayRef& array) {
  const auto written = CopyRows(array, data_.subgroups);
  subgroups_taken_ = subgroups_taken_ || written != 0;
  return written;
}

// The values go with it: nothing that is asked for later needs them, and they are the largest part
// of a run. So do subgroups that were taken before.
std::int32_t VariableRun::DeliverTests(const ArrayRef& array) {
  const auto out = Room<API_TestData>(array, data_.values.size());
  if (out.empty()) return 0;
  data_.WriteTests(out);
  Forget(data_.values);
  Forget(data_.keys);
  if (subgroups_taken_) ReleaseSubgroups();
  return test_count_;
}

void VariableRun::ReleaseSubgroups() {
  stamps_.resize(table_.Count());
  for (std::size_t place = 0; place < stamps_.size(); ++place) {
    stamps_[place] = data_.subgroups[table_.SubgroupAt(place)].Sgtm;
  }
  Forget(data_.subgroups);
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
  for (const auto& line : kLineCodes) {
    if (line.code != code) continue;
    // A pre-control chart has the lines of the specification limits and nothing calculated.
    if (line.calculated && plan_.kinds[graph] == ChartKind::PreControl) return 0;
    WriteLines(graph, line.calculated, line.line, out);
    return static_cast<std::int32_t>(count);
  }
  for (const auto& spec : kSpecCodes) {
    if (spec.code != code || graph != 0) continue;
    WriteSpecs(spec.line, out);
    return static_cast<std::int32_t>(count);
  }
  return 0;
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

void VariableRun::WriteLines(std::size_t graph, bool calculated, double PointLimits::*line,
                             std::span<double> out) const {
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

void VariableRun::WriteSpecs(double SpecLines::*line, std::span<double> out) const {
  const auto streams = table_.Streams();
  for (std::size_t s = 0; s < streams.size(); ++s) {
    const auto& specs = states_[s].specs;
    RowsInForce<API_CCSpecLim> rows(specs);
    auto latest = kNoRow;
    double value = kNoValue;
    for (auto place = streams[s].begin; place < streams[s].end; ++place) {
      const auto row = specs.empty() ? kNoRow : rows.At(StampAt(place));
      if (row != latest) {
        latest = row;
        value = row == kNoRow ? kNoValue : SpecLinesOf(specs[static_cast<std::size_t>(row)]).*line;
      }
      out[table_.SubgroupAt(place)] = value;
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
  if (!HasStoredLimits() || (plan_.cusum && graph == 0)) calculated = false;
  if (marked_.graph == graph && marked_.calculated == calculated && !marks_.empty()) return marks_;
  const auto streams = table_.Streams();
  const bool zones = plan_.kinds[graph] == ChartKind::PreControl;
  if (zones) {
    marks_ = zone_marks_;
  } else {
    marks_.resize(table_.Count());
    SelectForGraph(rules_, plan_.kinds[graph], plan_.cusum && graph == 0, graph_rules_);
  }
  for (std::size_t s = 0; s < streams.size(); ++s) {
    const auto& stream = streams[s];
    const auto of_stream = std::span(marks_).subspan(stream.begin, stream.Count());
    if (!zones) MarkStream(s, graph, calculated, of_stream);
    if (!alarms_differ_) continue;
    for (auto& mark : of_stream) mark &= states_[s].alarms[graph];
  }
  marked_ = {graph, calculated};
  return marks_;
}

void VariableRun::MarkStream(std::size_t s, std::size_t graph, bool calculated,
                             std::span<std::uint32_t> marks) const {
  const auto& stream = table_.Streams()[s];
  ForHalves(stream.Count(), [&](std::size_t from, std::size_t to) {
    LineSource lines(*this, s, graph, calculated);
    MarkInput input;
    input.points = Part(points_[graph], stream);
    input.used = Part(table_.Used(), stream);
    input.lines = [&](std::size_t i) { return lines.At(stream.begin + i); };
    PointLimits constant{};
    if (lines.IsConstant()) {
      constant = lines.At(stream.begin);
      input.constant = &constant;
    }
    if (!calculated && HasStoredLimits()) {
      input.restart = [&](std::size_t i) { return RestartsAt(stream, stream.begin + i); };
    }
    EvaluateMarks(input, graph_rules_, marks, from, to);
  });
}

}  // namespace orvspc::engine
