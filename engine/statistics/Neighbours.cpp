// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Neighbours.h"

#include <cmath>
#include <cstdio>
#include <string>

#include "engine/statistics/Distributions.h"

namespace orvspc::engine::statistics {
namespace {

constexpr std::int64_t kFewest = 25;
constexpr double kByChance = 0.01;

std::string Rounded(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3g", value);
  return text;
}

}  // namespace

double NeighbourCorrelation::Factor() const { return std::sqrt(1.0 - r1); }

double NeighbourCorrelation::Statistic() const {
  const auto n = static_cast<double>(count);
  return n * (n + 2.0) * r1 * r1 / (n - 1.0);
}

double NeighbourCorrelation::P() const { return ChiSquareAbove(Statistic(), 1.0); }

NeighbourCorrelation CorrelationOfNeighbours(std::span<const double> points,
                                             std::span<const std::uint8_t> used, double near) {
  // Of deviations from `near`: of all, and of the first and the second of each pair together.
  double sum = 0.0, squares = 0.0, products = 0.0, of_pairs = 0.0;
  double before = platform::kNaN;
  std::int64_t count = 0, pairs = 0;
  bool differ = false;
  double first = platform::kNaN;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (!used.empty() && used[i] == 0) continue;
    const double deviation = points[i] - near;
    if (std::isnan(deviation)) {
      before = deviation;
      continue;
    }
    if (count == 0) first = deviation;
    differ = differ || deviation != first;
    ++count;
    sum += deviation;
    squares += deviation * deviation;
    if (!std::isnan(before)) {
      ++pairs;
      products += deviation * before;
      of_pairs += deviation + before;
    }
    before = deviation;
  }
  NeighbourCorrelation result{count};
  if (count < 2 || !differ) return result;
  const double mean = sum / static_cast<double>(count);
  const double r1 = (products - mean * of_pairs + static_cast<double>(pairs) * mean * mean) /
                    (squares - sum * mean);
  if (std::isfinite(r1)) result.r1 = r1;
  return result;
}

std::vector<Note> NotesOnNeighbours(const NeighbourCorrelation& correlation, LimitsFrom from,
                                    const std::function<bool()>& judges_runs) {
  if (correlation.count < kFewest || !(correlation.P() < kByChance)) return {};
  const bool positive = correlation.r1 > 0.0;
  std::string text = "Neighbours are correlated (r1 = " + Rounded(correlation.r1) + ")";
  if (from == LimitsFrom::MovingRanges) {
    text += std::string(": limits from moving ranges are too ") + (positive ? "narrow" : "wide") +
            " by the factor " + Rounded(correlation.Factor()) + ".";
  } else if (from == LimitsFrom::Subgroups) {
    text += ": limits from inside the subgroups do not show how far their means wander.";
  } else {
    text += ".";
  }
  std::vector<Note> notes{{"correlated", text, {}}};
  if (positive && judges_runs()) {
    notes.push_back({"runs-expected", "Runs on one side are expected.", {}});
  }
  return notes;
}

}  // namespace orvspc::engine::statistics
