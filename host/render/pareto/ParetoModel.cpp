// SPDX-License-Identifier: Apache-2.0
#include "host/render/pareto/Pareto.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

constexpr double kEighty = 80.0 - 1e-9;  // sums of shares are not exact

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

std::string AxisOf(std::string counted, paProcessingTypes measure, bool time) {
  if (counted[0] >= 'A' && counted[0] <= 'Z') counted[0] = static_cast<char>(counted[0] + 32);
  struct Unit {
    paProcessingTypes measure;
    const char* counts;
    const char* times;
  };
  static constexpr Unit kUnits[] = {
      {paProcessByFactor, ", weighted by factor", ", seconds weighted by factor"},
      {paProcessByPPM, " per million", " per million"},
      {paProcessByPPT, " per thousand", " per thousand"},
      {paProcessByMinutes, "", ", minutes"},
      {paProcessByHours, "", ", hours"},
      {paProcessByDays, "", ", days"}};
  for (const auto& unit : kUnits)
    if (unit.measure == measure) return counted + (time ? unit.times : unit.counts);
  return counted + (time ? ", seconds" : "");
}

// What the settings make of the data: how the title begins, and the axis. Without settings nothing
// is known.
void AddMeaning(const ParetoRead& pareto, ParetoView& view) {
  view.title = "Pareto";
  view.axis = "value";
  if (!pareto.processing) return;
  const auto resource = pareto.processing->ResourceType();
  const auto measure = pareto.processing->ProcessingType();
  auto accumulation = pareto.processing->AccumulationType();
  // A measure in time takes time; subgroups have none.
  if (resource == paSubgroups) {
    if (IsTime(accumulation)) accumulation = paAccumulateByValue;
  } else if (measure >= paProcessByMinutes && !IsTime(accumulation)) {
    accumulation = paAccumulateByEventTime;
  }
  view.title = CountedBy(resource, accumulation);
  view.axis = AxisOf(view.title, measure, IsTime(accumulation));
  view.chronological = pareto.TypeOf(0) == paBinTypeTime;
}

// What people call a bin type.
std::string Words(std::string word) {
  std::replace(word.begin(), word.end(), '-', ' ');
  // Assignable causes and corrective actions go by their letters.
  if (word.starts_with("acc ") || word.starts_with("cac "))
    std::transform(word.begin(), word.begin() + 3, word.begin(),
                   [](char c) { return static_cast<char>(c - 'a' + 'A'); });
  return word;
}

// "defect, shift and part"
std::string LevelWords(const ParetoRead& pareto) {
  std::string text;
  for (std::size_t level = 0; level < pareto.levels; ++level) {
    const auto type = pareto.TypeOf(level);
    if (!type) return {};
    // "Defects by code" needs no second "defect".
    const std::string word = type == paBinTypeDefect ? "code" : BinTypeWord(*type);
    text += level == 0 ? "" : level + 1 == pareto.levels ? " and " : ", ";
    text += word.empty() ? "type " + std::to_string(*type) : Words(word);
  }
  return text;
}

// The name at a level. Days and longer begin at midnight, which need not be said each time.
std::string PartText(const ParetoRead& pareto, const ParetoBinRead& bin, std::size_t level) {
  std::string text = PlainText(bin.parts[level]);
  constexpr std::string_view kMidnight = " 00:00";
  if (pareto.TypeOf(level) == paBinTypeTime &&
      pareto.processing->BinTimePeriod(static_cast<std::int32_t>(level)) >= paDays &&
      text.ends_with(kMidnight))
    text.resize(text.size() - kMidnight.size());
  return text;
}

// The names of that level and those below it.
std::string NameFrom(std::size_t level, const ParetoRead& pareto, const ParetoBinRead& bin) {
  std::string name = PartText(pareto, bin, level);
  while (++level < pareto.levels) name += " / " + PartText(pareto, bin, level);
  return name;
}

void AddBars(const ParetoRead& pareto, ParetoView& view) {
  const auto cumulative = CumulativePercents(pareto);
  double sum = 0.0, values = 0.0;
  for (const auto& bin : pareto.bins) {
    ParetoBar bar;
    bar.name = NameFrom(pareto.levels == 1 ? 0 : 1, pareto, bin);
    bar.value = bin.value;
    bar.share = bin.percentage[pareto.levels - 1];
    bar.cumulative = cumulative[view.bars.size()];
    bar.empty = (bin.flag & kBinEmpty) != 0;
    bar.open = (bin.flag & kBinOpen) != 0;
    bar.tip =
        fmt::format("{}: {} ({}), {}, together {}{}", NameFrom(0, pareto, bin),
                    ParetoValue(bin.value), view.axis, Percent(bar.share), Percent(bar.cumulative),
                    bar.open ? ", with events that are still open" : "");
    if (std::isfinite(bar.share)) sum += bar.share;
    if (std::isfinite(bar.value)) values += bar.value;
    if (!view.eighty && !view.chronological && bar.cumulative >= kEighty)
      view.eighty = view.bars.size();
    view.bars.push_back(std::move(bar));
  }
  view.other = sum > 0.0 && sum < 99.95 ? 100.0 - sum : 0.0;
  view.whole = pareto.processing && !pareto.IsRate() && sum > 0.0 ? values / sum * 100.0 : kNaN;
}

