// SPDX-License-Identifier: Apache-2.0
#include "engine/write/limits/WindowStore.h"

#include <algorithm>
#include <utility>

#include "engine/store/phases.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::limits {

bool WindowStore::Select(API_DSInfo& info, std::span<const std::int32_t> filter,
                         const store::SelectOptions& options, store::DataSet& out) {
  if (!Behind().Select(info, filter, options, out)) return false;
  auto excluded = Behind().Phases(0, 0, 0);
  std::erase_if(excluded, [](const Phase& phase) { return phase.Counts(); });
  for (auto& subgroup : out.subgroups) {
    const bool is_excluded = std::ranges::any_of(excluded, [&](const Phase& phase) {
      return phase.Holds(subgroup.Sgtm) &&
             store::HoldsFor(phase, subgroup.Part, subgroup.Prcs, subgroup.Test);
    });
    if (is_excluded || left_out_.contains(subgroup.Sgrp)) subgroup.Flag = sfDisabled;
  }
  if (first_ == 0) return true;
  std::int32_t counted = 0;
  std::size_t end = 0;
  while (end < out.subgroups.size() && counted < first_) {
    if (out.subgroups[end++].Flag == sfEnabled) ++counted;
  }
  if (end == out.subgroups.size()) return true;
  store::DataSet kept;
  store::CopySubgroups(out, 0, end, kept);
  out = std::move(kept);
  return true;
}

Window WindowOf(const store::StreamIds& stream, std::int32_t start, std::int32_t end) {
  Window window;
  constexpr std::int32_t kEveryState = 7;
  auto& info = window.info;
  info.DECFGID = -1;
  info.TimeType = drttStatic;
  info.TimeStart = start;
  info.TimeEnd = end;
  info.Status = kEveryState;
  info.AllPart = info.AllProcess = info.AllTest = ftItemList;
  info.AllJob = info.AllLot = info.AllShift = info.AllEmployee = info.AllCode = ftUnlimited;
  for (const auto id : {stream.part, stream.process, stream.test}) {
    window.filter.insert(window.filter.end(), {0, 1, id});
  }
  constexpr std::size_t kOtherKinds = 5;
  window.filter.resize(window.filter.size() + 2 * kOtherKinds + 2);
  return window;
}

}  // namespace orvspc::engine::limits
