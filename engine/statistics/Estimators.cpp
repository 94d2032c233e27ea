// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Estimators.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "engine/statistics/ControlConstants.h"

namespace orvspc::engine::statistics {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct SettingName {
  EstimatorSetting setting;
  std::string_view name;
};
constexpr SettingName kSettingNames[] = {
    {EstimatorSetting::Mvlue, "mvlue"},
    {EstimatorSetting::Unweighted, "unweighted"},
    {EstimatorSetting::Pooled, "pooled"},
    {EstimatorSetting::PooledAsSbar, "pooled-as-sbar"},
};

bool IsUsed(std::span<const std::uint8_t> used, std::size_t i) {
  return used.empty() || used[i] != 0;
}

// Mean of a statistic in sigmas and its weight, kept for the size met last: charts have long
// stretches of one size.
struct SizeConstant {
  std::int32_t n = 0;
  double constant = 1.0, weight = 1.0;
};

SizeConstant RangeConstant(std::int32_t n) {
  const double d2 = D2(n), d3 = D3(n);
  return {n, d2, d2 * d2 / (d3 * d3)};
}

SizeConstant SdConstant(std::int32_t n) {
  const double c4 = C4(n), c5 = C5(n);
  return {n, c4, c4 * c4 / (c5 * c5)};
}

struct UsedSizes {
  std::int64_t count = 0;
  std::int32_t smallest = std::numeric_limits<std::int32_t>::max();
  std::int32_t largest = 0;

