// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/StepHints.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "engine/statistics/Autoregression.h"
#include "engine/statistics/Estimators.h"

namespace orvspc::engine::statistics {

namespace {

constexpr double kTolerance = 4.0;  // of the place of a step
constexpr double kSignificant = 0.01;
constexpr std::size_t kTested = 25;  // points from which on neighbours are tested
// What a step and a correlation of neighbours cost in a comparison of both, times ln N: a step has
// a place and a height. With these, four of five steps of 1.5 sigma in 30 points stay hints.
constexpr double kStepCost = 3.0, kCorrelationCost = 2.0;

std::vector<double> Scaled(std::span<const double> values, double sigma) {
  std::vector<double> scaled(values.begin(), values.end());
  for (auto& value : scaled) value /= sigma;
  return scaled;
}

// Whether the levels explain the points better than their dependence on the one before does, both
// with the variance that suits them best.
bool BeatAutoregression(std::span<const double> values, std::span<const double> apart,
                        double cost_of_steps) {
  const auto count = static_cast<double>(values.size());
  double squares = 0.0;
  for (const double deviation : apart) squares += deviation * deviation;
  const Autoregression plain(values);
  const double of_correlation = -2.0 * plain.LogLikelihood(plain.BestPhi()) -
                                count * (std::log(2.0 * std::numbers::pi) + 1.0);
  return count * std::log(squares / count) + cost_of_steps <
         of_correlation + kCorrelationCost * std::log(count);
}

}  // namespace

StepHints HintsOfSteps(std::span<const double> values, double sigma, double penalty,
                       std::size_t least) {
  StepHints hints;
  hints.penalty = penalty * std::log(static_cast<double>(values.size()));
  hints.steps = StepsOfMean(Scaled(values, sigma), hints.penalty, least, kTolerance);
  std::vector<double> apart(values.begin(), values.end());
  std::size_t first = 0;
  for (std::size_t k = 0; k <= hints.steps.size(); ++k) {
    const auto end = k < hints.steps.size() ? hints.steps[k].before : values.size();
    hints.means.push_back(PlainCentre(values.subspan(first, end - first)));
    for (; first < end; ++first) apart[first] -= hints.means.back();
  }
  hints.of_points = CorrelationOfNeighbours(values, {}, values.front());
  hints.apart = CorrelationOfNeighbours(apart, {}, 0.0);
  const double cost = std::min(penalty, kStepCost) * std::log(static_cast<double>(values.size())) *
                      static_cast<double>(hints.steps.size());
  hints.wanders = (values.size() >= kTested && hints.apart.P() < kSignificant) ||
                  (!hints.steps.empty() && !BeatAutoregression(values, apart, cost));
  return hints;
}

double BestGain(std::span<const double> values, double sigma, std::size_t least) {
  return BestStep(Scaled(values, sigma), least, kTolerance).gain;
}

}  // namespace orvspc::engine::statistics
