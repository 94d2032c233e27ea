// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/render/chart/ChartJson.h"
#include "host/render/chart/ChartView.h"

namespace orvspc::render {

// What the renderers draw of a chart: the limits in force with the marks against them, titled by
// what was asked for.
ChartView MakeChartView(const ChartDocument& document, const Names& names);

// "the upper specification limit (USL)" and so on for every bit that is set.
std::vector<std::string> SpecificationTexts(std::int32_t flags);

}  // namespace orvspc::render
