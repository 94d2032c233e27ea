// SPDX-License-Identifier: Apache-2.0
#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>
#include <vector>

#include "engine/statistics/RunRules.h"
#include "platform/NaN.h"

namespace orvspc::engine::statistics {
namespace {

using platform::kNaN;

constexpr double kTie = 1e-9;                           // of a sigma
constexpr std::int64_t kNever = std::int64_t{1} << 60;  // longer ago than any window

double TieWidth(double a, double b, double sigma) {
  if (sigma > 0.0) return kTie * sigma;
  return 8.0 * std::numeric_limits<double>::epsilon() * std::max(std::fabs(a), std::fabs(b));
}

bool IsAbove(double a, double b, double sigma) { return a - b > TieWidth(a, b, sigma); }

constexpr std::size_t kWord = 64;

template <typename Test>
std::uint64_t WordWhere(std::size_t count, Test test) {
  std::uint64_t word = 0;
  for (std::size_t i = 0; i < count; ++i) word |= std::uint64_t{test(i)} << i;
  return word;
}

// False only where no row of m ones, m > 0, ends in the word. `older` precedes it.
bool MayHoldRow(std::uint64_t word, std::uint64_t older, std::int64_t m) {
  // After a step a bit is set where that many ones and `length` more are in a row.
  std::int64_t length = 1;
  while (length < m && word != 0) {
    const auto step = std::min({length, m - length, std::int64_t{63}});
    word &= word << step | older >> (64 - step);
    // Bits before `older` are unknown and count as ones.
    older &= older << step | ((std::uint64_t{1} << step) - 1);
    length += step;
  }
  return word != 0;
}

// What the directions of a block need of the one before.
struct Before {
  double x = kNaN;
  bool is_visible = false, rises = false, falls = false;
};

// What a rule keeps from block to block: how many points in a row are set, and where the sides were
// seen last.
struct RunState {
  std::int64_t up = 0, down = 0, any = 0, unbroken = 0;
  std::int64_t since_up = kNever, since_down = kNever;  // from the start of the block back
  std::uint64_t newest_up = 0, newest_down = 0;         // the last word of the block before
};

// Rules over blocks of 64 times kWords points: many for many points, since each block has a cost of
// its own, and few for a small chart. What is called most is kept out of line, where compilers make
// better code of it.
template <std::size_t kWords>
class Blocks {
 public:
  static void Run(const RunInput& input, std::span<const RunRule> rules,
                  std::span<std::uint32_t> marks) {
    const bool directions = std::any_of(rules.begin(), rules.end(), [](const RunRule& rule) {
      return rule.kind == RuleKind::Trend || rule.kind == RuleKind::Alternate;
    });
    std::vector<RunState> states(rules.size());
    Block block;
    Before before;
    std::size_t next = 0;
    bool restart = false;
    while (next < input.points.size()) {
      Fill(block, input, next, restart);
      if (block.count == 0) break;
      block.zones.clear();
      if (directions) FindDirections(block, before);
      for (std::size_t r = 0; r < rules.size(); ++r) {
        const std::uint32_t bit = RuleBit(rules[r].number);
        ForEachSet(Fulfilled(block, before, states[r], rules[r]),
                   [&](std::size_t i) { block.marks[i] |= bit; });
      }
      if (directions) before = LastOf(block);
      for (std::size_t i = 0; i < block.count; ++i) marks[block.index[i]] = block.marks[i];
    }
  }

 private:
  static constexpr std::size_t kBlock = kWords * kWord;
  // One bit for each point. Rules are answered by whole words of them.
  using Bits = std::array<std::uint64_t, kWords>;

  static bool IsSet(const Bits& bits, std::size_t i) {
    return (bits[i / kWord] >> (i % kWord) & 1) != 0;
  }

  static void Set(Bits& bits, std::size_t i) { bits[i / kWord] |= std::uint64_t{1} << (i % kWord); }

  using Column = std::array<double, kBlock>;

  template <typename Value>
  static Column ColumnOf(std::size_t count, Value value) {
    Column column;
    for (std::size_t i = 0; i < count; ++i) column[i] = value(i);
    return column;
  }

