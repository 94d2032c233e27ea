// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/RowsInForce.h"

#include <algorithm>
#include <limits>
#include <tuple>

#include "platform/Enumerations.h"

namespace orvspc::engine::charts {
namespace {
constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();
}

void SortForProcess(std::vector<store::ControlLimit>& limits) {
  std::stable_sort(limits.begin(), limits.end(), [](const auto& a, const auto& b) {
    return std::make_tuple(a.row.F_EFTM, a.row.F_PRCS != 0) <
           std::make_tuple(b.row.F_EFTM, b.row.F_PRCS != 0);
  });
}

SpecLines SpecLinesOf(const API_CCSpecLim& row) {
  const auto if_set = [&](std::int32_t bit, double value) {
    return (row.F_EFLAG & bit) != 0 ? value : kNoValue;
  };
  return {if_set(slfUSL, row.F_USL), if_set(slfTAR, row.F_TAR), if_set(slfLSL, row.F_LSL)};
}

SpecLines NoSpecLines() { return {kNoValue, kNoValue, kNoValue}; }

}  // namespace orvspc::engine::charts
