// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Estimators.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <string>

#include "engine/statistics/ControlConstants.h"

namespace orvspc::engine::statistics {
namespace {

using platform::kNaN;

enum class Pooling { None, Pooled, AsSbar };

// What each setting means, in the order of the enumeration.
struct SettingRow {
  EstimatorSetting setting;
  std::string_view word;
  bool weighted;    // means of ranges or deviations; otherwise each counts the same
  Pooling pooling;  // of deviations
  std::string_view range_name, sd_name, moving_range_name;
};
constexpr SettingRow kSettings[] = {
    {EstimatorSetting::Mvlue, "mvlue", true, Pooling::None, "R-est mvlue", "S-est mvlue", "MR-est"},
    {EstimatorSetting::Unweighted, "unweighted", false, Pooling::None, "R-est unweighted",
     "S-est unweighted", "MR-est"},
    {EstimatorSetting::Pooled, "pooled", true, Pooling::Pooled, "R-est mvlue", "S-est pooled",
     "MR-est"},
    {EstimatorSetting::PooledAsSbar, "pooled-as-sbar", true, Pooling::AsSbar, "R-est mvlue",
     "S-est pooled-as-sbar", "MR-est"},
};

constexpr const SettingRow& RowOf(EstimatorSetting setting) {
  return kSettings[static_cast<std::size_t>(setting)];
}
static_assert(std::all_of(std::begin(kSettings), std::end(kSettings),
                          [](const SettingRow& row) { return &RowOf(row.setting) == &row; }));

constexpr auto kWords = [] {
  std::array<std::string_view, std::size(kSettings)> words{};
  for (std::size_t i = 0; i < words.size(); ++i) words[i] = kSettings[i].word;
  return words;
}();

bool IsUsed(std::span<const std::uint8_t> used, std::size_t i) {
  return used.empty() || used[i] != 0;
}

bool IsBreak(std::span<const std::uint8_t> anew, std::size_t i) {
  return !anew.empty() && anew[i] != 0;
}

// Mean of a statistic in sigmas and its weight, kept for the size met last: charts have long
// stretches of one size.
struct SizeConstant {
  std::int32_t n = 0;
  double constant = 1.0, weight = 1.0;
  std::string_view name;
};

SizeConstant RangeConstant(std::int32_t n) {
  const double d2 = D2(n), d3 = D3(n);
  return {n, d2, d2 * d2 / (d3 * d3), "d2"};
}

SizeConstant SdConstant(std::int32_t n) {
  const double c4 = C4(n), c5 = C5(n);
  return {n, c4, c4 * c4 / (c5 * c5), "c4"};
}

struct UsedSizes {
  std::int64_t count = 0;
  std::int32_t smallest = std::numeric_limits<std::int32_t>::max();
  std::int32_t largest = 0;

