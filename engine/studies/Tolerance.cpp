// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Tolerance.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "engine/statistics/Distributions.h"
#include "engine/statistics/Moments.h"
#include "engine/statistics/ToleranceFactors.h"
#include "engine/studies/study_notes.h"

namespace orvspc::studies {

using namespace engine;

namespace {

using platform::kNaN;

void StudyRanks(std::vector<double> values, const ToleranceOptions& options,
                ToleranceStudy& study) {
  std::ranges::sort(values);
  const auto n = study.count;
  const bool both = options.sides == Sides::Both;
  study.least = statistics::LeastForRanks(both ? 2 : 1, options.content, options.confidence);
  const auto ranks = statistics::ToleranceRanks(n, options.content, options.confidence);
  const auto each = both ? ranks / 2 : ranks;
  if (each < 1) {
    study.notes.push_back({"too-few",
                           std::to_string(n) + " values are too few for limits without a law: " +
                               std::to_string(study.least) + " are needed.",
                           {}});
    return;
  }
  const auto outside = both ? 2 * each : each;
  study.attained = 1.0 - statistics::BinomialAtMost(static_cast<double>(outside - 1),
                                                    static_cast<double>(n), 1.0 - options.content);
  if (options.sides != Sides::Upper) {
    study.lower_rank = each;
    study.lower = values[static_cast<std::size_t>(each - 1)];
  }
  if (options.sides != Sides::Lower) {
    study.upper_rank = n - each + 1;
    study.upper = values[static_cast<std::size_t>(n - each)];
  }
}

// Whether the law gives values a scale on which they are normal; fills it in.
bool FitScale(const std::vector<double>& values, Law law, ToleranceStudy& study) {
  study.law.law = law;
  const auto [least, most] = std::ranges::minmax(values);
  if (law == Law::Normal) {
    // Also of values with no spread, and of two.
    const double sd = statistics::SampleStandardDeviation(values);
    study.law.parameters = {{"mean", statistics::Mean(values)}, {"sd", sd}};
  }
  if (least == most) {
    study.notes.push_back({"all-equal", "All values are equal, so there are no limits.", {}});
    return false;
  }
  LawOptions options;
  options.laws = {law};
  options.lognormal_n_minus_1 = true;
  options.simulates = false;
  const auto fitted = StudyLaws(values, options);
  if (fitted.laws[0].Exists()) study.law = fitted.laws[0];
  for (const auto& note : fitted.notes) {
    // A mean and a deviation take fewer values than a fit and its test.
    const bool is_of_amount = note.code == "too-few" || note.code == "few-data";
    if (!is_of_amount || !study.law.Exists()) study.notes.push_back(note);
  }
  return study.law.Exists();
}

}  // namespace

std::vector<double> UsedPieces(const Stretch& stretch) {
  std::vector<double> values;
  for (std::size_t i = 0; i < stretch.points.size(); ++i) {
    if (!stretch.IsUsed(i)) continue;
    const auto pieces = stretch.PiecesOf(i);
    values.insert(values.end(), pieces.begin(), pieces.end());
  }
  return values;
}

ToleranceStudy StudyTolerance(std::span<const double> values, const ToleranceOptions& options) {
  Need(options.content > 0.0 && options.content < 1.0, "content must lie between 0 and 1");
  Need(options.confidence > 0.0 && options.confidence < 1.0, "confidence must lie between 0 and 1");
  const bool is_known = !options.law || *options.law == Law::Normal ||
                        *options.law == Law::Lognormal || *options.law == Law::BoxCox ||
                        *options.law == Law::Johnson;
  Need(is_known, "the law must be normal, lognormal, box-cox or johnson");
  ToleranceStudy study;
  std::vector<double> usable;
  for (const double value : values)
    if (std::isfinite(value)) usable.push_back(value);
  study.count = static_cast<std::int64_t>(usable.size());
  if (!options.law) {
    StudyRanks(std::move(usable), options, study);
    return study;
  }
  if (!HasEnough(usable.size(), {2, 20}, "values", study.notes)) return study;
  if (!FitScale(usable, *options.law, study)) return study;
  for (auto& value : usable) value = PlotAcross(study.law, value);
  const double mean = statistics::Mean(usable), sd = statistics::SampleStandardDeviation(usable);
  const auto scale = PlotScaleOf(study.law);
  study.mean = {scale.origin + scale.unit * mean, "mean", kNaN, study.count, 0};
  study.sd = {scale.unit * sd, "sd", kNaN, study.count, 0};
  const bool both = options.sides == Sides::Both;
  const auto factor =
      both ? statistics::TwoSidedToleranceFactor : statistics::OneSidedToleranceFactor;
  study.factor = factor(study.count, options.content, options.confidence);
  if (both) {
    study.approximate =
        statistics::HoweToleranceFactor(study.count, options.content, options.confidence);
  }
  const auto limit = [&](double side) {
    return ValueAcross(study.law, mean + side * study.factor * sd);
  };
  if (options.sides != Sides::Upper) study.lower = limit(-1.0);
  if (options.sides != Sides::Lower) study.upper = limit(1.0);
  const bool lower_missing = options.sides != Sides::Upper && !std::isfinite(study.lower);
  const bool upper_missing = options.sides != Sides::Lower && !std::isfinite(study.upper);
  if (lower_missing || upper_missing) {
    study.notes.push_back(
        {"no-limit", "No value has the transform of a limit, so that limit does not exist.", {}});
  }
  return study;
}

}  // namespace orvspc::studies
