// SPDX-License-Identifier: Apache-2.0
#include "host/render/SvgLayout.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace orvspc::host {

Layout MakeLayout(const ChartView& view, double header, std::size_t footer_lines) {
  static constexpr double kHeights[3][3] = {{360, 0, 0}, {270, 170, 0}, {240, 140, 140}};
  constexpr double kPanelHead = 30.0;
  constexpr double kPanelGap = 14.0;

  Layout layout;
  const auto places = Places(view);
  for (const auto place : places) layout.places = std::max(layout.places, place + 1);

  const std::size_t count = std::clamp<std::size_t>(view.graphs.size(), 1, 3);
  double y = header;
  for (std::size_t g = 0; g < view.graphs.size() && g < 3; ++g) {
    Panel panel;
    panel.top = y + kPanelHead;
    panel.bottom = panel.top + kHeights[count - 1][g];
    panel.range = AxisRange(view.graphs[g]);
    // Room for the rule numbers above the highest and below the lowest point.
    const double margin = (panel.range.high - panel.range.low) * 24.0 / (panel.bottom - panel.top);
    // A chart of something that is never negative keeps zero as its floor.
    const bool from_zero = panel.range.low == 0.0;
    panel.range = {from_zero ? 0.0 : panel.range.low - margin, panel.range.high + margin};
    layout.panels.push_back(panel);
    y = panel.bottom + kPanelGap;
  }
  layout.axis = layout.panels.empty() ? header : layout.panels.back().bottom;
  layout.footer = layout.axis + 58.0;
  layout.height = layout.footer + 15.0 * static_cast<double>(footer_lines) + 2.0;
  return layout;
}

void PushApart(std::vector<Label>& labels, double gap, double low, double high) {
  std::stable_sort(labels.begin(), labels.end(),
                   [](const Label& a, const Label& b) { return a.wanted < b.wanted; });
  double next = low;
  for (auto& label : labels) {
    label.at = std::max(label.wanted, next);
    next = label.at + gap;
  }
  double limit = high;
  for (auto label = labels.rbegin(); label != labels.rend(); ++label) {
    label->at = std::min(label->at, limit);
    limit = label->at - gap;
  }
}

std::size_t LabelStep(std::size_t places, double place_width, double label_width) {
  for (std::size_t magnitude = 1; magnitude <= places; magnitude *= 10)
    for (const std::size_t factor : {1u, 2u, 5u})
      if (static_cast<double>(factor * magnitude) * place_width >= label_width)
        return factor * magnitude;
  return std::max<std::size_t>(places, 1);
}

Polyline Thinned(const Polyline& line) {
  if (line.size() < 4 * static_cast<std::size_t>(kPlotRight - kPlotLeft)) return line;
  Polyline thin;
  for (std::size_t i = 0; i < line.size();) {
    const double column = std::floor(line[i].first * 2.0);
    std::size_t end = i, lowest = i, highest = i;
    for (; end < line.size() && std::floor(line[end].first * 2.0) == column; ++end) {
      if (line[end].second < line[lowest].second) lowest = end;
      if (line[end].second > line[highest].second) highest = end;
    }
    std::vector<std::size_t> kept{i, std::min(lowest, highest), std::max(lowest, highest), end - 1};
    kept.erase(std::unique(kept.begin(), kept.end()), kept.end());
    for (const auto k : kept) thin.push_back(line[k]);
    i = end;
  }
  return thin;
}

std::vector<Polyline> StepLines(const ChartView& view, const std::vector<std::size_t>& places,
                                const std::vector<double>& values, const Layout& layout,
                                const Panel& panel) {
  struct Open {
    Polyline line;
    double value = 0.0;
    std::size_t place = 0;
  };
  std::vector<Polyline> done;
  std::map<std::int32_t, Open> open;
  const double half = layout.PlaceWidth() / 2.0;
  for (std::size_t i = 0; i < values.size() && i < places.size(); ++i) {
    Open& run = open[view.StreamOf(i)];
    const double value = values[i];
    const bool follows = !run.line.empty() && places[i] == run.place + 1;
    if (!std::isfinite(value) || !follows) {
      if (run.line.size() > 1) done.push_back(std::move(run.line));
      run.line.clear();
      if (!std::isfinite(value)) continue;
    }
    const double x = layout.X(places[i]);
    const double y = panel.Y(value);
    if (run.line.empty()) {
      run.line = {{x - half, y}, {x + half, y}};
    } else if (value == run.value) {
      run.line.back().first = x + half;
    } else {
      run.line.emplace_back(x - half, y);
      run.line.emplace_back(x + half, y);
    }
    run.value = value;
    run.place = places[i];
  }
  for (auto& [stream, run] : open)
    if (run.line.size() > 1) done.push_back(std::move(run.line));
  return done;
}

}  // namespace orvspc::host
