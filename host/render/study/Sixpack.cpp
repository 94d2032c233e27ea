// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/Sixpack.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

constexpr double kHeight = 190.0;
constexpr std::size_t kNewest = 25;

Plot Empty(const std::string& title) {
  Plot plot;
  plot.title = title;
  plot.height = kHeight;
  plot.x.range = Range{0.0, 1.0};
  plot.y.range = Range{0.0, 1.0};
  plot.texts.push_back({0.5, 0.5, "none", "s", Anchor::Middle});
  return plot;
}

Plot GraphOf(const ChartView& chart, const GraphView& graph) {
  Plot plot;
  plot.title = graph.title;
  plot.height = kHeight;
  plot.x.title = "subgroup";
  const auto count = graph.points.size();
  std::vector<double> x(count);
  for (std::size_t i = 0; i < count; ++i) x[i] = static_cast<double>(i + 1);
  const auto add = [&](const char* style, const char* name, const std::vector<double>& line) {
    if (line.size() != count || count == 0) return;
    plot.lines.push_back({style, x, line, true,
                          std::isnan(line.back())
                              ? std::string()
                              : std::string(name) + " " + Fixed(line.back(), graph.decimals)});
  };
  add("lim", "UCL", graph.limits.upper);
  add("cl", "CL", graph.limits.centre);
  add("lim", "LCL", graph.limits.lower);
  // Points of different streams and phases are never joined.
  for (std::size_t i = 0; i < count; ++i) {
    const bool begins = i == 0 || chart.StreamOf(i) != chart.StreamOf(i - 1) ||
                        chart.PhaseOf(i) != chart.PhaseOf(i - 1);
    if (begins) plot.lines.push_back({"d"});
    plot.lines.back().x.push_back(x[i]);
    plot.lines.back().y.push_back(graph.points[i]);
  }
  PlotSymbols used, left, marked;
  used.look.size = left.look.size = count > 60 ? 2.0 : 3.0;
  left.look.style = "pu";
  marked.look.style = "m";
  for (std::size_t i = 0; i < count; ++i) {
    auto& to = chart.Used(i) ? used : left;
    to.x.push_back(x[i]);
    to.y.push_back(graph.points[i]);
  }
  for (const auto& mark : graph.marks) {
    marked.x.push_back(x[mark.point]);
    marked.y.push_back(graph.points[mark.point]);
    marked.labels.push_back(mark.rules.empty() ? std::string()
                                               : std::to_string(mark.rules.front().number));
  }
  for (auto* const symbols : {&used, &left, &marked})
    if (!symbols->x.empty()) plot.symbols.push_back(std::move(*symbols));
  return plot;
}

// A subgroup with its pieces.
struct PiecesView {
  std::size_t number = 0;  // in its stream, from 1
  std::int32_t id = 0, phase = 0;
  bool is_used = true, begins_stretch = false;
  std::span<const double> values;
  double mean = platform::kNaN;
};

// The newest ones of the last stream.
std::vector<PiecesView> NewestPieces(const studies::StudyData& data) {
  std::vector<PiecesView> subgroups;
  if (data.Empty()) return subgroups;
  for (const auto& stretch : data.streams.back().stretches) {
    for (std::size_t i = 0; i < stretch.points.size(); ++i) {
      const auto values = stretch.PiecesOf(i);
      const double sum = std::accumulate(values.begin(), values.end(), 0.0);
      subgroups.push_back({subgroups.size() + 1,
                           i < stretch.subgroups.size() ? stretch.subgroups[i] : 0,
                           stretch.phase.id, stretch.IsUsed(i), i == 0, values,
                           sum / static_cast<double>(values.size())});
    }
  }
  if (subgroups.size() > kNewest) {
    subgroups.erase(subgroups.begin(), subgroups.end() - static_cast<std::ptrdiff_t>(kNewest));
  }
  return subgroups;
}

