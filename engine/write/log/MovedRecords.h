// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "engine/write/log/Json.h"

namespace orvspc::engine::log {

// The records to which a merge of two items gave the name of the one that stays, as its entry keeps
// them: subgroups in runs of one step, by test.
class MovedRecords {
 public:
  static constexpr std::int32_t kAnyTest = 0;

  // In any order, each once.
  void Add(std::int32_t test, std::int32_t subgroup) { added_[test].push_back(subgroup); }
  // [{"test": 3, "subgroups": [4, [7, 2, 100]]}], which is 4 and, from 7 on, each second up to 100.
  Json AsJson();

  MovedRecords() = default;
  // What AsJson gave; nothing of anything else.
  explicit MovedRecords(const Json& json);
  bool Holds(std::int32_t test, std::int32_t subgroup) const;

 private:
  struct Run {
    std::int32_t first = 0, step = 1, last = 0;
  };
  std::map<std::int32_t, std::vector<std::int32_t>> added_;
  std::map<std::int32_t, std::vector<Run>> runs_;  // ascending
};

}  // namespace orvspc::engine::log
