// SPDX-License-Identifier: Apache-2.0
#include <cmath>

#include "host/render/chart/ChartView.h"
#include "host/render/core/Html.h"
#include "host/render/core/Numbers.h"

namespace orvspc::render {

namespace {

void WriteEstimates(Page& page, const ChartView& view) {
  Table table{"Estimates", {"stream", "estimate", "#value", "estimator", "#constant", "#used"}};
  const auto add = [&](const std::string& stream, const char* what, const Estimate& estimate) {
    if (estimate.name.empty() && !std::isfinite(estimate.value)) return;
    const bool constant = std::isfinite(estimate.constant) && estimate.constant != 0.0;
    table.rows.push_back({stream, what, Significant(estimate.value, 8), estimate.name,
                          constant ? Significant(estimate.constant, 8) : "",
                          estimate.used > 0 ? std::to_string(estimate.used) : ""});
  };
  for (const auto& stream : view.stream_views) {
    add(stream.name, "mean", stream.mean);
    add(stream.name, "sigma of one piece (SP)", stream.sp);
    add(stream.name, "sigma within (SW)", stream.sw);
  }
  page.Write(table);
}

void WriteMarks(Page& page, const ChartView& view) {
  Table table{"Marked points",
              {"graph", "#point", "time (UTC)", "stream", "#value", "rule", "what it means"}};
  for (const auto& graph : view.graphs)
    for (const auto& mark : graph.marks)
      table.rows.push_back(
          {graph.symbol, std::to_string(mark.point + 1), IsoTime(view.stamps[mark.point]),
           view.stream_views.empty()
               ? ""
               : view.stream_views[static_cast<std::size_t>(view.StreamOf(mark.point))].name,
           Fixed(graph.points[mark.point], graph.decimals), RuleNumbers(mark), MarkText(mark)});
  page.Write(table);
  if (!table.rows.empty()) return;
  page.Heading(table.title);
  page.Paragraph("sub", "No point breaks a run rule or a specification limit.");
}

}  // namespace

std::string RenderChartHtml(const ChartView& view) {
  Page page(view, ChartScene(view, true));
  if (view.Count() == 0) return page.Text();
  WriteEstimates(page, view);
  WriteMarks(page, view);
  return page.Text();
}

}  // namespace orvspc::render
