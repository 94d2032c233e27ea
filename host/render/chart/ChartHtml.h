// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/render/chart/ChartView.h"

// One self-contained page: no scripts, nothing fetched from elsewhere, fit for print.
namespace orvspc::render {

// The picture, the estimates with where they come from, the marked points with the rules' texts,
// the notes.
std::string RenderChartHtml(const ChartView& view);

// A page that shows and links other pages. picture: an SVG as RenderChartSvg(view, true) gives it.
struct IndexEntry {
  std::string title, text, picture;
  std::vector<std::pair<std::string, std::string>> links;  // text, address
};
std::string RenderIndex(const std::string& title, const std::string& text,
                        const std::vector<IndexEntry>& entries);

}  // namespace orvspc::render
