// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <utility>
#include <vector>

#include "engine/charts/ChartPlan.h"
#include "engine/charts/Estimates.h"
#include "engine/charts/PointTable.h"
#include "engine/charts/RunRows.h"
#include "engine/statistics/ChartFormulas.h"
#include "engine/statistics/ExactLimits.h"
#include "engine/store/Store.h"

namespace orvspc::engine::charts {

// NaN for what is infinite.
statistics::PointLimits FiniteOnly(statistics::PointLimits lines);

// Cusum in sigmas: reference value and decision interval.
inline constexpr double kCusumReference = 0.5;
inline constexpr double kCusumDecision = 5.0;
inline constexpr statistics::PointLimits kCusumLines{0.0, kCusumDecision, -kCusumDecision, 1.0};

// Whether a row gives the sigma that its lines on a graph take, so that none comes from the points.
bool GivesSigma(const catalogue::ControlLimit& limit, const StreamEstimates& estimates,
                const ChartPlan& plan, std::size_t graph);

// Sizes of the subgroups in a moving average; 0 for none.
using AverageWindow = std::array<std::int32_t, 3>;

// What the lines of one graph along one stream of a variable chart follow from.
struct VariableLineInput {
  const PointTable& table;
  const RunRows& rows;
  const ChartPlan& plan;
  const std::vector<AverageWindow>& windows;  // empty: no moving averages
  const WithinPieces& within;
  const StreamEstimates& estimates;
  std::int32_t constant_size = 0;  // of every subgroup; -1 where they differ
  std::size_t stream = 0, graph = 0;
  bool calculated = false;  // else the form in force
  bool cusum = false;       // the lines of a cusum; else those that it is taken about
};

// Lines of one graph along one stream. Asked in ascending order it computes only where the number
// of pieces or the row in force changes.
class VariableLines {
 public:
  explicit VariableLines(const VariableLineInput& input);

  statistics::PointLimits At(std::size_t place) {
    if (by_size_) {
      const auto size = static_cast<std::size_t>(in_.table.Sizes()[place]);
      if (size < kKnownSizes && (is_known_ >> size & 1) != 0) return known_[size];
    }
    return Find(place);
  }
  // One answer serves the whole stream.
  bool IsConstant() const;

 private:
  statistics::PointLimits Find(std::size_t place);
  statistics::PointLimits PreControlLinesAt(std::size_t place);
  const statistics::PointLimits& LinesOfSize(std::int32_t pieces);

  VariableLineInput in_;
  ChartKind kind_;
  bool by_row_;
  bool by_size_;  // the number of pieces alone decides
  StreamEstimates figures_;
  catalogue::EffectiveRows<API_CCSpecLim> specs_;
  std::int32_t row_ = kNoRow;
  const API_CCSpecLim* spec_row_ = nullptr;
  statistics::PointLimits latest_;
  // Of the row in force, by number of pieces.
  static constexpr std::size_t kKnownSizes = 32;
  std::array<statistics::PointLimits, kKnownSizes> known_;
  std::uint32_t is_known_ = 0;
};

// What the lines of one stream of an attribute chart follow from.
struct AttributeLineInput {
  const AttributePlan& plan;
  const RunRows& rows;
  const std::vector<double>& units;                  // at the points; 0 where not known
  const std::vector<statistics::PointLimits>* ewma;  // its lines; null without an EWMA
  statistics::Rate rate;                             // calculated
  std::size_t stream = 0;
  bool calculated = false;  // else the form in force
  bool cusum = false;
  double alpha = 0.0;  // risk of exact limits; 0: three sigmas
};

// Lines along one stream. Computes only where the units or the row in force change.
class AttributeLines {
 public:
  explicit AttributeLines(const AttributeLineInput& input)
      : in_(input),
        limits_(input.rows.Of(input.stream).limits),
        by_row_(!input.calculated && input.rows.HasStoredLimits()) {}

  statistics::PointLimits At(std::size_t place) {
    if (in_.cusum) return kCusumLines;
    if (in_.ewma != nullptr) return (*in_.ewma)[place];
    const auto row = by_row_ ? in_.rows.LimitRowAt(place) : kNoRow;
    if (in_.units[place] != units_ || row != row_ || !is_known_) {
      units_ = in_.units[place];
      row_ = row;
      is_known_ = true;
      latest_ = LimitsAt(RateAt(place), place);
    }
    return latest_;
  }
  bool IsConstant() const { return in_.cusum; }

  // The calculated rate or the stored one in force, which is over 1 unless its row has both.
  statistics::Rate RateAt(std::size_t place) const {
    const auto row = by_row_ ? in_.rows.LimitRowAt(place) : kNoRow;
    if (row == kNoRow) return in_.rate;
    const auto& limit = limits_[static_cast<std::size_t>(row)];
    if (limit.figures.denominator > 0.0) {
      return {limit.figures.numerator, limit.figures.denominator};
    }
    return {limit.row.F_MEAN, 1.0};
  }
  statistics::PointLimits LimitsAt(const statistics::Rate& rate, std::size_t place) const {
    const double units = in_.units[place], factor = FactorAt(place);
    auto lines = in_.plan.chart->defectives ? statistics::DefectivesLimits(rate, units, factor)
                                            : statistics::DefectsLimits(rate, units, factor);
    if (in_.alpha > 0.0 && rate.Exists()) SetExactLimits(rate, units, lines);
    return FiniteOnly(lines);
  }
  // What a proportion or rate is multiplied by to be shown.
  double FactorAt(std::size_t place) const {
    return in_.plan.chart->counted ? in_.units[place] : in_.plan.chart->scale;
  }

 private:
  // Puts limits by the distribution itself in the place of those of three sigmas.
  void SetExactLimits(const statistics::Rate& rate, double units,
                      statistics::PointLimits& lines) const {
    const auto& chart = *in_.plan.chart;
    const double value = rate.Value();
    auto& [known, count] = exact_[{value, units}];
    if (!known) {
      count = chart.defectives ? statistics::BinomialCountLimits(units, value, in_.alpha)
                               : statistics::PoissonCountLimits(units * value, in_.alpha);
      known = true;
    }
    // As points are made of counts, so that one on a limit is equal to it.
    lines.upper = chart.counted ? count.upper : chart.scale * count.upper / units;
    lines.lower = chart.counted ? count.lower : chart.scale * count.lower / units;
  }

  AttributeLineInput in_;
  mutable std::map<std::pair<double, double>, std::pair<bool, statistics::CountLimits>> exact_;
  const std::vector<catalogue::ControlLimit>& limits_;
  bool by_row_;
  double units_ = 0.0;
  std::int32_t row_ = kNoRow;
  bool is_known_ = false;
  statistics::PointLimits latest_{};
};

}  // namespace orvspc::engine::charts
