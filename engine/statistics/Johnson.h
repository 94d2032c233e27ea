// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "engine/statistics/Distributions.h"

namespace orvspc::engine::statistics {

enum class JohnsonFamily : std::uint8_t { Unbounded = 1, Bounded = 2, Lognormal = 3 };

// With u = (x - xi)/lambda the score is
//   unbounded (SU)  gamma + delta asinh(u)
//   bounded (SB)    gamma + delta ln(u / (1 - u)), 0 < u < 1
//   lognormal (SL)  gamma + delta ln(u), u > 0; lambda is 1, or -1 with delta < 0 for a curve whose
//                   long tail is the lower one
struct JohnsonParameters {
  JohnsonFamily family;
  double gamma, delta, xi, lambda;
};

class JohnsonCurve final : public Distribution {
 public:
  explicit JohnsonCurve(const JohnsonParameters& parameters) : of_(parameters) {}

  const JohnsonParameters& Parameters() const { return of_; }

  std::string_view Name() const override;
  int FittedParameters() const override { return of_.family == JohnsonFamily::Lognormal ? 3 : 4; }
  double Score(double x) const override;
  double Slope(double x) const override;
  double AtScore(double score) const override;

  // The lowest and the highest value may lie on this curve.
  bool Supports(double lowest, double highest) const;

 private:
  JohnsonParameters of_;
};

// Four quantiles at equal distances of the score: those of scores 3z, z, -z, -3z.
struct JohnsonQuantiles {
  double z, at_3z, at_z, at_minus_z, at_minus_3z;
};

struct JohnsonFit {
  std::optional<JohnsonCurve> curve;
  bool normal_serves = false;  // the quantiles are close to those of a normal distribution
};

// The curve through four quantiles.
//   m = x(3z) - x(z), p = x(z) - x(-z), n = x(-z) - x(-3z), rho = m n / p^2
//   |rho - 1| <= band: lognormal, or normal if |ln(m/p)| < 0.05 too; rho > 1: SU; rho < 1: SB
// Returns  no curve when m, n or p is not above 0, a parameter is not finite, or delta or lambda
//          is not above 0
// Accuracy exact to rounding when the quantiles are those of a Johnson curve outside the band
// Source   Slifker & Shapiro, Technometrics 22 (1980)
inline constexpr double kJohnsonBand = 0.05;
JohnsonFit FitJohnson(const JohnsonQuantiles& quantiles, double band = kJohnsonBand);

}  // namespace orvspc::engine::statistics
