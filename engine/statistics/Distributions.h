// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <limits>
#include <string_view>

namespace orvspc::engine::statistics {

inline constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Standard normal distribution. Both tails stay accurate far out, where 1 - F cancels.
// Accuracy 13 digits to 8 sigmas, 12 to 37
double NormalDensity(double z);
double NormalBelow(double z);  // P(Z <= z)
double NormalAbove(double z);  // P(Z > z)

// The z with this proportion below or above it.
//   share    0..1; 0 and 1 give infinities, anything else NaN
double NormalQuantile(double share_below);
double NormalUpperQuantile(double share_above);

// Chi-square distribution with degrees > 0: the proportion above value >= 0, and the quantile of
// 0..1. NaN for arguments outside.
double ChiSquareAbove(double value, double degrees);
double ChiSquareQuantile(double share_below, double degrees);

// F distribution: the proportion above ratio >= 0, and the quantile. NaN for arguments outside.
double FAbove(double ratio, double numerator_degrees, double denominator_degrees);
double FQuantile(double share_below, double numerator_degrees, double denominator_degrees);

// Beta distribution on 0..1 with a, b > 0: the proportion below, and the quantile.
double BetaBelow(double x, double a, double b);
double BetaQuantile(double share_below, double a, double b);

// Gamma distribution with shape > 0 and scale 1: the proportions below and above x >= 0, and the
// quantile.
double GammaBelow(double x, double shape);
double GammaAbove(double x, double shape);
double GammaQuantile(double share_below, double shape);

// Student's t: the proportion above, and the quantile; degrees > 0.
double StudentAbove(double t, double degrees);
double StudentQuantile(double share_below, double degrees);

// Noncentral t: the proportion below, and the quantile; degrees > 0.
double NoncentralTBelow(double t, double degrees, double noncentrality);
double NoncentralTQuantile(double share_below, double degrees, double noncentrality);

// Noncentral chi-square: density, proportion below, and quantile; degrees > 0, noncentrality >= 0.
double NoncentralChiSquareDensity(double x, double degrees, double noncentrality);
double NoncentralChiSquareBelow(double x, double degrees, double noncentrality);
double NoncentralChiSquareQuantile(double share_below, double degrees, double noncentrality);

// P(X <= count) of counts; 0 for a count below 0. n, mean and p as of the distribution.
double BinomialAtMost(double count, double n, double p);
double PoissonAtMost(double count, double mean);
// Of a sample of n from a lot of `lot` units with `bad` bad ones.
double HypergeometricAtMost(double count, double n, double bad, double lot);

// ln Gamma, and its first and second derivative, of x > 0.
double LogGamma(double x);
double Digamma(double x);
double Trigamma(double x);

// A fitted distribution, defined by the standard normal score of each value:
// F(x) = Phi(Score(x)). Outside the support the score is infinite.
class Distribution {
 public:
  virtual ~Distribution() = default;

  virtual std::string_view Name() const = 0;
  virtual int FittedParameters() const = 0;
  virtual double Score(double x) const = 0;
  // Derivative of the score; 0 outside the support.
  virtual double Slope(double x) const = 0;
  // The value with that score.
  virtual double AtScore(double score) const = 0;

  double Below(double x) const { return NormalBelow(Score(x)); }
  double Above(double x) const { return NormalAbove(Score(x)); }
  // P(from < X <= to), with full digits in both tails; 0 when to does not lie above from.
  double Between(double from, double to) const;
  double Density(double x) const;
  double Quantile(double share_below) const { return AtScore(NormalQuantile(share_below)); }

 protected:
  Distribution() = default;
  Distribution(const Distribution&) = default;
  Distribution& operator=(const Distribution&) = default;
};

// Mean and standard deviation; a deviation above 0.
class NormalDistribution final : public Distribution {
 public:
  NormalDistribution(double mean, double sd) : mean_(mean), sd_(sd) {}

  std::string_view Name() const override { return "normal"; }
  int FittedParameters() const override { return 2; }
  double Score(double x) const override { return (x - mean_) / sd_; }
  double Slope(double) const override { return 1.0 / sd_; }
  double AtScore(double score) const override { return mean_ + score * sd_; }

 private:
  double mean_, sd_;
};

}  // namespace orvspc::engine::statistics
