// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "engine/Embedded.h"
#include "host/render/core/Html.h"
#include "host/render/chart/ChartView.h"

namespace orvspc::host {

using namespace render;

struct DemoCapability {
  IndexEntry entry;
  std::string options;  // for the command line that draws the same: "--part Ring --fit normal"
};

// Draws the capability of the sample data into the folder: a picture, a page and figures each.
std::vector<DemoCapability> DrawCapabilityDemo(const std::shared_ptr<EmbeddedDatabase>& database,
                                               const std::filesystem::path& folder);

}  // namespace orvspc::host
