// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "engine/studies/ChartRules.h"
#include "platform/NaN.h"
#include "platform/Reports.h"

// How many points a chart takes to its first signal: of cusum, EWMA, MEWMA, Shewhart charts with
// run rules, and the cusum of counts. No data are needed. Points are independent and the parameters
// are those of the process: limits that were estimated from few subgroups have other run lengths.
namespace orvspc::studies {

// Which signals count.
enum class Sided { Two, Upper, Lower };

// One element a shift in each column; NaN: none. Those that a method does not have are empty.
struct RunLengthStudy {
  std::string method;      // "integral", "chain", "simulation"
  std::size_t states = 0;  // of a chain
  std::size_t runs = 0;    // of a simulation, for each shift
  std::uint64_t seed = 0;
  std::vector<double> shifts;
  std::vector<double> arl, sdrl;         // mean and standard deviation
  std::vector<double> p05, median, p95;  // points by which so much of the runs have ended
  std::vector<double> oc;                // P(no signal at the first point after the shift)
  std::vector<double> standard_error;    // of arl, where simulated
  std::vector<Note> notes;
};

struct CusumRunOptions {
  double k = 0.5;           // reference value in sigmas, 0 <= k <= 3
  double h = 5.0;           // decision interval in sigmas, 0 < h <= 50
  double head_start = 0.0;  // of each arm, 0 <= head_start < h
  Sided sided = Sided::Two;
};

// Of the tabular cusum, exactly, from its start. Shifts are in sigmas of a point, those of -20..20.
// Two arms with a head start above h / 2 + k are simulated.
// Throws std::invalid_argument for an option out of its range.
// Source   Lucas & Crosier, Technometrics 24 (1982)
RunLengthStudy StudyCusumRuns(std::span<const double> shifts, const CusumRunOptions& options = {});

struct EwmaRunOptions {
  double weight = 0.2;  // 0.001 <= weight <= 1; with exact limits from 0.005
  double width = 3.0;   // 0 < width <= 6
  bool exact = true;
  std::optional<double> fir;  // 0 < fir < 1, with exact limits only
  Sided sided = Sided::Two;   // which limit counts
};

// Of the EWMA, from its start at the target. Shifts as above.
// Source   Crowder, Technometrics 29 (1987); Lucas & Saccucci, Technometrics 32 (1990); fir:
//          Steiner, J. Quality Technology 31 (1999)
RunLengthStudy StudyEwmaRuns(std::span<const double> shifts, const EwmaRunOptions& options = {});

struct MewmaRunOptions {
  std::size_t variables = 2;  // 2 to 20
  double weight = 0.1;        // 0.01 <= weight <= 1
  double h = 0.0;             // limit of T2 of the averages, 0 < h <= 1000
  bool exact = false;         // covariance of each point; otherwise that after many points
  std::size_t runs = 20'000;
  std::uint64_t seed = 20260101;
};

// Of the EWMA of several variables, simulated from its start at the centre. Shifts are distances
// sqrt(d' Sigma^-1 d) of a mean, 0..20: nothing else of a shift matters.
// Source   Lowry, Woodall, Champ & Rigdon, Technometrics 34 (1992)
RunLengthStudy StudyMewmaRuns(std::span<const double> shifts, const MewmaRunOptions& options);

enum class PointsOf { Measurements, Defectives, Defects };

struct ShewhartRunOptions {
  std::vector<ChartRule> rules = {ChartRule()};
  double width = 3.0;  // of the limits, in sigmas of a point, 0 < width <= 10
  Sided sided = Sided::Two;
  // Pieces a point, or units inspected, 1 <= size <= 1e6. Shifts of measurements are in sigmas of a
  // piece, those of counts are the proportion, or the defects a unit, that there is then.
  double size = 1.0;
  PointsOf points = PointsOf::Measurements;
  double mean = platform::kNaN;  // of counts: the proportion, or defects a unit, of the centre line
  // A window needs all its points, as on the charts of this program; otherwise quiet points went
  // before the first one, as in the literature.
  bool full_windows = false;
  std::size_t runs = 20'000;  // where rules need a simulation: those that compare neighbours
  std::uint64_t seed = 20260101;
};

// Of a Shewhart chart with run rules: exactly by a chain over what the rules remember, or
// simulated. Source   Champ & Woodall, Technometrics 29 (1987)
RunLengthStudy StudyShewhartRuns(std::span<const double> shifts,
                                 const ShewhartRunOptions& options = {});

struct CountCusumRunOptions {
  double k = 0.0;           // reference value, a multiple of 1 / steps, 0 < k
  double h = 1.0;           // a sum at h or above signals; a multiple of 1 / steps up to 1000
  double head_start = 0.0;  // 0 <= head_start < h
  std::size_t steps = 4;    // of a unit
  PointsOf points = PointsOf::Defects;
  double size = 1.0;  // units inspected a point
  bool is_upper = true;
};

// Of the cusum of counts. Shifts are the proportion, or the defects a unit, that there is then.
// Source   Lucas, Technometrics 27 (1985)
RunLengthStudy StudyCountCusumRuns(std::span<const double> shifts,
                                   const CountCusumRunOptions& options);

}  // namespace orvspc::studies
