// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <limits>

#include "engine/statistics/RunRules.h"

namespace orvspc::engine {
namespace {

constexpr double kTie = 1e-9;                           // of a sigma
constexpr std::int64_t kNever = std::int64_t{1} << 60;  // longer ago than any window

double TieWidth(double a, double b, double sigma) {
  if (sigma > 0.0) return kTie * sigma;
  return 8.0 * std::numeric_limits<double>::epsilon() * std::max(std::fabs(a), std::fabs(b));
}

// What a rule can see of a point.
enum class Sight : std::uint8_t {
  Nothing,     // no value: every run ends here
  LimitsOnly,  // a value without centre or sigma: drawn limits are tested, every other run ends
               // here
  All,
};

// The used points of a stretch, side by side. Rules are run one after the other over a block that
// stays in the nearest cache, each as a loop without a choice of kind in it.
struct Block {
  static constexpr std::size_t kSize = 512;
  std::size_t count = 0;
  bool plain = true;  // every point can be seen in full and none restarts
  std::array<double, kSize> x, d, sigma, ucl, lcl;  // d: distance from the centre
  std::array<Sight, kSize> sight;
  std::array<bool, kSize> restart;
  std::array<std::size_t, kSize> index;
  std::array<std::uint32_t, kSize> marks;
};

// Where the m points before and including this one stand. For each rule, kept from block to block.
struct RunState {
  std::int64_t run = 0, run_up = 0, run_down = 0;  // points in a row that fulfil the rule, by side
  std::int64_t since_up = kNever,
               since_down = kNever;  // points since the last one on that side; 0: this one
  std::int64_t seen = 0;             // points since the last break
  std::uint64_t window_up = 0, window_down = 0;  // the newest is bit 0
  double previous = std::numeric_limits<double>::quiet_NaN();
  int direction = 0;
};

// m points in a row outside the zone.
template <RuleSide side>
bool RowFulfilled(RunState& s, bool up, bool down, std::int32_t m) {
  s.run_up = up ? s.run_up + 1 : 0;
  s.run_down = down ? s.run_down + 1 : 0;
  if constexpr (side == RuleSide::Same) return std::max(s.run_up, s.run_down) >= m;
  if constexpr (side == RuleSide::Upper) return s.run_up >= m;
  if constexpr (side == RuleSide::Lower) return s.run_down >= m;
  s.run = up || down ? s.run + 1 : 0;
  if constexpr (side == RuleSide::Either) return s.run >= m;
  s.since_up = up ? 0 : s.since_up + 1;
  s.since_down = down ? 0 : s.since_down + 1;
  return s.run >= m && s.since_up < m && s.since_down < m;
}

// k of the last m points outside the zone, this one among them.
template <RuleSide side>
bool WindowFulfilled(RunState& s, bool up, bool down, std::int32_t k, std::int32_t m) {
  const std::uint64_t mask = ~std::uint64_t{0} >> (64 - m);
  s.window_up = (s.window_up << 1 | std::uint64_t{up}) & mask;
  s.window_down = (s.window_down << 1 | std::uint64_t{down}) & mask;
  s.seen += 1;
  if (s.seen < m || !(up || down)) return false;
  const int above = std::popcount(s.window_up), below = std::popcount(s.window_down);
  if constexpr (side == RuleSide::Same) return (up ? above : below) >= k;
  if constexpr (side == RuleSide::Upper) return up && above >= k;
  if constexpr (side == RuleSide::Lower) return down && below >= k;
  return above + below >= k && (side == RuleSide::Either || (above > 0 && below > 0));
}

// Calls action.operator()<side>() for a side known at run time only: the loops inside have no
// choice left in them.
template <typename Action>
auto WithSide(RuleSide side, Action action) {
  switch (side) {
    case RuleSide::Same:
      return action.template operator()<RuleSide::Same>();
    case RuleSide::Either:
      return action.template operator()<RuleSide::Either>();
    case RuleSide::Both:
      return action.template operator()<RuleSide::Both>();
    case RuleSide::Upper:
      return action.template operator()<RuleSide::Upper>();
    case RuleSide::Lower:
      break;
  }
  return action.template operator()<RuleSide::Lower>();
}

// +1 above the point before, -1 below it, 0 for a tie or no point before.
int DirectionFrom(double previous, double x, double sigma) {
  const double step = x - previous,
               tie = kTie * sigma;  // only points with a sigma above 0 come here
  return static_cast<int>(step > tie) - static_cast<int>(step < -tie);
}

bool TrendFulfilled(RunState& s, double x, double sigma, std::int32_t m, RuleSide side) {
  const int direction = DirectionFrom(s.previous, x, sigma);
  s.previous = x;
  s.run_up = direction > 0 ? s.run_up + 1 : 1;
  s.run_down = direction < 0 ? s.run_down + 1 : 1;
  return (side != RuleSide::Lower && s.run_up >= m) || (side != RuleSide::Upper && s.run_down >= m);
}

bool AlternateFulfilled(RunState& s, double x, double sigma, std::int32_t m) {
  const int direction = DirectionFrom(s.previous, x, sigma);
  s.run = direction == 0 ? 1 : direction == -s.direction ? s.run + 1 : 2;
  s.direction = direction;
  s.previous = x;
  return s.run >= m;
}

// Runs `fulfilled(i)` over the points that the rule can see and begins anew where a run cannot go
// on.
template <typename Fulfilled>
void Run(Block& block, RunState& kept, std::uint32_t bit, Fulfilled fulfilled) {
  RunState state = kept;  // a copy of its own can stay in registers
  if (block.plain) {
    for (std::size_t i = 0; i < block.count; ++i) block.marks[i] |= fulfilled(state, i) ? bit : 0U;
  } else {
    for (std::size_t i = 0; i < block.count; ++i) {
      if (block.restart[i] || block.sight[i] != Sight::All) state = RunState{};
      if (block.sight[i] == Sight::All) block.marks[i] |= fulfilled(state, i) ? bit : 0U;
    }
  }
  kept = state;
}

void RunLimit(Block& block, std::uint32_t bit, RuleSide side) {
  const bool upper = side != RuleSide::Lower, lower = side != RuleSide::Upper;
  for (std::size_t i = 0; i < block.count; ++i) {
    if (block.sight[i] == Sight::Nothing) continue;
    const double x = block.x[i], sigma = block.sigma[i];
    if ((upper && Above(x, block.ucl[i], sigma)) || (lower && Above(block.lcl[i], x, sigma)))
      block.marks[i] |= bit;
  }
}

void RunOne(Block& block, RunState& s, const RunRule& rule) {
  const std::uint32_t bit = RuleBit(rule.number);
  const std::int32_t k = rule.k, m = rule.m;
  const RuleSide side = rule.side;
  const double line =
      rule.zone + kTie;  // beyond this many sigmas is beyond the line and not tied with it
  const auto up = [&block, line](std::size_t i) { return block.d[i] > line * block.sigma[i]; };
  const auto down = [&block, line](std::size_t i) { return -block.d[i] > line * block.sigma[i]; };
  const auto outside = [&block, line](std::size_t i) {
    return std::fabs(block.d[i]) > line * block.sigma[i];
  };
  switch (rule.kind) {
    case RuleKind::Limit:
      return RunLimit(block, bit, side);
    case RuleKind::Zone:
    case RuleKind::Outside:
      return WithSide(side, [&]<RuleSide kSide>() {
        if (k == m)
          Run(block, s, bit,
              [=](RunState& t, auto i) { return RowFulfilled<kSide>(t, up(i), down(i), m); });
        else
          Run(block, s, bit,
              [=](RunState& t, auto i) { return WindowFulfilled<kSide>(t, up(i), down(i), k, m); });
      });
    case RuleKind::Within:
      return Run(block, s, bit,
                 [=](RunState& t, auto i) { return (t.run = outside(i) ? 0 : t.run + 1) >= m; });
    case RuleKind::Trend:
      return Run(block, s, bit, [&, m](RunState& t, auto i) {
        return TrendFulfilled(t, block.x[i], block.sigma[i], m, side);
      });
    case RuleKind::Alternate:
      return Run(block, s, bit, [&, m](RunState& t, auto i) {
        return AlternateFulfilled(t, block.x[i], block.sigma[i], m);
      });
    case RuleKind::Red:
    case RuleKind::Yellow2:
      return;
  }
}

// Takes used points from `next` on until the block is full or the input ends.
void Fill(Block& block, const RunInput& in, std::size_t& next, bool& restart) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  block.count = 0;
  block.plain = true;
  for (; next < in.points.size() && block.count < Block::kSize; ++next) {
    // A restart at a point that is not used holds for the next one that is.
    restart = restart || (!in.restart.empty() && in.restart[next] != 0);
    if (!in.used.empty() && in.used[next] == 0) continue;
    const std::size_t i = block.count++;
    const double x = in.points[next], sigma = in.sigma[next];
    block.x[i] = x;
    block.d[i] = x - in.centre[next];
    block.sigma[i] = sigma;
    block.ucl[i] = in.ucl.empty() ? kNaN : in.ucl[next];
    block.lcl[i] = in.lcl.empty() ? kNaN : in.lcl[next];
    block.restart[i] = restart;
    const bool has_value = !std::isnan(x) && (in.has_value.empty() || in.has_value[next] != 0);
    block.sight[i] = !has_value                               ? Sight::Nothing
                     : sigma > 0.0 && !std::isnan(block.d[i]) ? Sight::All
                                                              : Sight::LimitsOnly;
    block.plain = block.plain && !restart && block.sight[i] == Sight::All;
    restart = false;
    block.index[i] = next;
    block.marks[i] = 0;
  }
}

}  // namespace

