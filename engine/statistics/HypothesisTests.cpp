// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/HypothesisTests.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

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

SpreadTest BartlettOf(std::span<const double> variances, std::span<const double> degrees) {
  SpreadTest test;
  const auto groups = static_cast<double>(variances.size());
  if (variances.size() < 2) return test;
  double sum = 0.0, squares = 0.0, logarithms = 0.0, reciprocals = 0.0;
  for (std::size_t i = 0; i < variances.size(); ++i) {
    if (!(variances[i] > 0.0)) return test;
    sum += degrees[i];
    squares += degrees[i] * variances[i];
    logarithms += degrees[i] * std::log(variances[i]);
    reciprocals += 1.0 / degrees[i];
  }
  test.degrees = groups - 1.0;
  test.value = (sum * std::log(squares / sum) - logarithms) /
               (1.0 + (reciprocals - 1.0 / sum) / (3.0 * test.degrees));
  // Rounding may leave less than nothing where all variances are equal.
  test.value = std::max(test.value, 0.0);
  test.probability = ChiSquareAbove(test.value, test.degrees);
  return test;
}

SpreadTest LeveneOf(std::span<const std::vector<double>> groups) {
  std::int64_t count = 0, filled = 0;
  double within = 0.0, between = 0.0, sum = 0.0;
  std::vector<std::pair<double, double>> means;  // with the number of values
  for (const auto& group : groups) {
    if (group.empty()) continue;
    auto sorted = group;
    std::ranges::sort(sorted);
    const auto size = sorted.size();
    const double median = (sorted[(size - 1) / 2] + sorted[size / 2]) / 2.0;
    double mean = 0.0;
    for (auto& value : sorted) {
      value = std::abs(value - median);
      mean += value / static_cast<double>(size);
    }
    for (const double value : sorted) within += (value - mean) * (value - mean);
    means.emplace_back(mean, static_cast<double>(size));
    sum += mean * static_cast<double>(size);
    count += static_cast<std::int64_t>(size);
    ++filled;
  }
  SpreadTest test;
  if (filled < 2 || count <= filled || !(within > 0.0)) return test;
  const double all = sum / static_cast<double>(count);
  for (const auto& each : means) between += each.second * (each.first - all) * (each.first - all);
  const auto table = AnovaOf(within, between, within + between, count, filled);
  test.value = table.f;
  test.degrees = static_cast<double>(table.between_degrees);
  test.within_degrees = static_cast<double>(table.within_degrees);
  test.probability = table.probability;
  return test;
}

}  // namespace orvspc::engine::statistics
