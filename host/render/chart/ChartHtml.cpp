// SPDX-License-Identifier: Apache-2.0
#include "host/render/chart/ChartHtml.h"

#include <cmath>

#include "host/render/chart/ChartSvg.h"
#include "host/render/core/Html.h"
#include "host/render/core/Markup.h"
#include "host/render/core/Numbers.h"

namespace orvspc::render {

namespace {

void Estimates(Page& page, const ChartView& view) {
  std::vector<std::vector<std::string>> rows;
  const auto add = [&](const std::string& stream, const char* what, const Estimate& estimate) {
    if (estimate.name.empty() && !std::isfinite(estimate.value)) return;
    rows.push_back({stream, what, Significant(estimate.value, 8), estimate.name,
                    std::isfinite(estimate.constant) && estimate.constant != 0.0
                        ? Significant(estimate.constant, 8)
                        : "",
                    estimate.used > 0 ? std::to_string(estimate.used) : ""});
  };
  for (const auto& stream : view.stream_views) {
    add(stream.name, "mean", stream.mean);
    add(stream.name, "sigma of one piece (SP)", stream.sp);
    add(stream.name, "sigma within (SW)", stream.sw);
  }
  if (rows.empty()) return;
  page.Heading("Estimates");
  page.Table({"stream", "estimate", "#value", "estimator", "#constant", "#used"}, rows);
}

void Marks(Page& page, const ChartView& view) {
  page.Heading("Marked points");
  std::vector<std::vector<std::string>> rows;
  for (const auto& graph : view.graphs)
    for (const auto& mark : graph.marks)
      rows.push_back(
          {graph.symbol, std::to_string(mark.point + 1), IsoTime(view.stamps[mark.point]),
           view.stream_views.empty()
               ? ""
               : view.stream_views[static_cast<std::size_t>(view.StreamOf(mark.point))].name,
           Fixed(graph.points[mark.point], graph.decimals), RuleNumbers(mark), MarkText(mark)});
  if (rows.empty()) {
    page.Paragraph("sub", "No point breaks a run rule or a specification limit.");
    return;
  }
  page.Table({"graph", "#point", "time (UTC)", "stream", "#value", "rule", "what it means"}, rows);
}

}  // namespace

std::string RenderChartHtml(const ChartView& view) {
  Page page(view.title);
  page.Paragraph("sub", view.subtitle);
  page.Add(RenderChartSvg(view, true));
  for (const auto& note : view.notes) page.Paragraph("note", note.Sentence());
  if (view.Count() == 0) return page.Text();
  Estimates(page, view);
  Marks(page, view);
  return page.Text();
}

std::string RenderIndex(const std::string& title, const std::string& text,
                        const std::vector<IndexEntry>& entries) {
  Page page(title);
  page.Paragraph("sub", text);
  for (const auto& entry : entries) {
    page.Add("<section>\n");
    page.Heading(entry.title);
    page.Paragraph("sub", entry.text);
    page.Add(entry.picture);
    page.Add("<p>");
    for (const auto& [name, address] : entry.links)
      page.Add("<a href=\"" + EscapeMarkup(address) + "\">" + EscapeMarkup(name) + "</a> &nbsp; ");
    page.Add("</p>\n</section>\n");
  }
  return page.Text();
}

}  // namespace orvspc::render
