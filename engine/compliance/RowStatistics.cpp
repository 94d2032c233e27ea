// SPDX-License-Identifier: Apache-2.0
#include "engine/compliance/RowStatistics.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <vector>

#include "engine/catalogue/limits.h"
#include "engine/statistics/CapabilityIndices.h"
#include "engine/statistics/Moments.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::compliance {
namespace {

constexpr std::int32_t kLsc = 8;  // flag of the two figures about the labelled content

double FiniteOrZero(double value) { return std::isfinite(value) ? value : 0.0; }

// Piece values of the subgroups; readings within a piece are not values of their own.
std::vector<double> Pieces(const store::DataSet& data, std::span<const std::size_t> subgroups) {
  std::vector<double> values;
  store::PieceReader reader(data);
  for (const auto place : subgroups) {
    const auto pieces = reader.Pieces(place);
    values.insert(values.end(), pieces.begin(), pieces.end());
  }
  return values;
}

// 0 up to 100, of the values that lie strictly beyond.
template <class Beyond>
double Percent(std::span<const double> values, Beyond beyond) {
  const auto count = std::ranges::count_if(values, beyond);
  return 100.0 * static_cast<double>(count) / static_cast<double>(values.size());
}
double PercentAbove(std::span<const double> values, double limit) {
  return Percent(values, [&](double value) { return value > limit; });
}
double PercentBelow(std::span<const double> values, double limit) {
  return Percent(values, [&](double value) { return value < limit; });
}

// The parts of the subgroups.
std::set<std::int32_t> PartsOf(const store::DataSet& data, std::span<const std::size_t> subgroups) {
  std::set<std::int32_t> parts;
  for (const auto place : subgroups) parts.insert(data.subgroups[place].Part);
  return parts;
}

// The limits that hold for every part; none where parts disagree.
std::optional<catalogue::SpecLimits> SpecLimits(store::Store& store,
                                                const std::set<std::int32_t>& parts,
                                                std::int32_t test, std::int32_t time) {
  std::optional<catalogue::SpecLimits> common;
  for (const auto part : parts) {
    const auto rows = store.SpecLimits(part, test);
    const auto* const row = catalogue::EffectiveAt(rows, time);
    if (row == nullptr) return std::nullopt;
    const auto limits = catalogue::SpecLimitsOf(*row);
    if (!common) common = limits;
    if (!catalogue::Agree(*common, limits)) return std::nullopt;
  }
  return common;
}

std::optional<API_CANccLim8> NetContent(store::Store& store, const std::set<std::int32_t>& parts,
                                        std::int32_t test, std::int32_t time) {
  if (parts.size() != 1) return std::nullopt;
  const auto rows = store.NetContents(*parts.begin(), test);
  const auto* const row = catalogue::EffectiveAt(rows, time);
  return row == nullptr ? std::nullopt : std::optional(*row);
}

void FillSpecification(std::span<const double> values, const catalogue::SpecLimits& limits,
                       API_SCRow& row) {
  const statistics::Tolerance tolerance{limits.Upper(), limits.Lower(), std::nullopt};
  const auto indices = statistics::IndicesOf(
      statistics::Reach::OfNormal(row.AverageValue, row.StandardDeviation), tolerance);
  row.PP = indices.p;
  row.PPK = indices.k;
  row.SpecFlags = (tolerance.usl ? slfUSL : 0) | (tolerance.lsl ? slfLSL : 0);
  // No value lies beyond a limit that is NaN.
  row.PercentAboveUSL = PercentAbove(values, limits.usl);
  row.PercentBelowLSL = PercentBelow(values, limits.lsl);
  row.PercentOOS = row.PercentAboveUSL + row.PercentBelowLSL;
  constexpr double kMillionthsOfAPercent = 1e4;
  row.PPM = kMillionthsOfAPercent * row.PercentOOS;
}

void FillNetContent(std::span<const double> values, const API_CANccLim8& limits, API_SCRow& row) {
  // Limits are brought to the unit of the values.
  const double factor = limits.Fctr > 0.0 ? double{limits.Fctr} : 1.0;
  const auto above = [&](double limit) {
    return PercentAbove(values, statistics::HighestOn(limit / factor));
  };
  const auto below = [&](double limit) {
    return PercentBelow(values, statistics::LowestOn(limit / factor));
  };
  row.LimitFlags = limits.EFlag;
  if (limits.Head[0] != 0) {
    row.LimitFlags |= kLsc;
    row.PercentAboveLSC = above(limits.Lsc);
    row.PercentBelowLSC = below(limits.Lsc);
  }
  const struct {
    std::int32_t flag;
    platform::WireDouble API_CANccLim8::*limit;
    platform::WireDouble API_SCRow::*percent;
    bool above;
  } figures[] = {
      {store::nclMavL, &API_CANccLim8::MavL, &API_SCRow::PercentBelowMAVL, false},
      {store::nclT1L, &API_CANccLim8::T1L, &API_SCRow::PercentBelowT1L, false},
      {store::nclT2L, &API_CANccLim8::T2L, &API_SCRow::PercentBelowT2L, false},
      {store::nclMavU, &API_CANccLim8::MavU, &API_SCRow::PercentAboveMAVU, true},
      {store::nclT1U, &API_CANccLim8::T1U, &API_SCRow::PercentAboveT1U, true},
      {store::nclT2U, &API_CANccLim8::T2U, &API_SCRow::PercentAboveT2U, true},
  };
  for (const auto& figure : figures) {
    if ((limits.EFlag & figure.flag) == 0) continue;
    const double limit = limits.*figure.limit;
    row.*figure.percent = figure.above ? above(limit) : below(limit);
  }
}

}  // namespace

void FillStatistics(store::Store& store, const store::DataSet& data,
                    std::span<const std::size_t> subgroups, API_SCRow& row) {
  if (subgroups.empty() || store.TestType(row.TestID) != ttVariable) return;
  const auto values = Pieces(data, subgroups);
  if (values.empty()) return;
  row.TestCount = static_cast<std::int32_t>(values.size());
  const auto summary = statistics::Summarise(values);
  row.MinimumValue = summary.smallest;
  row.MaximumValue = summary.largest;
  row.AverageValue = FiniteOrZero(statistics::Mean(values));
  row.StandardDeviation = FiniteOrZero(statistics::SampleStandardDeviation(values));
  const auto parts = PartsOf(data, subgroups);
  const auto newest = data.subgroups[subgroups.back()].Sgtm;
  if (const auto limits = SpecLimits(store, parts, row.TestID, newest)) {
    FillSpecification(values, *limits, row);
  }
  if (const auto limits = NetContent(store, parts, row.TestID, newest)) {
    FillNetContent(values, *limits, row);
  }
}

}  // namespace orvspc::engine::compliance
