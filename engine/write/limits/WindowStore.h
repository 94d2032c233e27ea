// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/store/StoreInFront.h"

namespace orvspc::engine::limits {

// A store as a chart sees it that is to give nothing but calculated limits of a window: some
// subgroups and those of excluded phases do not count, those behind the first so many that do are
// not there, and there are neither stored control limits nor other phases. Everything else is that
// of the store behind it.
class WindowStore final : public store::StoreInFront {
 public:
  // left_out: subgroups. first: 0 for all.
  WindowStore(store::Store& behind, const std::set<std::int32_t>& left_out, std::int32_t first)
      : StoreInFront(behind), left_out_(left_out), first_(first) {}

  bool Select(API_DSInfo& info, std::span<const std::int32_t> filter,
              const store::SelectOptions& options, store::DataSet& out) override;
  std::vector<catalogue::ControlLimit> ControlLimits(std::int32_t, std::int32_t,
                                                     std::int32_t) override {
    return {};
  }

 private:
  const std::set<std::int32_t>& left_out_;
  std::int32_t first_;
};

// The selection of one stream from a time up to and with another.
struct Window {
  API_DSInfo info{};
  std::vector<std::int32_t> filter;
};
Window WindowOf(const store::StreamIds& stream, std::int32_t start, std::int32_t end);

}  // namespace orvspc::engine::limits
