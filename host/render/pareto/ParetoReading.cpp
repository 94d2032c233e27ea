// SPDX-License-Identifier: Apache-2.0
#include "host/render/pareto/Pareto.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "frame/XMLSupport.h"
#include "host/render/core/Numbers.h"

namespace orvspc::render {

namespace {

constexpr std::string_view kBetween = " / ";

std::vector<std::string> Split(std::string_view name) {
  std::vector<std::string> parts;
  for (std::size_t start = 0;;) {
    const std::size_t end = name.find(kBetween, start);
    parts.emplace_back(name.substr(start, end - start));
    if (end == std::string_view::npos) return parts;
    start = end + kBetween.size();
  }
}

// A name by identifier is whole; the bin's own may be cut, and a name in it may hold what stands
// between the names.
void NameParts(ParetoBinRead& bin, std::size_t levels, const BinNames& names) {
  const auto parts = levels == 1 ? std::vector<std::string>{bin.name} : Split(bin.name);
  for (std::size_t level = 0; level < levels; ++level) {
    std::string& part = bin.parts[level];
    part = names(level, bin.id[level]);
    if (!part.empty()) continue;
    part = level < parts.size() ? parts[level] : "#" + std::to_string(bin.id[level]);
  }
}

// Of the settings, else as many as have a share.
std::size_t LevelsInUse(const ParetoRead& read) {
  std::size_t levels = 1;
  for (std::int32_t level = 1; level < 3; ++level) {
    const auto place = static_cast<std::size_t>(level);
    const bool used =
        read.levels_known && read.processing
            ? read.processing->BinType(level) != paBinTypeNone
            : std::any_of(read.bins.begin(), read.bins.end(), [&](const ParetoBinRead& bin) {
                return bin.percentage[place] != 0.0 || bin.id[place] != 0;
              });
    if (used) levels = place + 1;
  }
  return levels;
}

void ReadBins(PABins& bins, ParetoRead& read, const BinNames& names) {
  for (bool more = bins.MoveFirst(); more; more = bins.MoveNext()) {
    ParetoBinRead bin;
    for (std::int32_t level = 0; level < 3; ++level)
      bin.id[static_cast<std::size_t>(level)] = bins.ID(level);
    for (std::int32_t level = 0; level < 6; ++level)
      bin.percentage[static_cast<std::size_t>(level)] = bins.Percentage(level);
    bin.name = bins.Name();
    bin.bin_count = bins.BinCount();
    bin.factor = bins.Factor();
    bin.value = bins.Value();
    bin.total = bins.Total();
    bin.flag = bins.Flag();
    bin.yield = (bin.flag & kBinHasYield) != 0 ? bins.Yield() : kNaN;
    bin.ppk = (bin.flag & kBinHasPPK) != 0 ? bins.PPK() : kNaN;
    bin.subgroup_id = bins.SubgroupID();
    read.bins.push_back(std::move(bin));
  }
  read.levels = LevelsInUse(read);
  for (auto& bin : read.bins) NameParts(bin, read.levels, names);
}

std::string NoName(std::size_t, std::int32_t) { return {}; }

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

std::vector<double> CumulativePercents(const ParetoRead& pareto) {
  std::vector<double> percents;
  double sum = 0.0;
  for (const auto& bin : pareto.bins) {
    const double share = bin.percentage[pareto.levels - 1];
    if (std::isfinite(share)) sum += share;
    percents.push_back(std::min(sum, 100.0));
  }
  return percents;
}

ParetoRead ReadPareto(const PAResults& results, const BinNames& names) {
  ParetoRead read;
  read.processing = results.Processing();
  read.select = results.DataSelect();
  if (const auto bins = results.Bins()) ReadBins(*bins, read, names);
  return read;
}

ParetoRead ReadStoredPareto(const std::string& xml) {
  PAResults results;
  results.SetXML(xml);
  ParetoRead read;
  read.processing = results.Processing();
  read.select = results.DataSelect();
  read.levels_known = false;
  // A stored result comes back without its bins, which are read as an object of their own.
  const auto root = XMLSupport::GetXMLSingleNode(xml, "PAResults");
  const auto element = root.document->SelectSingleNode(root.node, "PABins");
  std::shared_ptr<PABins> bins = results.Bins();
  if (!bins && element && XMLSupport::CountChildren(element, "PABin") > 0) {
    bins = PAResults().Bins();
    bins->SetXML(root.document->Xml(element));
  }
  if (bins) ReadBins(*bins, read, NoName);
  return read;
}

ParetoRead ReadStoredBins(const std::string& xml) {
  ParetoRead read;
  read.levels_known = false;
  const auto root = XMLSupport::GetXMLSingleNode(xml, "PABins");
  if (XMLSupport::CountChildren(root.node, "PABin") == 0) return read;
  const auto bins = PAResults().Bins();
  bins->SetXML(xml);
  ReadBins(*bins, read, NoName);
  return read;
}

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
    ObjectMember(json, "Processing", pareto.processing.get(), [&](auto&, const auto& processing) {
      WriteParetoProcessing(json, processing, pareto.levels_known);
    });
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
