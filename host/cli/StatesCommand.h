// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "host/cli/Command.h"
#include "host/render/states/StatesReading.h"

namespace orvspc::host {

using namespace render;

// Runs the analysis and reads everything; Refusal with the engine's reason when it failed. The log
// is that of every process that the selection names, or of all when it names none.
StatesDocument RunStates(const std::shared_ptr<EmbeddedDatabase>& database,
                         const DataSelect& select);

// The document in one of the formats of the command; colour: in a terminal's text.
std::string StatesText(const StatesDocument& document, const Names& names,
                       const std::string& format, const Console& console, bool colour);

}  // namespace orvspc::host
