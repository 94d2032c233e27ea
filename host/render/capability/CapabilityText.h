// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/capability/CapabilityView.h"
#include "host/render/core/Text.h"

namespace orvspc::render {

// The analysis for a terminal: the histogram as bars, one line a bin, with the fitted curve as a
// sign in each line and limits, target and mean at the bins that hold them; then the tables.
std::string RenderCapabilityText(const CapabilityView& view, const TextOptions& options = {});

}  // namespace orvspc::render
