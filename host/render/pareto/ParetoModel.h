// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/render/pareto/ParetoReading.h"
#include "host/render/pareto/ParetoView.h"

namespace orvspc::render {

// names: of what the selection names, for the title.
ParetoView MakeParetoView(const ParetoDocument& document, const Names& names);

}  // namespace orvspc::render
