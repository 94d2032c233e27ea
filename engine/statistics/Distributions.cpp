// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Distributions.h"

#include <algorithm>
#include <boost/math/distributions/hypergeometric.hpp>
#include <boost/math/distributions/non_central_chi_squared.hpp>
#include <boost/math/distributions/non_central_t.hpp>
#include <boost/math/special_functions/beta.hpp>
#include <boost/math/special_functions/digamma.hpp>
#include <boost/math/special_functions/erf.hpp>
#include <boost/math/special_functions/gamma.hpp>
#include <boost/math/special_functions/trigamma.hpp>
#include <cmath>
#include <numbers>

#include "platform/NaN.h"

namespace orvspc::engine::statistics {
namespace {

using platform::kNaN;

namespace policies = boost::math::policies;
// Results that do not exist come back as numbers; nothing is thrown into an analysis.
using Quiet = policies::policy<
    policies::domain_error<policies::ignore_error>, policies::pole_error<policies::ignore_error>,
    policies::overflow_error<policies::ignore_error>,
    policies::underflow_error<policies::ignore_error>,
    policies::denorm_error<policies::ignore_error>,
    policies::evaluation_error<policies::ignore_error>,
    policies::rounding_error<policies::ignore_error>,
    policies::indeterminate_result_error<policies::ignore_error>, policies::promote_double<false>>;

bool IsShare(double share) { return share >= 0.0 && share <= 1.0; }

}  // namespace

double NormalDensity(double z) {
  return std::exp(-0.5 * z * z) * std::numbers::inv_sqrtpi / std::numbers::sqrt2;
}

double NormalBelow(double z) { return 0.5 * std::erfc(-z / std::numbers::sqrt2); }

double NormalAbove(double z) { return 0.5 * std::erfc(z / std::numbers::sqrt2); }

double NormalUpperQuantile(double share_above) {
  if (share_above == 0.0) return kInfinity;
  if (share_above == 1.0) return -kInfinity;
  if (!(share_above > 0.0 && share_above < 1.0)) return kNaN;
  return std::numbers::sqrt2 * boost::math::erfc_inv(2.0 * share_above, Quiet());
}

double NormalQuantile(double share_below) { return -NormalUpperQuantile(share_below); }

double ChiSquareAbove(double value, double degrees) {
  if (!(value >= 0.0) || !(degrees > 0.0)) return kNaN;
  if (std::isinf(value)) return 0.0;
  return boost::math::gamma_q(0.5 * degrees, 0.5 * value, Quiet());
}

double ChiSquareQuantile(double share_below, double degrees) {
  if (!(share_below >= 0.0 && share_below <= 1.0) || !(degrees > 0.0)) return kNaN;
  if (share_below == 1.0) return kInfinity;
  return 2.0 * boost::math::gamma_p_inv(0.5 * degrees, share_below, Quiet());
}

double FAbove(double ratio, double numerator_degrees, double denominator_degrees) {
  if (!(ratio >= 0.0) || !(numerator_degrees > 0.0) || !(denominator_degrees > 0.0)) return kNaN;
  if (std::isinf(ratio)) return 0.0;
  const double x = 1.0 / (1.0 + ratio * (numerator_degrees / denominator_degrees));
  return boost::math::ibeta(0.5 * denominator_degrees, 0.5 * numerator_degrees, x, Quiet());
}

double FQuantile(double share_below, double numerator_degrees, double denominator_degrees) {
  if (!(numerator_degrees > 0.0) || !(denominator_degrees > 0.0)) return kNaN;
  if (!IsShare(share_below)) return kNaN;
  if (share_below == 1.0) return kInfinity;
  double above = 0.0;  // 1 - x, with full digits
  const double x = boost::math::ibeta_inv(0.5 * numerator_degrees, 0.5 * denominator_degrees,
                                          share_below, &above, Quiet());
  return denominator_degrees * x / (numerator_degrees * above);
}

double BetaBelow(double x, double a, double b) {
  if (!(a > 0.0) || !(b > 0.0) || std::isnan(x)) return kNaN;
  if (x <= 0.0) return 0.0;
  return x >= 1.0 ? 1.0 : boost::math::ibeta(a, b, x, Quiet());
}

double BetaQuantile(double share_below, double a, double b) {
  if (!(a > 0.0) || !(b > 0.0) || !IsShare(share_below)) return kNaN;
  return boost::math::ibeta_inv(a, b, share_below, Quiet());
}

double GammaBelow(double x, double shape) {
  if (!(shape > 0.0) || !(x >= 0.0)) return kNaN;
  return std::isinf(x) ? 1.0 : boost::math::gamma_p(shape, x, Quiet());
}

double GammaAbove(double x, double shape) {
  if (!(shape > 0.0) || !(x >= 0.0)) return kNaN;
  return std::isinf(x) ? 0.0 : boost::math::gamma_q(shape, x, Quiet());
}

double GammaQuantile(double share_below, double shape) {
  if (!(shape > 0.0) || !IsShare(share_below)) return kNaN;
  if (share_below == 1.0) return kInfinity;
  return boost::math::gamma_p_inv(shape, share_below, Quiet());
}

double StudentAbove(double t, double degrees) {
  if (!(degrees > 0.0) || std::isnan(t)) return kNaN;
  if (std::isinf(t)) return t > 0.0 ? 0.0 : 1.0;
  const double tail = 0.5 * BetaBelow(degrees / (degrees + t * t), 0.5 * degrees, 0.5);
  return t > 0.0 ? tail : 1.0 - tail;
}

double StudentQuantile(double share_below, double degrees) {
  if (!(degrees > 0.0) || !IsShare(share_below)) return kNaN;
  if (share_below == 0.0 || share_below == 1.0) return share_below == 0.0 ? -kInfinity : kInfinity;
  const bool is_low = share_below < 0.5;
  const double tail = is_low ? share_below : 1.0 - share_below;
  double rest = 0.0;  // 1 - x, with full digits
  const double x = boost::math::ibeta_inv(0.5 * degrees, 0.5, 2.0 * tail, &rest, Quiet());
  const double t = std::sqrt(degrees * rest / x);
  return is_low ? -t : t;
}

double NoncentralTBelow(double t, double degrees, double noncentrality) {
  if (!(degrees > 0.0) || std::isnan(t) || !std::isfinite(noncentrality)) return kNaN;
  if (std::isinf(t)) return t > 0.0 ? 1.0 : 0.0;
  return boost::math::cdf(
      boost::math::non_central_t_distribution<double, Quiet>(degrees, noncentrality), t);
}

double NoncentralTQuantile(double share_below, double degrees, double noncentrality) {
  if (!(degrees > 0.0) || !IsShare(share_below) || !std::isfinite(noncentrality)) return kNaN;
  if (share_below == 0.0 || share_below == 1.0) return share_below == 0.0 ? -kInfinity : kInfinity;
  return boost::math::quantile(
      boost::math::non_central_t_distribution<double, Quiet>(degrees, noncentrality), share_below);
}

double NoncentralChiSquareDensity(double x, double degrees, double noncentrality) {
  if (!(degrees > 0.0) || !(noncentrality >= 0.0) || !(x >= 0.0)) return kNaN;
  return boost::math::pdf(
      boost::math::non_central_chi_squared_distribution<double, Quiet>(degrees, noncentrality), x);
}

double NoncentralChiSquareBelow(double x, double degrees, double noncentrality) {
  if (!(degrees > 0.0) || !(noncentrality >= 0.0) || !(x >= 0.0)) return kNaN;
  if (std::isinf(x)) return 1.0;
  return boost::math::cdf(
      boost::math::non_central_chi_squared_distribution<double, Quiet>(degrees, noncentrality), x);
}

double NoncentralChiSquareQuantile(double share_below, double degrees, double noncentrality) {
  if (!(degrees > 0.0) || !(noncentrality >= 0.0) || !IsShare(share_below)) return kNaN;
  if (share_below == 1.0) return kInfinity;
  return boost::math::quantile(
      boost::math::non_central_chi_squared_distribution<double, Quiet>(degrees, noncentrality),
      share_below);
}

double BinomialAtMost(double count, double n, double p) {
  if (!(n >= 0.0) || !IsShare(p) || std::isnan(count)) return kNaN;
  if (count < 0.0) return 0.0;
  const double most = std::floor(count);
  if (most >= n) return 1.0;
  return BetaBelow(1.0 - p, n - most, most + 1.0);
}

double PoissonAtMost(double count, double mean) {
  if (!(mean >= 0.0) || std::isnan(count)) return kNaN;
  if (count < 0.0) return 0.0;
  return mean == 0.0 ? 1.0 : GammaAbove(mean, std::floor(count) + 1.0);
}

double HypergeometricAtMost(double count, double n, double bad, double lot) {
  if (!(n >= 0.0) || !(bad >= 0.0) || !(lot >= n) || !(lot >= bad) || std::isnan(count))
    return kNaN;
  const double most = std::floor(count);
  if (most >= std::min(n, bad)) return 1.0;
  if (most < std::max(0.0, n + bad - lot)) return 0.0;
  return boost::math::cdf(
      boost::math::hypergeometric_distribution<double, Quiet>(
          static_cast<unsigned>(bad), static_cast<unsigned>(n), static_cast<unsigned>(lot)),
      most);
}

double LogGamma(double x) { return x > 0.0 ? boost::math::lgamma(x, Quiet()) : kNaN; }
double Digamma(double x) { return x > 0.0 ? boost::math::digamma(x, Quiet()) : kNaN; }
double Trigamma(double x) { return x > 0.0 ? boost::math::trigamma(x, Quiet()) : kNaN; }

double Distribution::Between(double from, double to) const {
  const double low = Score(from), high = Score(to);
  if (!(high > low)) return 0.0;
  return low > 0.0 ? NormalAbove(low) - NormalAbove(high) : NormalBelow(high) - NormalBelow(low);
}

double Distribution::Density(double x) const {
  const double slope = Slope(x);
  return slope == 0.0 ? 0.0 : NormalDensity(Score(x)) * slope;
}

}  // namespace orvspc::engine::statistics
