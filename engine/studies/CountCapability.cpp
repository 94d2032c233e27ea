// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/CountCapability.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "engine/statistics/Distributions.h"
#include "engine/studies/study_notes.h"

namespace orvspc::studies {

using namespace engine;

namespace {

using platform::kNaN;

Interval ClopperPearson(double bad, double units, double level) {
  const double tail = 0.5 * (1.0 - level);
  return {bad / units, bad > 0.0 ? statistics::BetaQuantile(tail, bad, units - bad + 1.0) : 0.0,
          bad < units ? statistics::BetaQuantile(1.0 - tail, bad + 1.0, units - bad) : 1.0, level,
          "Clopper-Pearson"};
}

Interval Garwood(double defects, double units, double level) {
  const double tail = 0.5 * (1.0 - level), twice = 2.0 * units;
  return {defects / units,
          defects > 0.0 ? statistics::ChiSquareQuantile(tail, 2.0 * defects) / twice : 0.0,
          statistics::ChiSquareQuantile(1.0 - tail, 2.0 * defects + 2.0) / twice, level, "Garwood"};
}

// Of a figure that follows from another one; falling: the greater the one the less the other.
template <class Of>
Interval Mapped(const Interval& from, bool falling, Of of) {
  const auto finite = [&](double value) {
    const double at = of(value);
    return std::isfinite(at) ? at : kNaN;
  };
  Interval to = from;
  to.value = finite(from.value);
  to.lower = finite(falling ? from.upper : from.lower);
  to.upper = finite(falling ? from.lower : from.upper);
  return to;
}

void FindSignals(const Stretch& stretch, CountCapabilityStudy& study) {
  const auto beyond = [&](std::size_t i) {
    const double half = 3.0 * stretch.sigma[i], off = stretch.points[i] - stretch.centre[i];
    // A proportion cannot lie below a limit of 0.
    return off > half || (off < -half && stretch.centre[i] > half);
  };
  for (std::size_t i = 0; i < stretch.points.size(); ++i)
    study.signals[i] = stretch.IsUsed(i) && beyond(i) ? 1 : 0;
  bool has_limits = false;
  for (std::size_t i = 0; i < stretch.points.size(); ++i) {
    has_limits =
        has_limits || (stretch.IsUsed(i) && std::isfinite(stretch.points[i]) &&
                       std::isfinite(stretch.centre[i]) && std::isfinite(stretch.sigma[i]));
  }
  if (!has_limits) {
    study.notes.push_back(
        {"no-limits",
         "The chart has no limits, so nothing says whether the process is stable.",
         {}});
    return;
  }
  const auto signals = std::ranges::count(study.signals, 1);
  study.stable = signals == 0;
  if (signals == 0) return;
  study.notes.push_back(
      {"not-stable",
       std::to_string(signals) + (signals == 1 ? " point is" : " points are") +
           " beyond the limits of the chart: the process is not stable, so what is said of it may "
           "not hold tomorrow.",
       {}});
}

}  // namespace

CountCapabilityStudy StudyCountCapability(const Stretch& stretch,
                                          const CountCapabilityOptions& options) {
  Need(options.level > 0.0 && options.level < 1.0, "level must lie between 0 and 1");
  Need(options.opportunities > 0.0 && std::isfinite(options.opportunities),
       "opportunities must be above 0");
  CountCapabilityStudy study;
  const auto count = stretch.counts.size();
  study.cumulated.assign(count, kNaN);
  study.signals.assign(count, 0);
  std::int64_t without_size = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const bool has_count = stretch.IsUsed(i) && stretch.counts[i] >= 0.0;
    if (has_count && !(stretch.sizes[i] > 0.0)) ++without_size;
    if (has_count && stretch.sizes[i] > 0.0) {
      study.bad += stretch.counts[i];
      study.units += stretch.sizes[i];
      ++study.subgroups;
    }
    if (study.units > 0.0) study.cumulated[i] = study.bad / study.units;
  }
  if (without_size > 0) {
    study.notes.push_back(
        {"no-size",
         std::to_string(without_size) +
             (without_size == 1 ? " subgroup has no size, so there is no rate of it."
                                : " subgroups have no size, so there is no rate of them."),
         {}});
    if (study.subgroups == 0) return study;
  }
  if (!HasEnough(static_cast<std::size_t>(study.subgroups), {1, 20}, "subgroups", study.notes)) {
    return study;
  }
  FindSignals(stretch, study);
  constexpr double kMillion = 1e6;
  if (options.defectives) {
    study.rate = ClopperPearson(study.bad, study.units, options.level);
    study.per_million = Mapped(study.rate, false, [](double p) { return kMillion * p; });
    study.z = Mapped(study.rate, true, [](double p) { return -statistics::NormalQuantile(p); });
  } else {
    study.rate = Garwood(study.bad, study.units, options.level);
    study.per_million =
        Mapped(study.rate, false, [&](double u) { return kMillion * u / options.opportunities; });
    study.yield = Mapped(study.rate, true, [](double u) { return std::exp(-u); });
  }
  return study;
}

}  // namespace orvspc::studies
