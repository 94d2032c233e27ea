// SPDX-License-Identifier: Apache-2.0
#include "host/render/pareto/ParetoReading.h"

#include <algorithm>
#include <limits>
#include "host/render/core/Numbers.h"

namespace orvspc::render {

namespace {

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

void WriteBin(JsonWriter& json, const ParetoBinRead& bin, const Bases& bases, double cumulative) {
  auto percentage = bin.percentage;
  for (std::size_t level = 0; level < bases.levels && !bases.has_whole; ++level)
    percentage[level] = kNaN;
  json.Members("ID", std::span<const std::int32_t>(bin.id), "Name", bin.name, "BinCount",
               bin.bin_count, "Factor", bin.factor, "Value",
               bases.is_rate && !(bin.total > 0.0) ? kNaN : bin.value, "Percentage",
               std::span<const double>(percentage), "Total", bin.total, "Yield", bin.yield, "PPK",
               bin.ppk, "Flag", bin.flag, "SubgroupID", bin.subgroup_id, "CumulativePercent",
               bases.has_whole ? cumulative : kNaN);
}

}  // namespace

void WriteParetoProcessing(JsonWriter& json, const PAProcessing& processing, bool levels) {
  json.Members("BinCount", processing.BinCount(), "ResourceType", processing.ResourceType());
  LevelsMember(json, "BinType", levels, [&](std::int32_t l) { return processing.BinType(l); });
  LevelsMember(json, "BinTypeID", levels, [&](std::int32_t l) { return processing.BinTypeID(l); });
  LevelsMember(json, "BinTimePeriod", levels,
               [&](std::int32_t l) { return processing.BinTimePeriod(l); });
  LevelsMember(json, "BinTimeInterval", levels,
               [&](std::int32_t l) { return processing.BinTimeInterval(l); });
  json.Members("ProcessingType", processing.ProcessingType(), "AccumulationType",
               processing.AccumulationType(), "ShowEmptyBins", processing.ShowEmptyBins());
}

std::string ParetoJson(const ParetoDocument& document) {
  const ParetoRead& pareto = document.pareto;
  return JsonDocument([&](JsonWriter& json) {
    if (pareto.processing) {
      json.Object("Processing",
                  [&] { WriteParetoProcessing(json, *pareto.processing, pareto.levels_known); });
    } else {
      json.NullMember("Processing");
    }
    ObjectMember(json, "DataSelect", pareto.select.get(), WriteDataSelect);
    const Bases bases = BasesOf(pareto);
    const auto cumulative = CumulativePercents(pareto);
    std::size_t place = 0;
    json.Objects("Bins", pareto.bins, [&](const ParetoBinRead& bin) {
      WriteBin(json, bin, bases, cumulative[place++]);
    });
    WriteNotes(json, document.notes);
  });
}

}  // namespace orvspc::render
