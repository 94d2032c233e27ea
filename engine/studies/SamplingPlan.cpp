// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/SamplingPlan.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <queue>

#include "engine/statistics/Distributions.h"
#include "engine/studies/study_notes.h"

namespace orvspc::studies {
namespace {

namespace statistics = engine::statistics;

void CheckShare(double share, const PlanOptions& options) {
  Need(share >= 0.0 && (share <= 1.0 || options.model == CountModel::Poisson) &&
           std::isfinite(share),
       "the share must be 0 to 1");
  Need(!options.lot || *options.lot >= 1, "the lot must have 1 unit or more");
  Need(options.lot || options.model != CountModel::Hypergeometric,
       "the hypergeometric model goes with a lot");
}

double BadUnits(double share, double lot) { return std::round(lot * share); }

// Of a sample of a lot, some of which may have been taken before.
class Counts {
 public:
  Counts(double share, const PlanOptions& options) : model_(options.model), share_(share) {
    if (!options.lot || model_ != CountModel::Hypergeometric) return;
    lot_ = static_cast<double>(*options.lot);
    bad_ = BadUnits(share, lot_);
  }

  double AtMost(double count, double n, double taken = 0.0, double found = 0.0) const {
    if (count < 0.0) return 0.0;
    switch (model_) {
      case CountModel::Binomial:
        return count >= n ? 1.0 : statistics::BinomialAtMost(count, n, share_);
      case CountModel::Poisson:
        return share_ == 0.0 ? 1.0 : statistics::PoissonAtMost(count, n * share_);
      case CountModel::Hypergeometric:
        break;
    }
    const double bad = bad_ - found;
    return count >= std::min(n, bad)
               ? 1.0
               : statistics::HypergeometricAtMost(count, n, bad, lot_ - taken);
  }

