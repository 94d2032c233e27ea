// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/render/chart/ChartReading.h"
#include "host/render/core/Json.h"
#include "platform/Reports.h"

// The documents that scripts rely on; docs/how-to/json.md tells every key.
namespace orvspc::render {

inline constexpr std::int32_t kNotKnown = -1;

struct ChartDocument {
  ChartRead chart;
  std::int32_t requested[3] = {0, 0, 0};  // graph types that were asked for, or kNotKnown
  std::vector<StreamReport> streams;
  std::vector<Note> notes;
  std::optional<AcceptanceLimits> acceptance;  // of charts of counts
};

std::string ChartJson(const ChartDocument& document, const Names& names);
// select may be null: rows whose selection is not known.
std::string DataJson(const DataSelect* select, const SubgroupsRead& data, const Names& names,
                     const std::vector<Note>& notes);

// Members of an open object.
void WriteProcessing(JsonWriter& json, const CCProcessing& processing);
void WriteDataSelect(JsonWriter& json, const DataSelect& select);
// The member "Subgroups" as charts have it: without descriptors and comments.
void WriteSubgroups(JsonWriter& json, const std::vector<SubgroupRow>& rows, const Names& names);
void WriteEstimate(JsonWriter& json, const char* key, const Estimate& estimate);
void WriteNotes(JsonWriter& json, const std::vector<Note>& notes);

}  // namespace orvspc::render
