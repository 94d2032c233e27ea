// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/capability/CapabilityReading.h"
#include "host/render/core/Json.h"

namespace orvspc::render {

// The document of a capability result; docs/how-to/json.md tells every key.
std::string CapabilityJson(const CapabilityDocument& document);

// Members of an open object.
void WriteCapabilityProcessing(JsonWriter& json, const CAProcessing& processing);

}  // namespace orvspc::render
