// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/RuleChain.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>
#include <numeric>
#include <utility>

#include "engine/statistics/Distributions.h"
#include "engine/statistics/Numerics.h"
#include "platform/NaN.h"

namespace orvspc::engine::statistics {
namespace {

using platform::kNaN;

// Which points of a rule are remembered together.
enum class Remembered : std::uint8_t { Above, Below, Inside, OutsideEither, OutsideBoth };

// A memory of one rule: a run of points, or the newest m - 1 as bits, the newest lowest.
struct Memory {
  const RunRule* rule;
  Remembered what;
  std::size_t place;  // in the state; OutsideBoth has the bits of both sides, above first

  bool IsRun() const { return rule->k == rule->m && what != Remembered::OutsideBoth; }
};

using State = std::vector<std::uint64_t>;

// Drops points that no window can complete: with those after it and all that are to come while it
// is still in a window there are fewer than k.
std::uint64_t Needed(std::uint64_t bits, const RunRule& rule) {
  const auto m = static_cast<unsigned>(rule.m), k = static_cast<unsigned>(rule.k);
  const auto kept = m - 1;
  if (kept == 0) return 0;
  if (kept < 64) bits &= (std::uint64_t{1} << kept) - 1;
  for (unsigned age = kept; age >= 1; --age) {
    const auto up_to = age == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << age) - 1;
    const auto count = static_cast<unsigned>(std::popcount(bits & up_to));
    if (count + (m - age) < k) bits &= ~(std::uint64_t{1} << (age - 1));
  }
  return bits;
}

// What a point does to a state of the chain.
class Step {
 public:
  Step(std::span<const RunRule> rules, const RuleChainOptions& options) : options_(options) {
    std::size_t next = 1;  // the first place counts the points, where windows must be full
    const auto add = [&](const RunRule& rule, Remembered what) {
      memories_.push_back({&rule, what, next});
      next += what == Remembered::OutsideBoth ? 2 : 1;
    };
    for (const auto& rule : rules) {
      if (rule.kind == RuleKind::Limit) {
        limits_.push_back(&rule);
        continue;
      }
      if (rule.kind == RuleKind::Within) {
        add(rule, Remembered::Inside);
      } else if (rule.side == RuleSide::Either) {
        add(rule, Remembered::OutsideEither);
      } else if (rule.side == RuleSide::Both) {
        add(rule, Remembered::OutsideBoth);
      } else {
        if (rule.side != RuleSide::Lower) add(rule, Remembered::Above);
        if (rule.side != RuleSide::Upper) add(rule, Remembered::Below);
      }
      if (options.full_windows && rule.k < rule.m) {
        counted_ = std::max(counted_, static_cast<std::uint64_t>(rule.m - 1));
      }
    }
    size_ = next;
  }

  State First() const { return State(size_); }

  // z: any value of the region. False: a signal.
  bool Take(const State& from, double z, State& to) const {
    for (const auto* const rule : limits_) {
      if (z > options_.upper && rule->side != RuleSide::Lower) return false;
      if (z < -options_.lower && rule->side != RuleSide::Upper) return false;
    }
    to.assign(size_, 0);
    to[0] = std::min(counted_, from[0] + 1);
    for (const auto& memory : memories_) {
      if (!Remember(memory, from, z, to)) return false;
    }
    return true;
  }

 private:
  bool Remember(const Memory& memory, const State& from, double z, State& to) const {
    const auto& rule = *memory.rule;
    const bool above = z > rule.zone, below = z < -rule.zone;
    const bool is_in = memory.what == Remembered::Above    ? above
                       : memory.what == Remembered::Below  ? below
                       : memory.what == Remembered::Inside ? !above && !below
                                                           : above || below;
    const auto at = memory.place;
    if (memory.IsRun()) {
      to[at] = is_in ? from[at] + 1 : 0;
      return to[at] < static_cast<std::uint64_t>(rule.m);
    }
    const bool is_full =
        !options_.full_windows || from[0] + 1 >= static_cast<std::uint64_t>(rule.m);
    const auto past = Window(from[at], rule);
    if (memory.what == Remembered::OutsideBoth) {
      const auto past_below = Window(from[at + 1], rule);
      const auto ups = past << 1 | std::uint64_t{above};
      const auto downs = past_below << 1 | std::uint64_t{below};
      const auto outside = std::popcount(past | past_below) + (is_in ? 1 : 0);
      if (is_in && is_full && outside >= rule.k && (past != 0 || above) &&
          (past_below != 0 || below)) {
        return false;
      }
      const auto needed = Needed(ups | downs, rule);
      to[at] = ups & needed;
      to[at + 1] = downs & needed;
      return true;
    }
    if (is_in && is_full && std::popcount(past) + 1 >= rule.k) return false;
    to[at] = Needed(past << 1 | std::uint64_t{is_in}, rule);
    return true;
  }
  static std::uint64_t Window(std::uint64_t bits, const RunRule& rule) {
    return rule.m > 64 ? bits : bits & ((std::uint64_t{1} << (rule.m - 1)) - 1);
  }

