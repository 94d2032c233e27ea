// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "engine/statistics/CapabilityIndices.h"
#include "engine/statistics/Distributions.h"
#include "engine/statistics/HypothesisTests.h"
#include "engine/statistics/Sample.h"
#include "engine/statistics/SampleSums.h"
#include "platform/CapabilityRecords.h"
#include "platform/Reports.h"

// The records of a capability analysis out of finished sums. A record holds numbers only: a figure
// that does not exist, or is beyond the largest number, is 0.
namespace orvspc::engine::capability {

inline double Defined(double value) { return value - value == 0.0 ? value : 0.0; }

API_CACPs ShortTermIndices(double mean, double sigma, const statistics::Tolerance& tolerance);

// Counts the values beyond each limit, as SetActual reads them.
statistics::BeyondCounts SpecCounts(const API_CASpecLim8& limits);
// The actual proportions of the specification results.
void SetActual(const statistics::BeyondCounts& counts, std::int64_t count,
               const API_CASpecLim8& limits, API_CASpecResults& results);

// The expected count of each bin; all 0 if null.
std::vector<double> ExpectedCounts(const statistics::Distribution* distribution,
                                   std::span<const API_CABin> bins, std::int64_t count);

// Where everything goes that follows from the fitted distribution. Spans are filled whole.
struct FitOutput {
  std::span<double> x, y;  // the curve
  std::span<API_CABin> bins;
  API_CASummary& summary;
  API_CAPPs& pps;
  API_CAChiSq& chi_square;
  API_CASpecLim8& limits;
  API_CASpecResults& results;
};

struct Fit {
  const statistics::Distribution* distribution;  // null: there is none
  statistics::Reach reach;
  statistics::ChiSquareTest test;
  std::vector<double> expected;  // counts of the bins
  bool clamps_scores;            // to where the tail probability is still above 0
};

// Writes what follows from a fit to `count` values; bins and limits are there already. One place
// for the normal distribution and the curve that replaces it.
void WriteFit(Fit fit, std::int64_t count, const FitOutput& out, CapabilityReport& report);

// The values, multiplied by the factor of the row (0: 1), held against net contents: scores with
// the long-term deviation (positive: inside), actual and expected percent of packages strictly
// beyond, expected by the normal distribution. All 0 without a row.
API_CANccResults NetContentResults(const statistics::Sample& values, const API_CANccLim8& limits);

}  // namespace orvspc::engine::capability
