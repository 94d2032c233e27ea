// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/RunLengths.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <span>
#include <utility>

#include "engine/statistics/Distributions.h"
#include "engine/statistics/LinearSystem.h"
#include "engine/statistics/Numerics.h"

namespace orvspc::engine::statistics {
namespace {

using platform::kNaN;

// P(T > t), t = 0, 1, ..., which falls by a factor at a time after the last value.
struct Survival {
  std::vector<double> values;
  double factor = kNaN;  // NaN: not reached in as many steps as were taken

  double Quantile(double share) const {
    const double left = 1.0 - share;
    const auto found =
        std::ranges::find_if(values, [&](double value) { return value <= left * (1.0 + 1e-14); });
    if (found != values.end()) return static_cast<double>(found - values.begin());
    if (!(factor < 1.0)) return kNaN;
    const double more = std::log(left / values.back()) / std::log(factor);
    return static_cast<double>(values.size() - 1) + std::ceil(more - 1e-9);
  }
};

// sum is that of all P(T > t); next() gives P(T > 1), P(T > 2), ... The factor follows from what is
// left of the sum, whose digits the differences of values near 1 do not have.
template <class Next>
Survival SurvivalOf(double sum, Next next, std::size_t most = 20'000) {
  constexpr double kSteady = 1e-9, kRounding = 4e-15, kGone = 1e-15, kRare = 1e10;
  constexpr int kSteps = 10;
  Survival survival{{1.0}, kNaN};
  auto& values = survival.values;
  double rest = sum;
  for (int steady = 0; values.size() < most;) {
    const double value = next(), before = values.back();
    if (std::isnan(value)) break;
    rest -= before;
    values.push_back(value);
    if (!(value > kGone)) {
      survival.factor = 0.0;
      break;
    }
    // Where signals are so rare the sum has too few digits, and they come at any time alike.
    const double hazard = sum < kRare ? value / rest : std::max(0.0, 1.0 / sum);
    const bool is_steady =
        std::abs((before - value) / before - hazard) <= kSteady * std::min(1.0, hazard) + kRounding;
    steady = is_steady ? steady + 1 : 0;
    if (steady < kSteps) continue;
    survival.factor = 1.0 - hazard;
    break;
  }
  return survival;
}

double Dot(std::span<const double> a, std::span<const double> b) {
  return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

// Q of a chain without its signal, the solutions of (I - Q) L = 1 and (I - Q) M = L.
class Chain {
 public:
  explicit Chain(SquareMatrix q) : q_(std::move(q)) {
    SquareMatrix rest(q_.order);
    for (std::size_t i = 0; i < q_.order; ++i) {
      for (std::size_t j = 0; j < q_.order; ++j) rest(i, j) = (i == j ? 1.0 : 0.0) - q_(i, j);
    }
    const LinearSystem system(std::move(rest));
    means_ = system.Solve(std::vector<double>(q_.order, 1.0));
    seconds_ = system.Solve(means_);
  }

  std::size_t Order() const { return q_.order; }
  const std::vector<double>& Means() const { return means_; }
  const std::vector<double>& Seconds() const { return seconds_; }
  // P(T > t + 1) out of P(T > t), by state.
  void Step(std::vector<double>& alive) const {
    std::vector<double> next(alive.size());
    for (std::size_t i = 0; i < alive.size(); ++i) next[i] = Dot(q_.Row(i), alive);
    alive = std::move(next);
  }

 private:
  SquareMatrix q_;
  std::vector<double> means_, seconds_;
};

// How much is worked out: means take less time.
enum class Wanted : std::uint8_t { Mean, All };

// Runs of one start. sum: P(T > t) over all t, its mean; moment: t P(T > t) over all t. The
// survival is empty where the mean is all that is wanted.
struct Runs {
  double sum = kNaN, moment = kNaN;
  Survival survival{{1.0}, kNaN};
};

RunLength Summary(const Runs& runs) {
  RunLength length;
  length.mean = runs.sum;
  length.sd = std::sqrt(std::max(0.0, 2.0 * runs.moment + runs.sum - runs.sum * runs.sum));
  length.p05 = runs.survival.Quantile(0.05);
  length.median = runs.survival.Quantile(0.5);
  length.p95 = runs.survival.Quantile(0.95);
  return length;
}

// From a point that goes to the states with these probabilities.
Runs RunsFrom(const Chain& chain, std::span<const double> first, Wanted wanted) {
  Runs runs;
  runs.sum = 1.0 + Dot(first, chain.Means());
  // t P(T > t) from the second point on is (t - 1) P + P.
  runs.moment = Dot(first, chain.Seconds());
  if (wanted == Wanted::Mean) return runs;
  std::vector<double> alive(chain.Order(), 1.0);
  runs.survival = SurvivalOf(runs.sum, [&] {
    const double share = Dot(first, alive);
    chain.Step(alive);
    return share;
  });
  return runs;
}

// The states of an arm: 0, then the nodes of a rule on 0..h.
class CusumArm {
 public:
  CusumArm(const CusumScheme& scheme, double shift)
      : offset_(scheme.k - shift), h_(scheme.h), rule_(GaussLegendre(Order(scheme.h))) {
    const auto n = rule_.nodes.size() + 1;
    SquareMatrix q(n);
    for (std::size_t i = 0; i < n; ++i) {
      const auto row = From(i == 0 ? 0.0 : Node(i - 1));
      std::ranges::copy(row, q.cells.begin() + static_cast<std::ptrdiff_t>(i * n));
    }
    chain_.emplace(std::move(q));
  }

  Runs At(double start, Wanted wanted) const { return RunsFrom(*chain_, From(start), wanted); }

 private:
  static std::size_t Order(double h) { return 40 + static_cast<std::size_t>(std::ceil(1.2 * h)); }
  double Node(std::size_t i) const { return 0.5 * h_ * (1.0 + rule_.nodes[i]); }
  std::vector<double> From(double s) const {
    std::vector<double> row(rule_.nodes.size() + 1);
    row[0] = NormalBelow(offset_ - s);
    for (std::size_t j = 0; j < rule_.nodes.size(); ++j) {
      row[j + 1] = 0.5 * h_ * rule_.weights[j] * NormalDensity(Node(j) + offset_ - s);
    }
    return row;
  }

  double offset_, h_;
  const GaussRule& rule_;
  std::optional<Chain> chain_;
};

// P(T = t), t = 1, 2, ...
std::vector<double> Ends(const Survival& survival, std::size_t count) {
  std::vector<double> ends(count + 1, 0.0);
  double before = 1.0;
  for (std::size_t t = 1; t <= count; ++t) {
    const double now = t < survival.values.size() ? survival.values[t] : before * survival.factor;
    ends[t] = before - now;
    before = now;
  }
  return ends;
}

// Of the arm that signals first. When one signals the other is 0 and goes on from there, so that
// with a the ends of runs that the upper arm ends, and b of the lower one,
//   upper from its start = a + b * upper from 0,  lower = b + a * lower from 0
// (* joins runs), which gives a and b term by term.
Survival FirstOf(double sum, const Runs& upper, const Runs& lower, const Runs& upper_anew,
                 const Runs& lower_anew) {
  std::vector<double> a(1, 0.0), b(1, 0.0), up, down, up_anew, down_anew;
  double alive = 1.0;
  constexpr std::size_t kMost = 5'000;  // each step goes through all before it
  const auto next = [&] {
    const auto t = a.size();
    if (t >= up.size()) {
      const auto count = 2 * t + 256;
      up = Ends(upper.survival, count);
      down = Ends(lower.survival, count);
      up_anew = Ends(upper_anew.survival, count);
      down_anew = Ends(lower_anew.survival, count);
    }
    double by_up = up[t], by_down = down[t];
    for (std::size_t j = 1; j < t; ++j) {
      by_up -= b[j] * up_anew[t - j];
      by_down -= a[j] * down_anew[t - j];
    }
    a.push_back(by_up);
    b.push_back(by_down);
    alive = std::max(0.0, alive - by_up - by_down);
    return alive;
  };
  return SurvivalOf(sum, next, kMost);
}

// With S(z) the sum of P(T > t) z^t of each arm, whose value and slope at 1 are the sum and the
// moment of Runs:
//   S = (S+(s) / S+(0) + S-(s) / S-(0) - 1) / (1 / S+(0) + 1 / S-(0) - (1 - z))
Runs TwoArms(const Runs& upper, const Runs& lower, const Runs& upper_anew, const Runs& lower_anew,
             Wanted wanted) {
  // From 0 an arm signals next to never: its figures have no digits, and all that it does is to
  // signal soon after a head start.
  constexpr double kNever = 1e9;
  const auto never = [](const Runs& arm, const Runs& other) {
    return !(arm.sum > 0.0) || (other.sum > 0.0 && arm.sum > kNever * other.sum);
  };
  if (!(upper_anew.sum > 0.0) && !(lower_anew.sum > 0.0)) return {};
  if (never(upper_anew, lower_anew)) return TwoArms(lower, upper, lower_anew, upper_anew, wanted);
  const auto share = [](const Runs& runs, const Runs& anew) { return runs.sum / anew.sum; };
  const auto slope = [&](const Runs& runs, const Runs& anew) {
    return share(runs, anew) * (runs.moment / runs.sum - anew.moment / anew.sum);
  };
  const auto squared = [](const Runs& runs) { return runs.moment / runs.sum / runs.sum; };
  double top = share(upper, upper_anew), top_slope = slope(upper, upper_anew);
  double bottom = 1.0 / upper_anew.sum, bottom_slope = 1.0 - squared(upper_anew);
  if (never(lower_anew, upper_anew)) {
    // P(T > t) stays where it is after a while.
    const auto& alive = lower.survival.values;
    top += alive.back() - 1.0;
    for (const double value : alive) top_slope -= value - alive.back();
    bottom_slope -= 1.0;
  } else {
    top += share(lower, lower_anew) - 1.0;
    top_slope += slope(lower, lower_anew);
    bottom += 1.0 / lower_anew.sum;
    bottom_slope -= squared(lower_anew);
  }
  Runs both;
  both.sum = top / bottom;
  both.moment = top_slope / bottom - both.sum * bottom_slope / bottom;
  if (wanted == Wanted::Mean) return both;
  both.survival = FirstOf(both.sum, upper, lower, upper_anew, lower_anew);
  return both;
}

// z between two limits, as shares of the limits after many points.
class EwmaGrid {
 public:
  EwmaGrid(const EwmaScheme& scheme, double shift) : weight_(scheme.weight), shift_(shift) {
    const double spread = std::sqrt(scheme.weight / (2.0 - scheme.weight));
    high_ = scheme.width * spread;
    low_ = -high_;
    // A side that does not signal ends where z hardly ever comes.
    constexpr double kNever = 9.0;
    if (scheme.sides == Sides::Upper) low_ = std::min(0.0, shift) - kNever * spread;
    if (scheme.sides == Sides::Lower) high_ = std::max(0.0, shift) + kNever * spread;
    upper_widens_ = scheme.sides != Sides::Lower;
    lower_widens_ = scheme.sides != Sides::Upper;
    const auto order = static_cast<std::size_t>(std::ceil(2.0 * (high_ - low_) / weight_));
    rule_ = &GaussLegendre(std::max<std::size_t>(80, order));
  }

  std::size_t Size() const { return rule_->nodes.size(); }
  // Nodes between the limits of a point, and their weights.
  void At(double widening, std::vector<double>& nodes, std::vector<double>& weights) const {
    const double low = lower_widens_ ? low_ * widening : low_;
    const double high = upper_widens_ ? high_ * widening : high_;
    nodes.resize(Size());
    weights.resize(Size());
    for (std::size_t i = 0; i < Size(); ++i) {
      nodes[i] = 0.5 * (low + high + (high - low) * rule_->nodes[i]);
      weights[i] = 0.5 * (high - low) * rule_->weights[i];
    }
  }
  // Of going from z to y.
  double Density(double z, double y) const {
    return NormalDensity((y - (1.0 - weight_) * z) / weight_ - shift_) / weight_;
  }

 private:
  double weight_, shift_, low_, high_;
  bool upper_widens_, lower_widens_;
  const GaussRule* rule_;
};

Chain AsymptoticChain(const EwmaGrid& grid) {
  std::vector<double> nodes, weights;
  grid.At(1.0, nodes, weights);
  SquareMatrix q(grid.Size());
  for (std::size_t i = 0; i < grid.Size(); ++i) {
    for (std::size_t j = 0; j < grid.Size(); ++j) {
      q(i, j) = weights[j] * grid.Density(nodes[i], nodes[j]);
    }
  }
  return Chain(std::move(q));
}

// Point by point while the limits change, then by the chain of those after many points.
Runs ExactRuns(const EwmaScheme& scheme, const EwmaGrid& grid, Wanted wanted) {
  constexpr double kSteady = 1e-12, kGone = 1e-18;
  Runs runs{1.0, 0.0, {}};
  std::vector<double> nodes, weights, nodes_before, mass, values;
  for (double t = 1.0;; ++t) {
    const double widening = EwmaWidening(scheme, t);
    nodes_before = nodes;
    grid.At(widening, nodes, weights);
    std::vector<double> next(grid.Size());
    for (std::size_t j = 0; j < grid.Size(); ++j) {
      double density = t == 1.0 ? grid.Density(0.0, nodes[j]) : 0.0;
      for (std::size_t i = 0; i < mass.size(); ++i) {
        density += mass[i] * grid.Density(nodes_before[i], nodes[j]);
      }
      next[j] = weights[j] * density;
    }
    mass = std::move(next);
    const double alive = std::accumulate(mass.begin(), mass.end(), 0.0);
    if (1.0 - widening < kSteady || alive < kGone) break;
    runs.sum += alive;
    runs.moment += t * alive;
    values.push_back(alive);
  }
  const auto t = static_cast<double>(values.size() + 1);
  const auto chain = AsymptoticChain(grid);
  const double rest = Dot(mass, chain.Means()), later = Dot(mass, chain.Seconds()) - rest;
  runs.sum += rest;
  runs.moment += t * rest + later;
  if (wanted == Wanted::Mean) return runs;
  std::vector<double> states(grid.Size(), 1.0);
  std::size_t place = 0;
  runs.survival = SurvivalOf(runs.sum, [&] {
    if (place < values.size()) return values[place++];
    const double share = Dot(mass, states);
    chain.Step(states);
    return share;
  });
  return runs;
}

// Empty where the arms are not known to signal one at a time.
std::optional<Runs> CusumRuns(const CusumScheme& scheme, double shift, Wanted wanted) {
  if (scheme.sides == Sides::Lower) shift = -shift;
  const CusumArm upper(scheme, shift);
  const auto up = upper.At(scheme.head_start, wanted);
  if (scheme.sides != Sides::Both) return up;
  if (scheme.head_start > scheme.h / 2.0 + scheme.k) return std::nullopt;
  const CusumArm lower(scheme, -shift);
  const auto down = lower.At(scheme.head_start, wanted);
  if (scheme.head_start == 0.0) return TwoArms(up, down, up, down, wanted);
  return TwoArms(up, down, upper.At(0.0, wanted), lower.At(0.0, wanted), wanted);
}

Runs EwmaRuns(const EwmaScheme& scheme, double shift, Wanted wanted) {
  const EwmaGrid grid(scheme, shift);
  if (scheme.exact) return ExactRuns(scheme, grid, wanted);
  std::vector<double> nodes, first;
  grid.At(1.0, nodes, first);
  for (std::size_t j = 0; j < grid.Size(); ++j) first[j] *= grid.Density(0.0, nodes[j]);
  return RunsFrom(AsymptoticChain(grid), first, wanted);
}

}  // namespace

std::optional<RunLength> CusumRunLength(const CusumScheme& scheme, double shift) {
  const auto runs = CusumRuns(scheme, shift, Wanted::All);
  return runs ? std::optional(Summary(*runs)) : std::nullopt;
}

double CusumMeanRunLength(const CusumScheme& scheme, double shift) {
  // A head start needs the survival.
  const auto wanted = scheme.head_start == 0.0 ? Wanted::Mean : Wanted::All;
  const auto runs = CusumRuns(scheme, shift, wanted);
  return runs ? runs->sum : kNaN;
}

double EwmaWidening(const EwmaScheme& scheme, double t) {
  if (!scheme.exact) return 1.0;
  double widening = std::sqrt(1.0 - std::pow(1.0 - scheme.weight, 2.0 * t));
  if (scheme.fir) {
    const double kept = 1.0 - *scheme.fir;
    const double a = (-2.0 / std::log10(kept) - 1.0) / 19.0;
    widening *= 1.0 - std::pow(kept, 1.0 + a * (t - 1.0));
  }
  return widening;
}

RunLength EwmaRunLength(const EwmaScheme& scheme, double shift) {
  return Summary(EwmaRuns(scheme, shift, Wanted::All));
}

double EwmaMeanRunLength(const EwmaScheme& scheme, double shift) {
  return EwmaRuns(scheme, shift, Wanted::Mean).sum;
}

RunLength CountCusumRunLength(const CountCusumScheme& scheme,
                              const std::function<double(double)>& at_most) {
  const auto steps = static_cast<double>(scheme.steps);
  const auto places = static_cast<std::size_t>(std::llround(scheme.h * steps));  // below h
  const auto k = std::llround(scheme.k * steps);
  const auto start = static_cast<std::size_t>(std::llround(scheme.head_start * steps));
  SquareMatrix q(places);
  for (std::size_t from = 0; from < places; ++from) {
    // The sum of steps that a count gives, and the share of counts that give it or less.
    if (scheme.is_upper) {
      double before = 0.0;
      for (long long count = 0;; ++count) {
        const auto to = static_cast<long long>(from) + count * static_cast<long long>(steps) - k;
        if (to >= static_cast<long long>(places)) break;
        const double share = at_most(static_cast<double>(count));
        q(from, static_cast<std::size_t>(std::max(0LL, to))) += share - before;
        before = share;
      }
    } else {
      for (long long count = 0;; ++count) {
        const auto to = static_cast<long long>(from) + k - count * static_cast<long long>(steps);
        const auto value = static_cast<double>(count);
        if (to <= 0) {
          q(from, 0) += 1.0 - at_most(value - 1.0);
          break;
        }
        if (to < static_cast<long long>(places)) {
          q(from, static_cast<std::size_t>(to)) += at_most(value) - at_most(value - 1.0);
        }
      }
    }
  }
  const Chain chain(q);
  return Summary(RunsFrom(chain, q.Row(start), Wanted::All));
}

}  // namespace orvspc::engine::statistics
