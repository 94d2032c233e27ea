// SPDX-License-Identifier: Apache-2.0
#include "engine/store/alarm_rules.h"

#include <algorithm>
#include <utility>

#include "platform/ChartWord.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::store {
namespace {

// Rules that judge single pieces of a pre-control chart.
bool IsPieceRule(const StoredRule& rule) { return rule.kind == "red" || rule.kind == "yellow2"; }

// The sign bit is never set.
std::uint32_t BitOf(std::int32_t number) {
  return std::uint32_t{1} << (number == 31 ? 15 : static_cast<unsigned>(number) & 31u);
}

// How many of the four a row names; -1 when it concerns another stream or graph.
template <class Row>
int Narrowness(const Row& row, std::int32_t part, std::int32_t process, std::int32_t test,
               std::int32_t graph) {
  int narrowness = 0;
  const std::pair<std::int32_t, std::int32_t> columns[] = {
      {row.part, part}, {row.process, process}, {row.test, test}, {row.graph, graph}};
  for (const auto& [wanted, actual] : columns) {
    if (wanted == 0) continue;
    if (wanted != actual) return -1;
    ++narrowness;
  }
  return narrowness;
}

bool Applies(const StoredRule& rule, std::int32_t chart_word, std::int32_t graph) {
  if (graph != 1) return rule.kind == "limit";
  const auto codes = platform::ChartCodesOf(chart_word);
  switch (codes.graph1) {
    case ccGraph1Pc:  // up to here the codes are the numbers of the enumerators
      return IsPieceRule(rule);
    case ccGraph1Ma:
      return rule.kind == "limit";
    default: {
      if (!codes.IsOfCounts()) return !IsPieceRule(rule);
      const bool is_run = rule.kind == "zone" && rule.zone == 0.0;
      return rule.kind == "limit" || is_run || rule.kind == "trend" || rule.kind == "alternate";
    }
  }
}

}  // namespace

std::uint32_t RulesOn(const StoreCache& cache,
                      const std::optional<std::vector<std::int32_t>>& numbers, std::int32_t part,
                      std::int32_t process, std::int32_t test, std::int32_t graph) {
  const bool by_rows = !numbers && !cache.alarms.empty();
  if (!by_rows && graph != 1) return BitOf(1);
  std::uint32_t bits = 0;
  for (const auto& rule : *cache.rules) {
    bool is_on = false;
    if (by_rows) {
      int narrowest = -1;
      for (const auto& row : cache.alarms) {
        if (row.number != rule.number) continue;
        const int narrowness = Narrowness(row, part, process, test, graph);
        if (narrowness < 0 || narrowness < narrowest) continue;
        narrowest = narrowness;
        is_on = row.is_on;
      }
    } else {
      constexpr std::int32_t kNelsonRules = 8;
      is_on = IsPieceRule(rule) ||
              (numbers ? std::count(numbers->begin(), numbers->end(), rule.number) > 0
                       : rule.number >= 1 && rule.number <= kNelsonRules);
    }
    if (is_on) bits |= BitOf(rule.number);
  }
  return bits;
}

std::optional<std::string> OptionInForce(const StoreCache& cache, std::int32_t part,
                                         std::int32_t process, std::int32_t test,
                                         std::int32_t graph, std::string_view key) {
  int narrowest = -1;
  const OptionRow* found = nullptr;
  for (const auto& row : cache.chart_options) {
    if (row.key != key) continue;
    const int narrowness = Narrowness(row, part, process, test, graph);
    if (narrowness < 0 || narrowness < narrowest) continue;
    narrowest = narrowness;
    found = &row;
  }
  if (found == nullptr || found->value == kDefaultOption) return std::nullopt;
  return found->value;
}

std::uint32_t ApplicableRules(std::span<const StoredRule> rules, std::int32_t chart_word,
                              std::int32_t graph) {
  std::uint32_t bits = 0;
  for (const auto& rule : rules) {
    if (Applies(rule, chart_word, graph)) bits |= BitOf(rule.number);
  }
  return bits;
}

}  // namespace orvspc::engine::store
