// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/catalogue/References.h"

namespace orvspc::engine::audit {

// The renamings of the log, in its order: names of items at the time of an entry.
class Renamings {
 public:
  void Add(std::int64_t seq, catalogue::ItemKind kind, std::string before, std::string after) {
    all_.push_back({seq, kind, std::move(before), std::move(after)});
  }
  // What was called so at entry `from` was called this at entry `to`, which was not after it. Lives
  // as long as the name and this.
  std::string_view NameAt(catalogue::ItemKind kind, std::string_view name, std::int64_t to,
                          std::int64_t from = INT64_MAX) const {
    for (auto each = all_.rbegin(); each != all_.rend() && each->seq > to; ++each) {
      if (each->seq < from && each->kind == kind && each->after == name) name = each->before;
    }
    return name;
  }
  // The same for all entries between two renamings.
  std::int64_t EpochOf(std::int64_t seq) const {
    return std::ranges::count_if(all_, [&](const Renaming& each) { return each.seq < seq; });
  }

 private:
  struct Renaming {
    std::int64_t seq;
    catalogue::ItemKind kind;
    std::string before, after;
  };
  std::vector<Renaming> all_;
};

}  // namespace orvspc::engine::audit
