// SPDX-License-Identifier: Apache-2.0
#include "engine/catalogue/limits.h"

#include "platform/Enumerations.h"

namespace orvspc::engine::catalogue {

using platform::kNaN;

namespace {

SpecLimits Read(std::int32_t flags, double usl, double target, double lsl) {
  const auto if_set = [&](std::int32_t flag, double value) {
    return (flags & flag) != 0 && std::isfinite(value) ? value : kNaN;
  };
  return {if_set(slfUSL, usl), if_set(slfTAR, target), if_set(slfLSL, lsl)};
}

}  // namespace

std::string LimitFigureColumns() {
  std::string columns;
  for (const auto& each : kLimitFigures) {
    columns.append(columns.empty() ? "" : ", ").append(each.column);
  }
  return columns;
}

SpecLimits SpecLimitsOf(const API_CCSpecLim& row) {
  return Read(row.F_EFLAG, row.F_USL, row.F_TAR, row.F_LSL);
}

SpecLimits SpecLimitsOf(const API_CASpecLim8& record) {
  return Read(record.EFlag, record.Usl, record.Tar, record.Lsl);
}

double WidthOf(std::span<const double> limits) {
  double low = kNaN, high = kNaN;
  for (const double limit : limits) {
    low = std::fmin(low, limit);
    high = std::fmax(high, limit);
  }
  if (high > low) return high - low;
  return std::isnan(high) ? 0.0 : std::fabs(high);
}

bool Agree(double a, double b, double width) {
  constexpr double kOfWidth = 1e-9;
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return std::fabs(a - b) <= kOfWidth * width;
}

bool Agree(std::span<const double> a, std::span<const double> b, double width) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](double one, double other) { return Agree(one, other, width); });
}

bool Agree(const SpecLimits& a, const SpecLimits& b) {
  const double of_a[] = {a.usl, a.lsl}, of_b[] = {b.usl, b.lsl};
  return Agree(of_a, of_b, std::max(WidthOf(of_a), WidthOf(of_b)));
}

}  // namespace orvspc::engine::catalogue
