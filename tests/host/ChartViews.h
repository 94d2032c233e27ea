// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstddef>

#include "host/render/chart/Chart.h"

// Charts made by hand for the renderers' tests.
namespace orvspc::host {

using namespace render;

// count hourly points around 10 with limits 7 and 13; every 10th point breaks rule 1.
inline ChartView SimpleView(std::size_t count) {
  ChartView view;
  view.title = "Ring & <Bolt>";
  view.subtitle = "made by hand";
  view.stream_views.resize(1);
  view.stream_views[0].name = "Ring / Press / Diameter";
  GraphView graph;
  graph.title = "X-bar: subgroup means";
  graph.symbol = "X-bar";
  graph.caption = "n = 5";
  graph.decimals = 2;
  for (std::size_t i = 0; i < count; ++i) {
    view.stamps.push_back(1709280000 + 3600 * static_cast<std::int64_t>(i));
    const bool marked = i % 10 == 9;
    graph.points.push_back(marked ? 13.5 : 10.0 + std::sin(static_cast<double>(i)));
    graph.sizes.push_back(5);
    graph.limits.upper.push_back(13.0);
    graph.limits.centre.push_back(10.0);
    graph.limits.lower.push_back(7.0);
    if (marked) {
      PointMark mark;
      mark.point = i;
      mark.rules.push_back({1, "1 point beyond a control limit"});
      graph.marks.push_back(mark);
    }
  }
  view.graphs.push_back(graph);
  return view;
}

}  // namespace orvspc::host