  template <typename Test>
  static Bits BitsWhere(std::size_t count, Test test) {
    Bits bits{};
    for (std::size_t at = 0; at < count; at += kWord) {
      bits[at / kWord] =
          WordWhere(std::min(kWord, count - at), [&](auto i) { return test(at + i); });
    }
    return bits;
  }

  // Where a is above b. Compilers make a branch for each point of it; processors have no need of
  // one.
  [[gnu::noinline]] static Bits WhereAbove(std::size_t count, const Column& a, const Column& b) {
    Bits bits{};
    std::size_t at = 0;
#ifdef __SSE2__
    for (; at + kWord <= count; at += kWord) {
      std::uint64_t word = 0;
      for (std::size_t i = kWord; i > 0; i -= 2) {
        const auto* const left = a.data() + at + i - 2;
        const auto* const right = b.data() + at + i - 2;
        const auto above = _mm_cmpgt_pd(_mm_loadu_pd(left), _mm_loadu_pd(right));
        word = word << 2 | static_cast<unsigned>(_mm_movemask_pd(above));
      }
      bits[at / kWord] = word;
    }
#endif
    for (; at < count; at += kWord) {
      bits[at / kWord] =
          WordWhere(std::min(kWord, count - at), [&](auto i) { return a[at + i] > b[at + i]; });
    }
    return bits;
  }

  template <typename Combine>
  static Bits Combined(const Bits& a, const Bits& b, Combine combine) {
    Bits bits{};
    for (std::size_t w = 0; w < kWords; ++w) bits[w] = combine(a[w], b[w]);
    return bits;
  }
  static Bits Or(const Bits& a, const Bits& b) {
    return Combined(a, b, [](auto x, auto y) { return x | y; });
  }
  static Bits And(const Bits& a, const Bits& b) {
    return Combined(a, b, [](auto x, auto y) { return x & y; });
  }
  static Bits AndNot(const Bits& a, const Bits& b) {
    return Combined(a, b, [](auto x, auto y) { return x & ~y; });
  }

  template <typename Call>
  static void ForEachSet(const Bits& bits, Call call) {
    for (std::size_t w = 0; w < kWords; ++w)
      for (std::uint64_t word = bits[w]; word != 0; word &= word - 1)
        call(w * kWord + static_cast<std::size_t>(std::countr_zero(word)));
  }

  // Points beyond a zone line, by side; made once for all rules about that zone.
  struct Zone {
    double zone = 0.0;
    Bits up, down;
  };

  // The used points of a stretch, side by side.
  struct Block {
    std::size_t count = 0;
    Column x, d, sigma, ucl, lcl;  // d: distance from the centre
    std::array<std::size_t, kBlock> index;
    std::array<std::uint32_t, kBlock> marks;
    Bits has_value;  // drawn limits can be tested
    Bits visible;    // centre and sigma exist too; a point that is not visible ends every run
    bool all_visible = false;
    Bits restart;  // nothing runs across from before this point
    // Above and below the point before, and neither over a break.
    Bits rises, falls;

    std::vector<Zone> zones;
  };

  // Points that complete or continue `m` set ones in a row. A restart begins a new row.
  [[gnu::noinline]] static Bits InARow(const Bits& bits, const Bits& restart, std::int64_t m,
                                       std::int64_t& carried) {
    Bits result{};
    for (std::size_t w = 0; w < kWords; ++w) {
      const std::uint64_t word = bits[w], restarts = restart[w];
      // Most words hold no row that is long enough.
      if (restarts == 0 && !MayHoldRow(word, w == 0 ? ~std::uint64_t{0} : bits[w - 1], m)) {
        carried = std::countl_one(word) + (word == ~std::uint64_t{0} ? carried : 0);
        continue;
      }
      for (std::size_t at = 0; at < kWord;) {
        const std::uint64_t rest = word >> at;
        const auto gap = static_cast<std::size_t>(std::countr_zero(rest));
        if (gap > 0) carried = 0;
        if (rest == 0) break;
        at += gap;
        if ((restarts >> at & 1) != 0) carried = 0;
        auto ones = static_cast<std::size_t>(std::countr_one(word >> at));
        const std::uint64_t later_restarts = (restarts >> at) & ~std::uint64_t{1};
        if (later_restarts != 0)
          ones = std::min(ones, static_cast<std::size_t>(std::countr_zero(later_restarts)));
        const auto first = static_cast<std::size_t>(std::max<std::int64_t>(0, m - carried - 1));
        if (first < ones)
          result[w] |= (~std::uint64_t{0} >> (kWord - (ones - first))) << (at + first);
        carried += static_cast<std::int64_t>(ones);
        at += ones;
      }
    }
    return result;
  }

