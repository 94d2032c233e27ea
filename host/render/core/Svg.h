// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/core/Scene.h"

namespace orvspc::render {

// The scene as one SVG picture, without scripts or anything fetched from elsewhere. Texts are
// escaped. Of an embedded one the XML declaration is left out.
std::string WriteSvg(const Scene& scene);

// A coordinate: two decimals at most.
std::string Coordinate(double value);

}  // namespace orvspc::render
