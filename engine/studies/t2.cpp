// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <utility>

#include "engine/statistics/Distributions.h"
#include "engine/studies/Multivariate.h"
#include "engine/studies/study_notes.h"
#include "engine/studies/vectors.h"

namespace orvspc::studies {

using namespace engine;
using platform::kNaN;

namespace {

// P of what a variable adds to T2 of so many others, of a point that is no part of what the
// estimates are of.
double POf(const VectorEstimates& estimates, double n, double term, std::size_t others,
           double t2_of_others) {
  const double degrees = estimates.degrees;
  if (std::isnan(degrees)) return statistics::ChiSquareAbove(term, 1.0);  // known parameters
  const double rest = degrees - static_cast<double>(others);
  if (!(rest > 0.0)) return kNaN;
  const double share = 1.0 + n / static_cast<double>(estimates.used);
  const double scale = (share + t2_of_others / degrees) * degrees / rest;
  return statistics::FAbove(term / scale, 1.0, rest);
}

void AddTerms(const VectorBasis& basis, double n, std::span<const double> deviation, double t2,
              bool used, std::vector<T2Term>& terms) {
  const auto p = deviation.size();
  const auto weights = basis.factor->Solve(deviation);
  for (std::size_t j = 0; j < p; ++j) {
    T2Term term;
    term.deviation = deviation[j];
    term.unconditional = n * deviation[j] * deviation[j] / basis.estimates.covariance[j * (p + 1)];
    // T2 less T2 of the others, without their difference.
    term.conditional = n * weights[j] * weights[j] / basis.factor->InverseDiagonal(j);
    if (!used) {
      term.p_unconditional = POf(basis.estimates, n, term.unconditional, 0, 0.0);
      term.p_conditional =
          POf(basis.estimates, n, term.conditional, p - 1, std::max(t2 - term.conditional, 0.0));
    }
    terms.push_back(term);
  }
}

GeneralizedVariance VarianceOf(const Stretch& stretch, const CompleteVectors& vectors,
                               const VectorBasis& basis, std::vector<Note>& notes) {
  const auto p = basis.estimates.centre.size();
  const auto count = vectors.Subgroups();
  std::size_t most = 0, least = SIZE_MAX;
  for (std::size_t i = 0; i < count; ++i) {
    if (!stretch.IsUsed(i) || vectors.CountOf(i) == 0) continue;
    most = std::max(most, vectors.CountOf(i));
    least = std::min(least, vectors.CountOf(i));
  }
  if (most <= 1 || basis.is_single) return {};
  if (least <= p || (!basis.is_known && basis.estimates.size <= static_cast<double>(p))) {
    notes.push_back({"no-variance",
                     "Subgroups must have more vectors than variables for a chart of the "
                     "generalized variance.",
                     {}});
    return {};
  }
  double sigma = statistics::Determinant(AsMatrix(basis.estimates.covariance));
  if (!basis.is_known) sigma /= statistics::DeterminantMomentsOf(basis.estimates.size, p).mean;
  GeneralizedVariance variance;
  variance.points.assign(count, kNaN);
  variance.centre = variance.upper = variance.lower = variance.points;
  variance.signals.assign(count, 0);
  for (std::size_t i = 0; i < count; ++i) {
    const auto size = vectors.CountOf(i);
    if (size <= p) continue;
    const auto n = static_cast<double>(size);
    auto covariance = statistics::VectorSums(vectors.Of(i), p).products;
    for (auto& cell : covariance.cells) cell /= n - 1.0;
    variance.points[i] = statistics::Determinant(covariance);
    const auto moments = statistics::DeterminantMomentsOf(n, p);
    const double half = 3.0 * std::sqrt(moments.variance);
    variance.centre[i] = sigma * moments.mean;
    variance.upper[i] = sigma * (moments.mean + half);
    variance.lower[i] = std::max(sigma * (moments.mean - half), 0.0);
    const bool beyond =
        variance.points[i] > variance.upper[i] || variance.points[i] < variance.lower[i];
    variance.signals[i] = beyond && stretch.IsUsed(i) ? 1 : 0;
  }
  return variance;
}

// What each variable of some adds to T2 of the others among them, by the place of the variable.
std::vector<double> TermsAmong(const VectorEstimates& estimates, double n,
                               std::span<const double> deviation, std::size_t among) {
  const auto p = deviation.size();
  std::vector<std::size_t> places;
  for (std::size_t j = 0; j < p; ++j) {
    if ((among >> j & 1U) != 0) places.push_back(j);
  }
  std::vector<double> part;
  statistics::SquareMatrix covariance(places.size());
  for (std::size_t i = 0; i < places.size(); ++i) {
    part.push_back(deviation[places[i]]);
    for (std::size_t j = 0; j < places.size(); ++j) {
      covariance(i, j) = estimates.covariance[places[i] * p + places[j]];
    }
  }
  const statistics::CovarianceFactor factor(covariance);
  const auto weights = factor.Solve(part);
  std::vector<double> terms(p, kNaN);
  for (std::size_t i = 0; i < places.size(); ++i) {
    terms[places[i]] = n * weights[i] * weights[i] / factor.InverseDiagonal(i);
  }
  return terms;
}

}  // namespace

T2Study StudyT2(const Stretch& stretch, std::span<const std::string> variables,
                const T2Options& options, const Stretch* limits_of) {
  const auto p = variables.size();
  CheckVectors(stretch, p, options);
  Need(options.alpha >= 1e-6 && options.alpha <= 0.5, "alpha must be 0.000001 to 0.5");
  T2Study study;
  study.alpha = options.alpha;
  if (options.per_variable) {
    study.alpha = -std::expm1(static_cast<double>(p) * std::log1p(-options.alpha));
  }
  const bool is_own = limits_of == nullptr || limits_of == &stretch;
  const CompleteVectors vectors(stretch, p);
  const auto basis = BeginVectors(stretch, variables, options, limits_of, vectors, study);
  const auto count = vectors.Subgroups();
  study.means.reserve(count * p);
  study.terms.reserve(count * p);
  const std::vector<double> origin(p, 0.0);
  std::map<std::pair<std::size_t, bool>, double> limits;  // by size
  bool lacks_limit = false;
  for (std::size_t i = 0; i < count; ++i) {
    const auto size = vectors.CountOf(i);
    const auto n = static_cast<double>(size);
    study.sizes[i] = n;
    const auto mean = size == 0 ? std::vector<double>(p, kNaN) : vectors.DeviationOf(i, origin);
    study.means.insert(study.means.end(), mean.begin(), mean.end());
    if (size == 0 || !basis.factor) {
      study.terms.resize(study.terms.size() + p);
      continue;
    }
    const auto deviation = vectors.DeviationOf(i, basis.estimates.centre);
    study.t2[i] = n * basis.factor->Distance(deviation);
    const bool used = is_own && basis.is_used[i] != 0;
    const auto [limit, is_new] = limits.try_emplace({size, used}, 0.0);
    if (is_new) limit->second = basis.UpperOf(n, used, study.alpha);
    study.upper[i] = limit->second;
    lacks_limit = lacks_limit || std::isnan(study.upper[i]);
    study.signals[i] = study.t2[i] > study.upper[i] && stretch.IsUsed(i) ? 1 : 0;
    AddTerms(basis, n, deviation, study.t2[i], used, study.terms);
  }
  if (lacks_limit) {
    study.notes.push_back({"no-limit",
                           "There are too few vectors for a limit of points that the estimates "
                           "are not of.",
                           {}});
  }
  if (basis.factor) study.variance = VarianceOf(stretch, vectors, basis, study.notes);
  return study;
}

std::vector<T2Order> OrdersOf(const T2Study& study, std::size_t point) {
  const auto p = study.estimates.centre.size();
  Need(p <= kMostOrdered, "orders are those of 2 to 6 variables");
  std::vector<T2Order> orders;
  if (std::isnan(study.t2.at(point))) return orders;
  std::vector<double> deviation;
  for (const auto& term : study.TermsOf(point)) deviation.push_back(term.deviation);
  const bool is_judged = !std::isnan(study.TermsOf(point)[0].p_unconditional);
  const double n = study.sizes[point];
  std::vector<std::vector<double>> terms(std::size_t{1} << p);  // by the bits of the variables
  for (std::size_t among = 1; among < terms.size(); ++among) {
    terms[among] = TermsAmong(study.estimates, n, deviation, among);
  }
  T2Order order;
  for (std::size_t j = 0; j < p; ++j) order.variables.push_back(j);
  do {
    order.terms.clear();
    order.p.clear();
    std::size_t among = 0;
    double before = 0.0;
    for (const auto j : order.variables) {
      among |= std::size_t{1} << j;
      const double term = terms[among][j];
      const auto others = order.terms.size();
      order.p.push_back(is_judged ? POf(study.estimates, n, term, others, before) : kNaN);
      order.terms.push_back(term);
      before += term;
    }
    orders.push_back(order);
  } while (std::ranges::next_permutation(order.variables).found);
  return orders;
}

Ellipse EllipseOf(const VectorEstimates& estimates, double distance) {
  Ellipse ellipse;
  if (estimates.centre.size() != 2 || !(distance >= 0.0) || !std::isfinite(distance)) {
    return ellipse;
  }
  for (const double value : estimates.covariance) {
    if (!std::isfinite(value)) return ellipse;
  }
  const statistics::CovarianceFactor factor(AsMatrix(estimates.covariance));
  if (factor.IsSingular()) return ellipse;
  constexpr int kSteps = 120;
  const double length = std::sqrt(distance);
  for (int i = 0; i <= kSteps; ++i) {
    const double angle = 2.0 * std::numbers::pi * i / kSteps;
    const double u[] = {length * std::cos(angle), length * std::sin(angle)};
    const auto d = factor.Outward(u);
    ellipse.x.push_back(estimates.centre[0] + d[0]);
    ellipse.y.push_back(estimates.centre[1] + d[1]);
  }
  return ellipse;
}

}  // namespace orvspc::studies
