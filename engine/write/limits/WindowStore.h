// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/charts/VariableRun.h"
#include "engine/store/StoreInFront.h"
#include "engine/store/conditions.h"

namespace orvspc::engine::limits {

// The store as a chart sees it that is to give nothing but calculated limits of a window. Subgroups
// that are left out and those of excluded phases do not count; where only the first N are wanted,
// later ones are missing, and such without a point on a chart of counts are none of the N; there
// are no stored control limits. Everything else comes from the underlying
// store.
class WindowStore final : public store::StoreInFront {
 public:
  // left_out: subgroups. first: 0 for all. screen_mr: large moving ranges are dropped. count_word:
  // of the chart of counts, 0: the data choose; without it the chart is one of values. all_phases:
  // points run across the borders of phases.
  WindowStore(store::Store& behind, const std::set<std::int32_t>& left_out, std::int32_t first,
              bool screen_mr = false, std::optional<std::int32_t> count_word = {},
              bool all_phases = false)
      : StoreInFront(behind),
        left_out_(left_out),
        first_(first),
        screen_mr_(screen_mr),
        count_word_(count_word),
        all_phases_(all_phases) {}

  bool Select(API_DSInfo& info, std::span<const std::int32_t> filter,
              const store::SelectOptions& options, store::DataSet& out) override;
  std::vector<catalogue::ControlLimit> ControlLimits(std::int32_t, std::int32_t,
                                                     std::int32_t) override {
    return {};
  }
  std::vector<Phase> Phases(std::int32_t part, std::int32_t process, std::int32_t test) override {
    return all_phases_ ? std::vector<Phase>() : Behind().Phases(part, process, test);
  }
  std::string Setting(std::string_view key, std::string_view fallback) override {
    return screen_mr_ && key == charts::kScreenMovingRanges ? "yes"
                                                            : StoreInFront::Setting(key, fallback);
  }

 private:
  const std::set<std::int32_t>& left_out_;
  std::int32_t first_;
  bool screen_mr_;
  std::optional<std::int32_t> count_word_;
  bool all_phases_;
};

// What a window is read by.
using Window = store::StreamSelection;
inline Window WindowOf(const store::StreamIds& stream, std::int32_t start, std::int32_t end) {
  return store::SelectionOf(stream, start, end);
}

}  // namespace orvspc::engine::limits
