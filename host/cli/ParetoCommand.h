// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "host/cli/Command.h"
#include "host/render/pareto/ParetoReading.h"

namespace orvspc::host {

using namespace render;

// Analyses and reads everything; Refusal with the engine's reason when it failed.
ParetoDocument RunPareto(const std::shared_ptr<EmbeddedDatabase>& database,
                         const std::shared_ptr<DataSelect>& select,
                         const std::shared_ptr<PAProcessing>& processing);

// The document in one of the formats text, json, svg and html; colour: in a terminal's text.
std::string ParetoText(const ParetoDocument& document, const Names& names,
                       const std::string& format, const Console& console, bool colour);

// A stored PAResults, PABins or PAProcessing, in one of these formats or xml. Fails as their SetXML
// does.
std::string ShowPareto(const std::string& xml, const std::string& format, const Console& console,
                       bool colour);
std::string ShowParetoBins(const std::string& xml, const std::string& format,
                           const Console& console, bool colour);
std::string ShowParetoProcessing(const std::string& xml, const std::string& format);

}  // namespace orvspc::host
