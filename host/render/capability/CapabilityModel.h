// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/capability/CapabilityReading.h"
#include "host/render/capability/CapabilityView.h"

namespace orvspc::render {

CapabilityView MakeCapabilityView(const CapabilityDocument& document, const Names& names);

}  // namespace orvspc::render
