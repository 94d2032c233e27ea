// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/chart/ChartJson.h"
#include "host/render/core/Text.h"

namespace orvspc::render {

// A table of subgroups for people: identifiers by name, values in the order of their pieces.
std::string DataText(const SubgroupsRead& data, const Names& names,
                     const TextOptions& options = {});

// One setting a line.
std::string DataSelectText(const DataSelect& select, const TextOptions& options = {});
std::string ProcessingText(const CCProcessing& processing, const TextOptions& options = {});

}  // namespace orvspc::render
