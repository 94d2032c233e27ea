// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "host/render/core/Json.h"
#include "host/render/data/DataReading.h"
#include "select/DataSelect.h"

// The document of subgroups, and what the documents of all families have in common;
// docs/how-to/json.md explains every key.
namespace orvspc::render {

// select may be null: rows whose selection is not known.
std::string DataJson(const DataSelect* select, const SubgroupsRead& data, const Names& names,
                     const std::vector<Note>& notes);

// Members of an open object.
void WriteDataSelect(JsonWriter& json, const DataSelect& select);
// "Subgroups" as charts have it: without descriptors and comments.
void WriteSubgroups(JsonWriter& json, const std::vector<SubgroupRow>& rows, const Names& names);
// The identifier as key, and its name as "...Name".
void WriteItem(JsonWriter& json, const std::string& key, const Names& names, NameKind kind,
               std::int32_t id);
// null for a date that is not given.
void WriteDate(JsonWriter& json, const char* key, double date);

}  // namespace orvspc::render
