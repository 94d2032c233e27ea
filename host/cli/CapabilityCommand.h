// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "host/cli/Command.h"
#include "host/render/capability/CapabilityReading.h"

namespace orvspc::host {

using namespace render;

// Analyses and reads everything; Refusal with the engine's reason when it failed.
CapabilityDocument RunCapability(const std::shared_ptr<EmbeddedDatabase>& database,
                                 const std::shared_ptr<DataSelect>& select,
                                 const std::shared_ptr<CAProcessing>& processing);

// The document in one of the formats text, json, svg and html; colour: in a terminal's text.
std::string CapabilityText(const CapabilityDocument& document, const Names& names,
                           const std::string& format, const Console& console, bool colour);

// A stored CAResults or CAProcessing, in one of these formats or xml. Fails as their SetXML does.
std::string ShowCapability(const std::string& xml, const std::string& format,
                           const Console& console, bool colour);
std::string ShowCapabilityProcessing(const std::string& xml, const std::string& format);

}  // namespace orvspc::host
