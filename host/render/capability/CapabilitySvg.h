// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/capability/CapabilityView.h"

// A capability analysis as one picture in the manner of Svg.h: the histogram with fitted curve,
// limits, target and the marks of mean and sigma, and the table of indices beside it.
namespace orvspc::render {

// embedded: for use inside a page, without the XML declaration, the title line and the notes.
std::string RenderCapabilitySvg(const CapabilityView& view, bool embedded = false);

}  // namespace orvspc::render
