// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/CapabilityReading.h"
#include "host/render/Json.h"

namespace orvspc::host {

// The document of a capability result; docs/how-to/json.md tells every key.
std::string CapabilityJson(const CapabilityDocument& document);

// Members of an open object.
void WriteCapabilityProcessing(JsonWriter& json, const CAProcessing& processing);

}  // namespace orvspc::host
