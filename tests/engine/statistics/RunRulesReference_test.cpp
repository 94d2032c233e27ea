// SPDX-License-Identifier: Apache-2.0
// Run rules against a slow reference that looks at every window anew.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

#include "engine/statistics/RunRules.h"
#include "platform/NaN.h"

namespace orvspc::engine::statistics {

namespace {

using platform::kNaN;

constexpr double kTolerance = 1e-9;

struct Sequence {
  std::vector<double> points, centre, sigma, ucl, lcl;
  std::vector<std::uint8_t> used, has_value, restart;

  RunInput Input() const { return {points, centre, sigma, ucl, lcl, used, has_value, restart}; }
};

bool HasValue(const Sequence& s, std::size_t i) {
  return s.has_value[i] != 0 && !std::isnan(s.points[i]);
}
bool HasZ(const Sequence& s, std::size_t i) {
  return HasValue(s, i) && s.sigma[i] > 0.0 && !std::isnan(s.centre[i]);
}

// The last m points up to i that a run may join, newest first; fewer when something breaks it.
std::vector<std::size_t> WindowBefore(const Sequence& s, std::size_t i, std::int32_t m) {
  std::vector<std::size_t> window;
  bool restart_after = false;
  for (std::size_t j = i + 1; j-- > 0;) {
    if (s.used[j] != 0) {
      if (restart_after || !HasZ(s, j)) break;
      window.push_back(j);
      if (window.size() == static_cast<std::size_t>(m)) break;
    }
    restart_after = restart_after || s.restart[j] != 0;
  }
  return window;
}

bool Fulfilled(const Sequence& s, const RunRule& rule, std::size_t i) {
  if (s.used[i] == 0 || !HasValue(s, i)) return false;
  const double x = s.points[i];
  if (rule.kind == RuleKind::Limit) {
    const double tie = s.sigma[i] > 0.0 ? kTolerance * s.sigma[i] : 1e-14 * std::fabs(x);
    return (rule.side != RuleSide::Lower && x > s.ucl[i] + tie) ||
           (rule.side != RuleSide::Upper && x < s.lcl[i] - tie);
  }
  const std::vector<std::size_t> window = WindowBefore(s, i, rule.m);
  if (window.size() < static_cast<std::size_t>(rule.m)) return false;
  const auto z = [&](std::size_t j) { return (s.points[j] - s.centre[j]) / s.sigma[j]; };
  const auto above = [&](std::size_t j) { return z(j) > rule.zone + kTolerance; };
  const auto below = [&](std::size_t j) { return z(j) < -rule.zone - kTolerance; };
  const auto number = [&](auto predicate) {
    return std::count_if(window.begin(), window.end(), predicate);
  };
  const auto step = [&](std::size_t w) {  // from the point before to point w of the window
    const double d = s.points[window[w]] - s.points[window[w + 1]],
                 tie = kTolerance * s.sigma[window[w]];
    return d > tie ? 1 : d < -tie ? -1 : 0;
  };
  switch (rule.kind) {
    case RuleKind::Within:
      return number(above) + number(below) == 0;
    case RuleKind::Zone:
    case RuleKind::Outside:
      switch (rule.side) {
        case RuleSide::Same:
          return (above(i) && number(above) >= rule.k) || (below(i) && number(below) >= rule.k);
        case RuleSide::Upper:
          return above(i) && number(above) >= rule.k;
        case RuleSide::Lower:
          return below(i) && number(below) >= rule.k;
        case RuleSide::Either:
          return (above(i) || below(i)) && number(above) + number(below) >= rule.k;
        case RuleSide::Both:
          return (above(i) || below(i)) && number(above) + number(below) >= rule.k &&
                 number(above) > 0 && number(below) > 0;
      }
      return false;
    case RuleKind::Trend:
    case RuleKind::Alternate:
      for (std::size_t w = 0; w + 1 < window.size(); ++w) {
        if (step(w) == 0) return false;
        if (rule.kind == RuleKind::Trend && rule.side == RuleSide::Upper && step(w) < 0)
          return false;
        if (rule.kind == RuleKind::Trend && rule.side == RuleSide::Lower && step(w) > 0)
          return false;
        if (w > 0 && (step(w) == step(w - 1)) != (rule.kind == RuleKind::Trend)) return false;
      }
      return true;
    default:
      return false;
  }
}

// Values on a grid of half sigmas, so that ties and points on lines abound, drifting and swinging
// so that every rule has its turn; centre and sigma step now and then.
Sequence RandomSequence(std::mt19937_64& random, std::size_t length) {
  const auto one_in = [&](std::uint64_t n) { return random() % n == 0; };
  const std::uint64_t rarity = 20 + random() % 400;
  Sequence s;
  double centre = 0.0, sigma = 1.0, level = 0.0;
  int mode = 0;
  for (std::size_t i = 0; i < length; ++i) {
    if (one_in(rarity)) {
      centre = static_cast<double>(random() % 5) - 2.0;
      sigma = 0.25 * static_cast<double>(1 + random() % 8);
    }
    if (one_in(15)) {
      mode = static_cast<int>(random() % 6);
      level = 0.0;
    }
    const double noise = 0.5 * static_cast<double>(static_cast<int>(random() % 5) - 2);
    const double sign = i % 2 == 0 ? 1.0 : -1.0;
    const double z = mode == 0   ? 2.0 * noise + 0.5 * static_cast<double>(random() % 4)
                     : mode == 1 ? (level += 0.25)
                     : mode == 2 ? (level -= 0.25)
                     : mode == 3 ? sign * (1.0 + std::fabs(noise))
                     : mode == 4 ? 0.5 * noise
                                 : 1.5 + noise * 0.5;
    const double rounding = one_in(3) ? 1e-11 * noise : 0.0;
    s.points.push_back(one_in(rarity) ? kNaN : centre + sigma * (z + rounding));
    s.centre.push_back(one_in(4 * rarity) ? kNaN : centre);
    s.sigma.push_back(one_in(2 * rarity) ? (one_in(2) ? 0.0 : kNaN) : sigma);
    s.ucl.push_back(one_in(rarity) ? kNaN : centre + 3.0 * sigma);
    s.lcl.push_back(one_in(rarity) ? kNaN : centre - 3.0 * sigma);
    s.used.push_back(one_in(rarity / 4) ? 0 : 1);
    s.has_value.push_back(one_in(2 * rarity) ? 0 : 1);
    s.restart.push_back(one_in(rarity) ? 1 : 0);
  }
  return s;
}

std::vector<RunRule> RulesOfEveryForm() {
  const std::span<const RunRule> standard = StandardRules();
  std::vector<RunRule> rules(standard.begin(), standard.begin() + 12);
  rules.push_back({13, 0, RuleKind::Zone, 2, 3, 1.5, RuleSide::Either, ""});
  rules.push_back({14, 0, RuleKind::Zone, 3, 4, 1.0, RuleSide::Both, ""});
  rules.push_back({15, 0, RuleKind::Zone, 2, 3, 2.0, RuleSide::Upper, ""});
  rules.push_back({16, 0, RuleKind::Zone, 2, 3, 2.0, RuleSide::Lower, ""});
  rules.push_back({17, 0, RuleKind::Outside, 5, 5, 1.0, RuleSide::Both, ""});
  rules.push_back({18, 0, RuleKind::Outside, 4, 4, 1.0, RuleSide::Upper, ""});
  rules.push_back({19, 0, RuleKind::Outside, 3, 3, 1.0, RuleSide::Lower, ""});
  rules.push_back({20, 0, RuleKind::Trend, 4, 4, 0.0, RuleSide::Upper, ""});
  rules.push_back({21, 0, RuleKind::Trend, 4, 4, 0.0, RuleSide::Lower, ""});
  rules.push_back({22, 0, RuleKind::Limit, 1, 1, 0.0, RuleSide::Upper, ""});
  rules.push_back({23, 0, RuleKind::Limit, 1, 1, 0.0, RuleSide::Lower, ""});
  rules.push_back({24, 0, RuleKind::Zone, 10, 64, 2.0, RuleSide::Same, ""});
  rules.push_back({25, 0, RuleKind::Within, 1, 1, 0.5, RuleSide::Either, ""});
  rules.push_back({26, 0, RuleKind::Zone, 12, 12, 0.0, RuleSide::Same, ""});
  return rules;
}

TEST(EvaluateRules, AgreesWithLookingAtEveryWindow) {
  const std::vector<RunRule> rules = RulesOfEveryForm();
  ASSERT_EQ(CheckRules(rules), "");
  std::mt19937_64 random(20240611);
  std::vector<int> hits(32, 0);
  for (const std::size_t length :
       {1U, 2U, 5U, 14U, 63U, 511U, 512U, 513U, 1024U, 1025U, 3000U, 20000U, 20000U}) {
    for (const bool whole : {false, true}) {
      Sequence s = RandomSequence(random, length);
      auto input = s.Input();
      if (whole) {  // every point is used and shows its value, and nothing restarts
        std::ranges::fill(s.used, 1);
        std::ranges::fill(s.has_value, 1);
        std::ranges::fill(s.restart, 0);
        input.used = input.has_value = input.restart = {};
      }
      const std::vector<std::uint32_t> marks = EvaluateRules(input, rules);
      for (std::size_t i = 0; i < length; ++i) {
        std::uint32_t expected = 0;
        for (const RunRule& rule : rules) {
          if (!Fulfilled(s, rule, i)) continue;
          expected |= RuleBit(rule.number);
          ++hits[static_cast<std::size_t>(rule.number)];
        }
        ASSERT_EQ(marks[i], expected)
            << "point " << i << " of " << length << (whole ? " whole" : "");
      }
    }
  }
  for (const RunRule& rule : rules)
    EXPECT_GT(hits[static_cast<std::size_t>(rule.number)], 20)
        << "rule " << rule.number << " was hardly tried";
}

// Points stay on one side for up to 400 points, across the words and blocks that rules work in.
TEST(EvaluateRules, RowsOfAnyLengthAreFollowed) {
  std::vector<RunRule> rules;
  for (const std::int32_t m : {2, 63, 64, 65, 66, 127, 128, 129, 200, 300}) {
    const auto number = static_cast<std::int32_t>(rules.size());
    rules.push_back({number, 0, RuleKind::Zone, m, m, 0.0, RuleSide::Same, ""});
  }
  rules.push_back({16, 0, RuleKind::Outside, 150, 150, 0.5, RuleSide::Both, ""});
  rules.push_back({17, 0, RuleKind::Within, 90, 90, 2.0, RuleSide::Either, ""});
  rules.push_back({18, 0, RuleKind::Trend, 80, 80, 0.0, RuleSide::Same, ""});
  rules.push_back({19, 0, RuleKind::Alternate, 70, 70, 0.0, RuleSide::Either, ""});
  ASSERT_EQ(CheckRules(rules), "");
  std::mt19937_64 random(5);
  Sequence s;
  while (s.points.size() < 6000) {
    const auto length = 1 + random() % 400;
    const auto shape = random() % 4;
    const double side = random() % 2 == 0 ? 1.0 : -1.0;
    for (std::uint64_t i = 0; i < length; ++i) {
      const double turn = i % 2 == 0 ? 1.0 : -1.0, slope = 0.01 * static_cast<double>(i);
      s.points.push_back(shape == 0   ? side
                         : shape == 1 ? side * (0.1 + slope)
                         : shape == 2 ? turn
                                      : 1.5 * side);
      s.restart.push_back(random() % 700 == 0 ? 1 : 0);
      s.used.push_back(random() % 90 == 0 ? 0 : 1);
    }
  }
  const auto count = s.points.size();
  s.centre.assign(count, 0.0);
  s.sigma.assign(count, 1.0);
  s.ucl.assign(count, 3.0);
  s.lcl.assign(count, -3.0);
  s.has_value.assign(count, 1);
  const auto marks = EvaluateRules(s.Input(), rules);
  std::uint32_t seen = 0;
  for (std::size_t i = 0; i < count; ++i) {
    std::uint32_t expected = 0;
    for (const RunRule& rule : rules) {
      if (Fulfilled(s, rule, i)) expected |= RuleBit(rule.number);
    }
    seen |= expected;
    ASSERT_EQ(marks[i], expected) << "point " << i;
  }
  for (const RunRule& rule : rules) {
    EXPECT_NE(seen & RuleBit(rule.number), 0U) << "rule " << rule.number << " was never tried";
  }
}

}  // namespace
}  // namespace orvspc::engine::statistics
