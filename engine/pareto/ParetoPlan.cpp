// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/ParetoPlan.h"

#include <algorithm>

namespace orvspc::engine::pareto {
namespace {

bool Takes(paResourceTypes resource, const BinFields& of) {
  switch (resource) {
    case paSubgroups:
      return of.subgroup != nullptr || of.row != nullptr;
    case paProcessEvents:
      return of.event != nullptr;
    case paProcessState:
      return of.state != nullptr;
  }
  return false;
}

constexpr const char* kResourceNames[] = {"subgroups", "events", "process states"};

constexpr Measure kMeasures[] = {
    {paProcessByCount, Measure::Of::Amount, 1.0},   {paProcessByFactor, Measure::Of::Weights, 1.0},
    {paProcessByPPM, Measure::Of::Proportion, 1e6}, {paProcessByPPT, Measure::Of::Proportion, 1e3},
    {paProcessByMinutes, Measure::Of::Time, 60.0},  {paProcessByHours, Measure::Of::Time, 3600.0},
    {paProcessByDays, Measure::Of::Time, 86400.0},
};

std::optional<ParetoLevel> MakeLevel(paResourceTypes resource, const API_PAOptions& options,
                                     std::size_t place, std::int32_t zone_offset,
                                     std::string& reason) {
  const auto type = options.BinType[place];
  const auto* const kind = FindBinKind(type);
  if (kind == nullptr || !Takes(resource, kind->of)) {
    reason = std::string("No bins: ") + kResourceNames[resource] + " cannot be binned by " +
             (kind == nullptr ? "bin type " + std::to_string(type) : std::string(kind->name));
    return std::nullopt;
  }
  ParetoLevel level{place, kind, options.BinTypeID[place], {}};
  if (kind->via != Via::Time) return level;
  const auto period = options.BinTimePeriod[place];
  if (!TimeBins::IsPeriod(period)) {
    reason = "No bins: there is no time period " + std::to_string(period);
    return std::nullopt;
  }
  level.periods = TimeBins(period, options.BinTimeInterval[place], zone_offset);
  return level;
}

// A time accumulates where there is one, and a measure in time takes the time that is there.
void Settle(ParetoPlan& plan) {
  const bool counts =
      plan.accumulation == paAccumulateByValue || plan.accumulation == paAccumulateByHits;
  const bool in_time = plan.measure.of == Measure::Of::Time;
  if (plan.resource == paSubgroups) {
    if (!counts) plan.accumulation = paAccumulateByValue;
    if (in_time) plan.measure = {};
  } else if (in_time && counts) {
    plan.accumulation = paAccumulateByEventTime;
  }
}

}  // namespace

std::optional<ParetoPlan> MakePlan(paResourceTypes resource, const API_PAOptions& options,
                                   std::int32_t zone_offset, std::string& reason) {
  reason.clear();
  ParetoPlan plan;
  plan.resource = resource;
  for (std::size_t place = 0; place < kMaxLevels; ++place) {
    if (options.BinType[place] == paBinTypeNone) continue;
    const auto level = MakeLevel(resource, options, place, zone_offset, reason);
    if (!level) return std::nullopt;
    plan.levels.push_back(*level);
  }
  const auto* const measure = std::ranges::find(kMeasures, options.ProcessingType, &Measure::type);
  if (plan.levels.empty()) {
    reason = "No bins: no level says what to bin by";
  } else if (measure == std::end(kMeasures)) {
    reason = "No bins: there is no processing type " + std::to_string(options.ProcessingType);
  } else if (options.AccumulationType < paAccumulateByValue ||
             options.AccumulationType > paAccumulateByCacTime) {
    reason = "No bins: there is no accumulation type " + std::to_string(options.AccumulationType);
  }
  if (!reason.empty()) return std::nullopt;
  plan.measure = *measure;
  plan.accumulation = static_cast<paAccumulationTypes>(options.AccumulationType);
  plan.most_bins = static_cast<std::size_t>(std::max(options.BinCount, 0));
  plan.with_empty = options.ShowEmptyBins != 0;
  Settle(plan);
  return plan;
}

}  // namespace orvspc::engine::pareto
