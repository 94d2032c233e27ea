// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/ParetoPlan.h"

#include <string_view>

#include "platform/Enumerations.h"

namespace orvspc::engine::pareto {
namespace {

bool Takes(Resource resource, const BinKind& kind) {
  switch (resource) {
    case Resource::Subgroups:
      return kind.of_subgroup != nullptr || kind.of_row != nullptr;
    case Resource::Events:
      return kind.of_event != nullptr;
    case Resource::States:
      return kind.of_state != nullptr;
  }
  return false;
}

constexpr std::string_view kResourceNames[] = {"subgroups", "events", "process states"};

constexpr struct {
  std::int32_t word;
  Measure measure;
} kMeasures[] = {
    {paProcessByCount, Measure::Count},     {paProcessByFactor, Measure::Factor},
    {paProcessByPPM, Measure::PerMillion},  {paProcessByPPT, Measure::PerThousand},
    {paProcessByMinutes, Measure::Minutes}, {paProcessByHours, Measure::Hours},
    {paProcessByDays, Measure::Days},
};

std::optional<Measure> MeasureOf(std::int32_t word) {
  for (const auto& each : kMeasures) {
    if (each.word == word) return each.measure;
  }
  return std::nullopt;
}

bool IsTime(Measure measure) { return measure >= Measure::Minutes; }

std::optional<ParetoLevel> MakeLevel(Resource resource, const API_PAOptions& options,
                                     std::size_t place, std::int32_t zone_offset,
                                     std::string& reason) {
  const auto type = options.BinType[place];
  const auto* const kind = FindBinKind(type);
  if (kind == nullptr || !Takes(resource, *kind)) {
    reason = "No bins: " + std::string(kResourceNames[static_cast<std::size_t>(resource)]) +
             " cannot be binned by " + BinTypeName(type);
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
  const bool has_times = plan.resource != Resource::Subgroups;
  const bool counts =
      plan.accumulation == Accumulation::Value || plan.accumulation == Accumulation::Hits;
  if (!has_times) {
    if (!counts) plan.accumulation = Accumulation::Value;
    if (IsTime(plan.measure)) plan.measure = Measure::Count;
  } else if (IsTime(plan.measure) && counts) {
    plan.accumulation = Accumulation::EventTime;
  }
}

}  // namespace

std::optional<ParetoPlan> MakePlan(Resource resource, const API_PAOptions& options,
                                   std::int32_t zone_offset, std::string& reason) {
  ParetoPlan plan;
  plan.resource = resource;
  for (std::size_t place = 0; place < kMaxLevels; ++place) {
    if (options.BinType[place] == paBinTypeNone) continue;
    const auto level = MakeLevel(resource, options, place, zone_offset, reason);
    if (!level) return std::nullopt;
    plan.levels.push_back(*level);
  }
  if (plan.levels.empty()) {
    reason = "No bins: no level says what to bin by";
    return std::nullopt;
  }
  const auto measure = MeasureOf(options.ProcessingType);
  if (!measure) {
    reason = "No bins: there is no processing type " + std::to_string(options.ProcessingType);
    return std::nullopt;
  }
  plan.measure = *measure;
  if (options.AccumulationType < paAccumulateByValue ||
      options.AccumulationType > paAccumulateByCacTime) {
    reason = "No bins: there is no accumulation type " + std::to_string(options.AccumulationType);
    return std::nullopt;
  }
  plan.accumulation = static_cast<Accumulation>(options.AccumulationType);
  plan.most_bins = options.BinCount > 0 ? static_cast<std::size_t>(options.BinCount) : 0;
  plan.with_empty = options.ShowEmptyBins != 0;
  Settle(plan);
  return plan;
}

}  // namespace orvspc::engine::pareto
