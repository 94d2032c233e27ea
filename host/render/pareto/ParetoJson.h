// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/core/Json.h"
#include "host/render/pareto/ParetoReading.h"

namespace orvspc::render {

// The document of a Pareto result; docs/how-to/json.md tells every key.
std::string ParetoJson(const ParetoDocument& document);

// Members of an open object. Without levels theirs are null.
void WriteParetoProcessing(JsonWriter& json, const PAProcessing& processing, bool levels);

}  // namespace orvspc::render
