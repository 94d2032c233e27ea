// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/render/core/Scene.h"
#include "host/render/core/Text.h"

// A chart as the renderers see it: plain values, no library object behind them, so that a renderer
// can be fed by hand. Vectors "one a point" are as long as ChartView::stamps, or empty. Texts are
// as PlainText leaves them: the terminal's renderer writes them as they are.
namespace orvspc::render {

struct Rule {
  std::int32_t number = 0;
  std::string text;  // empty: not known
};

// Why a point asks for attention. At least one of the two lists has an entry.
struct PointMark {
  std::size_t point = 0;                    // from 0
  std::vector<Rule> rules;                  // run rules, the most important first
  std::vector<std::string> specifications;  // "above USL", "outside LSL"
};

// Three lines of one value a point each; NaN where there is none, so a line may step or break.
struct LineSet {
  std::vector<double> upper, centre, lower;
  bool Empty() const { return upper.empty() && centre.empty() && lower.empty(); }
};

struct GraphView {
  std::string title;                // "X-bar: subgroup mean"
  std::string symbol;               // short, for axes and tables: "X-bar"
  std::string caption;              // what the limits rest on; empty if there is nothing to say
  std::vector<double> points;       // NaN: no value, the line breaks there
  std::vector<std::int32_t> sizes;  // pieces behind each point
  LineSet limits;                   // UCL, CL, LCL in force
  LineSet specification;            // USL, target, LSL
  std::vector<PointMark> marks;     // by point
  int decimals = 4;                 // of a limit's value
  bool from_zero = false;           // never negative: the axis does not go below 0
};

// One (part, process, test). Points of different streams are never joined by a line.
struct StreamView {
  std::string name;
  Estimate mean, sp, sw;
};

struct GroupView {
  std::size_t first = 0, last = 0;  // points, inclusive
  std::int32_t id = 0;
};

struct ChartView : View {
  std::vector<std::int64_t> stamps;   // seconds since 1970 UTC, one a point
  std::vector<std::int32_t> streams;  // index into stream_views, one a point; empty: all the same
  std::vector<std::int32_t> flags;    // 0 used, 1 disabled, 2 incomplete; empty: all used
  std::vector<GraphView> graphs;
  std::vector<StreamView> stream_views;
  std::vector<GroupView> groups;  // empty: no grouping; else the points of a group share a place

  std::size_t Count() const { return stamps.size(); }
  std::int32_t StreamOf(std::size_t point) const { return streams.empty() ? 0 : streams[point]; }
  bool Used(std::size_t point) const { return flags.empty() || flags[point] == 0; }
};

// embedded: for use inside a page, without title lines and notes.
Scene ChartScene(const ChartView& view, bool embedded = false);
inline std::string RenderChartSvg(const ChartView& view, bool embedded = false) {
  return WriteSvg(ChartScene(view, embedded));
}
// The picture, the estimates with where they come from, the marked points with the rules' texts,
// the notes.
std::string RenderChartHtml(const ChartView& view);
// The chart drawn with characters, the limits' values beside it, below it the marked points with
// the rules' texts, the estimates and the notes.
std::string RenderChartText(const ChartView& view, const TextOptions& options = {});

}  // namespace orvspc::render