  static const Zone& BeyondZone(Block& block, double zone) {
    for (const Zone& known : block.zones)
      if (known.zone == zone) return known;
    const double line =
        zone + kTie;  // beyond this many sigmas is beyond the line and not tied with it
    const Column upper = ColumnOf(block.count, [&](auto i) { return line * block.sigma[i]; });
    const Column lower = ColumnOf(block.count, [&](auto i) { return -upper[i]; });
    const Bits up = WhereAbove(block.count, block.d, upper);
    const Bits down = WhereAbove(block.count, lower, block.d);
    block.zones.push_back({zone, And(up, block.visible), And(down, block.visible)});
    return block.zones.back();
  }

  // Both sides among the last m points: keeps those of `bits` where it is so.
  static Bits WithBothSides(const Bits& bits, const Zone& zone, std::int64_t m, const RunState& s) {
    Bits result{};
    std::int64_t last_up = -s.since_up, last_down = -s.since_down;
    ForEachSet(Or(zone.up, zone.down), [&](std::size_t i) {
      const auto at = static_cast<std::int64_t>(i);
      (IsSet(zone.up, i) ? last_up : last_down) = at;
      if (IsSet(bits, i) && at - last_up < m && at - last_down < m) Set(result, i);
    });
    return result;
  }

  // m set bits in a row on one side that the rule looks at.
  static Bits InARowOnASide(const Bits& up, const Bits& down, const Bits& restart, std::int64_t m,
                            RuleSide side, RunState& s) {
    Bits bits{};
    if (side != RuleSide::Lower) bits = InARow(up, restart, m, s.up);
    if (side == RuleSide::Upper) return bits;
    return Or(bits, InARow(down, restart, m, s.down));
  }

  // m points in a row outside the zone.
  static Bits RowFulfilled(const Block& block, const Zone& zone, RunState& s, std::int64_t m,
                           RuleSide side) {
    if (side != RuleSide::Either && side != RuleSide::Both)
      return InARowOnASide(zone.up, zone.down, block.restart, m, side, s);
    const Bits row = InARow(Or(zone.up, zone.down), block.restart, m, s.any);
    return side == RuleSide::Both ? WithBothSides(row, zone, m, s) : row;
  }

  // Where at least k of the last m bits are set, 1 <= k <= m <= 64; `before` is the word ahead.
  // Counts all points of a word at once: plane p has bit p of each count.
  static Bits AtLeast(const Bits& bits, std::uint64_t before, std::int32_t k, std::int32_t m) {
    Bits result{};
    const auto planes = static_cast<std::size_t>(std::bit_width(static_cast<std::uint32_t>(m)));
    for (std::size_t w = 0; w < kWords; ++w) {
      const std::uint64_t word = bits[w], older = w == 0 ? before : bits[w - 1];
      if ((word | older) == 0) continue;
      std::array<std::uint64_t, 7> counts{};
      for (std::int32_t i = 0; i < m; ++i) {
        std::uint64_t carry = i == 0 ? word : word << i | older >> (64 - i);
        for (std::size_t p = 0; p < planes; ++p) {
          const std::uint64_t both = counts[p] & carry;
          counts[p] ^= carry;
          carry = both;
        }
      }
      std::uint64_t more = 0, equal = ~std::uint64_t{0};
      for (std::size_t p = planes; p-- > 0;) {
        const std::uint64_t wanted = (k >> p & 1) != 0 ? ~std::uint64_t{0} : 0;
        more |= equal & counts[p] & ~wanted;
        equal &= ~(counts[p] ^ wanted);
      }
      result[w] = more | equal;
    }
    return result;
  }

