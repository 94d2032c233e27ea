// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/charts/AttributeRun.h"
#include "engine/charts/Lines.h"

namespace orvspc::engine::charts {

// Lines of the chart along one stream in one of the two forms. Computes only where the units or the
// row in force change.
class AttributeRun::LineSource {
 public:
  LineSource(const AttributeRun& run, std::size_t stream, Form form)
      : LineSource(run, stream, form, run.plan_.cusum) {}
  // What a cusum or an EWMA is taken about: the lines that the chart would have without it.
  static LineSource Plain(const AttributeRun& run, std::size_t stream, Form form) {
    LineSource source(run, stream, form, false);
    source.ewma_ = nullptr;
    return source;
  }

  statistics::PointLimits At(std::size_t place) {
    if (cusum_) return kCusumLines;
    if (ewma_ != nullptr) return (*ewma_)[place];
    const auto row = by_row_ ? run_.rows_.LimitRowAt(place) : kNoRow;
    if (run_.units_[place] != units_ || row != row_ || !is_known_) {
      units_ = run_.units_[place];
      row_ = row;
      is_known_ = true;
      latest_ = run_.LimitsAt(run_.RateAt(state_, rows_, place, form_), place);
    }
    return latest_;
  }

 private:
  LineSource(const AttributeRun& run, std::size_t stream, Form form, bool cusum)
      : run_(run),
        state_(run.states_[stream]),
        rows_(run.rows_.Of(stream)),
        form_(form),
        cusum_(cusum),
        by_row_(form == kInForce && run.rows_.HasStoredLimits()),
        ewma_(run.plan_.ewma == EwmaKind::None ? nullptr : &run.ewma_lines_[form]) {}

  const AttributeRun& run_;
  const StreamState& state_;
  const RunRows::OfStream& rows_;
  Form form_;
  bool cusum_, by_row_;
  const std::vector<statistics::PointLimits>* ewma_;
  double units_ = 0.0;
  std::int32_t row_ = kNoRow;
  bool is_known_ = false;
  statistics::PointLimits latest_{};
};

}  // namespace orvspc::engine::charts