bool Tied(double a, double b, double sigma) { return std::fabs(a - b) <= TieWidth(a, b, sigma); }
bool Above(double a, double b, double sigma) { return a - b > TieWidth(a, b, sigma); }

void EvaluateRules(const RunInput& input, std::span<const RunRule> rules,
                   std::span<std::uint32_t> marks) {
  std::fill(marks.begin(), marks.end(), 0U);
  std::vector<RunState> states(rules.size());
  Block block;
  std::size_t next = 0;
  bool restart = false;
  while (next < input.points.size()) {
    Fill(block, input, next, restart);
    for (std::size_t r = 0; r < rules.size(); ++r) RunOne(block, states[r], rules[r]);
    for (std::size_t i = 0; i < block.count; ++i) marks[block.index[i]] = block.marks[i];
  }
}

std::vector<std::uint32_t> EvaluateRules(const RunInput& input, std::span<const RunRule> rules) {
  std::vector<std::uint32_t> marks(input.points.size());
  EvaluateRules(input, rules, marks);
  return marks;
}

PreControlLines PreControlLinesOf(double lsl, double target, double usl) {
  if (std::isnan(target)) target = lsl + (usl - lsl) / 2.0;
  if (std::isnan(lsl) && std::isnan(usl)) target = std::numeric_limits<double>::quiet_NaN();
  return {(target + lsl) / 2.0, target, (target + usl) / 2.0};
}

