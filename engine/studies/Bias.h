// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "engine/studies/Figures.h"
#include "platform/Reports.h"

// Whether a gauge shows what is there: its bias at one part, and over its range.
namespace orvspc::studies {

struct Type1Options {
  double reference = 0.0;
  double tolerance = 0.0;            // above 0
  double percent = 20.0;             // K: of the tolerance, that the gauge may take
  double multiplier = 6.0;           // L: of the standard deviation, that is its spread
  std::optional<double> resolution;  // of the gauge, above 0
  double level = 0.95;
};

struct Type1Study {
  std::size_t count = 0;
  double mean = platform::kNaN, sd = platform::kNaN;  // divisor N - 1
  Interval bias;                                      // mean less reference
  TestOfSignificance test;                            // of no bias
  double cg = platform::kNaN, cgk = platform::kNaN;
  double pct_repeat = platform::kNaN, pct_repeat_bias = platform::kNaN;  // K / Cg, K / Cgk
  std::vector<Note> notes;
};

// The goal of Cg and Cgk.
inline constexpr double kGoalOfCg = 1.33;

// Many readings of one part whose size is known, tolerance T:
//   Cg = K/100 T / (L s), Cgk = (K/200 T - |mean - reference|) / (L/2 s)
// No figures below 25 readings; a note below 50, and on a resolution above 5 % of T.
// Throws std::invalid_argument for an option out of its range.
// Source   ISO 22514-7
Type1Study StudyType1(std::span<const double> values, const Type1Options& options);

struct BiasOptions {
  double reference = 0.0;
  std::optional<double> process_sd;  // above 0
  double multiplier = 6.0;           // of process_sd that is the process variation
  double level = 0.95;
};

struct BiasStudy {
  double reference = platform::kNaN;
  std::size_t count = 0;
  double mean = platform::kNaN, sd = platform::kNaN;
  Interval bias;
  TestOfSignificance test;
  double pct_bias = platform::kNaN;  // 100 |bias| / (multiplier process_sd)
  std::vector<Note> notes;
};

// t = (mean - reference) / (s / sqrt(n)) with n - 1 degrees of freedom. No figures below 2
// readings, a note below 10.
// Throws std::invalid_argument for an option out of its range.
// Source   AIAG, Measurement Systems Analysis, 4th ed., III-B
BiasStudy StudyBias(std::span<const double> values, const BiasOptions& options);
// The same of n readings of which only mean and standard deviation are known.
BiasStudy StudyBiasOf(std::size_t count, double mean, double sd, const BiasOptions& options);

struct LinearityOptions {
  std::optional<double> process_sd;
  double multiplier = 6.0;
  double level = 0.95;
};

struct LinearityStudy {
  Interval slope, intercept;
  TestOfSignificance slope_test, intercept_test;
  double s = platform::kNaN, r2 = platform::kNaN;
  std::size_t count = 0;
  double mean_reference = platform::kNaN, sxx = platform::kNaN, t = platform::kNaN;  // of the band
  std::vector<BiasStudy> biases;  // of each reference, ascending
  Interval bias;                  // mean of all
  TestOfSignificance bias_test;
  std::optional<bool> is_acceptable;  // no bias lies within the band over the whole range
  double linearity = platform::kNaN;  // |slope| multiplier process_sd
  double pct_linearity = platform::kNaN, pct_bias = platform::kNaN;
  std::vector<Note> notes;

  double LineAt(double reference) const { return intercept.value + slope.value * reference; }
  double HalfBandAt(double reference) const;
};

// The line of single biases x - reference over the reference, by least squares, with s of gm - 2
// degrees of freedom and the band line +- t s sqrt(1/gm + (x - mean)^2 / Sxx). The bias at a
// reference is tested with its own s, the mean bias with that of the line.
//   pct_linearity = 100 |slope|, pct_bias = 100 |mean bias| / (multiplier process_sd)
// No figures below 2 references or 3 readings; a note below 5 references of 10 readings each.
// references and values side by side; what is no number is left out.
// Throws std::invalid_argument for an option out of its range, or columns of different lengths.
// Source   AIAG, Measurement Systems Analysis, 4th ed., III-B
LinearityStudy StudyLinearity(std::span<const double> references, std::span<const double> values,
                              const LinearityOptions& options = {});

}  // namespace orvspc::studies
