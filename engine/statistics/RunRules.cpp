// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/RunRules.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <tuple>

namespace orvspc::engine::statistics {
namespace {

using enum RuleKind;

constexpr std::int32_t kLongestWindow = 64;  // a window with k < m is kept as the bits of one word

constexpr std::int32_t kNelson[] = {1, 2, 3, 4, 5, 6, 7, 8};
constexpr std::int32_t kWesternElectric[] = {1, 5, 6, 9};
constexpr std::int32_t kAiag[] = {1, 3, 4, 5, 6, 7, 8, 10};
constexpr std::int32_t kPublicHealth[] = {1, 5, 10, 11};
constexpr std::int32_t kPreControl[] = {16, 17, 18};

struct NamedSet {
  std::string_view name;
  std::span<const std::int32_t> numbers;
};
constexpr NamedSet kSets[] = {
    {"nelson", kNelson},
    {"western-electric", kWesternElectric},
    {"aiag", kAiag},
    {"public-health", kPublicHealth},
    {"pre-control", kPreControl},
};
constexpr std::string_view kSetNames[] = {kSets[0].name, kSets[1].name, kSets[2].name,
                                          kSets[3].name, kSets[4].name};

// In the order of the enumerations.
constexpr std::string_view kKindNames[] = {"limit", "zone",      "within", "outside",
                                           "trend", "alternate", "red",    "yellow2"};
constexpr std::string_view kSideNames[] = {"same", "either", "both", "upper", "lower"};
static_assert(std::size(kKindNames) == static_cast<std::size_t>(Yellow2) + 1);
static_assert(std::size(kSideNames) == static_cast<std::size_t>(RuleSide::Lower) + 1);

template <typename Value>
std::string_view NameIn(std::span<const std::string_view> names, Value value) {
  const auto place = static_cast<std::size_t>(value);
  return place < names.size() ? names[place] : "";
}

template <typename Value>
bool ValueIn(std::span<const std::string_view> names, std::string_view name, Value& value) {
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) return false;
  value = static_cast<Value>(found - names.begin());
  return true;
}

}  // namespace

std::span<const RunRule> StandardRules() {
  static const std::vector<RunRule> rules = {
      {1, 1, Limit, 1, 1, 0.0, RuleSide::Either, "1 point beyond a control limit"},
      {2, 2, Zone, 9, 9, 0.0, RuleSide::Same, "9 points in a row on one side of the centre line"},
      {3, 3, Trend, 6, 6, 0.0, RuleSide::Same, "6 points in a row, all rising or all falling"},
      {4, 4, Alternate, 14, 14, 0.0, RuleSide::Either,
       "14 points in a row, going up and down in turn"},
      {5, 5, Zone, 2, 3, 2.0, RuleSide::Same, "2 of 3 points in a row beyond 2 sigma on one side"},
      {6, 6, Zone, 4, 5, 1.0, RuleSide::Same, "4 of 5 points in a row beyond 1 sigma on one side"},
      {7, 7, Within, 15, 15, 1.0, RuleSide::Either,
       "15 points in a row within 1 sigma of the centre line"},
      {8, 8, Outside, 8, 8, 1.0, RuleSide::Either, "8 points in a row beyond 1 sigma, either side"},
      {9, 9, Zone, 8, 8, 0.0, RuleSide::Same, "8 points in a row on one side of the centre line"},
      {10, 10, Zone, 7, 7, 0.0, RuleSide::Same, "7 points in a row on one side of the centre line"},
      {11, 11, Trend, 7, 7, 0.0, RuleSide::Same, "7 points in a row, all rising or all falling"},
      {12, 12, Trend, 8, 8, 0.0, RuleSide::Same, "8 points in a row, all rising or all falling"},
      {16, 16, Red, 1, 1, 0.0, RuleSide::Either, "1 piece beyond a specification limit"},
      {17, 17, Yellow2, 2, 2, 0.0, RuleSide::Same,
       "2 pieces in a row in the yellow zone, same side"},
      {18, 18, Yellow2, 2, 2, 0.0, RuleSide::Both,
       "2 pieces in a row in the yellow zone, opposite sides"},
  };
  return rules;
}

std::span<const std::int32_t> RuleSet(std::string_view name) {
  for (const NamedSet& set : kSets)
    if (set.name == name) return set.numbers;
  return {};
}

std::span<const std::string_view> RuleSetNames() { return kSetNames; }

std::vector<RunRule> SelectRules(std::span<const RunRule> list,
                                 std::span<const std::int32_t> numbers) {
  std::vector<RunRule> result;
  std::copy_if(list.begin(), list.end(), std::back_inserter(result), [&](const RunRule& rule) {
    return std::find(numbers.begin(), numbers.end(), rule.number) != numbers.end();
  });
  return result;
}

void SortRules(std::vector<RunRule>& list) {
  std::stable_sort(list.begin(), list.end(), [](const RunRule& a, const RunRule& b) {
    return std::tie(a.priority, a.number) < std::tie(b.priority, b.number);
  });
}

std::uint32_t RuleBit(std::int32_t number) {
  if (number == 31) number = 15;
  return number >= 0 && number <= 30 ? std::uint32_t{1} << number : 0;
}

std::string CheckRule(const RunRule& rule) {
  const std::string who = "rule " + std::to_string(rule.number) + ": ";
  if (RuleBit(rule.number) == 0) return who + "the number is not one of 0 to 31";
  if (NameOf(rule.kind).empty() || NameOf(rule.side).empty()) return who + "unknown kind or side";
  if (rule.m < 1 || rule.k < 1 || rule.k > rule.m) return who + "k of m needs 1 <= k <= m";
  if (!(rule.zone >= 0.0) || rule.zone > 1000.0) return who + "the zone is not a number of sigmas";
  if (rule.kind == Zone) {
    if (rule.k < rule.m && rule.m > kLongestWindow)
      return who + "a window of more than 64 points needs k = m";
  } else if (rule.k != rule.m) {
    return who + "this kind needs k = m";
  }
  if (rule.kind == Trend && rule.m < 2) return who + "a trend needs at least 2 points";
  if (rule.kind == Alternate && rule.m < 3) return who + "alternation needs at least 3 points";
  if ((rule.kind == Limit || rule.kind == Red) && rule.m != 1)
    return who + "this kind looks at one point";
  return {};
}

std::string CheckRules(std::span<const RunRule> list) {
  std::set<std::uint32_t> bits;
  std::set<std::int32_t> numbers;
  for (const RunRule& rule : list) {
    if (std::string wrong = CheckRule(rule); !wrong.empty()) return wrong;
    if (!numbers.insert(rule.number).second)
      return "rule " + std::to_string(rule.number) + " is given twice";
    if (!bits.insert(RuleBit(rule.number)).second)
      return "rules 15 and 31 share a bit: only one of them can be used";
  }
  return {};
}

std::span<const std::string_view> RuleKindNames() { return kKindNames; }
std::span<const std::string_view> RuleSideNames() { return kSideNames; }
std::string_view NameOf(RuleKind kind) { return NameIn(kKindNames, kind); }
std::string_view NameOf(RuleSide side) { return NameIn(kSideNames, side); }
bool RuleKindFromName(std::string_view name, RuleKind& kind) {
  return ValueIn(kKindNames, name, kind);
}
bool RuleSideFromName(std::string_view name, RuleSide& side) {
  return ValueIn(kSideNames, name, side);
}

}  // namespace orvspc::engine::statistics
