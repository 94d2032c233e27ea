// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/studies/Figures.h"
#include "platform/Reports.h"

// How much of the spread of readings comes from the gauge: repeatability and reproducibility.
namespace orvspc::studies {

// Readings in any order; those of one part by one operator are its trials.
struct GageReadings {
  std::vector<std::string> parts, operators;      // names, in the order in which they were added
  std::vector<std::size_t> part_of, operator_of;  // of each reading, an index into these
  std::vector<double> values;

  void Add(std::string_view part, std::string_view by, double value);
};

enum class GageMethod {
  Crossed,       // analysis of variance; every operator measures every part
  AverageRange,  // averages and ranges, of the same readings
  Nested         // analysis of variance; every operator has parts of their own
};

// When the interaction of parts and operators is counted as repeatability.
enum class Pooling { ByLevel, Always, Never };

struct GageOptions {
  GageMethod method = GageMethod::Crossed;
  double multiplier = 6.0;          // of a standard deviation that is the spread, above 0
  std::optional<double> tolerance;  // above 0; else upper limit less lower limit
  std::optional<double> lower_limit, upper_limit;
  std::optional<double> process_sd;  // of the running process, above 0
  Pooling pooling = Pooling::ByLevel;
  double pool_above = 0.25;  // P of the interaction, 0 to 1
  double level = 0.90;       // of intervals, above 0 and below 1
  bool tables = false;       // K1 to K3 with the four digits of printed tables
  std::size_t resamples = 2000;
  std::uint64_t seed = 20260101;
};

struct AnovaRow {
  std::string source;
  double degrees = platform::kNaN, sum = platform::kNaN, mean = platform::kNaN;  // of squares
  TestOfSignificance test;  // without a value: none is made
};

// A source of variation.
struct GageComponent {
  std::string source;  // "Repeatability"
  double variance = platform::kNaN;
  bool is_negative = false;  // the estimate was below 0, and 0 is taken
  Interval sd;
  double pct_contribution = platform::kNaN;  // 100 variance / total variance
  double study_var = platform::kNaN;         // multiplier sd
  double pct_study = platform::kNaN;         // 100 sd / total sd
  double pct_tolerance = platform::kNaN;     // 100 multiplier sd / tolerance
  double pct_process = platform::kNaN;       // 100 sd / process_sd
};

inline constexpr const char* kGageRR = "Gauge R&R";
inline constexpr const char* kRepeatability = "Repeatability";
inline constexpr const char* kReproducibility = "Reproducibility";
inline constexpr const char* kOperator = "Operator";
inline constexpr const char* kInteraction = "Part x operator";
inline constexpr const char* kPart = "Part";
inline constexpr const char* kTotal = "Total";

struct GageStudy {
  std::size_t parts = 0, operators = 0, trials = 0;  // parts: of one operator, where nested
  double mean = platform::kNaN;
  // The model with interaction, and that without it where it was pooled. Empty by averages and
  // ranges.
  std::vector<AnovaRow> anova, pooled;
  std::vector<GageComponent> components;

  std::int64_t ndc = 0;                // distinct categories; 0: not known
  Interval ndc_raw;                    // before it is cut to a whole number
  Interval pct_study;                  // of gauge R&R
  std::size_t failed = 0;              // resamples without these figures
  std::string by_study, by_tolerance;  // "good", "marginal", "poor"; empty: not known

  // By averages and ranges: mean range of a cell, greatest difference of operators' means, and
  // range of the parts' means.
  double mean_range = platform::kNaN, operator_range = platform::kNaN, part_range = platform::kNaN;

  // A cell is a part as measured by an operator; all parts of the first operator, then those of the
  // second. Their charts have the limits of three sigmas.
  std::vector<double> cell_means, cell_ranges;
  std::vector<std::size_t> cell_parts, cell_operators;  // indices of names
  double mean_upper = platform::kNaN, mean_lower = platform::kNaN;
  double range_upper = platform::kNaN, range_lower = platform::kNaN;
  std::vector<Note> notes;

  // The component of that source; null: there is none.
  const GageComponent* Find(std::string_view source) const;
};

// What keeps readings from being a study of this method: "operator B has 2 readings of part 3,
// others have 3"; empty: nothing.
std::string ImbalanceOf(const GageReadings& readings, GageMethod method);

// Mean squares MS of parts, operators, interaction and error (P, O, PO, E) of p parts, o operators
// and r trials, all but the trials random effects.
//   crossed  E = MS_E, PO = (MS_PO - MS_E) / r, operator = (MS_O - MS_PO) / pr,
//            part = (MS_P - MS_PO) / or; F of parts and operators against MS_PO, of PO against MS_E
//   pooled   the interaction counts as error, when its P is above pool_above, or with one trial
//   nested   operator = (MS_O - MS_P(O)) / pr, part = (MS_P(O) - MS_E) / r
//   reproducibility = operator + PO, gauge R&R = that + E, total = that + part; below 0: 0
// Averages and ranges, with K1 = 1 / d2(r), K2 = 1 / d2*(o), K3 = 1 / d2*(p), d2* =
// sqrt(d2^2 + d3^2):
//   EV = K1 mean range, AV = sqrt((K2 range of operators)^2 - EV^2 / pr), PV = K3 range of parts
// ndc = floor(sqrt(2) part sd / R&R sd), at least 1; with 1.41 by averages and ranges.
// Intervals of standard deviations: chi-square of repeatability, modified large samples of the
// others. Those of pct_study and ndc_raw: percentiles of resampled parts, of at least 5.
// R&R up to 10 % of study or tolerance is good, up to 30 % marginal.
// No figures below 2 parts, 2 operators and 2 trials (crossed: 1), nor for cells with different
// numbers of readings.
// Throws std::invalid_argument for an option out of its range.
// Source   AIAG, Measurement Systems Analysis, 4th ed.; Burdick, Borror & Montgomery, Design and
//          Analysis of Gauge R&R Studies (2005), ch. 3 and 5
GageStudy StudyGage(const GageReadings& readings, const GageOptions& options = {});

}  // namespace orvspc::studies
