// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/core/Text.h"
#include "host/render/pareto/ParetoView.h"

namespace orvspc::render {

// Bars drawn with characters, beside each its value, its share and the shares up to it. Bins of
// further levels stand indented below the bin of the first one.
std::string RenderParetoText(const ParetoView& view, const TextOptions& options = {});

}  // namespace orvspc::render
