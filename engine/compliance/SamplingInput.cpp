// SPDX-License-Identifier: Apache-2.0
#include "engine/compliance/SamplingInput.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include "engine/chunks/StreamWalk.h"
#include "engine/store/conditions.h"
#include "engine/store/logs.h"
#include "engine/time/calendar.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::compliance {
namespace {

using catalogue::ItemKind;

constexpr std::int64_t kMinute = 60;

SamplingKind KindOf(std::string_view word) {
  if (word == "shift") return SamplingKind::Shift;
  if (word == "lot") return SamplingKind::Lot;
  return word == "job" ? SamplingKind::Job : SamplingKind::Interval;
}

std::vector<Requirement> ReadRequirements(sql::Connection& db, const store::FlatFilter& filter) {
  const auto parts = store::LookUpItems(db, filter, ItemKind::Part);
  const auto processes = store::LookUpItems(db, filter, ItemKind::Process);
  const auto tests = store::LookUpItems(db, filter, ItemKind::Test);
  std::vector<Requirement> requirements;
  sql::Query query(db,
                   "SELECT id, part, process, test, kind, n, minutes, grace, valid_from, valid_to "
                   "FROM requirement WHERE active <> 0 ORDER BY id");
  while (query.Step()) {
    Requirement each;
    std::optional<std::int64_t> from, to;
    query.Read(each.id, each.part, each.process, each.test);
    each.kind = KindOf(query.Text(4));
    query.ReadFrom(5, each.n, each.every, each.grace, from, to);
    each.every *= kMinute;
    each.grace *= kMinute;
    each.valid = {from.value_or(INT32_MIN), to.value_or(std::int64_t{INT32_MAX} + 1)};
    if ((each.part == 0 || store::Has(parts, each.part)) && store::Has(processes, each.process) &&
        store::Has(tests, each.test)) {
      requirements.push_back(each);
    }
  }
  return requirements;
}

// INT64_MAX: the process has none.
std::int64_t FirstState(sql::Connection& db, std::int32_t process) {
  const auto rows = store::ReadStateLog(db, process, INT32_MIN, INT32_MAX, 1);
  return rows.empty() ? INT64_MAX : rows.front().time;
}

std::vector<StateSegment> ReadSegments(sql::Connection& db, std::int32_t process,
                                       const Period& window, const std::string& name) {
  if (!store::HasStateLog(db, process)) {
    store::AddNote("no-state-log",
                   "The process has no state log and counts as running all the time.", name);
    return {{window.start, window.end, 0, pst_None, true}};
  }
  std::vector<StateSegment> segments;
  const auto begin = [&](std::int64_t time, const store::StateLogRow& row) {
    if (!segments.empty()) segments.back().end = time;
    segments.push_back({time, window.end, row.state, row.type, IsRunning(row.type)});
  };
  const auto before = store::LatestStateBefore(db, process, window.start + 1);
  begin(window.start, before.value_or(store::StateLogRow()));
  for (const auto& row : store::ReadStateLog(db, process, window.start + 1, window.end - 1)) {
    begin(row.time, row);
  }
  return segments;
}

std::vector<Occasion> ShiftsOf(const Period& window, std::span<const std::int32_t> starts,
                               std::int32_t zone_offset) {
  std::vector<Occasion> shifts;
  for (auto at = window.start; at < window.end;) {
    const auto shift = time::ShiftAround(at, starts, zone_offset);
    shifts.push_back({at, std::min(shift.end, window.end), 0});
    at = shift.end;
  }
  return shifts;
}

// Each lot or job of the part and process in the window, from its first to its last subgroup.
std::vector<Occasion> ReadItems(sql::Connection& db, const store::StoreCache& cache,
                                const store::FlatFilter& filter, const Requirement& requirement,
                                const Period& window) {
  constexpr auto kLot = *store::PlaceInContext(ItemKind::Lot);
  constexpr auto kJob = *store::PlaceInContext(ItemKind::Job);
  const auto lots = store::LookUpItems(db, filter, ItemKind::Lot),
             jobs = store::LookUpItems(db, filter, ItemKind::Job);
  std::map<std::int32_t, Occasion> items;
  const auto take = [&](const store::RecordView& record) {
    const auto& context = cache.contexts[cache.PlaceOfContextOf(record)];
    if (!store::Has(lots, context[kLot]) || !store::Has(jobs, context[kJob])) return;
    const auto item = requirement.kind == SamplingKind::Lot ? context[kLot] : context[kJob];
    if (item == 0) return;
    const std::int64_t time = record.Time();
    auto& found = items.try_emplace(item, Occasion{time, time + 1, item}).first->second;
    found.start = std::min(found.start, time);
    found.end = std::max(found.end, time + 1);
  };
  for (const auto& stream : cache.streams) {
    if (stream.process != requirement.process) continue;
    if (requirement.part != 0 && stream.part != requirement.part) continue;
    store::ForEachRecord(db, stream.id, take, static_cast<std::int32_t>(window.start),
                         static_cast<std::int32_t>(window.end - 1));
  }
  std::vector<Occasion> occasions;
  for (const auto& [item, occasion] : items) occasions.push_back(occasion);
  return occasions;
}

}  // namespace

