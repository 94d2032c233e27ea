// SPDX-License-Identifier: Apache-2.0
#include "host/render/ParetoModel.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "host/render/CapabilityModel.h"
#include "host/render/Numbers.h"
#include "host/render/PlainText.h"
#include "platform/Enumerations.h"

namespace orvspc::host {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kEighty = 80.0 - 1e-9;  // sums of shares are not exact

// What the settings make of the data; without settings nothing is known.
struct Meaning {
  std::string counted = "Value";  // begins the title
  std::string axis = "value";
  bool adds_up = false;  // values of all bins together are the whole
  bool time_first = false;
};

bool IsTime(paAccumulationTypes accumulation) {
  return accumulation == paAccumulateByEventTime || accumulation == paAccumulateByAccTime ||
         accumulation == paAccumulateByCacTime;
}

std::string CountedBy(paResourceTypes resource, paAccumulationTypes accumulation) {
  if (resource == paSubgroups)
    return accumulation == paAccumulateByHits ? "Records with defects" : "Defects";
  const bool states = resource == paProcessState;
  switch (accumulation) {
    case paAccumulateByEventTime:
      return states ? "Time in states" : "Time of events";
    case paAccumulateByAccTime:
      return "Time to the ACC";
    case paAccumulateByCacTime:
      return "Time to the CAC";
    default:
      return states ? "Entries into states" : "Events";
  }
}

std::string AxisOf(const Meaning& meaning, paProcessingTypes measure, bool time) {
  std::string counted = meaning.counted;
  if (counted[0] >= 'A' && counted[0] <= 'Z') counted[0] = static_cast<char>(counted[0] + 32);
  switch (measure) {
    case paProcessByFactor:
      return counted + (time ? ", seconds weighted by factor" : ", weighted by factor");
    case paProcessByPPM:
      return counted + " per million";
    case paProcessByPPT:
      return counted + " per thousand";
    case paProcessByMinutes:
      return time ? counted + ", minutes" : counted;
    case paProcessByHours:
      return time ? counted + ", hours" : counted;
    case paProcessByDays:
      return time ? counted + ", days" : counted;
    default:
      return counted + (time ? ", seconds" : "");
  }
}

Meaning MeaningOf(const ParetoRead& pareto) {
  Meaning meaning;
  if (!pareto.processing) return meaning;
  const PAProcessing& processing = *pareto.processing;
  const auto resource = processing.ResourceType();
  const auto measure = processing.ProcessingType();
  auto accumulation = processing.AccumulationType();
  // A measure in time takes time; subgroups have none.
  if (resource == paSubgroups) {
    if (IsTime(accumulation)) accumulation = paAccumulateByValue;
  } else if (measure >= paProcessByMinutes && !IsTime(accumulation)) {
    accumulation = paAccumulateByEventTime;
  }
  meaning.counted = CountedBy(resource, accumulation);
  meaning.axis = AxisOf(meaning, measure, IsTime(accumulation));
  meaning.adds_up = measure != paProcessByPPM && measure != paProcessByPPT;
  meaning.time_first = pareto.levels_known && processing.BinType(0) == paBinTypeTime;
  return meaning;
}

std::string Words(std::string word) {
  std::replace(word.begin(), word.end(), '-', ' ');
  return word;
}

// "defect, shift and part"
std::string LevelWords(const ParetoRead& pareto) {
  if (!pareto.processing || !pareto.levels_known) return {};
  std::string text;
  for (std::size_t level = 0; level < pareto.levels; ++level) {
    const auto type = pareto.processing->BinType(static_cast<std::int32_t>(level));
    const std::string word = BinTypeWord(type);
    text += level == 0 ? "" : level + 1 == pareto.levels ? " and " : ", ";
    text += word.empty() ? "type " + std::to_string(type) : Words(word);
  }
  return text;
}

std::string Percent(double share) { return Fixed(share, 1) + " %"; }

std::string LeafName(const ParetoBinRead& bin, std::size_t levels) {
  std::string name = PlainText(bin.parts[levels == 1 ? 0 : 1]);
  if (levels == 3) name += " / " + PlainText(bin.parts[2]);
  return name;
}

std::string TipOf(const ParetoBinRead& bin, const ParetoBar& bar, std::size_t levels,
                  const std::string& axis) {
  std::string tip = PlainText(bin.parts[0]);
  for (std::size_t level = 1; level < levels; ++level) tip += " / " + PlainText(bin.parts[level]);
  tip += ": " + ParetoValue(bin.value) + " (" + axis + "), " + Percent(bar.share) + ", together " +
         Percent(bar.cumulative);
  if (bar.open) tip += ", with events that are still open";
  return tip;
}

void AddBars(const ParetoRead& pareto, const Meaning& meaning, ParetoView& view) {
  double sum = 0.0, values = 0.0;
  for (const auto& bin : pareto.bins) {
    ParetoBar bar;
    bar.name = LeafName(bin, pareto.levels);
    bar.value = bin.value;
    bar.share = bin.percentage[pareto.levels - 1];
    bar.empty = (bin.flag & kBinEmpty) != 0;
    bar.open = (bin.flag & kBinOpen) != 0;
    if (std::isfinite(bar.share)) sum += bar.share;
    if (std::isfinite(bar.value)) values += bar.value;
    bar.cumulative = std::min(sum, 100.0);
    bar.tip = TipOf(bin, bar, pareto.levels, meaning.axis);
    if (!view.eighty && !meaning.time_first && sum >= kEighty) view.eighty = view.bars.size();
    view.bars.push_back(std::move(bar));
  }
  view.other = !view.bars.empty() && sum > 0.0 && sum < 99.95 ? 100.0 - sum : 0.0;
  view.whole = meaning.adds_up && sum > 0.0 ? values / sum * 100.0 : kNaN;
}

void AddGroups(const ParetoRead& pareto, ParetoView& view) {
  if (pareto.levels == 1) return;
  for (std::size_t i = 0; i < pareto.bins.size(); ++i) {
    const auto& bin = pareto.bins[i];
    if (i == 0 || bin.id[0] != pareto.bins[i - 1].id[0])
      view.groups.push_back({PlainText(bin.parts[0]), 0.0, bin.percentage[0], i, i});
    ParetoGroup& group = view.groups.back();
    if (std::isfinite(bin.value)) group.value += bin.value;
    // Empty bins behind the others say nothing of their group's share.
    group.share = std::max(group.share, bin.percentage[0]);
    group.last = i;
  }
}

// A column that no bin has is left out.
void AddTable(const ParetoRead& pareto, const Meaning& meaning, ParetoView& view) {
  bool yields = false, ppks = false;
  for (const auto& bin : pareto.bins) {
    yields = yields || !std::isnan(bin.yield);
    ppks = ppks || !std::isnan(bin.ppk);
  }
  ReportTable& table = view.table;
  table.title = "Bins";
  for (std::size_t level = 0; level < pareto.levels; ++level) {
    const bool known = pareto.processing && pareto.levels_known;
    const auto type =
        known ? pareto.processing->BinType(static_cast<std::int32_t>(level)) : paBinTypeNone;
    const std::string word = known ? Words(BinTypeWord(type)) : std::string();
    table.headings.push_back(word.empty() ? "level " + std::to_string(level + 1) : word);
  }
  for (const std::string& heading :
       {"#" + meaning.axis, std::string("#share"), std::string("#cumulative"),
        std::string("#counted"), std::string("#weighted"), std::string("#out of")})
    table.headings.push_back(heading);
  if (yields) table.headings.emplace_back("#yield");
  if (ppks) table.headings.emplace_back("#Ppk");
  for (std::size_t i = 0; i < pareto.bins.size(); ++i) {
    const auto& bin = pareto.bins[i];
    std::vector<std::string> row;
    for (std::size_t level = 0; level < pareto.levels; ++level)
      row.push_back(PlainText(bin.parts[level]));
    row.push_back(ParetoValue(bin.value));
    row.push_back(Percent(view.bars[i].share));
    row.push_back(Percent(view.bars[i].cumulative));
    row.push_back(ParetoValue(bin.bin_count));
    row.push_back(ParetoValue(bin.factor));
    row.push_back(ParetoValue(bin.total));
    if (yields) row.push_back(std::isnan(bin.yield) ? "" : Fixed(bin.yield, 2) + " %");
    if (ppks) row.push_back(std::isnan(bin.ppk) ? "" : Fixed(bin.ppk, 3));
    table.rows.push_back(std::move(row));
  }
}

std::string Subtitle(const ParetoRead& pareto, const ParetoView& view) {
  const auto count = [](std::size_t n) { return std::to_string(n) + (n == 1 ? " bin" : " bins"); };
  std::string text = count(view.bars.size());
  if (std::isfinite(view.whole)) text += " of " + ParetoValue(view.whole) + " (" + view.axis + ")";
  if (view.eighty) {
    text += "; " + count(*view.eighty + 1);
    text += *view.eighty == 0 ? " makes up " : " make up ";
    text += Percent(view.bars[*view.eighty].cumulative);
  }
  if (view.other > 0.0) text += "; " + Percent(view.other) + " in bins that are not shown";
  const bool open =
      std::any_of(view.bars.begin(), view.bars.end(), [](const auto& bar) { return bar.open; });
  if (open) text += "; some events are still open";
  return pareto.bins.empty() ? std::string() : text;
}

}  // namespace

