// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/HypothesisTests.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace orvspc::engine::statistics {
namespace {

double MeanSquare(double squares, std::int64_t degrees) {
  return degrees > 0 ? squares / static_cast<double>(degrees) : 0.0;
}

}  // namespace

std::int32_t ChiSquareCells(std::int64_t count) {
  if (count < 1) return 0;
  const auto root = static_cast<std::int64_t>(std::floor(std::sqrt(static_cast<double>(count))));
  return static_cast<std::int32_t>(std::min(root, count / 5));
}

std::vector<double> EqualProbabilityEdges(const Distribution& distribution, std::int32_t cells) {
  std::vector<double> edges;
  edges.reserve(static_cast<std::size_t>(std::max(cells - 1, 0)));
  for (std::int32_t i = 1; i < cells; ++i)
    edges.push_back(distribution.Quantile(static_cast<double>(i) / cells));
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

AnovaTable AnovaOf(double within_squares, double between_squares, double total_squares,
                   std::int64_t count, std::int64_t groups) {
  AnovaTable table;
  table.within_degrees = count - groups;
  table.between_degrees = groups - 1;
  table.total_degrees = count - 1;
  table.within_squares = within_squares;
  table.between_squares = between_squares;
  table.total_squares = total_squares;
  table.within_mean = MeanSquare(within_squares, table.within_degrees);
  table.between_mean = MeanSquare(between_squares, table.between_degrees);
  table.total_mean = MeanSquare(total_squares, table.total_degrees);
  if (table.within_degrees < 1 || table.between_degrees < 1) return table;
  if (table.within_mean == 0.0) {
    if (table.between_mean > 0.0) table.probability = 0.0;
    return table;
  }
  table.f = table.between_mean / table.within_mean;
  table.probability = FAbove(table.f, static_cast<double>(table.between_degrees),
                             static_cast<double>(table.within_degrees));
  return table;
}

}  // namespace orvspc::engine::statistics
