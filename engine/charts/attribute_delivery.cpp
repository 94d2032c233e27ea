// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <span>

#include "engine/charts/AttributeRun.h"
#include "engine/charts/delivery.h"
#include "engine/charts/stream_lines.h"

// Reading a finished run. Columns are ordered by stream; what is delivered is in the order of the
// data set.
namespace orvspc::engine::charts {

using platform::ArrayRef;
using platform::ChartData;

std::int32_t AttributeRun::Deliver(const ArrayRef& array, ChartData code, std::int32_t graph) {
  if (!IsOpen()) return 0;
  const auto rows = rows_.Deliver(array, code);
  return rows != 0 || graph != 1 ? rows : DeliverColumn(array, code);
}

std::int32_t AttributeRun::DeliverColumn(const ArrayRef& array, ChartData code) {
  const auto written = static_cast<std::int32_t>(table_.Count());
  if (code == ChartData::SGSizes || code == ChartData::cOOCs || code == ChartData::OOCs) {
    const auto out = Room<std::int32_t>(array, table_.Count());
    if (out.empty()) return 0;
    if (code == ChartData::SGSizes) {
      WriteSizes(out);
    } else {
      WriteMarks(code == ChartData::cOOCs, out);
    }
    return written;
  }
  const auto out = Room<double>(array, table_.Count());
  if (out.empty()) return 0;
  if (code == ChartData::Points) {
    table_.Scatter(points_, out);
  } else if (const auto* const line = LineOf(code)) {
    WriteLines(
        table_, [&](std::size_t s) { return LinesOf(s, line->calculated); }, line->line, out);
  } else {
    return rows_.WriteSpecs(code, out) ? written : 0;
  }
  return written;
}

void AttributeRun::WriteSizes(std::span<std::int32_t> out) const {
  for (std::size_t place = 0; place < out.size(); ++place) {
    // A count without a size is one of a single unit.
    out[table_.SubgroupAt(place)] =
        std::isnan(points_[place])
            ? 0
            : static_cast<std::int32_t>(std::max(std::round(table_.sizes[place]), 1.0));
  }
}

void AttributeRun::WriteMarks(bool calculated, std::span<std::int32_t> out) {
  // Without stored limits both forms are the same, and a reader asks for one after the other.
  if (!rows_.HasStoredLimits() || plan_.cusum) calculated = false;
  if (marked_ != calculated) {
    std::vector<statistics::RunRule> rules;
    SelectForGraph(rows_.Rules(), ChartKind::Attribute, plan_.IsWeighted(), rules);
    EvaluateStreams(
        table_, rows_, points_, [&](std::size_t s) { return LinesOf(s, calculated); },
        !calculated && rows_.HasStoredLimits(), rules, marks_);
    rows_.KeepAlarms(0, marks_);
    marked_ = calculated;
  }
  table_.Scatter(marks_, out);
}

}  // namespace orvspc::engine::charts