  RuleChainOptions options_;
  std::vector<const RunRule*> limits_;
  std::vector<Memory> memories_;
  std::uint64_t counted_ = 0;
  std::size_t size_ = 1;
};

bool HasChain(const RunRule& rule) {
  if (rule.kind == RuleKind::Trend || rule.kind == RuleKind::Alternate) return false;
  // A window of both sides is remembered as bits, whatever its k.
  return rule.side != RuleSide::Both || rule.kind == RuleKind::Limit || rule.m <= 64;
}

// A value between two ends, which may be infinite.
double Between(double low, double high) {
  if (low == -kInfinity) return high - 1.0;
  return high == kInfinity ? low + 1.0 : low + 0.5 * (high - low);
}

// The sums of P(T > t), of t P(T > t), and quantiles, as the points pass.
class Tally {
 public:
  // Before the point after t = 0, 1, ... points.
  void Take(double t, double alive) {
    sum_ += alive;
    moment_ += t * alive;
    for (std::size_t i = 0; i < 3; ++i) {
      if (std::isnan(quantiles_[i]) && alive <= Left(i) * (1.0 + 1e-13)) quantiles_[i] = t;
    }
  }
  // From t points on the same share signals at a time.
  RunLength End(double t, double alive, double hazard) {
    const double kept = 1.0 - hazard;
    sum_ += alive / hazard;
    moment_ += alive * (t / hazard + kept / (hazard * hazard));
    for (std::size_t i = 0; i < 3; ++i) {
      if (!std::isnan(quantiles_[i])) continue;
      const double more = alive > Left(i) ? std::log(Left(i) / alive) / std::log1p(-hazard) : 0.0;
      quantiles_[i] = t + std::ceil(more - 1e-9);
    }
    return {sum_, std::sqrt(std::max(0.0, 2.0 * moment_ + sum_ - sum_ * sum_)), quantiles_[0],
            quantiles_[1], quantiles_[2]};
  }

 private:
  static double Left(std::size_t i) {
    constexpr double kLeft[] = {0.95, 0.5, 0.05};
    return kLeft[i];
  }
  double sum_ = 0.0, moment_ = 0.0;
  double quantiles_[3] = {kNaN, kNaN, kNaN};
};

}  // namespace

PointLaw NormalPoints(double shift) {
  return {[shift](double z) { return NormalBelow(z - shift); },
          [shift](double z) { return NormalAbove(z - shift); },
          {}};
}

std::optional<RuleChain> RuleChain::Make(std::span<const RunRule> rules,
                                         const RuleChainOptions& options) {
  RuleChain chain;
  std::vector<double> cuts;
  for (const auto& rule : rules) {
    if (rule.kind == RuleKind::Red || rule.kind == RuleKind::Yellow2 || !HasChain(rule)) {
      return std::nullopt;
    }
    chain.longest_ = std::max(chain.longest_, static_cast<std::size_t>(rule.m));
    if (rule.kind == RuleKind::Limit) {
      if (options.upper < kInfinity) cuts.push_back(options.upper);
      if (options.lower < kInfinity) cuts.push_back(-options.lower);
    } else {
      cuts.insert(cuts.end(), {rule.zone, -rule.zone});
    }
  }
  std::ranges::sort(cuts);
  cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());
  // On a line is inside, on both sides of the centre: each line is a region of its own.
  std::vector<double> values;
  double before = -kInfinity;
  for (const double cut : cuts) {
    chain.regions_.push_back({before, cut});
    values.push_back(Between(before, cut));
    before = cut;
    if (!options.counts) continue;
    chain.regions_.push_back({cut, cut});
    values.push_back(cut);
  }
  chain.regions_.push_back({before, kInfinity});
  values.push_back(Between(before, kInfinity));

  const Step step(rules, options);
  std::map<State, std::uint32_t> numbers{{step.First(), 0}};
  std::vector<State> states{step.First()};
  State next;
  for (std::size_t s = 0; s < states.size(); ++s) {
    chain.first_edge_.push_back(static_cast<std::uint32_t>(chain.edges_.size()));
    const auto from = states[s];
    for (std::uint32_t region = 0; region < values.size(); ++region) {
      if (!step.Take(from, values[region], next)) {
        chain.signals_.push_back({static_cast<std::uint32_t>(s), region});
        continue;
      }
      const auto known = numbers.try_emplace(next, static_cast<std::uint32_t>(states.size()));
      if (known.second) states.push_back(next);
      chain.edges_.push_back({known.first->second, region});
    }
    if (states.size() > kMostStates) return std::nullopt;
  }
  chain.first_edge_.push_back(static_cast<std::uint32_t>(chain.edges_.size()));
  return chain;
}

std::vector<double> RuleChain::Shares(const PointLaw& law) const {
  const auto at = [&](double z) { return law.at && std::isfinite(z) ? law.at(z) : 0.0; };
  std::vector<double> shares;
  for (const auto& region : regions_) {
    if (region.low == region.high) {
      shares.push_back(at(region.low));
      continue;
    }
    // Without its upper line; by the tail that keeps its digits.
    const bool is_high = region.low > -kInfinity && law.above(region.low) < 0.5;
    const double share = is_high ? law.above(region.low) - law.above(region.high)
                                 : law.below(region.high) - law.below(region.low);
    shares.push_back(std::max(0.0, share - at(region.high)));
  }
  return shares;
}

