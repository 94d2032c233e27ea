// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/capability/CapabilityView.h"

namespace orvspc::render {

// One self-contained page in the manner of Html.h: the picture, the notes, the tables that do not
// stand beside it, and the bins.
std::string RenderCapabilityHtml(const CapabilityView& view);

}  // namespace orvspc::render
