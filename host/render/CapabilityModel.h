// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/render/CapabilityReading.h"
#include "host/render/CapabilityView.h"

namespace orvspc::host {

CapabilityView MakeCapabilityView(const CapabilityDocument& document, const Names& names);

}  // namespace orvspc::host
