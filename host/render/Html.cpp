// SPDX-License-Identifier: Apache-2.0
#include "host/render/Html.h"

#include <cmath>

#include "host/render/Numbers.h"
#include "host/render/Svg.h"

namespace orvspc::host {

namespace {

constexpr const char* kPageStyle =
    "body{font-family:Helvetica,Arial,'DejaVu Sans',sans-serif;color:#222;max-width:1040px;"
    "margin:24px auto;padding:0 16px;line-height:1.4}"
    "h1{font-size:22px;margin:0}h2{font-size:16px;margin:26px 0 6px}p{margin:4px 0}"
    ".sub{color:#555}svg{max-width:100%;height:auto}"
    "table{border-collapse:collapse;font-size:13px}"
    "th,td{border-bottom:1px solid #ddd;padding:3px 12px 3px 0;text-align:left;vertical-align:top}"
    "th{border-bottom:1px solid #888}td.n,th.n{text-align:right}"
    ".note{border-left:3px solid #c8a02a;padding:2px 10px;margin:4px 0;font-size:13px}"
    "section{margin:26px 0;break-inside:avoid}a{color:#1f4e79}"
    "@media print{body{margin:0;max-width:none}tr{break-inside:avoid}}";

class Page {
 public:
  explicit Page(const std::string& title) {
    out_ = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" +
           EscapeMarkup(title) +
           "</title>\n<meta name=\"viewport\" content=\"width=device-width\">\n<style>" +
           kPageStyle + "</style>\n</head>\n<body>\n<h1>" + EscapeMarkup(title) + "</h1>\n";
  }

  void Add(const std::string& markup) { out_ += markup; }
  void Paragraph(const std::string& style, const std::string& text) {
    if (!text.empty()) out_ += "<p class=\"" + style + "\">" + EscapeMarkup(text) + "</p>\n";
  }
  void Heading(const std::string& text) { out_ += "<h2>" + EscapeMarkup(text) + "</h2>\n"; }

  // A heading that starts with # is a number's.
  void Table(const std::vector<std::string>& headings,
             const std::vector<std::vector<std::string>>& rows) {
    out_ += "<table>\n<tr>";
    for (const auto& heading : headings) Cell("th", heading[0] == '#', heading);
    out_ += "</tr>\n";
    for (const auto& row : rows) {
      out_ += "<tr>";
      for (std::size_t c = 0; c < row.size(); ++c) Cell("td", headings[c][0] == '#', row[c]);
      out_ += "</tr>\n";
    }
    out_ += "</table>\n";
  }

  std::string Text() const { return out_ + "</body>\n</html>\n"; }

 private:
  void Cell(const std::string& tag, bool number, const std::string& text) {
    const std::string shown = tag == "th" && number ? text.substr(1) : text;
    out_ += "<" + tag + (number ? " class=\"n\">" : ">") + EscapeMarkup(shown) + "</" + tag + ">";
  }

  std::string out_;
};

void Estimates(Page& page, const ChartView& view) {
  std::vector<std::vector<std::string>> rows;
  const auto add = [&](const std::string& stream, const char* what, const EstimateView& estimate) {
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

std::string RenderHtml(const ChartView& view) {
  Page page(view.title);
  page.Paragraph("sub", view.subtitle);
  page.Add(RenderSvg(view, true));
  for (const auto& note : view.notes)
    page.Paragraph("note", (note.stream.empty() ? "" : note.stream + ": ") + note.text);
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

}  // namespace orvspc::host
