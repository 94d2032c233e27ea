// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/render/chart/ChartReading.h"
#include "host/render/core/Json.h"

// The documents that scripts rely on; docs/how-to/json.md tells every key.
namespace orvspc::render {

struct EstimateRead {
  double value = 0.0;
  std::string name;
  double constant = 0.0;
  std::int32_t used = 0, least_size = 0, largest_size = 0;
};

// What the engine tells of a stream and of its decisions, beside the result object.
struct StreamRead {
  std::int32_t part = 0, process = 0, test = 0;
  EstimateRead mean, sp, sw;
  double average_size = 0.0;
};
struct NoteRead {
  std::string code, text, stream;
};

// Up to how much each sample would be accepted; NaN where there is no number.
struct AcceptanceRead {
  double level = 0.0, risk = 0.0;  // percent
  bool binomial = false;           // otherwise Poisson
  std::vector<double> numbers, rates;
};

inline constexpr std::int32_t kNotKnown = -1;

struct ChartDocument {
  ChartRead chart;
  std::int32_t requested[3] = {0, 0, 0};  // graph types that were asked for, or kNotKnown
  std::vector<StreamRead> streams;
  std::vector<NoteRead> notes;
  std::optional<AcceptanceRead> acceptance;  // of charts of counts
};

std::string ChartJson(const ChartDocument& document, const Names& names);
// select may be null: rows whose selection is not known.
std::string DataJson(const DataSelect* select, const SubgroupsRead& data, const Names& names,
                     const std::vector<NoteRead>& notes);

// Members of an open object.
void WriteProcessing(JsonWriter& json, const CCProcessing& processing);
void WriteDataSelect(JsonWriter& json, const DataSelect& select);
// The member "Subgroups" as charts have it: without descriptors and comments.
void WriteSubgroups(JsonWriter& json, const std::vector<SubgroupRow>& rows, const Names& names);
void WriteEstimate(JsonWriter& json, const char* key, const EstimateRead& estimate);
void WriteNotes(JsonWriter& json, const std::vector<NoteRead>& notes);

}  // namespace orvspc::render
