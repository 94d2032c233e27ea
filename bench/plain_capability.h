// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "bench/plain_program.h"

// What a careful programmer would write by hand for capability: the same join as for the chart,
// then indices, moments, a histogram of 24 bins and chi-square over them.
namespace bench::plain {

struct Capability {
  std::size_t count = 0;
  double mean = 0.0, sd = 0.0, sigma = 0.0;
  double cp = 0.0, cpk = 0.0, pp = 0.0, ppk = 0.0, skewness = 0.0, kurtosis = 0.0;
  double chi_square = 0.0;
  std::array<std::size_t, 24> bins{};
};

inline Capability CapabilityOf(const std::vector<double>& values, std::size_t n, double d2,
                               double lsl, double usl) {
  Capability made;
  made.count = values.size();
  const auto count = static_cast<double>(values.size());
  double sum = 0.0;
  double ranges = 0.0;
  double least = values[0];
  double largest = values[0];
  for (std::size_t i = 0; i < values.size(); i += n) {
    double low = values[i];
    double high = values[i];
    for (std::size_t j = i; j < i + n; ++j) {
      sum += values[j];
      low = std::min(low, values[j]);
      high = std::max(high, values[j]);
    }
    ranges += high - low;
    least = std::min(least, low);
    largest = std::max(largest, high);
  }
  made.mean = sum / count;
  made.sigma = ranges / (count / static_cast<double>(n)) / d2;
  const double width = (largest - least) / 24.0;
  double m2 = 0.0;
  double m3 = 0.0;
  double m4 = 0.0;
  for (const double value : values) {
    const double d = value - made.mean;
    const double square = d * d;
    m2 += square;
    m3 += square * d;
    m4 += square * square;
    const auto bin = static_cast<std::size_t>((value - least) / width);
    ++made.bins[std::min<std::size_t>(bin, 23)];
  }
  made.sd = std::sqrt(m2 / (count - 1.0));
  const double variance = m2 / count;
  made.skewness = m3 / count / (variance * std::sqrt(variance));
  made.kurtosis = m4 / count / (variance * variance) - 3.0;
  const double side = std::min(usl - made.mean, made.mean - lsl);
  made.cp = (usl - lsl) / (6.0 * made.sigma);
  made.cpk = side / (3.0 * made.sigma);
  made.pp = (usl - lsl) / (6.0 * made.sd);
  made.ppk = side / (3.0 * made.sd);
  const auto below = [&](double x) {
    return 0.5 * std::erfc((made.mean - x) / (made.sd * std::sqrt(2.0)));
  };
  for (std::size_t i = 0; i < made.bins.size(); ++i) {
    const double low = least + width * static_cast<double>(i);
    const double expected = count * (below(low + width) - below(low));
    const double apart = static_cast<double>(made.bins[i]) - expected;
    if (expected >= 5.0) made.chi_square += apart * apart / expected;
  }
  return made;
}

inline Capability WholeCapability(const Database& db, double d2, double lsl, double usl) {
  const Statement rows(
      db,
      "SELECT v.val FROM subgroup s JOIN value v ON v.sgid=s.id WHERE s.part=1 AND s.process=1 "
      "AND s.test=1 AND s.flag=0 ORDER BY s.time, s.id, v.tsno");
  std::vector<double> values;
  while (rows.Step()) values.push_back(rows.Double(0));
  return CapabilityOf(values, 5, d2, lsl, usl);
}

}  // namespace bench::plain
