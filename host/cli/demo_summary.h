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

struct DemoSummary {
  IndexEntry entry;
  std::string command;  // that draws the same, without the program and the database: "states"
  std::string options;
};

// Draws process states and sampling compliance of the sample data into the folder: a picture, a
// page and figures each.
std::vector<DemoSummary> DrawSummaryDemo(const std::shared_ptr<EmbeddedDatabase>& database,
                                         const std::filesystem::path& folder);

}  // namespace orvspc::host
