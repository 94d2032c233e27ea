// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/cusum.h"

#include <cmath>
#include <cstdint>

#include "engine/statistics/TimeWeighted.h"

namespace orvspc::engine::charts {

CusumOutcome FillCusum(const StreamTable& table, const ChartStream& stream, const RunRows& rows,
                       const std::function<statistics::PointLimits(std::size_t place)>& lines,
                       std::vector<double>& points) {
  const auto count = stream.Count();
  std::vector<double> centre(count), sigma(count);
  std::vector<std::uint8_t> restart(count);
  for (std::size_t i = 0; i < count; ++i) {
    const auto at = lines(stream.begin + i);
    centre[i] = at.centre;
    sigma[i] = at.sigma;
    restart[i] = rows.RestartsAt(stream, stream.begin + i) ? 1 : 0;
  }
  statistics::CusumSettings settings;
  settings.k = kCusumReference;
  settings.h = kCusumDecision;
  const auto series = statistics::Cusum(
      {Part(points, stream), centre, sigma, Part(table.Used(), stream), restart}, settings);
  CusumOutcome outcome;
  for (std::size_t i = 0; i < count; ++i) {
    auto& point = points[stream.begin + i];
    const bool has_sigma = sigma[i] > 0.0;
    outcome.no_sigma = outcome.no_sigma || (!std::isnan(point) && !has_sigma);
    if (!std::isnan(point) && has_sigma && std::isnan(series.points[i])) {
      outcome.beyond.push_back(stream.begin + i);
    }
    point = series.points[i];
  }
  return outcome;
}

}  // namespace orvspc::engine::charts