  // k of the last m points outside the zone, this one among them.
  static Bits WindowFulfilled(const Block& block, const Zone& zone, RunState& s,
                              const RunRule& rule) {
    const auto enough = [&](const Bits& bits, std::uint64_t before, std::int32_t k) {
      return AtLeast(bits, before, k, rule.m);
    };
    const auto enough_up = [&] { return And(zone.up, enough(zone.up, s.newest_up, rule.k)); };
    const auto enough_down = [&] {
      return And(zone.down, enough(zone.down, s.newest_down, rule.k));
    };
    const auto enough_of_both = [&] {
      const Bits outside = Or(zone.up, zone.down);
      return And(outside, enough(outside, s.newest_up | s.newest_down, rule.k));
    };
    Bits fulfilled{};
    switch (rule.side) {
      case RuleSide::Same:
        fulfilled = Or(enough_up(), enough_down());
        break;
      case RuleSide::Either:
        fulfilled = enough_of_both();
        break;
      case RuleSide::Both:
        fulfilled = And(enough_of_both(),
                        And(enough(zone.up, s.newest_up, 1), enough(zone.down, s.newest_down, 1)));
        break;
      case RuleSide::Upper:
        fulfilled = enough_up();
        break;
      case RuleSide::Lower:
        fulfilled = enough_down();
        break;
    }
    return And(fulfilled, InARow(block.visible, block.restart, rule.m, s.unbroken));
  }

  // Remembers the zone's points for the next block.
  static void Keep(RunState& s, const Zone& zone) {
    const auto since = [](const Bits& bits, std::int64_t before) {
      for (std::size_t w = kWords; w-- > 0;)
        if (bits[w] != 0)
          return static_cast<std::int64_t>((kWords - 1 - w) * kWord) + std::countl_zero(bits[w]) +
                 1;
      return std::min(kNever, before + static_cast<std::int64_t>(kBlock));
    };
    s.since_up = since(zone.up, s.since_up);
    s.since_down = since(zone.down, s.since_down);
    s.newest_up = zone.up[kWords - 1];
    s.newest_down = zone.down[kWords - 1];
  }

  static Bits ZoneFulfilled(Block& block, RunState& s, const RunRule& rule) {
    const Zone& zone = BeyondZone(block, rule.zone);
    if (rule.kind == RuleKind::Within)
      return InARow(AndNot(block.visible, Or(zone.up, zone.down)), block.restart, rule.m, s.any);
    const Bits bits = rule.k < rule.m ? WindowFulfilled(block, zone, s, rule)
                                      : RowFulfilled(block, zone, s, rule.m, rule.side);
    Keep(s, zone);
    return bits;
  }

  // m points that rise, or fall, are m - 1 steps.
  static Bits TrendFulfilled(const Block& block, RunState& s, const RunRule& rule) {
    return InARowOnASide(block.rises, block.falls, block.restart, rule.m - 1, rule.side, s);
  }

  // m points up and down in turn are m - 2 changes of direction.
  static Bits AlternateFulfilled(const Block& block, const Before& before, RunState& s,
                                 const RunRule& rule) {
    Bits turns{};
    std::uint64_t rose = before.rises ? 1 : 0, fell = before.falls ? 1 : 0;
    for (std::size_t w = 0; w < kWords; ++w) {
      turns[w] = (block.rises[w] & (block.falls[w] << 1 | fell)) |
                 (block.falls[w] & (block.rises[w] << 1 | rose));
      rose = block.rises[w] >> (kWord - 1);
      fell = block.falls[w] >> (kWord - 1);
    }
    return InARow(turns, block.restart, rule.m - 2, s.any);
  }

