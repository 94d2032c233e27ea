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

// A name by identifier is whole; the bin's own may be cut, and a name in it may hold what is
// between the names.
void NameParts(ParetoBinRead& bin, std::size_t levels, const BinNames& names) {
  const auto parts = levels == 1 ? std::vector<std::string>{bin.name} : Split(bin.name);
  for (std::size_t level = 0; level < levels; ++level) {
    std::string& part = bin.parts[level];
    part = names ? names(level, bin.id[level]) : "";
    if (part.empty())
      part = level < parts.size() ? parts[level] : "#" + std::to_string(bin.id[level]);
  }
}

// Of the settings, else as many as have a share.
std::size_t LevelsInUse(const ParetoRead& read) {
  for (const std::size_t level : {2U, 1U}) {
    const auto type = read.TypeOf(level);
    if (type ? *type != paBinTypeNone
             : std::any_of(read.bins.begin(), read.bins.end(), [&](const ParetoBinRead& bin) {
                 return bin.percentage[level] != 0.0 || bin.id[level] != 0;
               }))
      return level + 1;
  }
  return 1;
}

void ReadBins(PABins& bins, ParetoRead& read, const BinNames& names = {}) {
  read.bins = ReadRows(bins, [&] {
    const std::int32_t flag = bins.Flag();
    return ParetoBinRead{{bins.ID(0), bins.ID(1), bins.ID(2)},
                         bins.Name(),
                         {},
                         bins.BinCount(),
                         bins.Factor(),
                         bins.Value(),
                         {bins.Percentage(0), bins.Percentage(1), bins.Percentage(2),
                          bins.Percentage(3), bins.Percentage(4), bins.Percentage(5)},
                         bins.Total(),
                         (flag & kBinHasYield) != 0 ? bins.Yield() : kNaN,
                         (flag & kBinHasPPK) != 0 ? bins.PPK() : kNaN,
                         flag,
                         bins.SubgroupID()};
  });
  read.levels = LevelsInUse(read);
  for (auto& bin : read.bins) NameParts(bin, read.levels, names);
}

// Bins as an element of their own; null or empty: none.
void ReadBins(const platform::XmlNode& element, ParetoRead& read) {
  if (!element || XMLSupport::CountChildren(element, "PABin") == 0) return;
  const auto bins = PAResults().Bins();
  bins->SetXML(XMLSupport::DocumentOf(element).Xml(element));
  ReadBins(*bins, read);
}

template <class Value>
std::vector<Value> OfLevels(const PAProcessing& processing,
                            Value (PAProcessing::*get)(std::int32_t) const) {
  return {(processing.*get)(0), (processing.*get)(1), (processing.*get)(2)};
}

// Shares of nothing and rates of no units have no base: the records say 0.
void WriteBins(JsonWriter& json, const ParetoRead& pareto) {
  const bool has_whole = std::any_of(pareto.bins.begin(), pareto.bins.end(),
                                     [](const auto& bin) { return bin.percentage[0] != 0.0; });
  const auto percents = CumulativePercents(pareto);
  auto cumulative = percents.begin();
  json.Objects("Bins", pareto.bins, [&](ParetoBinRead bin) {
    if (!has_whole) std::fill_n(bin.percentage.begin(), pareto.levels, kNaN);
    json.Members("ID", bin.id, "Name", bin.name, "BinCount", bin.bin_count, "Factor", bin.factor,
                 "Value", pareto.IsRate() && !(bin.total > 0.0) ? kNaN : bin.value, "Percentage",
                 bin.percentage, "Total", bin.total, "Yield", bin.yield, "PPK", bin.ppk, "Flag",
                 bin.flag, "SubgroupID", bin.subgroup_id, "CumulativePercent",
                 has_whole ? *cumulative : kNaN);
    ++cumulative;
  });
}

}  // namespace

std::optional<std::int32_t> ParetoRead::TypeOf(std::size_t level) const {
  if (!processing || !levels_known) return std::nullopt;
  return processing->BinType(static_cast<std::int32_t>(level));
}

bool ParetoRead::IsRate() const {
  const auto measure = processing ? processing->ProcessingType() : paProcessByCount;
  return measure == paProcessByPPM || measure == paProcessByPPT;
}

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
  ParetoRead read{results.Processing(), results.DataSelect()};
  if (const auto bins = results.Bins()) ReadBins(*bins, read, names);
  return read;
}

ParetoRead ReadStoredPareto(const std::string& xml) {
  PAResults results;
  results.SetXML(xml);
  ParetoRead read{results.Processing(), results.DataSelect(), false};
  // A stored result comes back without its bins.
  const auto root = XMLSupport::GetXMLSingleNode(xml, "PAResults");
  if (const auto bins = results.Bins())
    ReadBins(*bins, read);
  else
    ReadBins(root.document->SelectSingleNode(root.node, "PABins"), read);
  return read;
}

ParetoRead ReadStoredBins(const std::string& xml) {
  ParetoRead read{nullptr, nullptr, false};
  ReadBins(XMLSupport::GetXMLSingleNode(xml, "PABins").node, read);
  return read;
}

void WriteParetoProcessing(JsonWriter& json, const PAProcessing& processing, bool levels) {
  json.Members("BinCount", processing.BinCount(), "ResourceType", processing.ResourceType());
  json.MemberIf(levels, "BinType", OfLevels(processing, &PAProcessing::BinType));
  json.MemberIf(levels, "BinTypeID", OfLevels(processing, &PAProcessing::BinTypeID));
  json.MemberIf(levels, "BinTimePeriod", OfLevels(processing, &PAProcessing::BinTimePeriod));
  json.MemberIf(levels, "BinTimeInterval", OfLevels(processing, &PAProcessing::BinTimeInterval));
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
    WriteBins(json, pareto);
    WriteNotes(json, document.notes);
  });
}

}  // namespace orvspc::render
