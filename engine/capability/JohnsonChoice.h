// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "engine/capability/StreamSample.h"
#include "engine/statistics/Johnson.h"
#include "engine/statistics/Sample.h"

namespace orvspc::engine::capability {

// The Johnson curve that a capability analysis takes for a sample.
struct JohnsonChoice {
  std::optional<statistics::JohnsonCurve> curve;
  double z = 0.0;              // at whose four quantiles it was fitted
  bool normal_serves = false;  // no curve, because a normal distribution describes the values
};
// Needs the count and the extremes of the centre. No curve for fewer than 20 values, or where none
// holds them all.
JohnsonChoice ChooseJohnson(const statistics::Sample& sample, const SampleCentre& centre);

}  // namespace orvspc::engine::capability