  static Bits BeyondLimits(const Block& block, RuleSide side) {
    const auto &x = block.x, &sigma = block.sigma, &ucl = block.ucl, &lcl = block.lcl;
    Bits above{}, below{};
    if (block.all_visible) {
      // As below, without the branch: each sigma is above 0.
      const Column tie = ColumnOf(block.count, [&](auto i) { return kTie * sigma[i]; });
      const Column over = ColumnOf(block.count, [&](auto i) { return x[i] - ucl[i]; });
      const Column under = ColumnOf(block.count, [&](auto i) { return lcl[i] - x[i]; });
      above = WhereAbove(block.count, over, tie);
      below = WhereAbove(block.count, under, tie);
    } else {
      above = BitsWhere(block.count, [&](auto i) { return IsAbove(x[i], ucl[i], sigma[i]); });
      below = BitsWhere(block.count, [&](auto i) { return IsAbove(lcl[i], x[i], sigma[i]); });
    }
    if (side == RuleSide::Lower) above = {};
    if (side == RuleSide::Upper) below = {};
    return And(Or(above, below), block.has_value);
  }

  static Bits Fulfilled(Block& block, const Before& before, RunState& s, const RunRule& rule) {
    switch (rule.kind) {
      case RuleKind::Limit:
        return BeyondLimits(block, rule.side);
      case RuleKind::Zone:
      case RuleKind::Outside:
      case RuleKind::Within:
        return ZoneFulfilled(block, s, rule);
      case RuleKind::Trend:
        return TrendFulfilled(block, s, rule);
      case RuleKind::Alternate:
        return AlternateFulfilled(block, before, s, rule);
      case RuleKind::Red:
      case RuleKind::Yellow2:
        break;
    }
    return {};
  }

  // Takes the next points, where all are used, have the value that they show, and follow each
  // other.
  static void FillWhole(Block& block, const RunInput& in, std::size_t& next) {
    block.count = std::min(kBlock, in.points.size() - next);
    const auto copy = [&](std::span<const double> column, Column& to) {
      if (column.empty()) {
        std::fill_n(to.begin(), block.count, kNaN);
      } else {
        std::copy_n(column.begin() + static_cast<std::ptrdiff_t>(next), block.count, to.begin());
      }
    };
    copy(in.points, block.x);
    copy(in.centre, block.d);
    copy(in.sigma, block.sigma);
    copy(in.ucl, block.ucl);
    copy(in.lcl, block.lcl);
    for (std::size_t i = 0; i < block.count; ++i) block.d[i] = block.x[i] - block.d[i];
    std::iota(block.index.begin(), block.index.end(), next);
    const auto numbers = [&](const Column& column) {
      return BitsWhere(block.count, [&](auto i) { return !std::isnan(column[i]); });
    };
    block.has_value = numbers(block.x);
    // The distance is NaN where the point is.
    const Column zero = ColumnOf(block.count, [](auto) { return 0.0; });
    block.visible = And(WhereAbove(block.count, block.sigma, zero), numbers(block.d));
    next += block.count;
  }

  // Takes used points until the block is full or the input ends.
  static void FillUsed(Block& block, const RunInput& in, std::size_t& next, bool& restart) {
    for (; next < in.points.size() && block.count < kBlock; ++next) {
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
      const bool has_value = !std::isnan(x) && (in.has_value.empty() || in.has_value[next] != 0);
      const bool visible = has_value && sigma > 0.0 && !std::isnan(block.d[i]);
      block.has_value[i / kWord] |= std::uint64_t{has_value} << (i % kWord);
      block.visible[i / kWord] |= std::uint64_t{visible} << (i % kWord);
      block.restart[i / kWord] |= std::uint64_t{restart} << (i % kWord);
      restart = false;
      block.index[i] = next;
    }
  }

  // Takes points from `next` on.
  static void Fill(Block& block, const RunInput& in, std::size_t& next, bool& restart) {
    block.count = 0;
    block.has_value = block.visible = block.restart = {};
    if (in.used.empty() && in.has_value.empty() && in.restart.empty()) {
      FillWhole(block, in, next);
    } else {
      FillUsed(block, in, next, restart);
    }
    std::fill_n(block.marks.begin(), block.count, 0U);
    std::size_t visible = 0;
    for (const auto word : block.visible) visible += static_cast<std::size_t>(std::popcount(word));
    block.all_visible = visible == block.count;
  }

