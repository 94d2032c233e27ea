// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/render/core/Text.h"
#include "host/render/data/DataJson.h"

namespace orvspc::render {

// A table of subgroups for people: identifiers by name, values in the order of their pieces.
std::string DataText(const SubgroupsRead& data, const Names& names,
                     const TextOptions& options = {});

// The members of an object's document without its punctuation, one setting a line.
std::string SettingsText(const char* name, const std::string& json, const TextOptions& options);
std::string DataSelectText(const DataSelect& select, const TextOptions& options = {});

}  // namespace orvspc::render