RunLength RuleChain::LengthOf(const PointLaw& law) const {
  constexpr double kSteady = 1e-13, kGone = 1e-18, kMostWork = 2e9;
  constexpr double kLeastHazard = 1e-15;
  const auto shares = Shares(law);
  std::vector<double> of_edge, signal(States());
  of_edge.reserve(edges_.size());
  for (const auto& edge : edges_) of_edge.push_back(shares[edge.region]);
  for (const auto& edge : signals_) signal[edge.to] += shares[edge.region];

  std::vector<double> mass(States()), next(States());
  mass[0] = 1.0;
  Tally tally;
  double alive = 1.0, hazard_before = -1.0;
  std::size_t steady = 0;
  for (double t = 0.0; t * static_cast<double>(edges_.size()) < kMostWork; ++t) {
    // The states are those of runs without a signal so far: their shares add up to 1.
    const double hazard = std::inner_product(mass.begin(), mass.end(), signal.begin(), 0.0);
    steady = std::abs(hazard - hazard_before) <= kSteady * hazard ? steady + 1 : 0;
    hazard_before = hazard;
    const bool has_ended = alive < kGone || hazard > 1.0 - 1e-15;
    if ((steady > 2 * longest_ + 20 && hazard > kLeastHazard) || has_ended) {
      return tally.End(t, alive, std::min(1.0, hazard));
    }
    tally.Take(t, alive);
    std::ranges::fill(next, 0.0);
    for (std::size_t s = 0; s < mass.size(); ++s) {
      const double share = mass[s];
      if (share == 0.0) continue;
      for (auto edge = first_edge_[s]; edge < first_edge_[s + 1]; ++edge) {
        next[edges_[edge].to] += share * of_edge[edge];
      }
    }
    const double left = std::accumulate(next.begin(), next.end(), 0.0);
    alive *= 1.0 - hazard;
    for (auto& share : next) share /= left;
    std::swap(mass, next);
  }
  return {};
}

double RuleChain::QuietAtFirst(const PointLaw& law) const {
  const auto shares = Shares(law);
  double quiet = 0.0;
  for (auto edge = first_edge_[0]; edge < first_edge_[1]; ++edge) {
    quiet += shares[edges_[edge].region];
  }
  return quiet;
}

SimulatedRunLength SummaryOfRuns(std::vector<std::size_t> lengths) {
  std::ranges::sort(lengths);
  const auto count = static_cast<double>(lengths.size());
  double sum = 0.0, squares = 0.0;
  for (const auto length : lengths) sum += static_cast<double>(length);
  const double mean = sum / count;
  for (const auto length : lengths) {
    const double distance = static_cast<double>(length) - mean;
    squares += distance * distance;
  }
  const double sd = std::sqrt(squares / (count - 1.0));
  const auto quantile = [&](double share) {
    const auto rank = static_cast<std::size_t>(std::ceil(share * count));
    return static_cast<double>(lengths[std::max<std::size_t>(1, rank) - 1]);
  };
  return {{mean, sd, quantile(0.05), quantile(0.5), quantile(0.95)}, sd / std::sqrt(count)};
}

SimulatedRunLength SimulateRunLength(std::span<const RunRule> rules,
                                     const std::function<double(double)>& draw,
                                     const SimulationOptions& options) {
  constexpr std::size_t kFirstPoints = 64;
  Draws draws(options.seed);
  std::vector<double> points, centre, sigma, upper, lower;
  std::vector<std::uint32_t> marks;
  std::vector<std::size_t> lengths;
  lengths.reserve(options.runs);
  for (std::size_t run = 0; run < options.runs; ++run) {
    points.clear();
    for (std::size_t wanted = kFirstPoints;; wanted *= 2) {
      wanted = std::min(wanted, options.most_points);
      while (points.size() < wanted) {
        double u = 0.0;
        while (u == 0.0) u = draws.Uniform();
        points.push_back(draw(u));
      }
      if (centre.size() < wanted) {
        centre.resize(wanted, 0.0);
        sigma.resize(wanted, 1.0);
        upper.resize(wanted, options.upper < kInfinity ? options.upper : kNaN);
        lower.resize(wanted, options.lower < kInfinity ? -options.lower : kNaN);
      }
      const auto part = [&](const std::vector<double>& column) {
        return std::span(column).first(wanted);
      };
      marks.assign(wanted, 0);
      EvaluateRules({points, part(centre), part(sigma), part(upper), part(lower), {}, {}, {}},
                    rules, marks);
      const auto signal = std::ranges::find_if(marks, [](auto mark) { return mark != 0; });
      if (signal != marks.end()) {
        lengths.push_back(static_cast<std::size_t>(signal - marks.begin()) + 1);
        break;
      }
      if (wanted == options.most_points) return {};
    }
  }
  return SummaryOfRuns(std::move(lengths));
}

}  // namespace orvspc::engine::statistics
