// SPDX-License-Identifier: Apache-2.0
#include "host/render/pareto/ParetoJson.h"

#include <algorithm>
#include <limits>

namespace orvspc::render {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

template <class Read>
void LevelsMember(JsonWriter& json, const char* key, bool known, Read read) {
  if (!known) return json.NullMember(key);
  json.Key(key);
  json.BeginArray(true);
  for (std::int32_t level = 0; level < 3; ++level)
    json.Value(static_cast<std::int32_t>(read(level)));
  json.EndArray();
}

// What the bins have no base for: shares of nothing, rates of no units. The records say 0.
struct Bases {
  std::size_t levels = 1;
  bool has_whole = false, is_rate = false;
};

Bases BasesOf(const ParetoRead& pareto) {
  Bases bases{pareto.levels, false, false};
  bases.has_whole = std::any_of(pareto.bins.begin(), pareto.bins.end(),
                                [](const auto& bin) { return bin.percentage[0] != 0.0; });
  if (!pareto.processing) return bases;
  const auto measure = pareto.processing->ProcessingType();
  bases.is_rate = measure == paProcessByPPM || measure == paProcessByPPT;
  return bases;
}

void WriteBin(JsonWriter& json, const ParetoBinRead& bin, const Bases& bases) {
  json.BeginObject(true);
  json.Key("ID");
  json.Value(std::span<const std::int32_t>(bin.id));
  json.Member("Name", bin.name);
  json.Member("BinCount", bin.bin_count);
  json.Member("Factor", bin.factor);
  if (bases.is_rate && !(bin.total > 0.0)) {
    json.NullMember("Value");
  } else {
    json.Member("Value", bin.value);
  }
  auto percentage = bin.percentage;
  for (std::size_t level = 0; level < bases.levels && !bases.has_whole; ++level)
    percentage[level] = kNaN;
  json.Key("Percentage");
  json.Value(std::span<const double>(percentage));
  json.Member("Total", bin.total);
  json.Member("Yield", bin.yield);
  json.Member("PPK", bin.ppk);
  json.Member("Flag", bin.flag);
  json.Member("SubgroupID", bin.subgroup_id);
  json.EndObject();
}

}  // namespace

void WriteParetoProcessing(JsonWriter& json, const PAProcessing& processing, bool levels) {
  const auto number = [](auto value) { return static_cast<std::int32_t>(value); };
  json.Member("BinCount", processing.BinCount());
  json.Member("ResourceType", number(processing.ResourceType()));
  LevelsMember(json, "BinType", levels, [&](std::int32_t l) { return processing.BinType(l); });
  LevelsMember(json, "BinTypeID", levels, [&](std::int32_t l) { return processing.BinTypeID(l); });
  LevelsMember(json, "BinTimePeriod", levels,
               [&](std::int32_t l) { return processing.BinTimePeriod(l); });
  LevelsMember(json, "BinTimeInterval", levels,
               [&](std::int32_t l) { return processing.BinTimeInterval(l); });
  json.Member("ProcessingType", number(processing.ProcessingType()));
  json.Member("AccumulationType", number(processing.AccumulationType()));
  json.Member("ShowEmptyBins", processing.ShowEmptyBins());
}

std::string ParetoJson(const ParetoDocument& document) {
  const ParetoRead& pareto = document.pareto;
  JsonWriter json;
  json.BeginObject();
  json.Key("Processing");
  if (pareto.processing) {
    json.BeginObject();
    WriteParetoProcessing(json, *pareto.processing, pareto.levels_known);
    json.EndObject();
  } else {
    json.Null();
  }
  json.Key("DataSelect");
  if (pareto.select) {
    json.BeginObject();
    WriteDataSelect(json, *pareto.select);
    json.EndObject();
  } else {
    json.Null();
  }
  json.Key("Bins");
  json.BeginArray();
  const Bases bases = BasesOf(pareto);
  for (const auto& bin : pareto.bins) WriteBin(json, bin, bases);
  json.EndArray();
  WriteNotes(json, document.notes);
  json.EndObject();
  return json.Text();
}

}  // namespace orvspc::render
