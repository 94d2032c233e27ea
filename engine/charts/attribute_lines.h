// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <vector>

#include "engine/charts/AttributePlan.h"
#include "engine/charts/Lines.h"
#include "engine/charts/RunRows.h"
#include "engine/statistics/ChartFormulas.h"

namespace orvspc::engine::charts {

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

  // The calculated rate or the stored one in force, which is over 1.
  statistics::Rate RateAt(std::size_t place) const {
    const auto row = by_row_ ? in_.rows.LimitRowAt(place) : kNoRow;
    if (row == kNoRow) return in_.rate;
    return {limits_[static_cast<std::size_t>(row)].row.F_MEAN, 1.0};
  }
  statistics::PointLimits LimitsAt(const statistics::Rate& rate, std::size_t place) const {
    const double units = in_.units[place], factor = FactorAt(place);
    return FiniteOnly(in_.plan.chart->defectives ? statistics::DefectivesLimits(rate, units, factor)
                                                 : statistics::DefectsLimits(rate, units, factor));
  }
  // What a proportion or rate is multiplied by to be shown.
  double FactorAt(std::size_t place) const {
    return in_.plan.chart->counted ? in_.units[place] : in_.plan.chart->scale;
  }

 private:
  AttributeLineInput in_;
  const std::vector<catalogue::ControlLimit>& limits_;
  bool by_row_;
  double units_ = 0.0;
  std::int32_t row_ = kNoRow;
  bool is_known_ = false;
  statistics::PointLimits latest_{};
};

}  // namespace orvspc::engine::charts
