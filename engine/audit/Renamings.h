// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/catalogue/References.h"
#include "engine/write/log/MovedRecords.h"

namespace orvspc::engine::audit {

// The renamings and merges of the log, in its order: names of items at the time of an entry.
class Renamings {
 public:
  // Which merges gave names to a record; 0: none.
  using Merges = std::size_t;

  void Add(std::int64_t seq, catalogue::ItemKind kind, std::string before, std::string after) {
    all_.push_back({seq, kind, std::move(before), std::move(after), kNone});
  }
  // from, into: the items' numbers.
  void AddMerge(std::int64_t seq, catalogue::ItemKind kind, std::string before, std::string after,
                std::int32_t from, std::int32_t into, const log::MovedRecords& moved) {
    all_.push_back({seq, kind, std::move(before), std::move(after), merges_.size()});
    merges_.push_back({seq, kind, from, into, moved});
  }

  // Of the record that a subgroup and test had when an entry came: those before it.
  Merges MergesOf(std::int32_t subgroup, std::int32_t test, std::int64_t entry = INT64_MAX) {
    if (merges_.empty()) return 0;
    found_.assign(merges_.size(), false);
    for (auto i = merges_.size(); i-- > 0;) {
      const auto& merge = merges_[i];
      if (merge.seq >= entry) continue;
      using enum catalogue::ItemKind;
      const bool is_any = merge.kind == Part || merge.kind == Process;
      if (!merge.moved.Holds(is_any ? log::MovedRecords::kAnyTest : test, subgroup)) continue;
      found_[i] = true;
      if (merge.kind == Test && merge.into == test) test = merge.from;
    }
    if (std::find(found_.begin(), found_.end(), true) == found_.end()) return 0;
    const auto [at, is_new] = numbers_.try_emplace(found_, sets_.size());
    if (is_new) sets_.push_back(found_);
    return at->second;
  }

  // What was called so at entry `from` was called this at entry `to`, which was not after it, in a
  // record of these merges. Lives as long as the name and this.
  std::string_view NameAt(catalogue::ItemKind kind, std::string_view name, std::int64_t to,
                          Merges merges, std::int64_t from = INT64_MAX) const {
    for (auto each = all_.rbegin(); each != all_.rend() && each->seq > to; ++each) {
      const bool applies = each->merge == kNone || (merges != 0 && sets_[merges][each->merge]);
      if (applies && each->seq < from && each->kind == kind && each->after == name) {
        name = each->before;
      }
    }
    return name;
  }
  // The same for all entries between two renamings.
  std::int64_t EpochOf(std::int64_t seq) const {
    return std::ranges::count_if(all_, [&](const Renaming& each) { return each.seq < seq; });
  }

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  struct Renaming {
    std::int64_t seq;
    catalogue::ItemKind kind;
    std::string before, after;
    std::size_t merge;  // its place among the merges; kNone: only a name changed
  };
  struct Merge {
    std::int64_t seq;
    catalogue::ItemKind kind;
    std::int32_t from, into;
    log::MovedRecords moved;
  };
  std::vector<Renaming> all_;
  std::vector<Merge> merges_;
  std::vector<bool> found_;                 // keeps its room
  std::vector<std::vector<bool>> sets_{1};  // the first has none
  std::map<std::vector<bool>, Merges> numbers_;
};

}  // namespace orvspc::engine::audit
