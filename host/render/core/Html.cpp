// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Html.h"

#include <fmt/format.h>

#include "host/render/core/Assets.h"
#include "host/render/core/PlainText.h"
#include "host/render/core/Scene.h"

namespace orvspc::render {

namespace {

// The class of a column: n for numbers, w for what is never broken.
std::string ClassOf(const std::string& heading) {
  if (heading.starts_with('#')) return "n";
  return heading.starts_with('@') ? "w" : "";
}

std::string Cell(const std::string& tag, const std::string& style, const std::string& text) {
  return fmt::format("<{}{}>{}</{}>", tag, style.empty() ? "" : " class=\"" + style + "\"",
                     EscapeMarkup(text), tag);
}

}  // namespace

Page::Page(const View& view, const Scene& picture) : title_(view.title) {
  Paragraph("sub", view.subtitle);
  Add(WriteSvg(picture));
  for (const auto& note : view.notes) Paragraph("note", note.Sentence());
}

void Page::Paragraph(const std::string& style, const std::string& text) {
  if (!text.empty()) body_ += Cell("p", style, text) + "\n";
}

void Page::Heading(const std::string& text) { body_ += Cell("h2", "", text) + "\n"; }

void Page::Write(const Table& table, std::size_t more) {
  if (table.rows.empty()) return;
  Write(table.title, table.headings, table.rows.size(),
        [&](std::size_t row) { return table.rows[row]; });
  if (more != 0) Paragraph("sub", fmt::format("and {} more", more));
}

void Page::Write(const std::string& title, const std::vector<std::string>& headings,
                 std::size_t rows,
                 const std::function<std::vector<std::string>(std::size_t)>& row) {
  Heading(title);
  body_ += "<table>\n<tr>";
  for (const auto& heading : headings) {
    const std::string style = ClassOf(heading);
    body_ += Cell("th", style, style.empty() ? heading : heading.substr(1));
  }
  body_ += "</tr>\n";
  for (std::size_t r = 0; r < rows; ++r) {
    body_ += "<tr>";
    const auto cells = row(r);
    for (std::size_t c = 0; c < cells.size(); ++c)
      body_ += Cell("td", ClassOf(headings[c]), cells[c]);
    body_ += "</tr>\n";
  }
  body_ += "</table>\n";
}

std::string Page::Text() const {
  return fmt::format(fmt::runtime(Asset("page.html")), fmt::arg("title", EscapeMarkup(title_)),
                     fmt::arg("style", StyleSheet("page.css")), fmt::arg("body", body_));
}

std::string RenderIndex(const std::string& title, const std::string& text,
                        const std::vector<IndexEntry>& entries) {
  Page page(title);
  page.Paragraph("sub", text);
  for (const auto& entry : entries) {
    page.Add("<section>\n");
    page.Heading(entry.title);
    page.Paragraph("sub", entry.text);
    page.Add(entry.picture + "<p>");
    for (const auto& [name, address] : entry.links)
      page.Add(
          fmt::format(R"(<a href="{}">{}</a> &nbsp; )", EscapeMarkup(address), EscapeMarkup(name)));
    page.Add("</p>\n</section>\n");
  }
  return page.Text();
}

}  // namespace orvspc::render
