// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "host/cli/Command.h"
#include "host/render/chart/ChartModel.h"

namespace orvspc::host {

using namespace render;

// A chart of variables takes variable tests, one of counts those of defects and of defectives.
void SelectTestsOf(const CCProcessing& processing, DataSelect& select);

// Draws and reads everything but the acceptance limits; Refusal with the engine's reason when it
// failed.
ChartDocument RunChart(const std::shared_ptr<EmbeddedDatabase>& database,
                       const std::shared_ptr<DataSelect>& select,
                       const std::shared_ptr<CCProcessing>& processing);

// The acceptance limits of the document that this thread's latest RunChart gave; none for charts of
// variables and without data. Apart, since they are searched for and JSON alone shows them.
std::optional<AcceptanceLimits> ReadAcceptance(const ChartDocument& document);

// The document in one of the formats of the chart command; colour: in a terminal's text.
std::string ChartText(const ChartDocument& document, const Names& names, const std::string& format,
                      const Console& console, bool colour);

}  // namespace orvspc::host
