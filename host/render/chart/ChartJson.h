// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/render/chart/ChartReading.h"
#include "host/render/data/DataText.h"
#include "platform/Reports.h"

// The documents that scripts rely on; docs/how-to/json.md tells every key.
namespace orvspc::render {

inline constexpr std::int32_t kNotKnown = -1;

// A chart with what the engine reported beside it.
struct ChartDocument : ChartReport {
  ChartRead chart;
  std::int32_t requested[3] = {0, 0, 0};  // graph types that were asked for, or kNotKnown
  std::vector<Note> notes;
};

std::string ChartJson(const ChartDocument& document, const Names& names);

std::string ProcessingText(const CCProcessing& processing, const TextOptions& options = {});

// Members of an open object.
void WriteProcessing(JsonWriter& json, const CCProcessing& processing);

}  // namespace orvspc::render
