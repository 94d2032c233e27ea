// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/render/ParetoReading.h"
#include "host/render/ParetoView.h"

namespace orvspc::host {

// names: of what the selection names, for the title.
ParetoView MakeParetoView(const ParetoDocument& document, const Names& names);

}  // namespace orvspc::host
