// SPDX-License-Identifier: Apache-2.0
#include "engine/write/limits/WindowStore.h"

#include <algorithm>
#include <utility>

#include "engine/charts/ChartPlan.h"
#include "engine/store/phases.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::limits {
namespace {

// Whether subgroups without a size have no point. Where the data choose the chart, sizes that are
// known for some make it one of rates.
bool NeedsSizes(const std::optional<std::int32_t>& count_word, const store::DataSet& data) {
  if (!count_word) return false;
  if (*count_word != 0) return !charts::BearsNoSize(*count_word);
  for (std::size_t i = 0; i < data.subgroups.size(); ++i) {
    if (data.subgroups[i].Flag == sfEnabled && data.SizeOf(i) > 0.0) return true;
  }
  return false;
}

}  // namespace

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
  const bool needs_sizes = NeedsSizes(count_word_, out);
  for (; end < out.subgroups.size() && counted < first_; ++end) {
    if (out.subgroups[end].Flag != sfEnabled) continue;
    if (!needs_sizes || out.SizeOf(end) > 0.0) ++counted;
  }
  if (end == out.subgroups.size()) return true;
  const auto whole = std::exchange(out, {});
  store::CopySubgroups(whole, 0, end, out);
  return true;
}

}  // namespace orvspc::engine::limits
