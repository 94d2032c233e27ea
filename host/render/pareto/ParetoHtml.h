// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/pareto/ParetoView.h"

namespace orvspc::render {

// The picture and every bin as one self-contained page.
std::string RenderParetoHtml(const ParetoView& view);

}  // namespace orvspc::render
