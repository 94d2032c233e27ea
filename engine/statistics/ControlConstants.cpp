// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/ControlConstants.h"

#include <cmath>
#include <cstddef>
#include <numbers>
#include <span>

#include "engine/statistics/control_constants_table.h"
#include "platform/NaN.h"

namespace orvspc::engine::statistics {
namespace {

using platform::kNaN;

namespace table = control_constants;

constexpr double kLogOfLargest = 31.0 * std::numbers::ln2;

const table::Row& RowOf(std::int32_t n) {
  return table::kTable[static_cast<std::size_t>(n - table::kFirst)];
}

// Clenshaw's recurrence; u runs from -1 to 1.
double ChebyshevSum(std::span<const double> series, double u) {
  double b1 = 0.0, b2 = 0.0;
  for (std::size_t j = series.size() - 1; j > 0; --j) {
    const double b0 = series[j] + 2.0 * u * b1 - b2;
    b2 = b1;
    b1 = b0;
  }
  return series[0] + u * b1 - b2;
}

// From the table, or for larger n from the series in log n.
double RangeConstant(double table::Row::*constant, std::span<const double> series, std::int32_t n) {
  static_assert(table::kLast == 100);
  constexpr double low = 2.0 * std::numbers::ln10;
  if (n < table::kFirst) return kNaN;
  if (n <= table::kLast) return RowOf(n).*constant;
  const double u =
      (2.0 * std::log(static_cast<double>(n)) - low - kLogOfLargest) / (kLogOfLargest - low);
  return ChebyshevSum(series, u);
}

// 1 - c4(n) for large n, from Gamma(x + 1/2)/Gamma(x) with x = (n - 1)/2 (Abramowitz &
// Stegun 6.1.47). The first term left out is below 1e-16 at n = 101.
double OneMinusC4(std::int32_t n) {
  constexpr double kTerms[] = {
      1.0 / 8.0,        -1.0 / 128.0,       -5.0 / 1024.0,        21.0 / 32768.0,
      399.0 / 262144.0, -869.0 / 4194304.0, -39325.0 / 33554432.0};
  const double y = 2.0 / (static_cast<double>(n) - 1.0);
  double sum = 0.0;
  for (std::size_t j = std::size(kTerms); j-- > 0;) sum = (sum + kTerms[j]) * y;
  return sum;
}

}  // namespace

double D2(std::int32_t n) { return RangeConstant(&table::Row::d2, table::kD2Series, n); }
double D3(std::int32_t n) { return RangeConstant(&table::Row::d3, table::kD3Series, n); }

double C4(std::int32_t n) {
  if (n < table::kFirst) return kNaN;
  return n <= table::kLast ? RowOf(n).c4 : 1.0 - OneMinusC4(n);
}

double C5(std::int32_t n) {
  if (n < table::kFirst) return kNaN;
  if (n <= table::kLast) return RowOf(n).c5;
  const double d = OneMinusC4(n);
  return std::sqrt(d * (2.0 - d));
}

double MedianSd(std::int32_t n) {
  if (n < table::kFirst) return kNaN;
  if (n <= table::kLast) return RowOf(n).median_sd;
  const double u = 2.0 * table::kLast / static_cast<double>(n) - 1.0;
  const double ratio = n % 2 == 1 ? ChebyshevSum(table::kMedianOddSeries, u)
                                  : ChebyshevSum(table::kMedianEvenSeries, u);
  return ratio * std::sqrt(std::numbers::pi / (2.0 * static_cast<double>(n)));
}

}  // namespace orvspc::engine::statistics
