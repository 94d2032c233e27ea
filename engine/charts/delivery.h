// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <span>

#include "engine/statistics/ChartFormulas.h"
#include "platform/ArrayRef.h"
#include "platform/CtrlChrt6.h"

// Shared by the data calls of variable and attribute charts.
namespace orvspc::engine::charts {

// The first count elements of the array; empty when it holds something else or too few.
template <class T>
std::span<T> Room(const platform::ArrayRef& array, std::size_t count) {
  const auto all = array.As<T>();
  return all.size() < count ? std::span<T>() : all.first(count);
}

// Which line of which form a data call fills.
struct LineCode {
  platform::ChartData code;
  bool calculated;
  double statistics::PointLimits::*line;
};

// Null for another code.
inline const LineCode* LineOf(platform::ChartData code) {
  using platform::ChartData;
  static constexpr LineCode kCodes[] = {
      {ChartData::cUCLs, true, &statistics::PointLimits::upper},
      {ChartData::cCLs, true, &statistics::PointLimits::centre},
      {ChartData::cLCLs, true, &statistics::PointLimits::lower},
      {ChartData::UCLs, false, &statistics::PointLimits::upper},
      {ChartData::Cls, false, &statistics::PointLimits::centre},
      {ChartData::LCLs, false, &statistics::PointLimits::lower},
  };
  for (const auto& each : kCodes) {
    if (each.code == code) return &each;
  }
  return nullptr;
}

}  // namespace orvspc::engine::charts
