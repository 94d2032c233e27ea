// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Steps.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "engine/statistics/Estimators.h"
#include "engine/statistics/MeanSteps.h"
#include "engine/studies/Autocorrelation.h"
#include "engine/studies/study_notes.h"
#include "platform/NaN.h"

namespace orvspc::studies {

using namespace engine;
using platform::kNaN;

namespace {

constexpr LeastAmounts kLeast{20, 30};
constexpr std::size_t kMost = 20000;  // the search is quadratic
constexpr double kTolerance = 4.0;    // of the place of a step
constexpr double kSignificant = 0.01;
constexpr std::size_t kTested = 25;  // points from which on neighbours are tested

// Used points with a value, side by side.
struct Series {
  std::vector<double> values;
  std::vector<std::size_t> at;  // in the stretch
};

Series SeriesOf(const Stretch& stretch) {
  Series series;
  for (std::size_t i = 0; i < stretch.points.size(); ++i) {
    if (!stretch.IsUsed(i) || std::isnan(stretch.points[i])) continue;
    series.values.push_back(stretch.points[i]);
    series.at.push_back(i);
  }
  return series;
}

// Cut at the steps: values in sigmas, the means in the units of the points.
std::vector<LevelSegment> SegmentsOf(const Series& series, std::span<const double> scaled,
                                     std::span<const std::size_t> cuts, std::size_t least) {
  std::vector<LevelSegment> segments;
  std::size_t first = 0;
  for (std::size_t k = 0; k <= cuts.size(); ++k) {
    const auto end = k < cuts.size() ? cuts[k] : series.values.size();
    LevelSegment segment;
    segment.first = series.at[first];
    segment.last = series.at[end - 1];
    segment.mean = statistics::PlainCentre(std::span(series.values).subspan(first, end - first));
    segment.used = static_cast<std::int64_t>(end - first);
    segment.further =
        statistics::BestStep(scaled.subspan(first, end - first), least, kTolerance).gain;
    segments.push_back(segment);
    first = end;
  }
  return segments;
}

// What the used points are apart from the levels; others have no value.
AcfStudy NeighboursOf(const Series& series, std::span<const LevelSegment> segments) {
  Stretch apart;
  std::size_t segment = 0;
  for (std::size_t i = 0; i < series.values.size(); ++i) {
    while (series.at[i] > segments[segment].last) ++segment;
    apart.points.push_back(series.values[i] - segments[segment].mean);
  }
  return StudyAcf(apart);
}

std::vector<double> LevelsOf(std::span<const LevelSegment> segments, std::size_t count) {
  std::vector<double> levels(count);
  std::size_t segment = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (segment + 1 < segments.size() && i > segments[segment].last) ++segment;
    levels[i] = segments[segment].mean;
  }
  return levels;
}

}  // namespace

StepStudy StudySteps(const Stretch& stretch, const StepOptions& options) {
  Need(options.penalty >= 1.0 && options.penalty <= 20.0, "penalty must be 1 to 20");
  Need(options.least >= 2 && options.least <= 1000, "least must be 2 to 1000");
  StepStudy study;
  const auto count = stretch.points.size();
  study.level.assign(count, kNaN);
  const auto series = SeriesOf(stretch);
  const auto used = series.values.size();
  const auto sigma = statistics::SigmaFromMovingRanges(series.values);
  study.sigma = {sigma.value, "MR-est", sigma.constant, static_cast<std::int64_t>(used),
                 static_cast<std::int64_t>(count - used)};
  if (!HasEnough(used, kLeast, "points", study.notes)) return study;
  if (used > kMost) {
    study.notes.push_back({"too-many",
                           std::to_string(used) + " points are too many; steps are looked for in " +
                               std::to_string(kMost) + " at most.",
                           {}});
    return study;
  }
  if (!(sigma.value > 0.0)) {
    study.notes.push_back({"all-equal", "All values are equal, so there are no steps.", {}});
    return study;
  }
  study.penalty = options.penalty * std::log(static_cast<double>(used));
  const auto least = static_cast<std::size_t>(options.least);
  std::vector<double> scaled(series.values);
  for (auto& value : scaled) value /= sigma.value;
  const auto steps = statistics::StepsOfMean(scaled, study.penalty, least, kTolerance);
  std::vector<std::size_t> cuts;
  for (const auto& step : steps) cuts.push_back(step.before);
  study.segments = SegmentsOf(series, scaled, cuts, least);
  const auto neighbours = NeighboursOf(series, study.segments);
  study.neighbours = neighbours.first;
  if (used >= kTested && study.neighbours.p < kSignificant) {
    study.segments = SegmentsOf(series, scaled, {}, least);
    study.notes.push_back(
        {"correlated",
         "Neighbours are correlated; such points wander by themselves, and no steps are told.",
         {}});
  } else {
    for (std::size_t k = 0; k < steps.size(); ++k) {
      const auto& step = steps[k];
      study.steps.push_back({series.at[step.before - 1], series.at[step.earliest - 1],
                             series.at[step.latest - 1], step.gain, study.segments[k].mean,
                             study.segments[k + 1].mean});
    }
  }
  study.level = LevelsOf(study.segments, count);
  return study;
}

}  // namespace orvspc::studies