// Each piece over the number of its subgroup.
Plot PiecesOf(const studies::StudyData& data) {
  const std::string title = "Pieces of the newest subgroups";
  const auto subgroups = NewestPieces(data);
  if (subgroups.empty()) return Empty(title);
  Plot plot;
  plot.title = title;
  if (data.streams.size() > 1)
    plot.caption = "only the last of " + std::to_string(data.streams.size()) + " streams";
  plot.height = kHeight;
  plot.x.title = "subgroup";
  PlotSymbols used, left;
  used.look.size = left.look.size = 2.4;
  left.look.style = "pu";
  for (const auto& subgroup : subgroups) {
    const auto at = static_cast<double>(subgroup.number);
    auto& to = subgroup.is_used ? used : left;
    to.x.insert(to.x.end(), subgroup.values.size(), at);
    to.y.insert(to.y.end(), subgroup.values.begin(), subgroup.values.end());
    // Means of different stretches are never joined.
    if (plot.lines.empty() || subgroup.begins_stretch) plot.lines.push_back({"d"});
    plot.lines.back().x.push_back(at);
    plot.lines.back().y.push_back(subgroup.mean);
  }
  for (auto* const symbols : {&used, &left})
    if (!symbols->x.empty()) plot.symbols.push_back(std::move(*symbols));
  return plot;
}

Plot HistogramOf(const CapabilityView& view, const CapabilityRead& read) {
  Plot plot;
  plot.title = "Histogram";
  plot.caption = "solid long-term, dotted short-term";
  plot.height = kHeight;
  plot.x.title = view.axis;
  plot.x.range = ValueRange(view);
  double most = 1.0;
  for (const auto& bar : view.bars) {
    plot.bars.push_back(
        {bar.low, bar.high, 0.0, bar.count, "bar",
         Significant(bar.low, 7) + " to " + Significant(bar.high, 7) + ": " + Fixed(bar.count, 0)});
    most = std::max(most, bar.count);
  }
  PlotLine fit{"fit"}, within{"hint"};
  const double sigma = read.Figure("Summary.ShortTermSD"), mean = view.mean;
  const double width = view.bars.empty() ? 0.0 : view.bars[0].high - view.bars[0].low;
  const double area = read.Figure("Summary.PieceCount") * width;
  for (const auto& [x, y] : view.curve) {
    fit.x.push_back(x);
    fit.y.push_back(y);
    most = std::max(most, std::isfinite(y) ? y : 0.0);
    if (!(sigma > 0.0)) continue;
    const double z = (x - mean) / sigma;
    within.x.push_back(x);
    within.y.push_back(area * std::exp(-0.5 * z * z) / (sigma * std::sqrt(2.0 * std::numbers::pi)));
    most = std::max(most, within.y.back());
  }
  plot.y.range = Range{0.0, 1.12 * most};
  plot.lines.push_back(std::move(fit));
  plot.lines.push_back(std::move(within));
  for (const auto& limit : view.limits) plot.borders.push_back({limit.at, "", "spec"});
  return plot;
}

Plot ProbabilityOf(const LawsDocument& document, const CapabilityView& view) {
  if (document.laws && !document.laws->laws.empty() && !document.laws->plot.x.empty()) {
    const auto& law = document.laws->laws[document.laws->chosen];
    auto plot = ProbabilityPlotOf(law, document.laws->plot, view.limits);
    plot.height = kHeight;
    plot.title = std::string("Probability, ") + studies::WordOf(law.law);
    plot.caption = "A\xC2\xB2 " + Significant(law.ad, 4) + ", P " + PText(law);
    return plot;
  }
  return Empty("Probability plot");
}

