// SPDX-License-Identifier: Apache-2.0
#include "engine/capability/NetContent.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "engine/capability/Figures.h"
#include "engine/capability/Passes.h"
#include "engine/statistics/CapabilityIndices.h"
#include "engine/store/Store.h"
#include "platform/NaN.h"

namespace orvspc::engine::capability {
namespace {

using ContentRow = LimitRow<API_CANccLim8, API_CANccResults>;
constexpr ContentRow kUpper[] = {
    {store::nclMavU, &API_CANccLim8::MavU, &API_CANccResults::zMAVU,
     &API_CANccResults::ActAboveMAVU, &API_CANccResults::ExpAboveMAVU},
    {store::nclT1U, &API_CANccLim8::T1U, &API_CANccResults::zT1U, &API_CANccResults::ActAboveT1U,
     &API_CANccResults::ExpAboveT1U},
    {store::nclT2U, &API_CANccLim8::T2U, &API_CANccResults::zT2U, &API_CANccResults::ActAboveT2U,
     &API_CANccResults::ExpAboveT2U},
    {0, &API_CANccLim8::Lsc, nullptr, &API_CANccResults::ActAboveLSC,
     &API_CANccResults::ExpAboveLSC},
};
constexpr ContentRow kLower[] = {
    {store::nclMavL, &API_CANccLim8::MavL, &API_CANccResults::zMAVL,
     &API_CANccResults::ActBelowMAVL, &API_CANccResults::ExpBelowMAVL},
    {store::nclT1L, &API_CANccLim8::T1L, &API_CANccResults::zT1L, &API_CANccResults::ActBelowT1L,
     &API_CANccResults::ExpBelowT1L},
    {store::nclT2L, &API_CANccLim8::T2L, &API_CANccResults::zT2L, &API_CANccResults::ActBelowT2L,
     &API_CANccResults::ExpBelowT2L},
    {0, &API_CANccLim8::Lsc, &API_CANccResults::zLSC, &API_CANccResults::ActBelowLSC,
     &API_CANccResults::ExpBelowLSC},
};

// Limits in the unit of the values.
template <std::size_t N>
std::array<double, N> Unscaled(const ContentRow (&rows)[N], const API_CANccLim8& limits,
                               double factor) {
  std::array<double, N> values{};
  for (std::size_t i = 0; i < N; ++i) {
    values[i] = rows[i].IsIn(limits) ? limits.*rows[i].limit / factor : platform::kNaN;
  }
  return values;
}

}  // namespace

API_CANccResults NetContentResults(const statistics::Sample& values, const API_CANccLim8& limits) {
  API_CANccResults results{};
  if (limits.Head[0] == 0 || values.Count() == 0) return results;
  constexpr double kPercent = 100.0;
  const double factor = limits.Fctr > 0.0 ? double{limits.Fctr} : 1.0;
  const auto upper = Unscaled(kUpper, limits, factor), lower = Unscaled(kLower, limits, factor);
  auto highest = upper, lowest = lower;
  std::transform(upper.begin(), upper.end(), highest.begin(), statistics::HighestOn);
  std::transform(lower.begin(), lower.end(), lowest.begin(), statistics::LowestOn);

  auto centre = CentreOf(values);
  struct Sums {
    statistics::DeviationSums deviations;
    statistics::BeyondCounts beyond;
    void Merge(const Sums& other) {
      deviations.Merge(other.deviations);
      beyond.Merge(other.beyond);
    }
  } sums{{centre.origin, centre.shift}, {highest, lowest}};
  SumBlocks(values, sums, [](Sums& mine, const statistics::Sample::Block& block) {
    mine.deviations.Add(block.values);
    mine.beyond.Add(block.values);
  });
  SetDeviation(sums.deviations, centre);
  const bool spreads = centre.sd > 0.0 && std::isfinite(centre.sd);
  const auto percent = [&](std::int64_t beyond) {
    return kPercent * static_cast<double>(beyond) / static_cast<double>(centre.count);
  };
  const auto fill = [&](const ContentRow& row, double limit, std::int64_t beyond, bool is_upper) {
    if (!row.IsIn(limits)) return;
    results.*row.actual = percent(beyond);
    if (!spreads) return;
    const double inside = (is_upper ? limit - centre.mean : centre.mean - limit) / centre.sd;
    if (row.score != nullptr) results.*row.score = Defined(inside);
    results.*row.expected = Defined(kPercent * statistics::NormalAbove(inside));
  };
  for (std::size_t i = 0; i < upper.size(); ++i)
    fill(kUpper[i], upper[i], sums.beyond.Above(i), true);
  for (std::size_t i = 0; i < lower.size(); ++i)
    fill(kLower[i], lower[i], sums.beyond.Below(i), false);
  return results;
}

}  // namespace orvspc::engine::capability
