// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Autoregression.h"

#include <cmath>
#include <numbers>

#include "engine/statistics/Numerics.h"
#include "platform/NaN.h"

namespace orvspc::engine::statistics {

Autoregression::Autoregression(std::span<const double> values) {
  double before = platform::kNaN;
  for (const double value : values) {
    if (!std::isnan(value)) {
      if (std::isnan(before)) {
        starts_.push_back(value);
      } else {
        pairs_.push_back({before, value});
      }
    }
    before = value;
  }
}

double Autoregression::MeanAt(double phi) const {
  double sum = 0.0;
  for (const double x : starts_) sum += (1.0 + phi) * x;
  for (const auto& pair : pairs_) sum += pair.value - phi * pair.before;
  return sum / ((1.0 + phi) * static_cast<double>(starts_.size()) +
                (1.0 - phi) * static_cast<double>(pairs_.size()));
}

double Autoregression::Squares(double phi, double mean) const {
  double sum = 0.0;
  for (const double x : starts_) sum += (1.0 - phi * phi) * (x - mean) * (x - mean);
  for (const auto& pair : pairs_) {
    const double e = pair.value - mean - phi * (pair.before - mean);
    sum += e * e;
  }
  return sum;
}

double Autoregression::LogLikelihood(double phi) const {
  const double count = Count();
  const double variance = Squares(phi, MeanAt(phi)) / count;
  return -0.5 * count * (std::log(2.0 * std::numbers::pi * variance) + 1.0) +
         0.5 * static_cast<double>(starts_.size()) * std::log1p(-phi * phi);
}

// Of the log-likelihood by phi. The mean is the best one at phi, so its own change adds nothing.
double Autoregression::Slope(double phi) const {
  const double mean = MeanAt(phi);
  double of_squares = 0.0;
  for (const double x : starts_) of_squares -= 2.0 * phi * (x - mean) * (x - mean);
  for (const auto& pair : pairs_) {
    const double before = pair.before - mean;
    of_squares -= 2.0 * (pair.value - mean - phi * before) * before;
  }
  return -0.5 * Count() * of_squares / Squares(phi, mean) -
         static_cast<double>(starts_.size()) * phi / (1.0 - phi * phi);
}

double Autoregression::BestPhi() const {
  const double phi = Root([&](double at) { return Slope(at); }, -kMostPhi, kMostPhi);
  if (!std::isnan(phi)) return phi;
  return LogLikelihood(kMostPhi) > LogLikelihood(-kMostPhi) ? kMostPhi : -kMostPhi;
}

}  // namespace orvspc::engine::statistics