std::optional<std::int64_t> BeginOfProcess(sql::Connection& connection,
                                           const store::StoreCache& cache, std::int32_t process,
                                           std::int32_t part) {
  auto begin = FirstState(connection, process);
  for (const auto& stream : cache.streams) {
    if (stream.process != process || (part != 0 && stream.part != part)) continue;
    store::StreamWalk(connection, stream.id, true, INT32_MIN, INT32_MAX)
        .ForEach([&](const store::RecordView& record) {
          if (record.Flag() != sfEnabled) return true;
          begin = std::min(begin, std::int64_t{record.Time()});
          return false;
        });
  }
  return begin == INT64_MAX ? std::nullopt : std::optional(begin);
}

namespace {

// However early other parts and processes of the selection begin.
void BeginWithTheirOwn(sql::Connection& db, std::span<const API_SubgroupData> subgroups,
                       const Period& window, std::vector<Requirement>& requirements) {
  for (auto& each : requirements) {
    const bool by_item = each.kind == SamplingKind::Lot || each.kind == SamplingKind::Job;
    if (by_item || each.valid.start != INT32_MIN || store::HasStateLog(db, each.process)) continue;
    const auto own = std::ranges::find_if(subgroups, [&](const API_SubgroupData& subgroup) {
      return subgroup.Prcs == each.process && (each.part == 0 || subgroup.Part == each.part);
    });
    each.valid.start = own == subgroups.end() ? window.end : std::int64_t{own->Sgtm};
  }
}

}  // namespace

SamplingInput ReadSamplingInput(store::Store& store, sql::Connection& connection,
                                const API_DSInfo& info, std::span<const std::int32_t> filter,
                                std::span<const API_SubgroupData> subgroups) {
  const auto& cache = store.Cache();
  const auto flat = store::ReadFilter(info, filter);
  SamplingInput input;
  input.requirements = ReadRequirements(connection, flat);
  std::set<std::int32_t> processes;
  for (const auto& each : input.requirements) processes.insert(each.process);
  for (const auto& each : subgroups) processes.insert(each.Prcs);

  auto& window = input.window;
  const bool has_end = store::HasTimeBounds(info) && info.TimeEnd != time::kNoStamp;
  window = {info.TimeStart, std::int64_t{has_end ? info.TimeEnd : INT32_MAX} + 1};
  auto latest = time::Now();
  if (!subgroups.empty()) latest = std::max(latest, std::int64_t{subgroups.back().Sgtm});
  window.end = std::min(window.end, latest + 1);
  const bool has_start = window.start != time::kNoStamp;
  if (!has_start) {
    window.start = INT64_MAX;
    for (const auto process : processes) {
      window.start = std::min(window.start, FirstState(connection, process));
    }
    if (!subgroups.empty()) window.start = std::min(window.start, std::int64_t{subgroups[0].Sgtm});
  }
  if (window.start >= window.end) return {};
  if (!has_start) BeginWithTheirOwn(connection, subgroups, window, input.requirements);

  const auto& names = store.Cache().Names(catalogue::ItemKind::Process);
  for (const auto process : processes) {
    const auto name = names.find(process);
    input.segments[process] =
        ReadSegments(connection, process, window, name == names.end() ? "" : name->second);
  }
  const auto setting = cache.settings.find("shift_starts");
  const auto starts =
      time::ParseTimesOfDay(setting == cache.settings.end() ? time::kUsualShifts : setting->second);
  for (const auto& each : input.requirements) {
    if (each.kind == SamplingKind::Interval) continue;
    input.occasions[each.id] =
        each.kind == SamplingKind::Shift
            ? ShiftsOf(window, starts.value_or(std::vector<std::int32_t>{0}), cache.zone_offset)
            : ReadItems(connection, cache, flat, each, window);
  }
  return input;
}

TakenSample SampleOf(const Requirement& requirement, const API_SubgroupData& subgroup) {
  const auto item = requirement.kind == SamplingKind::Lot   ? subgroup.Lot
                    : requirement.kind == SamplingKind::Job ? subgroup.Job
                                                            : 0;
  return {subgroup.Sgtm, item};
}

std::vector<SamplingWindow> WindowsOf(const SamplingInput& input, const Requirement& requirement,
                                      std::span<const TakenSample> samples) {
  const auto& segments = input.segments.at(requirement.process);
  if (requirement.kind == SamplingKind::Interval) {
    return IntervalSampling(segments, requirement.valid, requirement.n, requirement.every,
                            requirement.grace, samples);
  }
  return OccasionSampling(segments, requirement.valid, requirement.n,
                          input.occasions.at(requirement.id), samples);
}

}  // namespace orvspc::engine::compliance
