// SPDX-License-Identifier: Apache-2.0
#include "engine/write/log/MovedRecords.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace orvspc::engine::log {

Json MovedRecords::AsJson() {
  auto all = Json::array();
  for (auto& [test, subgroups] : added_) {
    std::ranges::sort(subgroups);
    auto runs = Json::array();
    const auto end = subgroups.size();
    for (std::size_t begin = 0; begin < end;) {
      auto last = begin;
      while (last + 1 < end &&
             subgroups[last + 1] - subgroups[last] == subgroups[begin + 1] - subgroups[begin]) {
        ++last;
      }
      if (last - begin < 2) {
        runs.push_back(subgroups[begin++]);
        continue;
      }
      runs.push_back({subgroups[begin], subgroups[begin + 1] - subgroups[begin], subgroups[last]});
      begin = last + 1;
    }
    all.push_back({{"test", test}, {"subgroups", std::move(runs)}});
  }
  return all;
}

MovedRecords::MovedRecords(const Json& json) {
  const auto number = [](const Json& each) {
    return each.is_number_integer() ? each.get<std::int32_t>() : 0;
  };
  if (!json.is_array()) return;
  for (const auto& of_test : json) {
    if (!of_test.is_object() || !of_test.contains("test") || !of_test.contains("subgroups")) {
      continue;
    }
    auto& runs = runs_[number(of_test["test"])];
    for (const auto& each : of_test["subgroups"]) {
      if (each.is_array() && each.size() == 3) {
        runs.push_back({number(each[0]), std::max(number(each[1]), 1), number(each[2])});
      } else {
        runs.push_back({number(each), 1, number(each)});
      }
    }
  }
}

bool MovedRecords::Holds(std::int32_t test, std::int32_t subgroup) const {
  const auto of_test = runs_.find(test);
  if (of_test == runs_.end()) return false;
  const auto after = std::ranges::upper_bound(of_test->second, subgroup, {}, &Run::first);
  if (after == of_test->second.begin()) return false;
  const auto& run = *std::prev(after);
  return subgroup <= run.last && (subgroup - run.first) % run.step == 0;
}

}  // namespace orvspc::engine::log
