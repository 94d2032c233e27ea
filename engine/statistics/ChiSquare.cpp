// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/ChiSquare.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace orvspc::engine::statistics {

std::int32_t ChiSquareCells(std::int64_t count) {
  if (count < 1) return 0;
  const auto root = static_cast<std::int64_t>(std::floor(std::sqrt(static_cast<double>(count))));
  return static_cast<std::int32_t>(std::min(root, count / 5));
}

std::vector<double> EqualProbabilityEdges(const Distribution& law, std::int32_t cells) {
  std::vector<double> edges;
  edges.reserve(static_cast<std::size_t>(std::max(cells - 1, 0)));
  for (std::int32_t i = 1; i < cells; ++i)
    edges.push_back(law.Quantile(static_cast<double>(i) / cells));
  return edges;
}

ChiSquareTest ChiSquareOf(std::span<const std::int64_t> observed, int parameters) {
  ChiSquareTest test;
  const auto cells = static_cast<std::int32_t>(observed.size());
  const auto degrees = cells - 1 - parameters;
  const auto count = std::accumulate(observed.begin(), observed.end(), std::int64_t{0});
  if (degrees < 1 || count == 0) return test;
  const double expected = static_cast<double>(count) / cells;
  double sum = 0.0;
  for (const auto each : observed) {
    const double apart = static_cast<double>(each) - expected;
    sum += apart * apart;
  }
  test.degrees = degrees;
  test.value = sum / expected;
  test.probability = ChiSquareAbove(test.value, degrees);
  return test;
}

}  // namespace orvspc::engine::statistics
