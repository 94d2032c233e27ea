// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/chart/ChartView.h"

// A chart as one SVG picture, 1000 units wide, without scripts or anything fetched from elsewhere.
// It reads the same in black and white: what differs in colour differs in shape or dashes too.
namespace orvspc::render {

// embedded: for use inside a page, without the XML declaration, the title line and the notes that
// the page has itself.
std::string RenderChartSvg(const ChartView& view, bool embedded = false);

}  // namespace orvspc::render
