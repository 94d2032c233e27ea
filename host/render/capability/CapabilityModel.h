// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/capability/CapabilityReading.h"
#include "host/render/capability/CapabilityView.h"

namespace orvspc::render {

// "Ring / 2 processes / Diameter": what the selection names; empty when it names nothing.
std::string SelectedText(const DataSelect* select, const Names& names);

CapabilityView MakeCapabilityView(const CapabilityDocument& document, const Names& names);

}  // namespace orvspc::render
