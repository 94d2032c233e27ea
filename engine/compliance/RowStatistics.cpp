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

// 0 up to 100, of the values that lie strictly beyond; none lies beyond a limit that is NaN.
double PercentBeyond(std::span<const double> values, double limit, bool is_upper) {
  const auto count =
      is_upper ? std::ranges::count_if(values, [&](double value) { return value > limit; })
               : std::ranges::count_if(values, [&](double value) { return value < limit; });
  return 100.0 * static_cast<double>(count) / static_cast<double>(values.size());
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
  row.PercentAboveUSL = PercentBeyond(values, limits.usl, true);
  row.PercentBelowLSL = PercentBeyond(values, limits.lsl, false);
  row.PercentOOS = row.PercentAboveUSL + row.PercentBelowLSL;
  constexpr double kMillionthsOfAPercent = 1e4;
  row.PPM = kMillionthsOfAPercent * row.PercentOOS;
}

void FillNetContent(std::span<const double> values, const API_CANccLim8& limits, API_SCRow& row) {
  using Limits = API_CANccLim8;
  static constexpr struct {
    std::int32_t flag;  // 0: always there
    bool is_upper;
    platform::WireDouble Limits::*limit;
    platform::WireDouble API_SCRow::*percent;
  } kFigures[] = {
      {0, true, &Limits::Lsc, &API_SCRow::PercentAboveLSC},
      {0, false, &Limits::Lsc, &API_SCRow::PercentBelowLSC},
      {catalogue::nclMavL, false, &Limits::MavL, &API_SCRow::PercentBelowMAVL},
      {catalogue::nclT1L, false, &Limits::T1L, &API_SCRow::PercentBelowT1L},
      {catalogue::nclT2L, false, &Limits::T2L, &API_SCRow::PercentBelowT2L},
      {catalogue::nclMavU, true, &Limits::MavU, &API_SCRow::PercentAboveMAVU},
      {catalogue::nclT1U, true, &Limits::T1U, &API_SCRow::PercentAboveT1U},
      {catalogue::nclT2U, true, &Limits::T2U, &API_SCRow::PercentAboveT2U},
  };
  // Limits are brought to the unit of the values.
  const double factor = limits.Fctr > 0.0 ? double{limits.Fctr} : 1.0;
  row.LimitFlags = limits.EFlag | kLsc;
  for (const auto& [flag, is_upper, limit, percent] : kFigures) {
    if (flag != 0 && (limits.EFlag & flag) == 0) continue;
    const double value = limits.*limit / factor;
    row.*percent = PercentBeyond(
        values, is_upper ? statistics::HighestOn(value) : statistics::LowestOn(value), is_upper);
  }
}

}  // namespace

void FillStatistics(store::Store& store, const store::DataSet& data,
                    std::span<const std::size_t> subgroups, API_SCRow& row) {
  if (subgroups.empty() || store.TestType(row.TestID) != ttVariable) return;
  // Readings within a piece are not values of their own.
  std::vector<double> values;
  store::PieceReader reader(data);
  for (const auto place : subgroups) {
    const auto pieces = reader.Pieces(place);
    values.insert(values.end(), pieces.begin(), pieces.end());
  }
  if (values.empty()) return;
  row.TestCount = static_cast<std::int32_t>(values.size());
  const auto summary = statistics::Summarise(values);
  row.MinimumValue = summary.smallest;
  row.MaximumValue = summary.largest;
  row.AverageValue = FiniteOrZero(statistics::Mean(values));
  row.StandardDeviation = FiniteOrZero(statistics::SampleStandardDeviation(values));
  std::set<std::int32_t> parts;
  for (const auto place : subgroups) parts.insert(data.subgroups[place].Part);
  const auto newest = data.subgroups[subgroups.back()].Sgtm;
  if (const auto limits = SpecLimits(store, parts, row.TestID, newest)) {
    FillSpecification(values, *limits, row);
  }
  if (const auto limits = NetContent(store, parts, row.TestID, newest)) {
    FillNetContent(values, *limits, row);
  }
}

}  // namespace orvspc::engine::compliance
