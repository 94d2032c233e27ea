// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

#include "host/render/chart/ChartView.h"

namespace orvspc::render {

struct TextOptions {
  std::size_t columns = 100;  // at least 60 are used
  bool colour = false;        // ANSI sequences; the text reads the same without
};

// The chart drawn with characters, the limits' values beside it, below it the marked points with
// the rules' texts, the estimates and the notes.
std::string RenderChartText(const ChartView& view, const TextOptions& options = {});

}  // namespace orvspc::render
