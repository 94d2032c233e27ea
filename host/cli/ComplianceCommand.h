// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "host/cli/Command.h"
#include "host/render/compliance/ComplianceReading.h"

namespace orvspc::host {

using namespace render;

// Runs the analysis and reads everything; Refusal with the engine's reason when it failed.
ComplianceDocument RunCompliance(const std::shared_ptr<EmbeddedDatabase>& database,
                                 const std::shared_ptr<DataSelect>& select);

// The document in one of the formats of the command.
std::string ComplianceText(const ComplianceDocument& document, const std::string& format,
                           const Console& console);

}  // namespace orvspc::host
