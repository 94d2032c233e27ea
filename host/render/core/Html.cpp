// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Html.h"

#include "host/render/core/Markup.h"

namespace orvspc::render {

namespace {

constexpr const char* kPageStyle =
    "body{font-family:Helvetica,Arial,'DejaVu Sans',sans-serif;color:#222;max-width:1040px;"
    "margin:24px auto;padding:0 16px;line-height:1.4}"
    "h1{font-size:22px;margin:0}h2{font-size:16px;margin:26px 0 6px}p{margin:4px 0}"
    ".sub{color:#555}svg{max-width:100%;height:auto}"
    "table{border-collapse:collapse;font-size:13px}"
    "th,td{border-bottom:1px solid #ddd;padding:3px 12px 3px 0;text-align:left;vertical-align:top}"
    "th{border-bottom:1px solid #888}td.n,th.n{text-align:right}td.w{white-space:nowrap}"
    ".note{border-left:3px solid #c8a02a;padding:2px 10px;margin:4px 0;font-size:13px}"
    "section{margin:26px 0;break-inside:avoid}a{color:#1f4e79}"
    "@media print{body{margin:0;max-width:none}tr{break-inside:avoid}}";

// The class of a column: n for numbers, w for what is never broken.
std::string ClassOf(const std::string& heading) {
  if (heading.starts_with('#')) return "n";
  return heading.starts_with('@') ? "w" : "";
}

}  // namespace

Page::Page(const std::string& title) {
  out_ = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" +
         EscapeMarkup(title) +
         "</title>\n<meta name=\"viewport\" content=\"width=device-width\">\n<style>" + kPageStyle +
         "</style>\n</head>\n<body>\n<h1>" + EscapeMarkup(title) + "</h1>\n";
}

void Page::Paragraph(const std::string& style, const std::string& text) {
  if (!text.empty()) out_ += "<p class=\"" + style + "\">" + EscapeMarkup(text) + "</p>\n";
}

void Page::Heading(const std::string& text) { out_ += "<h2>" + EscapeMarkup(text) + "</h2>\n"; }

void Page::Table(const std::vector<std::string>& headings,
                 const std::vector<std::vector<std::string>>& rows) {
  out_ += "<table>\n<tr>";
  for (const auto& heading : headings) {
    const std::string style = ClassOf(heading);
    Cell("th", style, style.empty() ? heading : heading.substr(1));
  }
  out_ += "</tr>\n";
  for (const auto& row : rows) {
    out_ += "<tr>";
    for (std::size_t c = 0; c < row.size(); ++c) Cell("td", ClassOf(headings[c]), row[c]);
    out_ += "</tr>\n";
  }
  out_ += "</table>\n";
}

void Page::Cell(const std::string& tag, const std::string& style, const std::string& text) {
  out_ += "<" + tag + (style.empty() ? ">" : " class=\"" + style + "\">") + EscapeMarkup(text) +
          "</" + tag + ">";
}

}  // namespace orvspc::render