PieceZone ZoneOf(double value, double lsl, double target, double usl) {
  const PreControlLines lines = PreControlLinesOf(lsl, target, usl);
  if (std::isnan(value) || std::isnan(lines.target)) return PieceZone::None;
  if (Above(value, usl, 0.0)) return PieceZone::UpperRed;
  if (Above(lsl, value, 0.0)) return PieceZone::LowerRed;
  if (Above(value, lines.upper_line, 0.0)) return PieceZone::UpperYellow;
  if (Above(lines.lower_line, value, 0.0)) return PieceZone::LowerYellow;
  return PieceZone::Green;
}

void EvaluatePreControl(std::span<const PieceZone> pieces, std::span<const RunRule> rules,
                        std::span<std::uint32_t> marks) {
  std::fill(marks.begin(), marks.end(), 0U);
  for (const RunRule& rule : rules) {
    const std::uint32_t bit = RuleBit(rule.number);
    RunState state;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
      const PieceZone zone = pieces[i];
      const bool up = zone == PieceZone::UpperYellow, down = zone == PieceZone::LowerYellow;
      const bool red_up = zone == PieceZone::UpperRed, red_down = zone == PieceZone::LowerRed;
      const bool fulfilled = WithSide(rule.side, [&]<RuleSide kSide>() {
        return rule.kind == RuleKind::Red       ? RowFulfilled<kSide>(state, red_up, red_down, 1)
               : rule.kind == RuleKind::Yellow2 ? RowFulfilled<kSide>(state, up, down, rule.m)
                                                : false;
      });
      if (fulfilled) marks[i] |= bit;
    }
  }
}

}  // namespace orvspc::engine
