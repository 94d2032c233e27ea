// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/pareto/ParetoView.h"

namespace orvspc::render {

// Bars, the cumulative line and the 80 percent mark as one SVG picture, 1000 units wide; with
// further levels the bars stand in front of a wide one for the bin of the first level. embedded:
// for use inside a page, without the XML declaration, the title line and the notes that the page
// has itself.
std::string RenderParetoSvg(const ParetoView& view, bool embedded = false);

}  // namespace orvspc::render