  static void FindDirections(Block& block, const Before& before) {
    // The difference of two visible neighbours.
    Column up;
    up[0] = block.x[0] - before.x;
    for (std::size_t i = 1; i < block.count; ++i) up[i] = block.x[i] - block.x[i - 1];
    const Column down = ColumnOf(block.count, [&](auto i) { return -up[i]; });
    Bits joined{};  // the point before is visible and nothing restarts here
    std::uint64_t earlier = before.is_visible ? 1 : 0;
    for (std::size_t w = 0; w < kWords; ++w) {
      joined[w] = block.visible[w] & (block.visible[w] << 1 | earlier) & ~block.restart[w];
      earlier = block.visible[w] >> (kWord - 1);
    }
    const Column tie = ColumnOf(block.count, [&](auto i) { return kTie * block.sigma[i]; });
    block.rises = And(joined, WhereAbove(block.count, up, tie));
    block.falls = And(joined, WhereAbove(block.count, down, tie));
  }

  static Before LastOf(const Block& block) {
    const std::size_t last = block.count - 1;
    return {block.x[last], IsSet(block.visible, last), IsSet(block.rises, last),
            IsSet(block.falls, last)};
  }
};

// Pieces in a row on a side, or on either.
struct PieceRow {
  std::int64_t run = 0, run_up = 0, run_down = 0;
  // Pieces since the last one on that side; 0: this one.
  std::int64_t since_up = kNever, since_down = kNever;
};

bool PieceFulfils(PieceRow& s, bool up, bool down, std::int32_t m, RuleSide side) {
  s.run_up = up ? s.run_up + 1 : 0;
  s.run_down = down ? s.run_down + 1 : 0;
  s.run = up || down ? s.run + 1 : 0;
  s.since_up = up ? 0 : s.since_up + 1;
  s.since_down = down ? 0 : s.since_down + 1;
  switch (side) {
    case RuleSide::Same:
      return s.run_up >= m || s.run_down >= m;
    case RuleSide::Either:
      return s.run >= m;
    case RuleSide::Both:
      return s.run >= m && s.since_up < m && s.since_down < m;
    case RuleSide::Upper:
      return s.run_up >= m;
    case RuleSide::Lower:
      return s.run_down >= m;
  }
  return false;
}

}  // namespace

bool Tied(double a, double b, double sigma) { return std::fabs(a - b) <= TieWidth(a, b, sigma); }
bool Above(double a, double b, double sigma) { return IsAbove(a, b, sigma); }

void EvaluateRules(const RunInput& input, std::span<const RunRule> rules,
                   std::span<std::uint32_t> marks) {
  std::fill(marks.begin(), marks.end(), 0U);
  if (input.points.size() <= kWord) {
    Blocks<1>::Run(input, rules, marks);
  } else {
    Blocks<8>::Run(input, rules, marks);
  }
}

std::vector<std::uint32_t> EvaluateRules(const RunInput& input, std::span<const RunRule> rules) {
  std::vector<std::uint32_t> marks(input.points.size());
  EvaluateRules(input, rules, marks);
  return marks;
}

PreControlLines PreControlLinesOf(double lsl, double target, double usl) {
  if (std::isnan(target)) target = lsl + (usl - lsl) / 2.0;
  if (std::isnan(lsl) && std::isnan(usl)) target = kNaN;
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
    if (rule.kind != RuleKind::Red && rule.kind != RuleKind::Yellow2) continue;
    const std::uint32_t bit = RuleBit(rule.number);
    PieceRow state;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
      const PieceZone zone = pieces[i];
      const bool red = rule.kind == RuleKind::Red;
      const bool up = zone == (red ? PieceZone::UpperRed : PieceZone::UpperYellow);
      const bool down = zone == (red ? PieceZone::LowerRed : PieceZone::LowerYellow);
      if (PieceFulfils(state, up, down, red ? 1 : rule.m, rule.side)) marks[i] |= bit;
    }
  }
}

}  // namespace orvspc::engine::statistics
