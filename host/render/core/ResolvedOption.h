// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "host/render/core/Json.h"

namespace orvspc::render {

// An option as it was resolved.
struct ResolvedOption {
  std::string key;                                                // "Weight", as in documents
  std::variant<std::monostate, bool, double, std::string> value;  // monostate: not given
  std::string from = "default";                                   // "command", "database"
};

// "Options": each with "Value" and "From".
void WriteOptions(JsonWriter& json, const std::vector<ResolvedOption>& options);

}  // namespace orvspc::render
