// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Moments.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

#include "platform/NaN.h"

namespace orvspc::engine::statistics {
namespace {

using platform::kNaN;

// The mean as origin + shift: the sum of both rounds, so that deviations are taken from the pair.
struct Centre {
  double origin, shift;
};

Centre CentreOf(std::span<const double> values) {
  const double origin = values.front();
  CarriedSum sum;
  for (const double x : values) sum.Add(x - origin);
  return {origin, sum.Value() / static_cast<double>(values.size())};
}

double SumOfSquaresAbout(std::span<const double> values, Centre centre) {
  CarriedSum squares;
  for (const double x : values) {
    const double d = (x - centre.origin) - centre.shift;
    squares.Add(d * d);
  }
  return squares.Value();
}

}  // namespace

double Mean(std::span<const double> values) {
  if (values.empty()) return kNaN;
  const Centre centre = CentreOf(values);
  return centre.origin + centre.shift;
}

double SumOfSquares(std::span<const double> values) {
  return values.empty() ? kNaN : SumOfSquaresAbout(values, CentreOf(values));
}

double SampleVariance(std::span<const double> values) {
  return values.size() < 2 ? kNaN : SumOfSquares(values) / static_cast<double>(values.size() - 1);
}

double SampleStandardDeviation(std::span<const double> values) {
  return std::sqrt(SampleVariance(values));
}

CentralMoments CentralMomentsOf(std::span<const double> values) {
  CentralMoments result;
  result.count = static_cast<std::int64_t>(values.size());
  if (values.empty()) {
    result.mean = result.m2 = result.m3 = result.m4 = kNaN;
    return result;
  }
  const Centre centre = CentreOf(values);
  CarriedSum third, fourth;
  for (const double x : values) {
    const double d = (x - centre.origin) - centre.shift;
    third.Add(d * d * d);
    fourth.Add(d * d * d * d);
  }
  const double n = static_cast<double>(values.size());
  result.mean = centre.origin + centre.shift;
  result.m2 = SumOfSquaresAbout(values, centre) / n;
  result.m3 = third.Value() / n;
  result.m4 = fourth.Value() / n;
  return result;
}

double SampleSkewness(const CentralMoments& moments) {
  const double n = static_cast<double>(moments.count);
  if (moments.count < 3 || moments.m2 == 0.0) return 0.0;
  return std::sqrt(n * (n - 1.0)) / (n - 2.0) * moments.m3 / (moments.m2 * std::sqrt(moments.m2));
}

double SampleKurtosis(const CentralMoments& moments) {
  const double n = static_cast<double>(moments.count);
  if (moments.count < 4 || moments.m2 == 0.0) return 0.0;
  const double excess = moments.m4 / (moments.m2 * moments.m2) - 3.0;
  return (n - 1.0) / ((n - 2.0) * (n - 3.0)) * ((n + 1.0) * excess + 6.0);
}

// A subgroup is short: plain sums about its first value keep all the digits, and a chart of a
// million subgroups calls this a million times.
SampleSummary Summarise(std::span<const double> values) {
  SampleSummary result;
  double origin = 0.0, sum = 0.0, smallest = kNaN, largest = kNaN;
  for (const double x : values) {
    if (!std::isfinite(x)) continue;
    if (result.count == 0) origin = smallest = largest = x;
    ++result.count;
    sum += x - origin;
    smallest = std::min(smallest, x);
    largest = std::max(largest, x);
  }
  result.smallest = smallest;
  result.largest = largest;
  result.mean = result.sd = result.range = kNaN;
  if (result.count == 0) return result;
  const double n = static_cast<double>(result.count);
  const double shift = sum / n;
  result.mean = origin + shift;
  if (result.count < 2) return result;
  double squares = 0.0;
  for (const double x : values) {
    if (!std::isfinite(x)) continue;
    const double d = (x - origin) - shift;
    squares += d * d;
  }
  result.sd = std::sqrt(squares / (n - 1.0));
  result.range = largest - smallest;
  return result;
}

double Median(std::span<const double> values) {
  constexpr std::size_t kShort = 32;
  double buffer[kShort];
  std::vector<double> heap;
  double* data = buffer;
  if (values.size() > kShort) {
    heap.resize(values.size());
    data = heap.data();
  }
  double* const end =
      std::copy_if(values.begin(), values.end(), data, [](double x) { return std::isfinite(x); });
  const auto count = end - data;
  if (count == 0) return kNaN;
  double* const middle = data + count / 2;
  std::nth_element(data, middle, end);
  if (count % 2 == 1) return *middle;
  const double below = *std::max_element(data, middle);
  return std::midpoint(below, *middle);
}

double Quantile(std::span<const double> sorted, double p) {
  if (sorted.empty() || std::isnan(p)) return kNaN;
  const double position = static_cast<double>(sorted.size()) * p + 0.5;  // counts from 1
  if (position <= 1.0) return sorted.front();
  if (position >= static_cast<double>(sorted.size())) return sorted.back();
  const double whole = std::floor(position);
  const std::size_t i = static_cast<std::size_t>(whole) - 1;
  return sorted[i] + (position - whole) * (sorted[i + 1] - sorted[i]);
}

void MomentAccumulator::Add(double value) {
  if (count_ == 0) origin_ = value;
  ++count_;
  const double deviation = value - origin_;
  const double delta = deviation - mean_;
  mean_ += delta / static_cast<double>(count_);
  sum_of_squares_ += delta * (deviation - mean_);
}

void MomentAccumulator::Merge(const MomentAccumulator& other) {
  if (other.count_ == 0) return;
  if (count_ == 0) {
    *this = other;
    return;
  }
  const double mine = static_cast<double>(count_), theirs = static_cast<double>(other.count_);
  const double delta = (other.origin_ - origin_) + (other.mean_ - mean_);
  count_ += other.count_;
  mean_ += delta * theirs / (mine + theirs);
  sum_of_squares_ += other.sum_of_squares_ + delta * delta * mine * theirs / (mine + theirs);
}

double MomentAccumulator::Mean() const { return count_ == 0 ? kNaN : origin_ + mean_; }

double MomentAccumulator::SumOfSquares() const { return count_ == 0 ? kNaN : sum_of_squares_; }

double MomentAccumulator::SampleVariance() const {
  return count_ < 2 ? kNaN : sum_of_squares_ / static_cast<double>(count_ - 1);
}

double MomentAccumulator::SampleStandardDeviation() const { return std::sqrt(SampleVariance()); }

}  // namespace orvspc::engine::statistics
