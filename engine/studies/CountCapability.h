// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "engine/studies/Figures.h"
#include "engine/studies/StudyData.h"
#include "platform/Reports.h"

// Capability of processes whose pieces are counted, not measured.
namespace orvspc::studies {

struct CountCapabilityOptions {
  bool defectives = true;      // bad units, binomial; otherwise defects, Poisson
  double level = 0.95;         // of the intervals, 0 < level < 1
  double opportunities = 1.0;  // for a defect in a unit, above 0
};

struct CountCapabilityStudy {
  double bad = 0.0, units = 0.0;  // of the used subgroups
  std::int64_t subgroups = 0;     // that are used
  Interval rate;                  // bad units a unit, or defects a unit
  Interval per_million;           // bad units of a million, or defects of a million opportunities
  Interval z;                     // of bad units: the normal quantile that leaves so many above it
  Interval yield;                 // of defects: the share of units without one
  // The rate of all subgroups up to each, and the chart: points beyond three sigmas.
  std::vector<double> cumulated;
  std::vector<std::uint8_t> signals;
  std::optional<bool> stable;  // no used point is beyond; empty without limits
  std::vector<Note> notes;
};

// defectives  p = sum D/sum n, the interval of Clopper and Pearson; z = -quantile(p), without a
//             value where p is 0 or 1
// defects     u = sum C/sum n, chi2(a/2; 2 C)/(2 n) to chi2(1 - a/2; 2 C + 2)/(2 n); yield exp(-u)
// A process that is not stable has no capability: signals are noted, the figures given all the
// same. No subgroup with a size and a count: no figures.
// Throws std::invalid_argument for an option out of its range.
// Source   Clopper & Pearson, Biometrika 26 (1934); Garwood, Biometrika 28 (1936)
CountCapabilityStudy StudyCountCapability(const Stretch& stretch,
                                          const CountCapabilityOptions& options);

}  // namespace orvspc::studies
