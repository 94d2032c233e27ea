// SPDX-License-Identifier: Apache-2.0
#include "host/render/chart/ChartView.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

#include "host/render/core/Numbers.h"

namespace orvspc::render {

std::array<NamedLine, 6> LinesOf(const GraphView& graph) {
  const LineSet &limits = graph.limits, &specification = graph.specification;
  return {{{"UCL", limits.upper, false},
           {"CL", limits.centre, false},
           {"LCL", limits.lower, false},
           {"USL", specification.upper, true},
           {"Target", specification.centre, true},
           {"LSL", specification.lower, true}}};
}

std::vector<std::size_t> Places(const ChartView& view) {
  std::vector<std::size_t> places(view.Count());
  for (std::size_t i = 0; i < places.size(); ++i) places[i] = i;
  for (std::size_t g = 0; g < view.groups.size(); ++g)
    for (std::size_t i = view.groups[g].first; i <= view.groups[g].last && i < places.size(); ++i)
      places[i] = g;
  return places;
}

std::map<std::int32_t, std::vector<std::size_t>> PointsOfStreams(const ChartView& view) {
  std::map<std::int32_t, std::vector<std::size_t>> streams;
  for (std::size_t i = 0; i < view.Count(); ++i) streams[view.StreamOf(i)].push_back(i);
  return streams;
}

std::vector<RuleCount> RulesBroken(const ChartView& view) {
  std::map<std::int32_t, RuleCount> counts;
  for (const auto& graph : view.graphs)
    for (const auto& mark : graph.marks)
      for (const auto& rule : mark.rules) {
        auto& count = counts[rule.number];
        count.rule = rule;
        ++count.points;
      }
  std::vector<RuleCount> result;
  result.reserve(counts.size());
  for (auto& [number, count] : counts) result.push_back(std::move(count));
  return result;
}

std::string RuleNumbers(const PointMark& mark) {
  std::string text;
  for (const auto& rule : mark.rules) {
    if (!text.empty()) text += ',';
    text += std::to_string(rule.number);
  }
  return text;
}

std::string MarkText(const PointMark& mark) {
  std::string text;
  const auto add = [&](const std::string& piece) {
    if (!text.empty()) text += "; ";
    text += piece;
  };
  for (const auto& rule : mark.rules)
    add(rule.text.empty() ? "rule " + std::to_string(rule.number) : rule.text);
  for (const auto& specification : mark.specifications) add(specification);
  return text;
}

std::string StreamLetter(std::size_t stream) {
  std::string text(1, static_cast<char>('A' + stream % 26));
  return stream < 26 ? text : StreamLetter(stream / 26 - 1) + text;
}

AxisTimes::AxisTimes(const ChartView& view) {
  if (view.Count() == 0) return;
  const auto [first, last] = std::minmax_element(view.stamps.begin(), view.stamps.end());
  const std::string day = DayText(*first), clock = ClockText(*first);
  const bool same_day = DayText(*last) == day;
  const bool same_year = DayText(*last).substr(0, 4) == day.substr(0, 4);
  const bool same_clock = std::all_of(view.stamps.begin(), view.stamps.end(),
                                      [&](auto stamp) { return ClockText(stamp) == clock; });
  if (same_day) {
    day_ = false;
  } else if (same_clock) {
    clock_ = false;
    year_ = true;
  } else {
    year_ = !same_year;
  }
}

std::string AxisTimes::Text(std::int64_t stamp) const {
  std::string text = day_ ? DayText(stamp).substr(year_ ? 0 : 5) : "";
  if (day_ && clock_) text += ' ';
  return clock_ ? text + ClockText(stamp) : text;
}

std::vector<double> NewestValues(const ChartView& view, const std::vector<double>& line) {
  std::vector<double> newest(std::max<std::size_t>(view.stream_views.size(), 1), kNaN);
  for (std::size_t i = 0; i < line.size(); ++i) {
    const auto stream = static_cast<std::size_t>(view.StreamOf(i));
    if (stream < newest.size() && std::isfinite(line[i])) newest[stream] = line[i];
  }
  return newest;
}

namespace {

void Widen(Range& range, const std::vector<double>& values) {
  for (const double value : values) {
    if (!std::isfinite(value)) continue;
    range.low = std::min(range.low, value);
    range.high = std::max(range.high, value);
  }
}

}  // namespace

Range AxisRange(const GraphView& graph) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  Range range{kInfinity, -kInfinity};
  Widen(range, graph.points);
  Range with_specification = range;
  for (const auto& line : LinesOf(graph)) {
    if (!line.specification) Widen(range, line.values);
    Widen(with_specification, line.values);
  }
  const double width = range.high - range.low;
  if (!(width > 0.0) || with_specification.high - with_specification.low <= 3.0 * width)
    range = with_specification;

  if (range.low > range.high) return {0.0, 1.0};
  // An axis whose length is no number shows nothing at all; what lies beyond this one is left out.
  constexpr double kFurthest = std::numeric_limits<double>::max() / 4.0;
  range = {std::clamp(range.low, -kFurthest, kFurthest),
           std::clamp(range.high, -kFurthest, kFurthest)};
  if (range.low == range.high) {
    if (graph.from_zero && range.low == 0.0) return {0.0, 1.0};
    const double margin = range.low == 0.0 ? 1.0 : std::abs(range.low) * 0.05;
    return {range.low - margin, range.high + margin};
  }
  return range;
}

}  // namespace orvspc::render