  void Add(std::int32_t n, std::int64_t more = 1) {
    count += more;
    smallest = std::min(smallest, n);
    largest = std::max(largest, n);
  }
};

// Calls visit(statistic, n) for every one that takes part.
template <typename Visit>
UsedSizes ForEachUsed(std::span<const double> statistics, std::span<const std::int32_t> sizes,
                      std::span<const std::uint8_t> used, Visit visit) {
  UsedSizes result;
  for (std::size_t i = 0; i < statistics.size(); ++i) {
    if (sizes[i] < 2 || !std::isfinite(statistics[i]) || !IsUsed(used, i)) continue;
    result.Add(sizes[i]);
    visit(statistics[i], sizes[i]);
  }
  return result;
}

SigmaEstimate Provenance(const UsedSizes& sizes, std::string_view name) {
  SigmaEstimate result;
  if (sizes.count == 0) return result;
  result.name = name;
  result.used = sizes.count;
  result.smallest_n = sizes.smallest;
  result.largest_n = sizes.largest;
  return result;
}

// sum(w statistic / constant) / sum(w); w = 1 when not weighted. One size for all divides once, at
// the end.
template <typename ConstantOf>
SigmaEstimate FromMeans(std::span<const double> statistics, std::span<const std::int32_t> sizes,
                        std::span<const std::uint8_t> used, bool weighted, ConstantOf constant_of,
                        std::string_view name) {
  SizeConstant at;
  double numerator = 0.0, denominator = 0.0, plain = 0.0;
  const UsedSizes sizes_used =
      ForEachUsed(statistics, sizes, used, [&](double statistic, std::int32_t n) {
        if (n != at.n) at = constant_of(n);
        const double weight = weighted ? at.weight : 1.0;
        numerator += weight * statistic / at.constant;
        denominator += weight;
        plain += statistic;
      });
  SigmaEstimate result = Provenance(sizes_used, name);
  if (!result.Exists()) return result;
  if (result.smallest_n == result.largest_n) {
    result.constant = at.constant;
    result.value = plain / static_cast<double>(result.used) / at.constant;
  } else {
    result.value = numerator / denominator;
  }
  return result;
}

SigmaEstimate PooledSigma(std::span<const double> sds, std::span<const std::int32_t> sizes,
                          std::span<const std::uint8_t> used, bool as_sbar) {
  double squares = 0.0, degrees = 0.0, inverse_c4 = 0.0;
  SizeConstant at;
  const UsedSizes sizes_used = ForEachUsed(sds, sizes, used, [&](double sd, std::int32_t n) {
    squares += (static_cast<double>(n) - 1.0) * sd * sd;
    degrees += static_cast<double>(n) - 1.0;
    if (n != at.n) at = SdConstant(n);
    inverse_c4 += 1.0 / at.constant;
  });
  SigmaEstimate result = Provenance(sizes_used, as_sbar ? "S-est pooled-as-sbar" : "S-est pooled");
  if (!result.Exists()) return result;
  const double pooled = std::sqrt(squares / degrees);
  if (!as_sbar) {
    result.value = pooled;
    return result;
  }
  result.sbar = pooled;
  if (result.smallest_n == result.largest_n) {
    result.constant = at.constant;
    result.value = pooled / at.constant;
  } else {
    result.value = pooled * inverse_c4 / static_cast<double>(result.used);
  }
  return result;
}

// sum(w count mean / constant) / sum(w count) over the sizes; w = 1 when not weighted.
template <typename ConstantOf>
SigmaEstimate FromSums(std::span<const SpreadOfSize> by_size, std::int64_t SpreadOfSize::*count,
                       double SpreadOfSize::*sum, bool weighted, ConstantOf constant_of,
                       std::string_view name) {
  UsedSizes sizes;
  SizeConstant at;
  double numerator = 0.0, denominator = 0.0, plain = 0.0;
  for (const auto& row : by_size) {
    if (row.n < 2 || row.*count == 0) continue;
    sizes.Add(row.n, row.*count);
    at = constant_of(row.n);
    const double weight = weighted ? at.weight : 1.0;
    numerator += weight * (row.*sum) / at.constant;
    denominator += weight * static_cast<double>(row.*count);
    plain += row.*sum;
  }
  SigmaEstimate result = Provenance(sizes, name);
  if (!result.Exists()) return result;
  if (sizes.smallest == sizes.largest) {
    result.constant = at.constant;
    result.value = plain / static_cast<double>(result.used) / at.constant;
  } else {
    result.value = numerator / denominator;
  }
  return result;
}

SigmaEstimate PooledFromSums(std::span<const SpreadOfSize> by_size, bool as_sbar) {
  UsedSizes sizes;
  double squares = 0.0, degrees = 0.0, inverse_c4 = 0.0, c4 = kNaN;
  for (const auto& row : by_size) {
    if (row.n < 2 || row.sd_count == 0) continue;
    sizes.Add(row.n, row.sd_count);
    const auto count = static_cast<double>(row.sd_count);
    squares += row.squares;
    degrees += count * (row.n - 1.0);
    c4 = C4(row.n);
    inverse_c4 += count / c4;
  }
  SigmaEstimate result = Provenance(sizes, as_sbar ? "S-est pooled-as-sbar" : "S-est pooled");
  if (!result.Exists()) return result;
  result.value = std::sqrt(squares / degrees);
  if (!as_sbar) return result;
  result.sbar = result.value;
  if (sizes.smallest == sizes.largest) result.constant = c4;
  result.value *= inverse_c4 / static_cast<double>(result.used);
  return result;
}

SigmaEstimate FromMovingRangeSum(double sum, const UsedSizes& pairs) {
  SigmaEstimate result = Provenance(pairs, "MR-est");
  if (!result.Exists()) return result;
  result.constant = D2(2);
  result.value = sum / static_cast<double>(pairs.count) / result.constant;
  return result;
}

}  // namespace

std::string_view NameOf(EstimatorSetting setting) {
  for (const SettingName& row : kSettingNames)
    if (row.setting == setting) return row.name;
  return "";
}

std::optional<EstimatorSetting> EstimatorSettingFromName(std::string_view name) {
  for (const SettingName& row : kSettingNames)
    if (row.name == name) return row.setting;
  return std::nullopt;
}

double SigmaAt(const SigmaEstimate& estimate, std::int32_t n) {
  return std::isnan(estimate.sbar) ? estimate.value : estimate.sbar / C4(n);
}

SigmaEstimate SigmaFromRanges(std::span<const double> ranges, std::span<const std::int32_t> sizes,
                              EstimatorSetting setting, std::span<const std::uint8_t> used) {
  const bool weighted = setting != EstimatorSetting::Unweighted;
  return FromMeans(ranges, sizes, used, weighted, RangeConstant,
                   weighted ? "R-est mvlue" : "R-est unweighted");
}

SigmaEstimate SigmaFromSds(std::span<const double> sds, std::span<const std::int32_t> sizes,
                           EstimatorSetting setting, std::span<const std::uint8_t> used) {
  if (setting == EstimatorSetting::Pooled || setting == EstimatorSetting::PooledAsSbar)
    return PooledSigma(sds, sizes, used, setting == EstimatorSetting::PooledAsSbar);
  const bool weighted = setting == EstimatorSetting::Mvlue;
  return FromMeans(sds, sizes, used, weighted, SdConstant,
                   weighted ? "S-est mvlue" : "S-est unweighted");
}

