// SPDX-License-Identifier: Apache-2.0
#include "host/cli/UsedSubgroups.h"

#include <algorithm>

#include "platform/Enumerations.h"

namespace orvspc::cli {

std::vector<bool> ExcludedRows(const QualityDatabase& database,
                               std::span<const render::SubgroupRow> rows) {
  auto phases = database.Phases();
  std::erase_if(phases, [](const Phase& phase) { return phase.Counts(); });
  const auto fits = [](std::int32_t asked, std::int32_t id) { return asked == 0 || asked == id; };
  std::vector<bool> excluded;
  for (const auto& row : rows) {
    excluded.push_back(std::ranges::any_of(phases, [&](const Phase& phase) {
      return fits(phase.part, row.part) && fits(phase.process, row.prcs) &&
             fits(phase.test, row.test) && phase.Holds(static_cast<std::int32_t>(row.stamp));
    }));
  }
  return excluded;
}

std::vector<const char*> WhyNotUsed(std::span<const render::SubgroupRow> rows,
                                    const std::vector<bool>& excluded, const DataSelect* select) {
  const bool any_state = select != nullptr && !select->IncludeEnabled();
  std::vector<const char*> why;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const auto flag = rows[i].flag;
    why.push_back(excluded[i]                      ? "of an excluded phase"
                  : any_state || flag == sfEnabled ? nullptr
                  : flag == sfDisabled             ? "disabled"
                                                   : "incomplete");
  }
  return why;
}

}  // namespace orvspc::cli
