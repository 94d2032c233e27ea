// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/run_rules.h"

#include <algorithm>

#include "engine/statistics/RunRules.h"

namespace orvspc::studies {

using namespace engine;

namespace {

constexpr std::string_view kClassic = "classic";
constexpr std::int32_t kClassicRules[] = {1, 5, 6, 9};

bool Convert(const ChartRule& rule, statistics::RunRule& converted) {
  converted.number = converted.priority = rule.number;
  converted.k = rule.k;
  converted.m = rule.m;
  converted.zone = rule.zone;
  converted.text = rule.text;
  return statistics::RuleKindFromName(rule.kind, converted.kind) &&
         statistics::RuleSideFromName(rule.side, converted.side);
}

}  // namespace

ChartRule AsChartRule(const statistics::RunRule& rule) {
  return {rule.number, std::string(NameOf(rule.kind)), rule.k,   rule.m,
          rule.zone,   std::string(NameOf(rule.side)), rule.text};
}

bool IsOfPieces(const statistics::RunRule& rule) {
  return rule.kind == statistics::RuleKind::Red || rule.kind == statistics::RuleKind::Yellow2;
}

std::vector<ChartRule> RulesOfSet(std::string_view name) {
  const auto numbers = name == kClassic ? std::span(kClassicRules) : statistics::RuleSet(name);
  std::vector<ChartRule> rules;
  for (const auto& rule : statistics::SelectRules(statistics::StandardRules(), numbers)) {
    if (!IsOfPieces(rule)) rules.push_back(AsChartRule(rule));
  }
  return rules;
}

std::vector<std::string_view> NamesOfSets() {
  std::vector<std::string_view> names{kClassic};
  for (const auto name : statistics::RuleSetNames()) {
    if (!RulesOfSet(name).empty()) names.push_back(name);
  }
  return names;
}

std::string RefusalOf(std::span<const ChartRule> rules) {
  std::vector<statistics::RunRule> list;
  for (const auto& rule : rules) {
    const auto who = "rule " + std::to_string(rule.number) + ": ";
    auto& converted = list.emplace_back();
    if (!Convert(rule, converted)) return who + "unknown kind or side";
    if (IsOfPieces(converted)) return who + "it judges pieces, not points";
  }
  return statistics::CheckRules(list);
}

std::vector<statistics::RunRule> RunRulesOf(std::span<const ChartRule> rules) {
  std::vector<statistics::RunRule> list(rules.size());
  for (std::size_t i = 0; i < rules.size(); ++i) Convert(rules[i], list[i]);
  return list;
}

}  // namespace orvspc::studies
