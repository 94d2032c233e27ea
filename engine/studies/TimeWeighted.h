// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "engine/studies/Figures.h"
#include "engine/studies/RunLengths.h"
#include "engine/studies/StudyData.h"
#include "platform/Reports.h"

// EWMA and cusum of measurements and counts with parameters of their own.
namespace orvspc::studies {

// What both are about. Without these the line in force at each point.
struct AboutOptions {
  std::optional<double> target;  // mean that points are compared with; of counts one above 0 whose
                                 // law has a sigma
  std::optional<double> sigma;   // of one piece, above 0; not of counts
  Sided sided = Sided::Two;      // which signals count: the other limit or arm is left out
  bool medians = false;          // points are medians of their pieces, not means
  // What the points of a stretch of counts are, as StudyData has it.
  bool defectives = false, counted = false;
  double scale = 1.0;
};

struct EwmaOptions : AboutOptions {
  double weight = 0.2;        // lambda, 0 < weight <= 1
  double width = 3.0;         // half width of the limits in sigmas, 0 < width <= 6
  bool exact = true;          // limits of each point; otherwise those after many points
  std::optional<double> fir;  // fast initial response f, 0 < f < 1, with exact limits only
  bool reset = false;         // begins anew at the point after a signal
};

// One element a subgroup in each column; NaN: none.
struct EwmaStudy {
  std::vector<double> z, centre, upper, lower;
  std::vector<std::uint8_t> signals;  // not 0: z is beyond a limit
  Figure mean, sigma;                 // given, or those of the line in force at the newest point
  std::vector<Note> notes;
};

// z_i = weight x_i + (1 - weight) z_(i-1) from z_0 = centre, with v_i = weight^2 sigma_i^2 +
// (1 - weight)^2 v_(i-1) from 0.
//   exact       limits centre +- width sqrt(v_i)
//   asymptotic  centre +- width sqrt(weight / (2 - weight)) sigma, sigma at the mean size
//   fir         limits times 1 - (1 - f)^(1 + a (t - 1)), a = (-2 / log10(1 - f) - 1) / 19, at the
//               t-th point after a start
// Sigma of counts about a target is that of the target: of a proportion p of n units
// sqrt(p (1 - p) / n), of a rate u of n units sqrt(u / n), in the unit of the points.
// z and v begin anew where another row of limits holds. A point that is not used is shown and then
// forgotten; one without value leaves both as they are.
// limits_of is the stretch that it has its estimates from, where that is another one: what it
// leaves out counts as left out. Throws std::invalid_argument for an option out of its range.
// Source   ISO 7870-6; Montgomery, ch. 9.2; fir: Steiner, J. Quality Technology 31 (1999)
EwmaStudy StudyEwma(const Stretch& stretch, const EwmaOptions& options = {},
                    const Stretch* limits_of = nullptr);

struct CusumOptions : AboutOptions {
  double k = 0.5;           // reference value in sigmas, 0 <= k <= 3
  double h = 5.0;           // decision interval in sigmas, 0 < h <= 50
  double head_start = 0.0;  // of both arms, 0 <= head_start < h
  bool reset = false;       // both arms go to the head start at the point after a signal
};

// What a signal of an arm says about the shift.
struct CusumSignal {
  std::size_t point = 0;
  bool is_upper = true;
  std::size_t start = 0;             // the point after the last zero of the arm
  double new_mean = platform::kNaN;  // in the unit of the points
};

struct CusumStudy {
  std::vector<double> upper, lower;                    // arms, in sigmas, both >= 0; NaN: none
  std::vector<std::int32_t> count_upper, count_lower;  // points since the arm left 0
  std::vector<std::uint8_t> signals;                   // not 0: an arm is above h
  std::vector<CusumSignal> changes;                    // of each signal, by point
  double h = platform::kNaN;                           // that signals go by
  std::vector<double> reference;                       // of counts: K at each point; else empty
  Figure mean, sigma;
  std::vector<Note> notes;
};

// Two arms of y_i = (x_i - centre_i) / sigma_i:
//   upper_i = max(0, upper_(i-1) + y_i - k), lower_i = max(0, lower_(i-1) - y_i - k)
// A signal is an arm above h. The shift is taken to begin after the arm's last zero, N points
// before, and the new mean is centre +- sigma (k + arm / N). Sigma of counts and limits_of as
// above. Throws std::invalid_argument for an option out of its range. Source   ISO 7870-4;
// Montgomery, ch. 9.1
CusumStudy StudyCusum(const Stretch& stretch, const CusumOptions& options = {},
                      const Stretch* limits_of = nullptr);

// Sums and reference values of counts are multiples of this, so that their chain has few states.
inline constexpr double kCountStep = 0.25;

struct CountCusumOptions {
  // What there is after the shift that is to be found: the proportion, 0 to 1, or the defects a
  // unit inspected, above 0. And without it; otherwise the line in force.
  double shifted = platform::kNaN;
  std::optional<double> target;
  double h = platform::kNaN;  // a sum at h or above signals, in counts; a multiple of kCountStep,
                              // 0 < h <= 1000
  double head_start = 0.0;    // a multiple as well, 0 <= head_start < h
  bool reset = false;         // the sum goes to the head start at the point after a signal
  // What the points of the stretch are, as StudyData has it.
  bool defectives = false, counted = false;
  double scale = 1.0;
};

// One arm of counts c of n units, the upper one where more is to be found than there is, else the
// lower one; the other has no values.
//   upper_i = max(0, upper_(i-1) + c_i - K_i), lower_i = max(0, lower_(i-1) - c_i + K_i)
//   defects     K = n (u1 - u0) / ln(u1 / u0)
//   defectives  K = n ln((1 - p0) / (1 - p1)) / ln(p1 (1 - p0) / (p0 (1 - p1)))
// K is rounded to a multiple of kCountStep. A signal is a sum at h or above: StudyCountCusumRuns
// has its run length where all n are equal. The new mean is what was counted since the arm left 0,
// in the unit of the points.
// Throws std::invalid_argument for an option out of its range.
// Source   Lucas, Technometrics 27 (1985)
CusumStudy StudyCountCusum(const Stretch& stretch, const CountCusumOptions& options,
                           const Stretch* limits_of = nullptr);

}  // namespace orvspc::studies
