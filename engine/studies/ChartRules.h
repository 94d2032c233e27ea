// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Run rules, as studies take them.
namespace orvspc::studies {

// A run rule; the words are those of files of rules.
struct ChartRule {
  std::int32_t number = 1;
  std::string kind = "limit";
  std::int32_t k = 1, m = 1;
  double zone = 0.0;
  std::string side = "either";
  std::string text = {};

  bool operator==(const ChartRule&) const = default;
};
// Of a named set: "nelson", "western-electric", "aiag", "public-health", and "classic", which is
// rules 1, 5, 6 and 9; empty for another name.
std::vector<ChartRule> RulesOfSet(std::string_view name);
std::vector<std::string_view> NamesOfSets();
// What is wrong with a list of rules; empty: nothing.
std::string RefusalOf(std::span<const ChartRule> rules);

}  // namespace orvspc::studies
