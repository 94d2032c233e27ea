// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/chart/ChartView.h"
#include "host/render/core/Text.h"

namespace orvspc::render {

// The chart drawn with characters, the limits' values beside it, below it the marked points with
// the rules' texts, the estimates and the notes.
std::string RenderChartText(const ChartView& view, const TextOptions& options = {});

}  // namespace orvspc::render