double ParetoView::MostValue() const {
  double most = 0.0;
  for (const auto& bar : bars)
    if (std::isfinite(bar.value)) most = std::max(most, bar.value);
  for (const auto& group : groups) most = std::max(most, group.value);
  return most > 0.0 ? most : 1.0;
}

std::string ParetoValue(double value) {
  if (value == std::round(value) && std::abs(value) < 1e12) return Fixed(value, 0);
  return Significant(value, 5);
}

ParetoView MakeParetoView(const ParetoDocument& document, const Names& names) {
  const ParetoRead& pareto = document.pareto;
  const Meaning meaning = MeaningOf(pareto);
  ParetoView view;
  const std::string levels = LevelWords(pareto);
  const std::string selected = SelectedText(pareto.select.get(), names);
  view.title = (pareto.processing ? meaning.counted : std::string("Pareto")) +
               (levels.empty() ? "" : " by " + levels) + (selected.empty() ? "" : ": " + selected);
  view.axis = meaning.axis;
  view.chronological = meaning.time_first;
  AddBars(pareto, meaning, view);
  AddGroups(pareto, view);
  AddTable(pareto, meaning, view);
  view.subtitle = Subtitle(pareto, view);
  for (const auto& note : document.notes)
    view.notes.push_back({note.code, PlainText(note.text), PlainText(note.stream)});
  return view;
}

}  // namespace orvspc::host
