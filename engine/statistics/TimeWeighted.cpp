// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/TimeWeighted.h"

#include <algorithm>
#include <cmath>

#include "platform/NaN.h"

namespace orvspc::engine::statistics {
namespace {

using platform::kNaN;

bool IsUsed(const SequenceInput& input, std::size_t i) {
  return input.used.empty() || input.used[i] != 0;
}
bool Restarts(const SequenceInput& input, std::size_t i) {
  return !input.restart.empty() && input.restart[i] != 0;
}

EwmaSeries EmptySeries(std::size_t count) {
  const std::vector<double> none(count, kNaN);
  return {none, none, none, none, none};
}

void SetLines(EwmaSeries& series, std::size_t i, double centre, double sigma, double width) {
  series.centre[i] = centre;
  series.sigma[i] = sigma;
  series.upper[i] = centre + width * sigma;
  series.lower[i] = centre - width * sigma;
}

}  // namespace

CusumSeries Cusum(const SequenceInput& input, const CusumSettings& settings) {
  const std::size_t count = input.points.size();
  const std::vector<double> none(count, kNaN);
  CusumSeries series{none, none, none};
  double up = settings.head_start, down = settings.head_start;
  for (std::size_t i = 0; i < count; ++i) {
    if (Restarts(input, i)) up = down = settings.head_start;
    const double sigma = input.sigma[i];
    const double y = (input.points[i] - input.centre[i]) / sigma;
    if (!(sigma > 0.0) || !std::isfinite(y)) continue;
    const double next_up = std::max(0.0, up + y - settings.k);
    const double next_down = std::max(0.0, down - y - settings.k);
    if (!std::isfinite(next_up) || !std::isfinite(next_down)) continue;
    series.up[i] = next_up;
    series.down[i] = next_down;
    series.points[i] = next_up >= next_down ? next_up : -next_down;
    if (!IsUsed(input, i)) continue;
    up = next_up;
    down = next_down;
  }
  return series;
}

EwmaSeries Ewma(const SequenceInput& input, const EwmaSettings& settings) {
  EwmaSeries series = EmptySeries(input.points.size());
  const double lambda = settings.lambda, kept = 1.0 - lambda;
  double deviation = 0.0, variance = 0.0;
  for (std::size_t i = 0; i < input.points.size(); ++i) {
    if (Restarts(input, i)) deviation = variance = 0.0;
    const double centre = input.centre[i], sigma = input.sigma[i];
    const double next_variance = lambda * lambda * sigma * sigma + kept * kept * variance;
    SetLines(series, i, centre, std::sqrt(next_variance), settings.width);
    const double next = lambda * (input.points[i] - centre) + kept * deviation;
    series.points[i] = centre + next;
    if (!IsUsed(input, i) || std::isnan(next)) continue;
    deviation = next;
    if (!std::isnan(next_variance)) variance = next_variance;
  }
  return series;
}

EwmaSeries MovingCentreEwma(const SequenceInput& input,
                            const std::function<double(double centre, std::size_t i)>& sigma_at,
                            const EwmaSettings& settings) {
  EwmaSeries series = EmptySeries(input.points.size());
  double z = kNaN;
  for (std::size_t i = 0; i < input.points.size(); ++i) {
    if (Restarts(input, i)) z = kNaN;
    if (std::isnan(z)) z = input.centre[i];
    const double x = input.points[i];
    SetLines(series, i, z, sigma_at(z, i), settings.width);
    series.points[i] = x;
    if (IsUsed(input, i) && !std::isnan(x)) z = settings.lambda * x + (1.0 - settings.lambda) * z;
  }
  return series;
}

double EwmaAsymptoticSigma(double sigma, double lambda) {
  return sigma * std::sqrt(lambda / (2.0 - lambda));
}

}  // namespace orvspc::engine::statistics
