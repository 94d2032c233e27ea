// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/ToleranceFactors.h"

#include <cmath>
#include <numbers>
#include <vector>

#include "engine/statistics/Distributions.h"
#include "engine/statistics/Numerics.h"
#include "platform/NaN.h"

namespace orvspc::engine::statistics {
namespace {

using platform::kNaN;

bool Serves(std::int64_t n, double content, double confidence) {
  return n >= 2 && content > 0.0 && content < 1.0 && confidence > 0.0 && confidence < 1.0;
}

// Half the width of the interval about z that holds the content of a standard normal law.
double HalfWidth(double z, double content) {
  const auto excess = [&](double r) { return NormalBelow(z + r) - NormalBelow(z - r) - content; };
  const double at_0 = NormalQuantile(0.5 + 0.5 * content);
  return z == 0.0 ? at_0 : Root(excess, 0.5 * at_0, z + at_0 + 1.0);
}

}  // namespace

double OneSidedToleranceFactor(std::int64_t n, double content, double confidence) {
  if (!Serves(n, content, confidence)) return kNaN;
  const auto count = static_cast<double>(n);
  const double z = NormalQuantile(content), root = std::sqrt(count);
  constexpr std::int64_t kMost = 100'000;
  if (n > kMost) {
    // The mean plus k standard deviations is then normal.
    const double g = NormalQuantile(confidence);
    const double a = 1.0 - g * g / (2.0 * (count - 1.0)), b = z * z - g * g / count;
    return (z + (g < 0.0 ? -1.0 : 1.0) * std::sqrt(z * z - a * b)) / a;
  }
  return NoncentralTQuantile(confidence, count - 1.0, z * root) / root;
}

double HoweToleranceFactor(std::int64_t n, double content, double confidence) {
  if (!Serves(n, content, confidence)) return kNaN;
  const auto count = static_cast<double>(n);
  return NormalQuantile(0.5 + 0.5 * content) *
         std::sqrt((count - 1.0) * (1.0 + 1.0 / count) /
                   ChiSquareQuantile(1.0 - confidence, count - 1.0));
}

double TwoSidedToleranceFactor(std::int64_t n, double content, double confidence) {
  if (!Serves(n, content, confidence)) return kNaN;
  // The square of the mean's distance is beyond 9 of its sigmas with 1e-18.
  constexpr std::size_t kOrder = 128;
  const auto count = static_cast<double>(n), degrees = count - 1.0;
  const double farthest = 9.0 / std::sqrt(count);
  const auto& rule = GaussLegendre(kOrder);
  std::vector<double> squares(kOrder), weights(kOrder);
  for (std::size_t i = 0; i < kOrder; ++i) {
    const double z = 0.5 * farthest * (1.0 + rule.nodes[i]), half = HalfWidth(z, content);
    squares[i] = degrees * half * half;
    weights[i] = 0.5 * farthest * rule.weights[i] * 2.0 *
                 std::sqrt(count / (2.0 * std::numbers::pi)) * std::exp(-0.5 * count * z * z);
  }
  const auto excess = [&](double k) {
    double sum = 0.0;
    for (std::size_t i = 0; i < kOrder; ++i) {
      sum += weights[i] * ChiSquareAbove(squares[i] / (k * k), degrees);
    }
    return sum - confidence;
  };
  const double start = HoweToleranceFactor(n, content, confidence);
  return Root(excess, 0.5 * start, 2.0 * start);
}

std::int64_t ToleranceRanks(std::int64_t n, double content, double confidence) {
  if (n < 1 || !Serves(n + 1, content, confidence)) return 0;
  std::int64_t low = 0, high = n;
  while (low < high) {
    const auto middle = (low + high + 1) / 2;
    const bool serves = BinomialAtMost(static_cast<double>(middle - 1), static_cast<double>(n),
                                       1.0 - content) <= 1.0 - confidence;
    (serves ? low : high) = serves ? middle : middle - 1;
  }
  return low;
}

std::int64_t LeastForRanks(std::int64_t ranks, double content, double confidence) {
  std::int64_t low = ranks, high = ranks;
  constexpr std::int64_t kMost = 1'000'000'000'000;
  while (ToleranceRanks(high, content, confidence) < ranks && high < kMost) high *= 2;
  while (low < high) {
    const auto middle = low + (high - low) / 2;
    const bool serves = ToleranceRanks(middle, content, confidence) >= ranks;
    (serves ? high : low) = serves ? middle : middle + 1;
  }
  return low;
}

}  // namespace orvspc::engine::statistics
