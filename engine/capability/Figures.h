// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "engine/statistics/CapabilityIndices.h"
#include "engine/statistics/Distributions.h"
#include "engine/statistics/Histogram.h"
#include "engine/statistics/HypothesisTests.h"
#include "engine/statistics/SampleSums.h"
#include "platform/CapabilityRecords.h"
#include "platform/Reports.h"

// The records of a capability analysis out of finished sums. A record holds numbers only: a figure
// that does not exist, or is beyond the largest number, is 0.
namespace orvspc::engine::capability {

inline double Defined(double value) { return value - value == 0.0 ? value : 0.0; }

// Beyond this score the probability of a tail underflows to 0.
inline constexpr double kFarthestScore = 37.5;

// A limit with the fields of its results. The target and the labelled quantity have a score in
// their lower row alone: positive when the mean lies above.
template <class Limits, class Results>
struct LimitRow {
  std::int32_t flag;  // of the limits' EFlag; 0: always there
  platform::WireDouble Limits::*limit;
  platform::WireDouble Results::*score;
  platform::WireDouble Results::*actual;
  platform::WireDouble Results::*expected;

  bool IsIn(const Limits& limits) const { return flag == 0 || (limits.EFlag & flag) != 0; }
};

API_CACPs ShortTermIndices(double mean, double sigma, const statistics::Tolerance& tolerance);
API_CAPPs LongTermIndices(const statistics::Reach& reach, const statistics::Tolerance& tolerance);

// The actual proportions of the specification results.
void SetActual(const statistics::BeyondCounts& counts, std::int64_t count,
               const API_CASpecLim8& limits, API_CASpecResults& results);
// Limits in the order that SetActual reads; NaN where there is none. The target is in both.
std::vector<double> UpperLimits(const API_CASpecLim8& limits);
std::vector<double> LowerLimits(const API_CASpecLim8& limits);

// Scores and expected proportions of the specification results. Clamped: within the farthest score.
void SetExpected(const statistics::Distribution& distribution, bool clamped,
                 const API_CASpecLim8& limits, API_CASpecResults& results);

// The normal score of the expected proportion outside, taken on one side; 0 without limits.
double BenchmarkScore(const statistics::Distribution& distribution,
                      const statistics::Tolerance& tolerance);

// Points of the curve at equal distances across the window, scaled to the bars; all 0 if null.
void DrawCurve(const statistics::Distribution* distribution, const statistics::Window& window,
               std::int64_t count, std::size_t bins, std::span<double> x, std::span<double> y);

void SetChiSquare(const statistics::ChiSquareTest& test, API_CAChiSq& record);

// The expected count of each bin; all 0 if null.
std::vector<double> ExpectedCounts(const statistics::Distribution* distribution,
                                   std::span<const double> edges, std::int64_t count);

}  // namespace orvspc::engine::capability
