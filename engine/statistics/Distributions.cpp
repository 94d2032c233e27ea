// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Distributions.h"

#include <boost/math/special_functions/beta.hpp>
#include <boost/math/special_functions/erf.hpp>
#include <boost/math/special_functions/gamma.hpp>
#include <cmath>
#include <limits>
#include <numbers>

#include "platform/NaN.h"

namespace orvspc::engine::statistics {
namespace {

using platform::kNaN;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

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