  void Add(std::int32_t n, std::int64_t more) {
    count += more;
    smallest = std::min(smallest, n);
    largest = std::max(largest, n);
  }
};

// What takes part in an estimate: a function that calls visit(sum, count, n) for each statistic (a
// sum of one) or for all of one size.
auto Singles(std::span<const double> statistics, std::span<const std::int32_t> sizes,
             std::span<const std::uint8_t> used) {
  return [=](auto visit) {
    for (std::size_t i = 0; i < statistics.size(); ++i) {
      if (sizes[i] < 2 || !std::isfinite(statistics[i]) || !IsUsed(used, i)) continue;
      visit(statistics[i], std::int64_t{1}, sizes[i]);
    }
  };
}

auto Sums(std::span<const SpreadOfSize> by_size, std::int64_t SpreadOfSize::*count,
          double SpreadOfSize::*sum) {
  return [=](auto visit) {
    for (const auto& row : by_size) {
      if (row.n >= 2 && row.*count != 0) visit(row.*sum, row.*count, row.n);
    }
  };
}

SigmaEstimate Provenance(const UsedSizes& sizes, std::string_view name) {
  if (sizes.count == 0) return {};
  return {
      .name = name, .used = sizes.count, .smallest_n = sizes.smallest, .largest_n = sizes.largest};
}

// sum(w sum / constant) / sum(w count); w = 1 when not weighted. One size for all divides once, at
// the end.
template <typename ForEach, typename ConstantOf>
SigmaEstimate FromMeans(ForEach for_each, bool weighted, ConstantOf constant_of,
                        std::string_view name) {
  SizeConstant at;
  UsedSizes sizes;
  double numerator = 0.0, denominator = 0.0, plain = 0.0;
  for_each([&](double sum, std::int64_t count, std::int32_t n) {
    if (n != at.n) at = constant_of(n);
    sizes.Add(n, count);
    const double weight = weighted ? at.weight : 1.0;
    numerator += weight * sum / at.constant;
    denominator += weight * static_cast<double>(count);
    plain += sum;
  });
  SigmaEstimate result = Provenance(sizes, name);
  if (!result.Exists()) return result;
  result.constant_name = at.name;
  if (sizes.smallest == sizes.largest) {
    result.constant = at.constant;
    result.value = plain / static_cast<double>(result.used) / at.constant;
  } else {
    result.value = numerator / denominator;
  }
  return result;
}

// The sums are those of the squares, (n - 1) s^2.
template <typename ForEach>
SigmaEstimate FromSquares(ForEach for_each, bool as_sbar, std::string_view name) {
  SizeConstant at;
  UsedSizes sizes;
  double squares = 0.0, degrees = 0.0, inverse_c4 = 0.0;
  for_each([&](double sum, std::int64_t count, std::int32_t n) {
    if (n != at.n) at = SdConstant(n);
    sizes.Add(n, count);
    squares += sum;
    degrees += static_cast<double>(count) * (static_cast<double>(n) - 1.0);
    inverse_c4 += static_cast<double>(count) / at.constant;
  });
  SigmaEstimate result = Provenance(sizes, name);
  if (!result.Exists()) return result;
  result.value = std::sqrt(squares / degrees);
  if (!as_sbar) return result;
  result.sbar = result.value;
  result.constant_name = at.name;
  if (sizes.smallest == sizes.largest) {
    result.constant = at.constant;
    result.value /= at.constant;
  } else {
    result.value *= inverse_c4 / static_cast<double>(result.used);
  }
  return result;
}

template <typename WeightOf>
double CentreOf(std::span<const double> points, std::span<const std::uint8_t> used,
                WeightOf weight_of) {
  // About the first point, so that a large common offset costs no digits.
  double origin = kNaN, sum = 0.0, weights = 0.0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const double weight = weight_of(i);
    if (weight < 1.0 || !std::isfinite(points[i]) || !IsUsed(used, i)) continue;
    if (weights == 0.0) origin = points[i];
    sum += weight * (points[i] - origin);
    weights += weight;
  }
  return origin + sum / weights;
}

template <typename ForEach>
SigmaEstimate FromRanges(ForEach for_each, EstimatorSetting setting) {
  const auto& row = RowOf(setting);
  return FromMeans(for_each, row.weighted, RangeConstant, row.range_name);
}

template <typename ForEach, typename ForEachSquare>
SigmaEstimate FromSds(ForEach for_each, ForEachSquare for_each_square, EstimatorSetting setting) {
  const auto& row = RowOf(setting);
  if (row.pooling == Pooling::None) {
    return FromMeans(for_each, row.weighted, SdConstant, row.sd_name);
  }
  return FromSquares(for_each_square, row.pooling == Pooling::AsSbar, row.sd_name);
}

}  // namespace

std::string_view NameOf(EstimatorSetting setting) {
  return static_cast<std::size_t>(setting) < std::size(kSettings) ? RowOf(setting).word : "";
}

std::span<const std::string_view> EstimatorWords() { return kWords; }

std::optional<EstimatorSetting> EstimatorSettingFromName(std::string_view name) {
  for (const SettingRow& row : kSettings)
    if (row.word == name) return row.setting;
  return std::nullopt;
}

bool IsFromMovingRanges(const SigmaEstimate& sigma) {
  return sigma.name.starts_with(kMovingRangeName);
}

Estimate ToEstimate(const SigmaEstimate& sigma) {
  Estimate estimate;
  estimate.value = sigma.value;
  estimate.name = std::string(sigma.name);
  estimate.constant = sigma.constant;
  estimate.constant_name = std::string(sigma.constant_name);
  estimate.used = static_cast<std::int32_t>(sigma.used);
  estimate.least_size = sigma.smallest_n;
  estimate.largest_size = sigma.largest_n;
  return estimate;
}

double SigmaAt(const SigmaEstimate& estimate, std::int32_t n) {
  return std::isnan(estimate.sbar) ? estimate.value : estimate.sbar / C4(n);
}

SigmaEstimate SigmaFromRanges(std::span<const double> ranges, std::span<const std::int32_t> sizes,
                              EstimatorSetting setting, std::span<const std::uint8_t> used) {
  return FromRanges(Singles(ranges, sizes, used), setting);
}