// Value and share of a group are of the same bars. Where some are not shown the value of all of
// them follows from their share; rates have no such sum, so theirs is of the bars that are there.
void AddGroups(const ParetoRead& pareto, ParetoView& view) {
  constexpr double kRounding = 1e-7;
  const auto& bins = pareto.bins;
  for (std::size_t i = 0; pareto.levels > 1 && i < bins.size();) {
    ParetoGroup group{PartText(pareto, bins[i], 0), 0.0, 0.0, false, i, i};
    double whole_share = 0.0;
    for (; i < bins.size() && bins[i].id[0] == bins[group.first].id[0]; group.last = i++) {
      if (std::isfinite(bins[i].value)) group.value += bins[i].value;
      if (std::isfinite(view.bars[i].share)) group.share += view.bars[i].share;
      // Empty bins behind the others say nothing of their group's share.
      whole_share = std::max(whole_share, bins[i].percentage[0]);
    }
    group.is_part = whole_share > group.share + kRounding && !std::isfinite(view.whole);
    if (group.is_part) {
      group.name += " (shown part)";
    } else if (whole_share > group.share + kRounding) {
      group.value = view.whole * whole_share / 100.0;
      group.share = whole_share;
    }
    view.groups.push_back(std::move(group));
  }
}

void AddTable(const ParetoRead& pareto, ParetoView& view) {
  Table& table = view.table;
  table.title = "Bins";
  table.rows.resize(pareto.bins.size());
  const auto column = [&](const std::string& heading, auto cell) {
    table.headings.push_back(heading);
    for (std::size_t i = 0; i < pareto.bins.size(); ++i)
      table.rows[i].push_back(cell(pareto.bins[i], view.bars[i]));
  };
  for (std::size_t level = 0; level < pareto.levels; ++level) {
    const auto type = pareto.TypeOf(level);
    const std::string word = type ? Words(BinTypeWord(*type)) : "";
    column(word.empty() ? "level " + std::to_string(level + 1) : word,
           [&](auto& bin, auto&) { return PartText(pareto, bin, level); });
  }
  column("#" + view.axis, [](auto& bin, auto&) { return ParetoValue(bin.value); });
  column("#share", [](auto&, auto& bar) { return Percent(bar.share); });
  column("#cumulative", [](auto&, auto& bar) { return Percent(bar.cumulative); });
  column("#counted", [](auto& bin, auto&) { return ParetoValue(bin.bin_count); });
  column("#weighted", [](auto& bin, auto&) { return ParetoValue(bin.factor); });
  column("#out of", [](auto& bin, auto&) { return ParetoValue(bin.total); });
  // A column that no bin has is left out.
  const auto optional = [&](const char* heading, double ParetoBinRead::*value, int decimals,
                            const char* unit) {
    const auto is_given = [&](const ParetoBinRead& bin) { return !std::isnan(bin.*value); };
    if (std::any_of(pareto.bins.begin(), pareto.bins.end(), is_given))
      column(heading, [&](auto& bin, auto&) {
        return is_given(bin) ? Fixed(bin.*value, decimals) + unit : "";
      });
  };
  optional("#yield", &ParetoBinRead::yield, 2, " %");
  optional("#Ppk", &ParetoBinRead::ppk, 3, "");
}

std::string Subtitle(const ParetoView& view) {
  if (view.Empty()) return {};
  std::string text;
  if (std::isfinite(view.whole)) text = ParetoValue(view.whole) + " (" + view.axis + "); ";
  text += Counted(view.bars.size(), "bin");
  if (view.eighty) {
    const std::size_t few = *view.eighty + 1;
    text += few == 1 ? ", the first makes up " : ", the first " + std::to_string(few) + " make up ";
    text += Percent(view.bars[*view.eighty].cumulative);
  }
  if (view.other > 0.0) text += "; " + Percent(view.other) + " in bins that are not shown";
  if (std::any_of(view.bars.begin(), view.bars.end(), [](const auto& bar) { return bar.open; }))
    text += "; some events are still open";
  return text;
}

}  // namespace

double ParetoView::MostValue() const {
  double most = 0.0;
  for (const auto& bar : bars)
    if (std::isfinite(bar.value)) most = std::max(most, bar.value);
  for (const auto& group : groups) most = std::max(most, group.value);
  return most > 0.0 ? most : 1.0;
}

std::string Percent(double share) { return Fixed(share, 1) + " %"; }

std::string ParetoValue(double value) {
  if (value == std::round(value) && std::abs(value) < 1e12) return Fixed(value, 0);
  return Significant(value, 5);
}

ParetoView MakeParetoView(const ParetoDocument& document, const Names& names) {
  const ParetoRead& pareto = document.pareto;
  ParetoView view;
  AddMeaning(pareto, view);
  const std::string levels = LevelWords(pareto);
  const std::string selected = SelectedText(pareto.select.get(), names);
  view.title += (levels.empty() ? "" : " by " + levels) + (selected.empty() ? "" : ": " + selected);
  AddBars(pareto, view);
  AddGroups(pareto, view);
  AddTable(pareto, view);
  view.subtitle = Subtitle(view);
  view.notes = PlainNotes(document.notes);
  return view;
}

}  // namespace orvspc::render
