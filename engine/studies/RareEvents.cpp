// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/RareEvents.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>
#include <tuple>
#include <utility>

#include "engine/statistics/Numerics.h"
#include "engine/statistics/RunRules.h"
#include "engine/studies/study_notes.h"
#include "platform/NaN.h"

namespace orvspc::studies {

using namespace engine;
using platform::kNaN;

namespace {

constexpr LeastAmounts kLeast{3, 20};
constexpr double kPower = 1.0 / 3.6;
constexpr double kD2 = 2.0 * std::numbers::inv_sqrtpi;  // of two values

void Check(const GapOptions& options) {
  Need(options.alpha >= 0.0001 && options.alpha <= 0.1, "alpha must be 0.0001 to 0.1");
  const auto rule = options.run_rule;
  Need(rule == 0 || rule == 2 || rule == 9 || rule == 10, "run_rule must be 0, 2, 9 or 10");
  Need(!options.open || (*options.open >= 0.0 && std::isfinite(*options.open)),
       "open must be 0 or more");
}

double MeanOf(std::span<const double> values) {
  return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

bool HasFigures(std::span<const double> values, const char* what, std::vector<Note>& notes) {
  if (!HasEnough(values.size(), kLeast, what, notes)) return false;
  if (std::ranges::all_of(values, [&](double value) { return value == values[0]; })) {
    notes.push_back({"all-equal", "All values are equal, so there are no limits.", {}});
    return false;
  }
  return true;
}

// Rule 1 at the limits, and the run rule about the median.
std::vector<std::uint32_t> MarksOf(std::span<const double> values, double lower, double upper,
                                   double median, std::int32_t run_rule) {
  const auto count = values.size();
  const std::int32_t numbers[] = {1, run_rule};
  const auto rules = statistics::SelectRules(statistics::StandardRules(),
                                             std::span(numbers).first(run_rule == 0 ? 1 : 2));
  // Runs on one side take no sigma; a tiny one makes ties exact.
  const std::vector<double> lowers(count, lower), uppers(count, upper), medians(count, median),
      sigmas(count, std::numeric_limits<double>::min());
  return statistics::EvaluateRules({values, medians, sigmas, uppers, lowers, {}, {}, {}}, rules);
}

// Once there are limits.
void Judge(std::span<const double> gaps, double median, const GapOptions& options,
           GapStudy& study) {
  study.marks = MarksOf(gaps, study.lower, study.upper, median, options.run_rule);
  study.overdue = study.open && *study.open > study.upper;
}

// The least x >= 0 with (1 - p)^(x + 1) <= above.
double GeometricQuantile(double p, double log_above) {
  if (p >= 1.0) return 0.0;
  const double exact = log_above / std::log1p(-p) - 1.0;
  const double near = std::round(exact);
  // A whole quotient may come out a rounding too large.
  const bool is_whole = std::abs(exact - near) <= 1e-12 * std::max(1.0, std::abs(exact));
  return std::max(0.0, is_whole ? near : std::ceil(exact));
}

// Shape and scale by maximum likelihood, of times above 0 that differ.
std::pair<double, double> WeibullOf(const std::vector<double>& times) {
  std::vector<double> logs;
  for (const double time : times) logs.push_back(std::log(time));
  // With times divided by their geometric mean the sum of logs is 0.
  const double centre = MeanOf(logs);
  for (auto& log : logs) log -= centre;
  const double most = std::ranges::max(logs);
  const auto slope = [&](double shape) {
    double sum = 0.0, weighted = 0.0;
    for (const double log : logs) {
      const double power = std::exp(shape * (log - most));
      sum += power;
      weighted += power * log;
    }
    return weighted / sum - 1.0 / shape;
  };
  const double shape = statistics::Root(slope, 0.02, 100.0);
  double sum = 0.0;
  for (const double log : logs) sum += std::exp(shape * (log - most));
  const double log_scale = centre + most + std::log(sum / static_cast<double>(logs.size())) / shape;
  return {shape, std::exp(log_scale)};
}

// A distribution of times has none of 0.
std::vector<double> Positive(std::span<const double> times, double resolution,
                             std::vector<Note>& notes) {
  std::vector<double> positive(times.begin(), times.end());
  const auto zeros = std::ranges::count(positive, 0.0);
  std::ranges::replace(positive, 0.0, resolution / 2.0);
  if (zeros > 0) {
    notes.push_back({"zero-times",
                     std::to_string(zeros) +
                         (zeros == 1 ? " time of 0 counts" : " times of 0 count") +
                         " as half of the resolution of the stamps.",
                     {}});
  }
  return positive;
}

void SetLawLimits(const std::vector<double>& positive, const TOptions& options, TStudy& study) {
  const auto used = static_cast<std::int64_t>(positive.size());
  double shape = 1.0, scale = MeanOf(positive);
  if (options.law == TimeLaw::Weibull) {
    std::tie(shape, scale) = WeibullOf(positive);
    if (std::isnan(shape)) {
      study.notes.push_back({"no-fit", "No Weibull distribution fits these times.", {}});
      return;
    }
    study.shape = {shape, "maximum likelihood", kNaN, used, 0};
    study.scale = {scale, "maximum likelihood", kNaN, used, 0};
  } else {
    study.shape = {1.0, "given", kNaN, 0, 0};
    study.scale = {scale, "mean", kNaN, used, 0};
  }
  const double side = options.alpha / 2.0;
  study.lower = scale * std::pow(-std::log1p(-side), 1.0 / shape);
  study.centre = scale * std::pow(std::numbers::ln2, 1.0 / shape);
  study.upper = scale * std::pow(-std::log(side), 1.0 / shape);
}

void SetPowerLimits(std::span<const double> times, TStudy& study) {
  std::vector<double> roots;
  for (const double time : times) roots.push_back(std::pow(time, kPower));
  double ranges = 0.0;
  for (std::size_t i = 1; i < roots.size(); ++i) ranges += std::abs(roots[i] - roots[i - 1]);
  study.transformed_centre = MeanOf(roots);
  study.transformed_range = ranges / static_cast<double>(roots.size() - 1);
  const double half = 3.0 * study.transformed_range / kD2;
  const auto back = [](double root) { return std::pow(std::max(root, 0.0), 1.0 / kPower); };
  study.centre = back(study.transformed_centre);
  study.lower = back(study.transformed_centre - half);
  study.upper = back(study.transformed_centre + half);
}

}  // namespace

GStudy StudyG(std::span<const double> between, const GOptions& options, const GStudy* judged_by) {
  Check(options);
  for (const double count : between) {
    Need(count >= 0.0 && std::floor(count) == count && std::isfinite(count),
         "counts must be whole and 0 or more");
  }
  GStudy study;
  study.open = options.open;
  study.marks.assign(between.size(), 0);
  study.zeros.assign(between.size(), 0);
  if (judged_by != nullptr && !std::isnan(judged_by->p.value)) {
    study.mean = judged_by->mean;
    study.p = judged_by->p;
  } else {
    const auto base =
        between.first(std::min(options.base.value_or(between.size()), between.size()));
    if (!HasFigures(base, "counts", study.notes)) return study;
    const auto number = static_cast<std::int64_t>(base.size());
    const auto left = static_cast<std::int64_t>(between.size()) - number;
    const double few = options.unbiased ? 1.0 - 1.0 / static_cast<double>(number) : 1.0;
    study.mean = {MeanOf(base), "mean", kNaN, number, left};
    study.p = {few / (study.mean.value + 1.0), options.unbiased ? "unbiased" : "maximum likelihood",
               kNaN, number, left};
  }
  const double mean = study.mean.value, p = study.p.value;
  const double side = options.alpha / 2.0;
  const double median = GeometricQuantile(p, -std::numbers::ln2);
  if (options.probability) {
    study.centre = median;
    study.lower = GeometricQuantile(p, std::log1p(-side));
    study.upper = GeometricQuantile(p, std::log(side));
  } else {
    const double half = 3.0 * std::sqrt(mean * (mean + 1.0));
    study.centre = mean;
    study.lower = std::max(0.0, mean - half);
    study.upper = mean + half;
  }
  Judge(between, median, options, study);
  if (study.lower > 0.0) return study;
  study.notes.push_back({"no-lower-limit",
                         "No count can be below the lower limit; two zeros in a row are pointed "
                         "out instead.",
                         {}});
  for (std::size_t i = 1; i < between.size(); ++i) {
    study.zeros[i] = between[i] == 0.0 && between[i - 1] == 0.0 ? 1 : 0;
  }
  return study;
}

TStudy StudyT(std::span<const double> times, const TOptions& options) {
  Check(options);
  Need(options.resolution > 0.0 && std::isfinite(options.resolution), "resolution must be above 0");
  for (const double time : times) {
    Need(time >= 0.0 && std::isfinite(time), "times must be 0 or more");
  }
  TStudy study;
  study.open = options.open;
  study.marks.assign(times.size(), 0);
  if (!HasFigures(times, "times", study.notes)) return study;
  std::vector<double> judged(times.begin(), times.end());
  if (options.law == TimeLaw::Power) {
    SetPowerLimits(times, study);
  } else {
    judged = Positive(times, options.resolution, study.notes);
    SetLawLimits(judged, options, study);
  }
  if (std::isnan(study.upper)) return study;
  Judge(judged, study.centre, options, study);
  return study;
}

UnitsBetween UnitsBetweenEvents(const Stretch& counts, std::optional<double> open) {
  UnitsBetween found;
  found.open = open;
  bool began_before = open.has_value();
  auto& gaps = found.stretch;
  gaps.phase = counts.phase;
  gaps.limits_of = counts.limits_of;
  gaps.is_shown = counts.is_shown;
  std::size_t passed = 0, several = 0;
  bool has_own_units = false, has_fractions = false;
  for (std::size_t i = 0; i < counts.counts.size(); ++i) {
    if (!counts.IsUsed(i) || std::isnan(counts.counts[i])) continue;
    ++passed;
    if (counts.counts[i] == 0.0) {
      if (found.open) *found.open += counts.sizes[i];
      continue;
    }
    if (counts.counts[i] > 1.0) ++several;
    has_own_units = has_own_units || counts.sizes[i] > 1.0;
    if (found.open && !began_before) {
      constexpr double kSame = 1e-9;  // of sums of fractions
      const double whole = std::round(*found.open);
      has_fractions = has_fractions || std::abs(*found.open - whole) > kSame * std::max(1.0, whole);
      gaps.points.push_back(whole);
      if (CountInBase(counts, passed) == passed) ++found.base;
      gaps.times.push_back(counts.times[i]);
      gaps.subgroups.push_back(counts.subgroups[i]);
    }
    found.open = 0.0;
    began_before = false;
  }
  if (several > 0) {
    found.notes.push_back({"several-events",
                           std::to_string(several) +
                               (several == 1 ? " subgroup has" : " subgroups have") +
                               " more than one defective or defect, which together are one event; "
                               "where that is usual, a p or c chart tells more.",
                           {}});
  }
  if (has_own_units) {
    found.notes.push_back({"place-unknown",
                           "Where in its subgroup a defective lies is not known, so the units of "
                           "its own subgroup are not counted.",
                           {}});
  }
  if (has_fractions) {
    found.notes.push_back({"fractional-units",
                           "Sizes are not whole numbers; the units between two events are rounded "
                           "to whole ones.",
                           {}});
  }
  return found;
}

std::vector<double> SecondsBetween(std::span<const std::int64_t> stamps) {
  const TimeSpan always{INT64_MIN, INT64_MAX};
  return SecondsBetween(stamps, {&always, 1});
}

std::vector<double> SecondsBetween(std::span<const std::int64_t> stamps,
                                   std::span<const TimeSpan> running) {
  std::vector<double> gaps;
  auto span = running.begin();
  for (std::size_t i = 1; i < stamps.size(); ++i) {
    const auto from = stamps[i - 1], to = stamps[i];
    while (span != running.end() && span->end <= from) ++span;
    std::int64_t seconds = 0;
    for (auto each = span; each != running.end() && each->start < to; ++each) {
      seconds += std::min(each->end, to) - std::max(each->start, from);
    }
    gaps.push_back(static_cast<double>(seconds));
  }
  return gaps;
}

}  // namespace orvspc::studies
