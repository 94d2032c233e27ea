// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <vector>

namespace orvspc::engine::statistics {

inline constexpr double kMostPhi = 0.999;

// The exact Gaussian likelihood of x_t - mean = phi (x_(t-1) - mean) + e_t, |phi| <= kMostPhi,
// profiled over the variance of e. A run begins at the start and after a gap, with the variance
// sigma^2 / (1 - phi^2). Mean and sums are the best ones at a phi.
// Source   Box, Jenkins & Reinsel, Time Series Analysis, ch. 7
class Autoregression {
 public:
  // values: NaN is a gap; at least one is a number
  explicit Autoregression(std::span<const double> values);

  double MeanAt(double phi) const;
  double Squares(double phi, double mean) const;
  double LogLikelihood(double phi) const;
  double BestPhi() const;
  double Count() const { return static_cast<double>(starts_.size() + pairs_.size()); }

 private:
  double Slope(double phi) const;

  struct Pair {
    double before, value;
  };
  std::vector<double> starts_;
  std::vector<Pair> pairs_;
};

}  // namespace orvspc::engine::statistics
