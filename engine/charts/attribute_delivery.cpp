// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <span>

#include "engine/charts/AttributeRun.h"
#include "engine/charts/Marks.h"
#include "engine/charts/attribute_lines.h"
#include "engine/charts/delivery.h"
#include "engine/store/parallel.h"

// What is read from a finished run. Columns stand stream after stream; everything that leaves
// stands in the order of the data set.
namespace orvspc::engine::charts {

using platform::ArrayRef;
using platform::ChartData;

std::int32_t AttributeRun::Deliver(const ArrayRef& array, ChartData code, std::int32_t graph) {
  if (!IsOpen()) return 0;
  const auto rows = rows_.Deliver(array, code);
  return rows != 0 || graph != 1 ? rows : DeliverColumn(array, code);
}

std::int32_t AttributeRun::DeliverColumn(const ArrayRef& array, ChartData code) {
  const auto count = table_.Count();
  const auto written = static_cast<std::int32_t>(count);
  if (code == ChartData::SGSizes || code == ChartData::cOOCs || code == ChartData::OOCs) {
    const auto out = Room<std::int32_t>(array, count);
    if (out.empty()) return 0;
    if (code != ChartData::SGSizes) {
      WriteMarks(code == ChartData::cOOCs ? kCalculated : kInForce, out);
      return written;
    }
    for (std::size_t place = 0; place < count; ++place) {
      // A count without a size is one of a single unit.
      out[table_.SubgroupAt(place)] =
          std::isnan(points_[place])
              ? 0
              : static_cast<std::int32_t>(std::max(std::round(table_.sizes[place]), 1.0));
    }
    return written;
  }
  const auto out = Room<double>(array, count);
  if (out.empty()) return 0;
  if (code == ChartData::Points) {
    Scatter(points_, out);
    return written;
  }
  if (const auto* const line = LineOf(code)) {
    WriteLines(line->calculated ? kCalculated : kInForce, line->line, out);
    return written;
  }
  return rows_.WriteSpecs(code, out) ? written : 0;
}

void AttributeRun::WriteLines(Form form, double statistics::PointLimits::*line,
                              std::span<double> out) const {
  for (std::size_t s = 0; s < states_.size(); ++s) {
    const auto& stream = table_.Streams()[s];
    LineSource lines(*this, s, form);
    for (auto place = stream.begin; place < stream.end; ++place) {
      out[table_.SubgroupAt(place)] = lines.At(place).*line;
    }
  }
}

void AttributeRun::WriteMarks(Form form, std::span<std::int32_t> out) {
  // Without stored limits both forms are the same, and a reader asks for one after the other.
  if (!rows_.HasStoredLimits() || plan_.cusum) form = kInForce;
  if (marked_ != form) MakeMarks(form);
  Scatter(marks_, out);
}

void AttributeRun::MakeMarks(Form form) {
  std::vector<statistics::RunRule> rules;
  SelectForGraph(rows_.Rules(), ChartKind::Attribute, plan_.IsWeighted(), rules);
  marks_.resize(table_.Count());
  for (std::size_t s = 0; s < states_.size(); ++s) {
    const auto& stream = table_.Streams()[s];
    const auto marks = std::span(marks_).subspan(stream.begin, stream.Count());
    store::ForHalves(stream.Count(), [&](std::size_t from, std::size_t to) {
      LineSource lines(*this, s, form);
      MarkInput input;
      input.points = Part(points_, stream);
      input.used = Part(table_.Used(), stream);
      input.lines = [&](std::size_t i) { return lines.At(stream.begin + i); };
      if (form == kInForce && rows_.HasStoredLimits()) {
        input.restart = [&](std::size_t i) { return rows_.RestartsAt(stream, stream.begin + i); };
      }
      EvaluateMarks(input, rules, marks, from, to);
    });
    rows_.KeepAlarms(s, 0, marks);
  }
  marked_ = form;
}

}  // namespace orvspc::engine::charts
