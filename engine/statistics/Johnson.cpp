// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Johnson.h"

#include <cmath>

#include "engine/statistics/Distributions.h"

namespace orvspc::engine::statistics {
namespace {

// Half-width of the band of ln(m/p) around 0 that counts as normal.
constexpr double kNormalBand = 0.05;

struct Distances {
  double m, p, n;
  double middle;  // of x(z) and x(-z)
};

JohnsonParameters Unbounded(double z, const Distances& d) {
  const double mp = d.m / d.p, np = d.n / d.p;
  const double root = std::sqrt(mp * np - 1.0);
  const double delta = 2.0 * z / std::acosh(0.5 * (mp + np));
  const double gamma = delta * std::asinh((np - mp) / (2.0 * root));
  const double excess = mp + np - 2.0;
  const double lambda = 2.0 * d.p * root / (excess * std::sqrt(mp + np + 2.0));
  const double xi = d.middle + d.p * (np - mp) / (2.0 * excess);
  return {JohnsonFamily::Unbounded, gamma, delta, xi, lambda};
}

JohnsonParameters Bounded(double z, const Distances& d) {
  const double pm = d.p / d.m, pn = d.p / d.n;
  const double a = (1.0 + pm) * (1.0 + pn);
  const double kappa = pm * pn - 1.0;
  const double delta = z / std::acosh(0.5 * std::sqrt(a));
  const double gamma = delta * std::asinh((pn - pm) * std::sqrt(a - 4.0) / (2.0 * kappa));
  const double lambda = d.p * std::sqrt((a - 2.0) * (a - 2.0) - 4.0) / kappa;
  const double xi = d.middle - 0.5 * lambda + d.p * (pn - pm) / (2.0 * kappa);
  return {JohnsonFamily::Bounded, gamma, delta, xi, lambda};
}

// For m > p.
JohnsonParameters Lognormal(double z, const Distances& d) {
  const double mp = d.m / d.p;
  const double delta = 2.0 * z / std::log(mp);
  const double gamma = delta * std::log((mp - 1.0) / (d.p * std::sqrt(mp)));
  const double xi = d.middle - 0.5 * d.p * (mp + 1.0) / (mp - 1.0);
  return {JohnsonFamily::Lognormal, gamma, delta, xi, 1.0};
}

bool IsValid(const JohnsonParameters& curve) {
  return std::isfinite(curve.gamma) && std::isfinite(curve.delta) && std::isfinite(curve.xi) &&
         std::isfinite(curve.lambda) && curve.delta > 0.0 && curve.lambda > 0.0;
}

}  // namespace

std::string_view JohnsonCurve::Name() const {
  switch (of_.family) {
    case JohnsonFamily::Unbounded:
      return "Johnson SU";
    case JohnsonFamily::Bounded:
      return "Johnson SB";
    case JohnsonFamily::Lognormal:
      break;
  }
  return "Johnson SL";
}

double JohnsonCurve::Score(double x) const {
  const double u = (x - of_.xi) / of_.lambda;
  switch (of_.family) {
    case JohnsonFamily::Unbounded:
      return of_.gamma + of_.delta * std::asinh(u);
    case JohnsonFamily::Bounded:
      if (u <= 0.0) return -kInfinity;
      if (u >= 1.0) return kInfinity;
      return of_.gamma + of_.delta * std::log((x - of_.xi) / (of_.xi + of_.lambda - x));
    case JohnsonFamily::Lognormal:
      break;
  }
  if (u <= 0.0) return of_.lambda > 0.0 ? -kInfinity : kInfinity;
  return of_.gamma + of_.delta * std::log(u);
}

double JohnsonCurve::Slope(double x) const {
  const double u = (x - of_.xi) / of_.lambda;
  switch (of_.family) {
    case JohnsonFamily::Unbounded:
      return of_.delta / (of_.lambda * std::hypot(1.0, u));
    case JohnsonFamily::Bounded:
      return u <= 0.0 || u >= 1.0 ? 0.0 : of_.delta / (of_.lambda * u * (1.0 - u));
    case JohnsonFamily::Lognormal:
      break;
  }
  return u <= 0.0 ? 0.0 : of_.delta / (of_.lambda * u);
}

double JohnsonCurve::AtScore(double score) const {
  const double y = (score - of_.gamma) / of_.delta;
  switch (of_.family) {
    case JohnsonFamily::Unbounded:
      return of_.xi + of_.lambda * std::sinh(y);
    case JohnsonFamily::Bounded:
      return of_.xi + of_.lambda / (1.0 + std::exp(-y));
    case JohnsonFamily::Lognormal:
      break;
  }
  return of_.xi + of_.lambda * std::exp(y);
}

bool JohnsonCurve::Supports(double lowest, double highest) const {
  return std::isfinite(Score(lowest)) && std::isfinite(Score(highest));
}

JohnsonFit FitJohnson(const JohnsonQuantiles& q, double band) {
  const Distances d{q.at_3z - q.at_z, q.at_z - q.at_minus_z, q.at_minus_z - q.at_minus_3z,
                    q.at_minus_z + 0.5 * (q.at_z - q.at_minus_z)};
  JohnsonFit fit;
  if (!(d.m > 0.0) || !(d.p > 0.0) || !(d.n > 0.0)) return fit;
  const double rho = (d.m / d.p) * (d.n / d.p);
  if (!std::isfinite(rho)) return fit;
  if (std::fabs(rho - 1.0) > band) {
    const auto curve = rho > 1.0 ? Unbounded(q.z, d) : Bounded(q.z, d);
    if (IsValid(curve)) fit.curve.emplace(curve);
    return fit;
  }
  if (std::fabs(std::log(d.m / d.p)) < kNormalBand) {
    fit.normal_serves = true;
    return fit;
  }
  const bool reflect = d.m < d.p;
  const auto curve = reflect ? Lognormal(q.z, {d.n, d.p, d.m, -d.middle}) : Lognormal(q.z, d);
  if (!IsValid(curve)) return fit;
  fit.curve.emplace(reflect ? JohnsonParameters{JohnsonFamily::Lognormal, -curve.gamma,
                                                -curve.delta, -curve.xi, -1.0}
                            : curve);
  return fit;
}

}  // namespace orvspc::engine::statistics