SigmaEstimate SigmaFromRangeSums(std::span<const SpreadOfSize> by_size, EstimatorSetting setting) {
  return FromRanges(Sums(by_size, &SpreadOfSize::range_count, &SpreadOfSize::ranges), setting);
}

SigmaEstimate SigmaFromSds(std::span<const double> sds, std::span<const std::int32_t> sizes,
                           EstimatorSetting setting, std::span<const std::uint8_t> used) {
  const auto singles = Singles(sds, sizes, used);
  const auto squares = [&](auto visit) {
    singles([&](double sd, std::int64_t count, std::int32_t n) {
      visit((static_cast<double>(n) - 1.0) * sd * sd, count, n);
    });
  };
  return FromSds(singles, squares, setting);
}

SigmaEstimate SigmaFromSdSums(std::span<const SpreadOfSize> by_size, EstimatorSetting setting) {
  return FromSds(Sums(by_size, &SpreadOfSize::sd_count, &SpreadOfSize::sds),
                 Sums(by_size, &SpreadOfSize::sd_count, &SpreadOfSize::squares), setting);
}

SigmaEstimate SigmaFromMovingRanges(std::span<const double> points,
                                    std::span<const std::uint8_t> used, EstimatorSetting setting,
                                    std::span<const std::uint8_t> anew) {
  double previous = kNaN, sum = 0.0;
  std::int64_t count = 0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (IsBreak(anew, i)) previous = kNaN;
    if (!IsUsed(used, i)) continue;
    const double range = std::fabs(points[i] - previous);
    previous = points[i];
    if (!std::isfinite(range)) continue;
    sum += range;
    ++count;
  }
  return SigmaFromMovingRangeSum(sum, count, setting);
}

SigmaEstimate SigmaFromScreenedMovingRanges(std::span<const double> points,
                                            std::span<const std::uint8_t> used,
                                            std::span<const std::uint8_t> anew) {
  constexpr double kLargest = 3.267;
  const auto all = SigmaFromMovingRanges(points, used, kUsualEstimator, anew);
  if (!all.Exists()) return all;
  const double largest = kLargest * all.value * all.constant;
  double sum = 0.0;
  std::int64_t count = 0;
  const auto ranges = MovingRanges(points, used, anew);
  for (std::size_t i = 0; i < ranges.size(); ++i) {
    if (!IsUsed(used, i) || !std::isfinite(ranges[i]) || ranges[i] > largest) continue;
    sum += ranges[i];
    ++count;
  }
  auto screened = SigmaFromMovingRangeSum(sum, count);
  screened.name = kScreenedName;
  return screened;
}

SigmaEstimate SigmaFromMovingRangeSum(double sum, std::int64_t count, EstimatorSetting setting) {
  if (count < 1) return {};
  const double d2 = D2(2);
  return {.value = sum / static_cast<double>(count) / d2,
          .name = RowOf(setting).moving_range_name,
          .constant = d2,
          .constant_name = "d2",
          .used = count,
          .smallest_n = 2,
          .largest_n = 2};
}

std::vector<double> MovingRanges(std::span<const double> points, std::span<const std::uint8_t> used,
                                 std::span<const std::uint8_t> anew) {
  std::vector<double> result(points.size());
  double previous = kNaN;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (IsBreak(anew, i)) previous = kNaN;
    result[i] = std::fabs(points[i] - previous);
    if (IsUsed(used, i)) previous = points[i];
  }
  return result;
}

SigmaEstimate CvFromRatios(std::span<const double> ratios, std::span<const std::int32_t> sizes,
                           std::span<const std::uint8_t> used) {
  const auto singles = Singles(ratios, sizes, used);
  SigmaEstimate result = FromMeans(singles, true, SdConstant, "Cv-est mvlue");
  if (!result.Exists()) return result;
  SizeConstant at;
  double weights = 0.0, bias = 0.0;
  singles([&](double, std::int64_t, std::int32_t n) {
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
  return CentreOf(points, used, [&](std::size_t i) { return static_cast<double>(sizes[i]); });
}

double PlainCentre(std::span<const double> points, std::span<const std::uint8_t> used) {
  return CentreOf(points, used, [](std::size_t) { return 1.0; });
}

double SigmaFromMean(std::span<const double> statistics, double constant) {
  return PlainCentre(statistics) / constant;
}

}  // namespace orvspc::engine::statistics
