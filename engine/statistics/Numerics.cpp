// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Numerics.h"

#include <boost/math/tools/toms748_solve.hpp>
#include <cmath>
#include <map>
#include <mutex>
#include <numbers>

#include "engine/statistics/Distributions.h"
#include "platform/NaN.h"

namespace orvspc::engine::statistics {
namespace {

using platform::kNaN;

GaussRule MakeRule(std::size_t order) {
  GaussRule rule{std::vector<double>(order), std::vector<double>(order)};
  const auto n = static_cast<double>(order);
  for (std::size_t i = 0; i < (order + 1) / 2; ++i) {
    // Newton from the usual start; the polynomial by its recurrence.
    double x = std::cos(std::numbers::pi * (static_cast<double>(i) + 0.75) / (n + 0.5));
    double slope = 1.0;
    for (int step = 0; step < 100; ++step) {
      double p = 1.0, before = 0.0;
      for (std::size_t k = 0; k < order; ++k) {
        const auto j = static_cast<double>(k);
        const double next = ((2.0 * j + 1.0) * x * p - j * before) / (j + 1.0);
        before = p;
        p = next;
      }
      slope = n * (x * p - before) / (x * x - 1.0);
      const double change = p / slope;
      x -= change;
      if (std::abs(change) < 1e-16) break;
    }
    const double weight = 2.0 / ((1.0 - x * x) * slope * slope);
    rule.nodes[i] = -x;
    rule.nodes[order - 1 - i] = x;
    rule.weights[i] = rule.weights[order - 1 - i] = weight;
  }
  return rule;
}

double IntegralOfOrder(const std::function<double(double)>& f, double low, double high,
                       std::size_t order) {
  const auto& rule = GaussLegendre(order);
  const double half = 0.5 * (high - low), middle = 0.5 * (high + low);
  double sum = 0.0;
  for (std::size_t i = 0; i < order; ++i) sum += rule.weights[i] * f(middle + half * rule.nodes[i]);
  return half * sum;
}

}  // namespace

double Root(const std::function<double(double)>& f, double low, double high, double tolerance) {
  const double at_low = f(low), at_high = f(high);
  if (at_low == 0.0) return low;
  if (at_high == 0.0) return high;
  if (std::isnan(at_low) || std::isnan(at_high) || (at_low > 0.0) == (at_high > 0.0)) return kNaN;
  std::uintmax_t steps = 200;
  const auto close = [tolerance](double a, double b) {
    return std::abs(a - b) <= tolerance * std::min(std::abs(a), std::abs(b)) ||
           std::abs(a - b) < 1e-300;
  };
  const auto [left, right] =
      boost::math::tools::toms748_solve(f, low, high, at_low, at_high, close, steps);
  return left + 0.5 * (right - left);
}

const GaussRule& GaussLegendre(std::size_t order) {
  static std::mutex mutex;
  static std::map<std::size_t, GaussRule> rules;
  const std::scoped_lock lock(mutex);
  auto found = rules.find(order);
  if (found == rules.end()) found = rules.emplace(order, MakeRule(order)).first;
  return found->second;
}

double Integral(const std::function<double(double)>& f, double low, double high) {
  constexpr std::size_t kFirst = 32, kLast = 1024;
  double before = IntegralOfOrder(f, low, high, kFirst);
  for (std::size_t order = 2 * kFirst; order <= kLast; order *= 2) {
    const double now = IntegralOfOrder(f, low, high, order);
    if (std::abs(now - before) <= 1e-9 * std::abs(now)) return now;
    before = now;
  }
  return before;
}

double Draws::Normal() {
  double share = 0.0;
  while (share == 0.0) share = Uniform();
  return NormalQuantile(share);
}

}  // namespace orvspc::engine::statistics
