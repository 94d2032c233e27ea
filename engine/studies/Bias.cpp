// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Bias.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <string>

#include "engine/statistics/Distributions.h"
#include "engine/studies/study_notes.h"

namespace orvspc::studies {
namespace {

namespace statistics = engine::statistics;
using platform::kNaN;

void CheckShared(double multiplier, double level, const std::optional<double>& process_sd) {
  Need(multiplier > 0.0 && std::isfinite(multiplier), "multiplier must be a number above 0");
  Need(level > 0.0 && level < 1.0, "level must lie between 0 and 1");
  Need(!process_sd || (*process_sd > 0.0 && std::isfinite(*process_sd)),
       "process-sd must be a number above 0");
}

std::vector<double> FiniteOf(std::span<const double> values) {
  std::vector<double> finite;
  std::ranges::copy_if(values, std::back_inserter(finite),
                       [](double value) { return std::isfinite(value); });
  return finite;
}

struct MeanAndSd {
  double mean = kNaN, sd = kNaN;
};

MeanAndSd MomentsOf(std::span<const double> values) {
  if (values.empty()) return {};
  const double shift = values.front(), count = static_cast<double>(values.size());
  double sum = 0.0;
  for (const double value : values) sum += value - shift;
  const double mean = sum / count;
  double squares = 0.0;
  for (const double value : values) squares += (value - shift - mean) * (value - shift - mean);
  return {shift + mean, count > 1.0 ? std::sqrt(squares / (count - 1.0)) : kNaN};
}

double StudentFactor(double level, double degrees) {
  return statistics::StudentQuantile(0.5 + level / 2.0, degrees);
}

// A figure with its standard error, against 0.
void TestAgainst0(double value, double error, double degrees, double level, Interval& interval,
                  TestOfSignificance& test) {
  interval.value = value;
  interval.level = level;
  interval.method = test.method = "Student's t";
  test.statistic = "t";
  test.degrees = {degrees};
  if (!(error > 0.0)) return;
  const double half = StudentFactor(level, degrees) * error;
  interval.lower = value - half;
  interval.upper = value + half;
  test.value = value / error;
  test.p = std::min(1.0, 2.0 * statistics::StudentAbove(std::abs(test.value), degrees));
}

void NoteNoSpread(std::vector<Note>& notes) {
  notes.push_back({"no-variation", "All readings are equal, so there is no test.", {}});
}

}  // namespace

Type1Study StudyType1(std::span<const double> values, const Type1Options& options) {
  CheckShared(options.multiplier, options.level, {});
  Need(std::isfinite(options.reference), "reference must be a number");
  Need(options.tolerance > 0.0 && std::isfinite(options.tolerance),
       "tolerance must be a number above 0");
  Need(options.percent > 0.0 && options.percent <= 100.0,
       "percent must be above 0 and at most 100");
  Need(!options.resolution || (*options.resolution > 0.0 && std::isfinite(*options.resolution)),
       "resolution must be a number above 0");
  Type1Study study;
  const auto finite = FiniteOf(values);
  study.count = finite.size();
  if (options.resolution && *options.resolution > 0.05 * options.tolerance) {
    study.notes.push_back(
        {"coarse", "The resolution of the gauge is more than 5 % of the tolerance.", {}});
  }
  study.bias.level = options.level;
  if (!HasEnough(finite.size(), {25, 50}, "readings", study.notes)) return study;
  const auto moments = MomentsOf(finite);
  const double count = static_cast<double>(finite.size());
  study.mean = moments.mean;
  study.sd = moments.sd;
  TestAgainst0(study.mean - options.reference, study.sd / std::sqrt(count), count - 1.0,
               options.level, study.bias, study.test);
  if (!(study.sd > 0.0)) {
    study.notes.push_back({"no-variation", "All readings are equal, so there are no indices.", {}});
    return study;
  }
  const double share = options.percent / 100.0 * options.tolerance;
  study.cg = share / (options.multiplier * study.sd);
  study.cgk = (share / 2.0 - std::abs(study.bias.value)) / (options.multiplier / 2.0 * study.sd);
  study.pct_repeat = options.percent / study.cg;
  if (study.cgk > 0.0) {
    study.pct_repeat_bias = options.percent / study.cgk;
  } else {
    study.notes.push_back({"bias-too-large",
                           "The bias is beyond the share of the tolerance: Cgk is not above 0.",
                           {}});
  }
  return study;
}

BiasStudy StudyBiasOf(std::size_t count, double mean, double sd, const BiasOptions& options) {
  CheckShared(options.multiplier, options.level, options.process_sd);
  Need(std::isfinite(options.reference), "reference must be a number");
  Need(sd >= 0.0 || count < 2, "sd must be a number from 0");
  BiasStudy study;
  study.reference = options.reference;
  study.count = count;
  study.mean = mean;
  study.bias.level = options.level;
  study.bias.value = mean - options.reference;
  if (options.process_sd) {
    study.pct_bias =
        100.0 * std::abs(study.bias.value) / (options.multiplier * *options.process_sd);
  }
  if (!HasEnough(count, {2, 10}, "readings", study.notes)) return study;
  study.sd = sd;
  const double n = static_cast<double>(count);
  TestAgainst0(study.bias.value, sd / std::sqrt(n), n - 1.0, options.level, study.bias, study.test);
  if (!(sd > 0.0)) NoteNoSpread(study.notes);
  return study;
}

BiasStudy StudyBias(std::span<const double> values, const BiasOptions& options) {
  const auto finite = FiniteOf(values);
  const auto moments = MomentsOf(finite);
  return StudyBiasOf(finite.size(), moments.mean, moments.sd, options);
}

double LinearityStudy::HalfBandAt(double reference) const {
  const double distance = reference - mean_reference;
  return t * s * std::sqrt(1.0 / static_cast<double>(count) + distance * distance / sxx);
}

LinearityStudy StudyLinearity(std::span<const double> references, std::span<const double> values,
                              const LinearityOptions& options) {
  CheckShared(options.multiplier, options.level, options.process_sd);
  Need(references.size() == values.size(), "references and values must be as many");
  LinearityStudy study;
  std::map<double, std::vector<double>> by_reference;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!std::isfinite(values[i]) || !std::isfinite(references[i])) continue;
    by_reference[references[i]].push_back(values[i]);
    ++study.count;
  }
  for (auto* interval : {&study.slope, &study.intercept, &study.bias}) {
    interval->level = options.level;
  }
  std::size_t least = study.count;
  for (const auto& [reference, readings] : by_reference) {
    BiasOptions of_one;
    of_one.reference = reference;
    of_one.process_sd = options.process_sd;
    of_one.multiplier = options.multiplier;
    of_one.level = options.level;
    study.biases.push_back(StudyBias(readings, of_one));
    least = std::min(least, readings.size());
  }
  if (!HasEnough(by_reference.size(), {2, 5}, "references", study.notes) ||
      !HasEnough(study.count, {3, 0}, "readings", study.notes)) {
    return study;
  }
  HasEnough(least, {0, 10}, "readings of a reference", study.notes);

  const double count = static_cast<double>(study.count), degrees = count - 2.0;
  double sum_x = 0.0, sum_bias = 0.0;
  for (const auto& [reference, readings] : by_reference) {
    sum_x += reference * static_cast<double>(readings.size());
    for (const double reading : readings) sum_bias += reading - reference;
  }
  study.mean_reference = sum_x / count;
  const double mean_bias = sum_bias / count;
  double sxx = 0.0, sxy = 0.0, syy = 0.0;
  for (const auto& [reference, readings] : by_reference) {
    const double x = reference - study.mean_reference;
    for (const double reading : readings) {
      const double y = reading - reference - mean_bias;
      sxx += x * x;
      sxy += x * y;
      syy += y * y;
    }
  }
  study.sxx = sxx;
  const double slope = sxy / sxx, intercept = mean_bias - slope * study.mean_reference;
  double squares = 0.0;  // about the line
  for (const auto& [reference, readings] : by_reference) {
    for (const double reading : readings) {
      const double rest =
          reading - reference - mean_bias - slope * (reference - study.mean_reference);
      squares += rest * rest;
    }
  }
  study.s = std::sqrt(squares / degrees);
  study.r2 = syy > 0.0 ? 1.0 - squares / syy : kNaN;
  study.t = StudentFactor(options.level, degrees);
  const double x = study.mean_reference;
  TestAgainst0(slope, study.s / std::sqrt(sxx), degrees, options.level, study.slope,
               study.slope_test);
  TestAgainst0(intercept, study.s * std::sqrt(1.0 / count + x * x / sxx), degrees, options.level,
               study.intercept, study.intercept_test);
  TestAgainst0(mean_bias, study.s / std::sqrt(count), degrees, options.level, study.bias,
               study.bias_test);
  study.pct_linearity = 100.0 * std::abs(slope);
  if (options.process_sd) {
    const double variation = options.multiplier * *options.process_sd;
    study.linearity = std::abs(slope) * variation;
    study.pct_bias = 100.0 * std::abs(mean_bias) / variation;
  }
  if (!(study.s > 0.0)) {
    study.notes.push_back(
        {"no-variation", "All readings lie on the line, so there are no tests.", {}});
  }

  // line^2 - band^2 is a parabola, which is at most 0 over the range where it is so at both ends
  // and at its top, if it has one inside.
  const double factor = study.t * study.t * study.s * study.s;
  const double bend = slope * slope - factor / sxx;
  const auto beyond = [&](double at) { return std::abs(study.LineAt(at)) > study.HalfBandAt(at); };
  const double low = by_reference.begin()->first, high = by_reference.rbegin()->first;
  bool outside = beyond(low) || beyond(high);
  if (bend < 0.0) {
    const double top = x - slope * mean_bias / bend;
    if (top > low && top < high) outside = outside || beyond(top);
  }
  study.is_acceptable = !outside;
  return study;
}

}  // namespace orvspc::studies
