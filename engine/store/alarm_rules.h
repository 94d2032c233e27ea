// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/store/StoreCache.h"

// Rows of which the one that names the most of part, process, test and graph decides. Sets of run
// rules are bits: that of a rule is its number, 15 for 15 and 31.
namespace orvspc::engine::store {

// The rules that are on for a stream and graph (1..3).
//
// - By the alarm rows. Of several rows for a rule the one that names the most of part, process,
// test
//   and graph decides, the newest of those with equally many.
// - Without alarm rows: Nelson's eight on graph 1, rule 1 on the others.
// - With numbers: these on graph 1, rule 1 on the others.
// - Without rows or with numbers, rules of single pieces stay on.
std::uint32_t RulesOn(const StoreCache& cache,
                      const std::optional<std::vector<std::int32_t>>& numbers, std::int32_t part,
                      std::int32_t process, std::int32_t test, std::int32_t graph);

// The option of a key that holds for a stream and graph; none: the default. Of several rows the one
// that names the most decides, the newest of those with equally many.
inline constexpr std::string_view kDefaultOption = "default";
std::optional<std::string> OptionInForce(const StoreCache& cache, std::int32_t part,
                                         std::int32_t process, std::int32_t test,
                                         std::int32_t graph, std::string_view key);

// The rules that a graph of a chart can be judged by.
std::uint32_t ApplicableRules(std::span<const StoredRule> rules, std::int32_t chart_word,
                              std::int32_t graph);

}  // namespace orvspc::engine::store
