// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Steps.h"

#include <cmath>
#include <span>
#include <string>

#include "engine/statistics/Estimators.h"
#include "engine/statistics/StepHints.h"
#include "engine/studies/study_notes.h"
#include "platform/NaN.h"

namespace orvspc::studies {

using namespace engine;
using platform::kNaN;

namespace {

constexpr LeastAmounts kLeast{statistics::kLeastForSteps, 30};
constexpr double kSignificant = 0.01;

TestOfSignificance TestOf(const statistics::NeighbourCorrelation& correlation) {
  return {"Q", correlation.Statistic(), {1.0}, correlation.P(), "Ljung-Box"};
}

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

// Cut at the steps.
std::vector<LevelSegment> SegmentsOf(const Series& series, double sigma,
                                     std::span<const std::size_t> cuts, std::size_t least) {
  std::vector<LevelSegment> segments;
  std::size_t first = 0;
  for (std::size_t k = 0; k <= cuts.size(); ++k) {
    const auto end = k < cuts.size() ? cuts[k] : series.values.size();
    const auto values = std::span(series.values).subspan(first, end - first);
    LevelSegment segment;
    segment.first = series.at[first];
    segment.last = series.at[end - 1];
    segment.mean = statistics::PlainCentre(values);
    segment.used = static_cast<std::int64_t>(values.size());
    segment.further = statistics::BestGain(values, sigma, least);
    segments.push_back(segment);
    first = end;
  }
  return segments;
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
  if (used > statistics::kMostForSteps) {
    study.notes.push_back({"too-many",
                           std::to_string(used) + " points are too many; steps are looked for in " +
                               std::to_string(statistics::kMostForSteps) + " at most.",
                           {}});
    return study;
  }
  if (!(sigma.value > 0.0)) {
    study.notes.push_back({"all-equal", "All values are equal, so there are no steps.", {}});
    return study;
  }
  const auto least = static_cast<std::size_t>(options.least);
  const auto hints = statistics::HintsOfSteps(series.values, sigma.value, options.penalty, least);
  study.penalty = hints.penalty;
  study.points = TestOf(hints.of_points);
  study.neighbours = TestOf(hints.apart);
  std::vector<std::size_t> cuts;
  if (hints.wanders) {
    study.notes.push_back({"correlated",
                           "Neighbours are correlated; such points wander by themselves, and no "
                           "steps are hinted at.",
                           {}});
  } else {
    for (const auto& step : hints.steps) cuts.push_back(step.before);
  }
  study.segments = SegmentsOf(series, sigma.value, cuts, least);
  for (std::size_t k = 0; k < cuts.size(); ++k) {
    const auto& step = hints.steps[k];
    study.steps.push_back({series.at[step.before - 1], series.at[step.earliest - 1],
                           series.at[step.latest - 1], step.gain, study.segments[k].mean,
                           study.segments[k + 1].mean});
  }
  if (!cuts.empty() && study.points.p < kSignificant) {
    study.notes.push_back({"may-wander",
                           "Neighbours are correlated, which steps make so; points that wander by "
                           "themselves may look alike.",
                           {}});
  }
  study.level = LevelsOf(study.segments, count);
  return study;
}

}  // namespace orvspc::studies