// The specification limits beside mean and three sigmas on either side.
Plot CapabilityOf(const CapabilityView& view, const CapabilityRead& read) {
  Plot plot;
  plot.title = "Limits and 6 sigmas";
  plot.height = kHeight;
  plot.x.title = view.axis;
  plot.y.range = Range{0.3, 3.9};
  plot.y.ticks = {{3.0, "limits"}, {2.0, "short"}, {1.0, "long"}};
  const double lsl = read.Figure("SpecLim.Lsl"), usl = read.Figure("SpecLim.Usl");
  double low = INFINITY, high = -INFINITY;
  const auto bar = [&](double at, double left, double right, const char* style) {
    for (const double end : {left, right}) {
      low = std::min(low, end);
      high = std::max(high, end);
    }
    plot.bars.push_back({left, right, at - 0.16, at + 0.16, style,
                         Significant(left, 6) + " to " + Significant(right, 6)});
  };
  for (const double limit : {lsl, usl}) {
    if (!std::isfinite(limit)) continue;
    low = std::min(low, limit);
    high = std::max(high, limit);
    plot.borders.push_back({limit, "", "spec"});
  }
  if (std::isfinite(lsl) && std::isfinite(usl)) bar(3.0, lsl, usl, "bar2");
  const double short_term = read.Figure("Summary.ShortTermSD"), long_term = view.sigma;
  if (short_term > 0.0) bar(2.0, view.mean - 3.0 * short_term, view.mean + 3.0 * short_term, "bar");
  if (long_term > 0.0) bar(1.0, view.mean - 3.0 * long_term, view.mean + 3.0 * long_term, "bar");
  if (!(low < high)) return Empty(plot.title);
  const double more = 0.06 * (high - low), middle = 0.5 * (low + high);
  plot.x.range = Range{low - more, high + more};
  const auto figures = [&](double at, std::initializer_list<std::pair<const char*, double>> names) {
    std::vector<std::string> pieces;
    for (const auto& [name, value] : names)
      if (std::isfinite(value)) pieces.push_back(std::string(name) + " " + Fixed(value, 2));
    plot.texts.push_back({middle, at + 0.3, Joined(pieces, ", "), "", Anchor::Middle});
  };
  figures(2.0, {{"Cp", read.Figure("CPs.Cp")}, {"Cpk", read.Figure("CPs.Cpk")}});
  figures(1.0, {{"Pp", read.Figure("PPs.Pp")}, {"Ppk", read.Figure("PPs.Ppk")}});
  const double above = read.Figure("SpecResults.ExpAboveUSL"),
               below = read.Figure("SpecResults.ExpBelowLSL");
  const double ppm =
      1e6 * ((std::isfinite(usl) ? above : 0.0) + (std::isfinite(lsl) ? below : 0.0));
  plot.caption = "normal law";
  if (std::isfinite(ppm) && (std::isfinite(usl) || std::isfinite(lsl)))
    plot.caption +=
        ": expected beyond " + (ppm < 1000.0 ? Significant(ppm, 4) : Fixed(ppm, 0)) + " ppm";
  return plot;
}

}  // namespace

std::string SixpackJson(const SixpackDocument& document) {
  return LawsJson(document.capability, [&](JsonWriter& json) {
    json.Object("Sixpack", [&] {
      std::vector<std::int32_t> subgroups;
      for (const auto& row : document.chart.chart.subgroups.rows) subgroups.push_back(row.sgrp);
      json.Member("Subgroups", subgroups);
      WriteGraphs(json, document.chart);
      json.Members("Streams", document.pieces.streams.size());
      json.Objects("Pieces", NewestPieces(document.pieces), [&](const PiecesView& subgroup) {
        json.Members("Number", subgroup.number, "ID", subgroup.id, "Phase", subgroup.phase, "Used",
                     subgroup.is_used, "Mean", subgroup.mean, "Values", subgroup.values);
      });
    });
  });
}

StudyView MakeSixpackView(const SixpackDocument& document, const Names& names) {
  const auto capability = MakeLawsView(document.capability, names);
  const auto chart = MakeChartView(document.chart, names);
  const auto& read = document.capability.capability.capability;
  StudyView view;
  view.title = capability.title;
  view.subtitle = capability.subtitle;
  view.notes = capability.notes;
  view.tables = capability.tables;
  view.empty = capability.Empty();
  if (view.empty) return view;
  view.columns = 2;
  const auto graph = [&](std::size_t which) {
    return which < chart.graphs.size() ? GraphOf(chart, chart.graphs[which])
                                       : Empty("Graph " + std::to_string(which + 1));
  };
  view.plots = {graph(0),
                HistogramOf(capability, read),
                graph(1),
                ProbabilityOf(document.capability, capability),
                PiecesOf(document.pieces),
                CapabilityOf(capability, read)};
  return view;
}

}  // namespace orvspc::render
