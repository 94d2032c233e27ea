// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "engine/studies/Figures.h"
#include "engine/studies/StudyData.h"
#include "platform/Reports.h"

// Charts of what lies between rare events: how many good ones (g), or how long it took (t).
namespace orvspc::studies {

struct GapOptions {
  double alpha = 0.0027;      // of both sides together, 0.0001 to 0.1
  std::int32_t run_rule = 2;  // 2, 9 or 10: 9, 8 or 7 in a row on one side of the median; 0: none
  // What there was since the last event, 0 or more. It is in no figure.
  std::optional<double> open = {};
};

// What both have.
struct GapStudy {
  double centre = platform::kNaN, lower = platform::kNaN, upper = platform::kNaN;
  std::vector<std::uint32_t> marks;  // of each gap: bit 1 beyond a limit, bit of the run rule
  std::optional<double> open;
  bool overdue = false;  // it is above the upper limit already
  std::vector<Note> notes;
};

struct GOptions : GapOptions {
  bool probability = true;  // limits by quantiles, the centre the median; otherwise three sigmas
                            // about the mean
  bool unbiased = true;     // p with (N - 1) / N
  std::optional<std::size_t> base = {};  // mean and p are of so many, the first ones; else of all
};

struct GStudy : GapStudy {
  Figure mean, p;                   // of the counts; the chance of the event at each opportunity
  std::vector<std::uint8_t> zeros;  // not 0: it and the one before are 0, where no count can be
                                    // below the lower limit
};

// Opportunities between events, x >= 0 and whole, P(X = x) = p (1 - p)^x:
//   p      ((N - 1) / N) / (mean + 1), or 1 / (mean + 1)
//   probability limits   q(P) the least x with 1 - (1 - p)^(x + 1) >= P; centre q(0.5), lower
//                        q(alpha / 2), upper q(1 - alpha / 2)
//   sigma limits         mean +- 3 sqrt(mean (mean + 1)), not below 0
// A count above the upper limit is a signal, one below the lower limit as well. Where the lower
// limit is 0, two zeros in a row are pointed out instead: by chance that has P p^2.
// Fewer than 3 counts that mean and p are of, or none that differ: no figures.
// judged_by: mean and p are those of that study, such as of the phase before.
// Throws std::invalid_argument for an option out of its range, a count below 0 or not whole.
// Source   Benneyan, Health Care Management Science 4 (2001); Kaminsky et al., J. Quality
// Technology 24 (1992)
GStudy StudyG(std::span<const double> between, const GOptions& options = {},
              const GStudy* judged_by = nullptr);

// Units between the subgroups that have a defective or a defect.
struct UnitsBetween {
  Stretch stretch;  // points: the sum of the sizes of the subgroups between two events; times and
                    // subgroups: those of the event that ends it. It has no other columns
  std::optional<double> open;  // since the last event; empty without one
  std::size_t base = 0;  // so many of the points end inside what the phase is frozen after, or all
  std::vector<Note> notes;
};
// Out of a stretch of counts. Subgroups that are not used, or have no count, are passed over. A
// subgroup is one event, whatever it has; its own units are not counted. Units between two events
// that are no whole number are rounded, with a note. open: the units since the
// last event of the stretches before, which go on until the first event of this one and are no gap
// of it.
UnitsBetween UnitsBetweenEvents(const Stretch& counts, std::optional<double> open = {});

enum class TimeLaw { Weibull, Exponential, Power };

struct TOptions : GapOptions {  // alpha not with Power, whose limits are three sigmas
  TimeLaw law = TimeLaw::Weibull;
  double resolution = 1.0;  // of the stamps, in the unit of the times; above 0
};

struct TStudy : GapStudy {
  Figure shape, scale;  // of Weibull and Exponential, whose shape is 1
  // Of Power: centre and mean moving range of the transformed times.
  double transformed_centre = platform::kNaN, transformed_range = platform::kNaN;
};

// Times between events, 0 or more:
//   Weibull      shape and scale by maximum likelihood; centre the median, limits the quantiles of
//                alpha / 2 and 1 - alpha / 2
//   Exponential  the same with shape 1 and the mean as scale
//   Power        y = t^(1/3.6) on a chart of single values with sigma = mean moving range / d2(2),
//                drawn back; a lower limit below 0 is 0
// A time of 0 counts as half of the resolution in Weibull and Exponential, with a note.
// Fewer than 3 times, or none that differ: no figures.
// Throws std::invalid_argument for an option out of its range and a time below 0.
// Source   Montgomery, ch. 7.3.5; Nelson, J. Quality Technology 26 (1994)
TStudy StudyT(std::span<const double> times, const TOptions& options = {});

// A stretch of time in seconds, which holds its start and not its end.
struct TimeSpan {
  std::int64_t start = 0, end = 0;
};
// Seconds from each stamp to the next; both ascend. running: only what lies in these spans, which
// ascend and do not overlap.
std::vector<double> SecondsBetween(std::span<const std::int64_t> stamps);
std::vector<double> SecondsBetween(std::span<const std::int64_t> stamps,
                                   std::span<const TimeSpan> running);

}  // namespace orvspc::studies