SigmaEstimate SigmaFromMovingRanges(std::span<const double> points,
                                    std::span<const std::uint8_t> used) {
  double previous = kNaN, sum = 0.0;
  UsedSizes pairs;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (!IsUsed(used, i)) continue;
    const double range = std::fabs(points[i] - previous);
    previous = points[i];
    if (!std::isfinite(range)) continue;
    sum += range;
    pairs.Add(2);
  }
  return FromMovingRangeSum(sum, pairs);
}

SigmaEstimate SigmaFromRangeSums(std::span<const SpreadOfSize> by_size, EstimatorSetting setting) {
  const bool weighted = setting != EstimatorSetting::Unweighted;
  return FromSums(by_size, &SpreadOfSize::range_count, &SpreadOfSize::ranges, weighted,
                  RangeConstant, weighted ? "R-est mvlue" : "R-est unweighted");
}

SigmaEstimate SigmaFromSdSums(std::span<const SpreadOfSize> by_size, EstimatorSetting setting) {
  if (setting == EstimatorSetting::Pooled || setting == EstimatorSetting::PooledAsSbar)
    return PooledFromSums(by_size, setting == EstimatorSetting::PooledAsSbar);
  const bool weighted = setting == EstimatorSetting::Mvlue;
  return FromSums(by_size, &SpreadOfSize::sd_count, &SpreadOfSize::sds, weighted, SdConstant,
                  weighted ? "S-est mvlue" : "S-est unweighted");
}

SigmaEstimate SigmaFromMovingRangeSum(double sum, std::int64_t count) {
  UsedSizes pairs;
  if (count > 0) pairs.Add(2, count);
  return FromMovingRangeSum(sum, pairs);
}

std::vector<double> MovingRanges(std::span<const double> points,
                                 std::span<const std::uint8_t> used) {
  std::vector<double> result(points.size());
  double previous = kNaN;
  for (std::size_t i = 0; i < points.size(); ++i) {
    result[i] = std::fabs(points[i] - previous);
    if (IsUsed(used, i)) previous = points[i];
  }
  return result;
}

SigmaEstimate CvFromRatios(std::span<const double> ratios, std::span<const std::int32_t> sizes,
                           std::span<const std::uint8_t> used) {
  SigmaEstimate result = FromMeans(ratios, sizes, used, true, SdConstant, "Cv-est mvlue");
  if (!result.Exists()) return result;
  SizeConstant at;
  double weights = 0.0, bias = 0.0;
  ForEachUsed(ratios, sizes, used, [&](double, std::int32_t n) {
    if (n != at.n) at = SdConstant(n);
    weights += at.weight;
    bias += at.weight / static_cast<double>(n);
  });
  // The one real root of gamma + bias gamma^3 = mean, by hyperbolic functions.
  bias /= weights;
  const double scale = std::sqrt(3.0 * bias);
  result.value = 2.0 / scale * std::sinh(std::asinh(1.5 * scale * result.value) / 3.0);
  return result;
}

double WeightedCentre(std::span<const double> points, std::span<const std::int32_t> sizes,
                      std::span<const std::uint8_t> used) {
  // About the first point, so that a large common offset costs no digits.
  double origin = kNaN, sum = 0.0, weight = 0.0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (sizes[i] < 1 || !std::isfinite(points[i]) || !IsUsed(used, i)) continue;
    if (weight == 0.0) origin = points[i];
    sum += static_cast<double>(sizes[i]) * (points[i] - origin);
    weight += static_cast<double>(sizes[i]);
  }
  return origin + sum / weight;
}

double PlainCentre(std::span<const double> points, std::span<const std::uint8_t> used) {
  double origin = kNaN, sum = 0.0;
  std::int64_t count = 0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (!std::isfinite(points[i]) || !IsUsed(used, i)) continue;
    if (count++ == 0) origin = points[i];
    sum += points[i] - origin;
  }
  return origin + sum / static_cast<double>(count);
}

double SigmaFromMean(std::span<const double> statistics, double constant) {
  return PlainCentre(statistics) / constant;
}

}  // namespace orvspc::engine::statistics
