// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "platform/Law.h"
#include "platform/NaN.h"

// Laws that are fitted to a sample by maximum likelihood, and how well they fit.
namespace orvspc::engine::statistics {

// Densities in z = (y - location)/scale, where y is the value x, -x or ln(x - threshold). Those of
// gamma and exponential laws are in (x - threshold)/scale.
enum class Kernel : std::uint8_t { Normal, Logistic, SmallestExtreme, Gamma, Exponential };
enum class LawScale : std::uint8_t { Plain, Mirrored, Log };

struct LawFamily {
  Kernel kernel;
  LawScale scale;
  bool has_threshold;
  std::array<std::string_view, 3> names;  // of the parameters, the threshold last; empty: no more
  std::size_t parameters;
};
const LawFamily& FamilyOf(Law kind);

// ln of the proportions below and above.
struct LogTails {
  double below, above;
};

// Of location, scale and threshold.
using LawCovariance = std::array<std::array<double, 3>, 3>;

// A law with its parameters.
class FittedLaw {
 public:
  // location  and scale, of ln x where the law is of that; gamma: the shape and the scale;
  //           exponential: 0 and the scale
  FittedLaw(Law kind, double location, double scale, double threshold = 0.0)
      : kind_(kind), location_(location), scale_(scale), threshold_(threshold) {}
  // By the parameters of the family, in their order.
  static FittedLaw Of(Law kind, std::span<const double> parameters);

  Law Kind() const { return kind_; }
  double Location() const { return location_; }
  double Scale() const { return scale_; }
  double Threshold() const { return threshold_; }
  std::vector<double> Parameters() const;

  LogTails TailsAt(double x) const;
  double Density(double x) const;
  // The value with that proportion below.
  double Quantile(double share_below) const;

  // Scales on which the law is a straight line: those of a probability plot.
  double ScaleOfValue(double x) const;
  double ScaleOfShare(double share_below) const;
  // Derivatives of the quantile by location, scale and threshold.
  std::array<double, 3> QuantileSlopes(double share_below) const;
  // The quantile's standard error.
  double QuantileError(const LawCovariance& covariance, double share_below) const;

 private:
  Law kind_;
  double location_, scale_, threshold_;
};

// A sample that several laws are fitted to: sorted once, logarithms taken once.
class LawSample {
 public:
  // Finite values, at least one.
  explicit LawSample(std::vector<double> values);

  std::size_t Count() const { return values_.size(); }
  const std::vector<double>& Values() const { return values_; }  // ascending
  double Smallest() const { return values_.front(); }
  double Range() const { return values_.back() - values_.front(); }
  double Mean() const { return mean_; }
  double Squares() const { return squares_; }  // about the mean
  std::size_t Different() const { return different_; }

  // Of values above 0. Made at the first call: not for two threads at once.
  const std::vector<double>& Logarithms() const;
  // Distances from the smallest value; with weights, fewer where there are many values.
  const std::vector<double>& Distances() const;
  struct Cells {
    std::vector<double> distances, weights;
  };
  const Cells& Condensed() const;

 private:
  std::vector<double> values_;
  double mean_ = 0.0, squares_ = 0.0;
  std::size_t different_ = 0;
  mutable std::vector<double> logarithms_, distances_;
  mutable Cells condensed_;
};

enum class LawOutcome : std::uint8_t {
  Fitted,
  NotSupported,  // a value lies outside of the law
  NotConverged,
  NoThreshold,   // the likelihood rises up to the law without threshold
  ThresholdSet,  // it rises only as the threshold comes close to the smallest value
};

struct LawFitOptions {
  bool lognormal_n_minus_1 = false;  // divisor of sigma; otherwise N, maximum likelihood
  const FittedLaw* start = nullptr;  // the threshold is sought from there uphill, not everywhere
};

struct LawFit {
  LawOutcome outcome = LawOutcome::NotSupported;
  FittedLaw law;
  double log_likelihood = platform::kNaN;  // at its maximum
  double gradient = platform::kNaN;  // greatest slope of its mean by a parameter in its own scale
  int iterations = 0;

  bool Exists() const {
    return outcome == LawOutcome::Fitted || outcome == LawOutcome::ThresholdSet;
  }
};

// Maximum likelihood.
//   normal       mean and deviation with divisor N - 1; the likelihood is that with N
//   location and scale  Newton's method in -location/scale, 1/scale, in which it is concave
//   gamma        Newton's method in the shape, ln k - digamma(k) = ln(mean) - mean ln x
//   exponential-2  the smallest value less scale/N, scale = mean - smallest value
//   threshold    the profile likelihood at 201 thresholds from x(1) - 10^-4 R to x(1) - 100 R, R
//   the
//                range; of its maxima inside the highest one, as root of its derivative. The
//                likelihood has no bound at x(1), so a rise there is no solution: then the
//                threshold is x(1) - R/N
// Converged    slope of the mean log likelihood below 1e-10 by each parameter times its scale: that
//              of the law; of a threshold the deviation, or the distance to x(1) if that is less.
//              Where the parameters, as rounded, leave more than that, that and no more. Normal and
//              lognormal laws need no test
// Source   Burridge, J. Royal Statistical Society B 43 (1981), for the concavity; Cohen & Whitten,
//          Parameter Estimation in Reliability and Life Span Models (1988), for the threshold
LawFit FitLaw(const LawSample& sample, Law kind, const LawFitOptions& options = {});
inline constexpr double kConvergedSlope = 1e-10;

// By the observed information; NaN where that is not positive, and 0 for a parameter that was not
// estimated.
LawCovariance CovarianceOf(const LawSample& sample, const LawFit& fit);

// -N - (1/N) sum (2 i - 1)(ln F(x_i) + ln(1 - F(x_(N + 1 - i)))), without loss in the tails.
// Source   Anderson & Darling, J. American Statistical Association 49 (1954)
double AndersonDarling(const LawSample& sample, const FittedLaw& law);

// How likely a larger statistic is, if all parameters were estimated. NaN where it is not known;
// `above` or `below` where it lies outside of the table.
//   normal, lognormal   A* = A2 (1 + 0.75/N + 2.25/N^2), four pieces
//   exponential         A2 (1 + 0.6/N)
//   Weibull, extreme    A2 (1 + 0.2/sqrt N)
//   logistic            A2 (1 + 0.25/N)        ln P linear in A* between the columns
// Source   D'Agostino & Stephens, Goodness-of-Fit Techniques (1986), ch. 4
struct TailProbability {
  double p = platform::kNaN, above = platform::kNaN, below = platform::kNaN;
};
bool HasTable(Law kind);
TailProbability AndersonDarlingP(Law kind, double a2, std::size_t count);

// The lambda of (x^lambda - 1)/lambda, -5..5, after which the values are closest to normal, and its
// profile likelihood -(N/2) ln var + (lambda - 1) sum ln x. Values above 0, not all equal.
// Source   Box & Cox, J. Royal Statistical Society B 26 (1964)
struct BoxCoxFit {
  double lambda = platform::kNaN;
  bool at_edge = false;                    // it would lie further out
  double log_likelihood = platform::kNaN;  // with all of its constants
};
BoxCoxFit FitBoxCox(const LawSample& sample);
// Of x over a centre. One inside the values keeps their digits: of x alone, with lambda below 0,
// little is left but -1/lambda.
double BoxCox(double x, double lambda, double centre = 1.0);
// NaN where no value has this transform.
double InverseBoxCox(double y, double lambda, double centre = 1.0);
double BoxCoxLogLikelihood(const LawSample& sample, double lambda);

}  // namespace orvspc::engine::statistics