 private:
  CountModel model_;
  double share_, lot_ = 0.0, bad_ = 0.0;
};

void CheckFits(std::int64_t n, const PlanOptions& options) {
  Need(!options.lot || n <= *options.lot, "the sample must not be larger than the lot");
}

void CheckPlan(const SinglePlan& plan, const PlanOptions& options) {
  Need(plan.n >= 1 && plan.n <= kMostSample, "n must be 1 to 1000000");
  Need(plan.c >= 0, "c must be 0 or more");
  CheckFits(plan.n, options);
}

void CheckPlan(const DoublePlan& plan, const PlanOptions& options) {
  Need(plan.n1 >= 1 && plan.n2 >= 1 && plan.n1 <= kMostSample && plan.n2 <= kMostSample,
       "n1 and n2 must be 1 to 1000000");
  Need(plan.c1 >= 0 && plan.r1 > plan.c1 + 1, "r1 must be above c1 + 1");
  Need(plan.c2 >= plan.c1, "c2 must be c1 or more");
  CheckFits(plan.n1 + plan.n2, options);
}

struct DoubleFigures {
  double first = 0.0, second = 0.0, goes_on = 0.0;
};

DoubleFigures FiguresOf(const DoublePlan& plan, double share, const PlanOptions& options) {
  const Counts counts(share, options);
  const double n1 = static_cast<double>(plan.n1), n2 = static_cast<double>(plan.n2);
  DoubleFigures figures;
  figures.first = counts.AtMost(static_cast<double>(plan.c1), n1);
  double below = figures.first;
  for (auto d = plan.c1 + 1; d < plan.r1; ++d) {
    const double found = static_cast<double>(d);
    const double up_to = counts.AtMost(found, n1);
    const double exactly = up_to - below;
    below = up_to;
    if (!(exactly > 0.0)) continue;
    figures.second += exactly * counts.AtMost(static_cast<double>(plan.c2) - found, n2, n1, found);
    figures.goes_on += exactly;
  }
  return figures;
}

// Lots that are refused are inspected whole.
void AddRectified(PlanPoint& point, double inspected_if_accepted, const PlanOptions& options) {
  if (!options.lot) {
    point.aoq = point.accepted * point.share;
    return;
  }
  const double lot = static_cast<double>(*options.lot);
  // Mean of units inspected: what is looked at in the lots that are taken, and all of the others.
  point.ati = inspected_if_accepted + (1.0 - point.accepted) * lot;
  const bool whole = options.model == CountModel::Hypergeometric;
  const double share = whole ? BadUnits(point.share, lot) / lot : point.share;
  // lot - ati, without the rounding of a small chance.
  point.aoq = share * (point.accepted * lot - inspected_if_accepted) / lot;
}

// point(d) of d bad units in a lot. Of d units aoq is d / lot * kept(d), and kept falls: the more
// bad units there are, the less often the lot is taken, by either sample. So between two numbers
// none is above the greater one times what is kept at the smaller; where that may still be the
// greatest, the middle is looked at. In lots of a billion units and more it is met to a billionth.
template <class Point>
OutgoingLimit GreatestOfLot(std::int64_t lot, Point point) {
  constexpr double kRounding = 1e-10, kFine = 1e-9, kNothing = 1e-12;
  struct Between {
    double most;             // no aoq strictly between is above it
    std::int64_t low, high;  // numbers of bad units
    double kept;             // at the lower one
    bool operator<(const Between& other) const { return most < other.most; }
  };
  const double size = static_cast<double>(lot);
  double greatest = 0.0;
  std::int64_t at = 0;
  const auto look = [&](std::int64_t bad) {
    const double aoq = point(bad).aoq;
    if (aoq > greatest || (aoq == greatest && bad < at)) {
      greatest = aoq;
      at = bad;
    }
    return aoq * size / static_cast<double>(bad);
  };
  std::priority_queue<Between> open;
  const auto add = [&](std::int64_t low, std::int64_t high, double kept) {
    const double most = kept * (1.0 + kRounding) * static_cast<double>(high - 1) / size;
    if (high - low > 1) open.push({most, low, high, kept});
  };
  look(lot);
  add(0, lot, 1.0);
  while (!open.empty() && open.top().most > std::max(greatest, kNothing)) {
    const auto [most, low, high, kept] = open.top();
    open.pop();
    if (static_cast<double>(high - low) <= kFine * static_cast<double>(high)) continue;
    const auto middle = low + (high - low) / 2;
    const double kept_there = look(middle);
    add(low, middle, kept);
    add(middle, high, kept_there);
  }
  return {greatest, static_cast<double>(at) / size};
}

// The top of a curve that rises to it and falls after it.
template <class Curve>
OutgoingLimit TopBetween(double low, double high, Curve aoq) {
  constexpr double kGolden = std::numbers::phi - 1.0;
  double left = high - kGolden * (high - low), right = low + kGolden * (high - low);
  double at_left = aoq(left), at_right = aoq(right);
  while (high - low > 1e-10 * high) {
    if (at_left >= at_right) {
      high = right;
      right = left;
      at_right = at_left;
      left = high - kGolden * (high - low);
      at_left = aoq(left);
    } else {
      low = left;
      left = right;
      at_left = at_right;
      right = low + kGolden * (high - low);
      at_right = aoq(right);
    }
  }
  const double at = (low + high) / 2.0;
  return {aoq(at), at};
}

template <class Plan>
OutgoingLimit Greatest(const Plan& plan, const PlanOptions& options) {
  if (options.lot && options.model == CountModel::Hypergeometric) {
    const double lot = static_cast<double>(*options.lot);
    return GreatestOfLot(*options.lot, [&](std::int64_t bad) {
      return PointOf(plan, static_cast<double>(bad) / lot, options);
    });
  }
  const auto aoq = [&](double share) { return PointOf(plan, share, options).aoq; };
  // Defects a unit may be more than one. Nothing is left from where hardly a lot is taken.
  constexpr double kHardly = 1e-6;
  double end = 1.0;
  if (options.model == CountModel::Poisson) {
    while (PointOf(plan, end, options).accepted > kHardly) end *= 2.0;
  }
  // Down to shares that no sample finds.
  constexpr int kLooks = 150;
  constexpr double kCloser = 0.9;
  OutgoingLimit greatest{0.0, 0.0};
  double above = 0.0, here = aoq(end), share = end;
  for (int i = 0; i < kLooks; ++i) {
    const double below = aoq(share * kCloser);
    if (here > 0.0 && here >= above && here >= below) {
      const auto top = TopBetween(share * kCloser, std::min(end, share / kCloser), aoq);
      if (top.aoql > greatest.aoql) greatest = top;
    }
    above = here;
    here = below;
    share *= kCloser;
  }
  return greatest;
}

void CheckPoints(const PlanPoints& points) {
  Need(points.aql > 0.0 && points.aql < points.rql && points.rql < 1.0,
       "aql and rql must be above 0 and below 1, aql below rql");
  Need(points.alpha > 0.0 && points.alpha < 1.0, "alpha must lie between 0 and 1");
  Need(points.beta > 0.0 && points.beta < 1.0, "beta must lie between 0 and 1");
}

// The least n from `from` on for which holds(n), which holds for all greater ones; above the most:
// none.
template <class Holds>
std::int64_t LeastN(std::int64_t from, std::int64_t most, Holds holds) {
  if (from > most) return most + 1;
  std::int64_t step = 1, below = from - 1, above = from;
  while (!holds(above)) {
    if (above == most) return most + 1;
    below = above;
    above = std::min(most, above + step);
    step *= 2;
  }
  while (above - below > 1) {
    const auto middle = below + (above - below) / 2;
    (holds(middle) ? above : below) = middle;
  }
  return above;
}

// Units that a sample, or two together, may have.
struct Sizes {
  std::int64_t least = 1, most = std::numeric_limits<std::int64_t>::max();
};

// Of a lot a sample of up to its tenth as if the lot were very large, and a larger one that is a
// good part of it: search(options, sizes, found) looks for each where its model holds, and knows
// what was found before.
template <class Plan, class Search>
std::optional<Plan> OfLot(PlanOptions& options, Search search) {
  const std::optional<Plan> none;
  if (!options.lot) return search(options, Sizes{}, none);
  const auto lot = *options.lot;
  if (options.model != CountModel::Binomial) return search(options, Sizes{1, lot}, none);
  const auto small = search(options, Sizes{1, lot / 10}, none);
  auto of_part = options;
  of_part.model = CountModel::Hypergeometric;
  const auto large = search(of_part, Sizes{lot / 10 + 1, lot}, small);
  if (small && !large) return small;
  options = of_part;
  return large;
}

std::optional<SinglePlan> SearchSingle(const PlanPoints& points, const PlanOptions& options,
                                       const Sizes& sizes) {
  const auto most = std::min(kMostSample, sizes.most);
  const Counts good(points.aql, options), bad(points.rql, options);
  auto n = sizes.least;
  for (std::int64_t c = 0; c <= kMostAccepted; ++c) {
    const double most_bad = static_cast<double>(c);
    n = LeastN(std::max(n, c + 1), most, [&](std::int64_t size) {
      return bad.AtMost(most_bad, static_cast<double>(size)) <= points.beta;
    });
    if (n > most) return std::nullopt;
    if (good.AtMost(most_bad, static_cast<double>(n)) >= 1.0 - points.alpha) {
      return SinglePlan{n, c};
    }
  }
  return std::nullopt;
}

std::optional<DoublePlan> SearchDouble(const PlanPoints& points, std::int64_t ratio,
                                       const PlanOptions& options, const Sizes& sizes,
                                       double least) {
  const auto most = std::min(kMostSample, sizes.most / (1 + ratio));
  std::optional<DoublePlan> best;
  auto first_n = (sizes.least + ratio) / (1 + ratio);
  for (std::int64_t c1 = 0; c1 < kMostAcceptedOfTwo; ++c1) {
    // n1 grows with both numbers, and the mean sample is never below it.
    auto n1 = first_n;
    for (auto c2 = c1 + 1; c2 <= kMostAcceptedOfTwo; ++c2) {
      const auto plan_of = [&](std::int64_t n) { return DoublePlan{n, c1, c2 + 1, ratio * n, c2}; };
      n1 = LeastN(n1, most, [&](std::int64_t n) {
        const auto figures = FiguresOf(plan_of(n), points.rql, options);
        return figures.first + figures.second <= points.beta;
      });
      if (c2 == c1 + 1) first_n = n1;
      if (n1 > most || static_cast<double>(n1) >= least) break;
      const auto plan = plan_of(n1);
      const auto figures = FiguresOf(plan, points.aql, options);
      if (figures.first + figures.second < 1.0 - points.alpha) continue;
      const double asn = static_cast<double>(n1) + static_cast<double>(plan.n2) * figures.goes_on;
      if (asn >= least) continue;
      least = asn;
      best = plan;
    }
    if (first_n > most || static_cast<double>(first_n) >= least) break;
  }
  return best;
}

}  // namespace

PlanPoint PointOf(const SinglePlan& plan, double share, const PlanOptions& options) {
  CheckShare(share, options);
  CheckPlan(plan, options);
  const double n = static_cast<double>(plan.n);
  PlanPoint point;
  point.share = share;
  point.accepted = Counts(share, options).AtMost(static_cast<double>(plan.c), n);
  point.asn = n;
  AddRectified(point, point.accepted * n, options);
  return point;
}

PlanPoint PointOf(const DoublePlan& plan, double share, const PlanOptions& options) {
  CheckShare(share, options);
  CheckPlan(plan, options);
  const auto figures = FiguresOf(plan, share, options);
  const double n1 = static_cast<double>(plan.n1), n2 = static_cast<double>(plan.n2);
  PlanPoint point;
  point.share = share;
  point.accepted = figures.first + figures.second;
  point.asn = n1 + n2 * figures.goes_on;
  AddRectified(point, figures.first * n1 + figures.second * (n1 + n2), options);
  return point;
}

PlanPoint PointOf(const VariablesPlan& plan, double share, const PlanOptions& options) {
  CheckShare(share, options);
  Need(plan.n >= (plan.sigma_known ? 1 : 2) && plan.n <= kMostSample, "n must be 2 to 1000000");
  Need(std::isfinite(plan.k), "k must be a number");
  CheckFits(plan.n, options);
  const double n = static_cast<double>(plan.n), root = std::sqrt(n);
  PlanPoint point;
  point.share = share;
  point.asn = n;
  if (share == 0.0 || share == 1.0) {
    point.accepted = share == 0.0 ? 1.0 : 0.0;
  } else {
    const double z = statistics::NormalUpperQuantile(share);
    point.accepted = plan.sigma_known
                         ? statistics::NormalBelow(root * (z - plan.k))
                         : 1.0 - statistics::NoncentralTBelow(plan.k * root, n - 1.0, z * root);
  }
  AddRectified(point, point.accepted * n, options);
  return point;
}

std::pair<double, double> AcceptedBySample(const DoublePlan& plan, double share,
                                           const PlanOptions& options) {
  CheckShare(share, options);
  CheckPlan(plan, options);
  const auto figures = FiguresOf(plan, share, options);
  return {figures.first, figures.second};
}

std::vector<double> SharesUpTo(double most, std::int64_t steps, const PlanOptions& options) {
  Need(steps >= 1, "steps must be 1 or more");
  CheckShare(most, options);
  const bool whole = options.model == CountModel::Hypergeometric;
  const double lot = whole ? static_cast<double>(*options.lot) : 1.0;
  const double end = whole ? std::max(1.0, BadUnits(most, lot)) : most;
  std::vector<double> shares;
  for (std::int64_t i = 0; i <= steps; ++i) {
    const double at = end * static_cast<double>(i) / static_cast<double>(steps);
    const double share = whole ? std::round(at) / lot : at;
    if (shares.empty() || share > shares.back()) shares.push_back(share);
  }
  return shares;
}

OutgoingLimit OutgoingLimitOf(const SinglePlan& plan, const PlanOptions& options) {
  return Greatest(plan, options);
}

OutgoingLimit OutgoingLimitOf(const DoublePlan& plan, const PlanOptions& options) {
  return Greatest(plan, options);
}

std::optional<SinglePlan> DesignSingle(const PlanPoints& points, PlanOptions& options) {
  CheckPoints(points);
  return OfLot<SinglePlan>(options,
                           [&](const PlanOptions& of, const Sizes& sizes, const auto& found) {
                             return found ? std::nullopt : SearchSingle(points, of, sizes);
                           });
}

std::optional<DoublePlan> DesignDouble(const PlanPoints& points, std::int64_t ratio,
                                       PlanOptions& options) {
  CheckPoints(points);
  Need(ratio >= 1 && ratio <= 10, "the ratio of the samples must be 1 to 10");
  return OfLot<DoublePlan>(options,
                           [&](const PlanOptions& of, const Sizes& sizes, const auto& found) {
                             const double least = found ? PointOf(*found, points.aql, options).asn
                                                        : std::numeric_limits<double>::infinity();
                             return SearchDouble(points, ratio, of, sizes, least);
                           });
}

NomographPlan NomographOf(const PlanPoints& points) {
  CheckPoints(points);
  const double z1 = statistics::NormalUpperQuantile(points.aql);
  const double z2 = statistics::NormalUpperQuantile(points.rql);
  const double za = statistics::NormalUpperQuantile(points.alpha);
  const double zb = statistics::NormalUpperQuantile(points.beta);
  NomographPlan plan;
  plan.k = (z2 * za + z1 * zb) / (za + zb);
  plan.n_known = (za + zb) * (za + zb) / ((z1 - z2) * (z1 - z2));
  plan.n_unknown = plan.n_known * (1.0 + plan.k * plan.k / 2.0);
  return plan;
}

std::optional<VariablesPlan> DesignVariables(const PlanPoints& points, bool sigma_known) {
  CheckPoints(points);
  const double z1 = statistics::NormalUpperQuantile(points.aql);
  if (sigma_known) {
    const double za = statistics::NormalUpperQuantile(points.alpha);
    const double n = std::max(1.0, std::ceil(NomographOf(points).n_known));
    if (n > static_cast<double>(kMostSample)) return std::nullopt;
    return VariablesPlan{static_cast<std::int64_t>(n), z1 - za / std::sqrt(n), true};
  }
  const auto k_of = [&](std::int64_t size) {
    const double n = static_cast<double>(size), root = std::sqrt(n);
    return statistics::NoncentralTQuantile(points.alpha, n - 1.0, z1 * root) / root;
  };
  const auto n = LeastN(2, kMostSample, [&](std::int64_t size) {
    const VariablesPlan plan{size, k_of(size), false};
    return PointOf(plan, points.rql).accepted <= points.beta;
  });
  if (n > kMostSample) return std::nullopt;
  return VariablesPlan{n, k_of(n), false};
}

}  // namespace orvspc::studies
