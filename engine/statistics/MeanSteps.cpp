// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/MeanSteps.h"

#include <algorithm>
#include <limits>

#include "platform/NaN.h"

namespace orvspc::engine::statistics {

namespace {

// Sums of the deviations from the mean, from the first value on.
std::vector<double> SumsOf(std::span<const double> values) {
  double mean = 0.0;
  for (const double value : values) mean += value / static_cast<double>(values.size());
  std::vector<double> sums(values.size() + 1, 0.0);
  for (std::size_t i = 0; i < values.size(); ++i) sums[i + 1] = sums[i] + (values[i] - mean);
  return sums;
}

// What a segment of its own mean takes from the sum of squares about 0.
double Taken(double sum, double count) { return sum * sum / count; }

// Beginnings of the last segment that can still be best, side by side for the loop over them.
class Beginnings {
 public:
  void Add(std::size_t at, double cost, double sum) {
    at_.push_back(static_cast<double>(at));
    costs_.push_back(cost);
    sums_.push_back(sum);
    until_.push_back(std::numeric_limits<double>::infinity());
  }

  // The least cost of the series up to `end` without a penalty for the last step.
  std::pair<double, std::size_t> Best(std::size_t end, double sum) {
    totals_.resize(at_.size());
    for (std::size_t i = 0; i < at_.size(); ++i) {
      totals_[i] = costs_[i] - Taken(sum - sums_[i], static_cast<double>(end) - at_[i]);
    }
    const auto best = std::min_element(totals_.begin(), totals_.end());
    return {*best, static_cast<std::size_t>(at_[static_cast<std::size_t>(best - totals_.begin())])};
  }

  // Drops those that a step at `end` beats by more than it costs. Up to end + least there can be
  // no such step yet, so that they are kept as long.
  void Prune(std::size_t end, double cost, std::size_t least) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < at_.size(); ++i) {
      if (totals_[i] >= cost) until_[i] = std::min(until_[i], static_cast<double>(end + least));
      if (until_[i] <= static_cast<double>(end)) continue;
      at_[kept] = at_[i];
      costs_[kept] = costs_[i];
      sums_[kept] = sums_[i];
      until_[kept] = until_[i];
      ++kept;
    }
    for (auto* const column : {&at_, &costs_, &sums_, &until_}) column->resize(kept);
  }

 private:
  std::vector<double> at_, costs_, sums_, until_, totals_;
};

MeanStep BestBetween(const std::vector<double>& sums, std::size_t first, std::size_t last,
                     std::size_t least, double tolerance) {
  MeanStep step;
  step.gain = platform::kNaN;
  const auto count = last - first;
  if (count < 2 * least) return step;
  const double whole = Taken(sums[last] - sums[first], static_cast<double>(count));
  const auto gain = [&](std::size_t at) {
    return Taken(sums[at] - sums[first], static_cast<double>(at - first)) +
           Taken(sums[last] - sums[at], static_cast<double>(last - at)) - whole;
  };
  for (auto at = first + least; at + least <= last; ++at) {
    if (gain(at) <= step.gain) continue;
    step.gain = gain(at);
    step.before = at;
  }
  for (auto at = first + least; at + least <= last; ++at) {
    if (gain(at) < step.gain - tolerance) continue;
    if (step.earliest == 0) step.earliest = at;
    step.latest = at;
  }
  return step;
}

}  // namespace

std::vector<MeanStep> StepsOfMean(std::span<const double> values, double penalty, std::size_t least,
                                  double tolerance) {
  const auto count = values.size();
  if (count < 2 * least) return {};
  const auto sums = SumsOf(values);
  std::vector<std::size_t> before(count + 1, 0);  // of the last segment that ends there
  Beginnings beginnings;
  std::vector<double> costs(count + 1, 0.0);
  costs[0] = -penalty;
  for (auto end = least; end <= count; ++end) {
    const auto newest = end - least;
    if (newest == 0 || newest >= least) beginnings.Add(newest, costs[newest], sums[newest]);
    const auto [cost, at] = beginnings.Best(end, sums[end]);
    costs[end] = cost + penalty;
    before[end] = at;
    beginnings.Prune(end, costs[end], least);
  }
  std::vector<std::size_t> borders{count};
  while (borders.back() != 0) borders.push_back(before[borders.back()]);
  std::reverse(borders.begin(), borders.end());
  std::vector<MeanStep> steps;
  for (std::size_t i = 1; i + 1 < borders.size(); ++i) {
    steps.push_back(BestBetween(sums, borders[i - 1], borders[i + 1], least, tolerance));
  }
  return steps;
}

MeanStep BestStep(std::span<const double> values, std::size_t least, double tolerance) {
  return BestBetween(SumsOf(values), 0, values.size(), least, tolerance);
}

}  // namespace orvspc::engine::statistics
