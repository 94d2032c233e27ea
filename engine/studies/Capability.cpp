// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Capability.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "engine/capability/CapabilityLibrary.h"
#include "engine/capability/CapabilityRun.h"
#include "engine/statistics/CapabilityIndices.h"
#include "engine/statistics/EffectiveDegrees.h"
#include "engine/statistics/Estimators.h"
#include "engine/statistics/Moments.h"
#include "engine/studies/bootstrap.h"
#include "engine/studies/study_notes.h"

namespace orvspc::studies {

using namespace engine;
using platform::kNaN;
using statistics::ConfidenceInterval;

namespace {

SampleView ViewOf(const CapabilitySample& sample) {
  return {sample.values, sample.sizes, sample.streams};
}

template <class Visit>
void ForEachGroup(const SampleView& sample, Visit visit) {
  std::size_t at = 0;
  for (const auto size : sample.sizes) {
    const auto count = static_cast<std::size_t>(size);
    visit(sample.values.subspan(at, count));
    at += count;
  }
}

statistics::SigmaEstimate FromMovingRanges(const SampleView& sample) {
  std::vector<std::uint8_t> anew(sample.values.size(), 0);
  std::size_t at = 0;
  for (const auto groups : sample.streams) {
    if (at < anew.size()) anew[at] = 1;
    at += groups;
  }
  return statistics::SigmaFromMovingRanges(sample.values, {}, statistics::kUsualEstimator, anew);
}

// Sigma within subgroups by the estimator of that name.
statistics::SigmaEstimate WithinOf(const SampleView& sample, const std::string& estimator) {
  if (estimator.starts_with("MR-est")) return FromMovingRanges(sample);
  const bool is_of_ranges = estimator.starts_with("R-est");
  const auto blank = estimator.find(' ');
  const auto setting = statistics::EstimatorSettingFromName(
                           blank == estimator.npos ? estimator : estimator.substr(blank + 1))
                           .value_or(statistics::EstimatorSetting::Mvlue);
  std::vector<double> spreads;
  ForEachGroup(sample, [&](std::span<const double> group) {
    if (is_of_ranges) {
      const auto [least, most] = std::ranges::minmax(group);
      spreads.push_back(most - least);
    } else {
      spreads.push_back(group.size() < 2 ? kNaN : statistics::SampleStandardDeviation(group));
    }
  });
  auto sigma = is_of_ranges ? statistics::SigmaFromRanges(spreads, sample.sizes, setting)
                            : statistics::SigmaFromSds(spreads, sample.sizes, setting);
  // Not one of a chart.
  if (estimator == "pooled" && sigma.Exists()) sigma.name = "pooled";
  return sigma;
}

void Check(const IndexOptions& options) {
  Need(options.level > 0.0 && options.level < 1.0, "level must lie between 0 and 1");
  Need(options.resamples >= 100 && options.resamples <= 100'000, "resamples must be 100 to 100000");
  Need(!(options.limits.lower >= options.limits.upper), "the lower limit must lie below the upper");
}

statistics::Tolerance ToleranceOf(const IndexOptions& options) {
  statistics::Tolerance tolerance;
  if (std::isfinite(options.limits.upper)) tolerance.usl = options.limits.upper;
  if (std::isfinite(options.limits.lower)) tolerance.lsl = options.limits.lower;
  if (std::isfinite(options.target)) tolerance.target = options.target;
  return tolerance;
}

// One sigma, what it comes from, and what its indices are called.
struct Spread {
  double sigma, degrees;
  double degrees_of_m;  // in place of the degrees, of the index against the target
  double of_bounds;     // the sigma that bounds come from
  char first;           // of the names
};

class Intervals {
 public:
  Intervals(const CapabilitySample& sample, const IndexOptions& options)
      : mean_(sample.mean),
        count_(static_cast<double>(sample.values.size())),
        options_(options),
        tolerance_(ToleranceOf(options)) {}

  // With the index against the target and the ratio, or without.
  void Add(const Spread& spread, bool all, std::vector<NamedInterval>& to) const {
    if (!tolerance_.HasLimit()) return;
    const bool has_sigma = spread.sigma > 0.0;
    const auto of = has_sigma
                        ? IndicesOf(statistics::Reach::OfNormal(mean_, spread.sigma), tolerance_)
                        : statistics::CapabilityIndices{kNaN, kNaN, kNaN, kNaN, kNaN, kNaN};
    const auto at =
        has_sigma && spread.of_bounds != spread.sigma
            ? IndicesOf(statistics::Reach::OfNormal(mean_, spread.of_bounds), tolerance_)
            : of;
    const bool both = tolerance_.usl && tolerance_.lsl;
    const auto one = [&](double statistics::CapabilityIndices::*index) {
      return Made(of.*index, "noncentral t", [&](double level) {
        return statistics::IntervalOfSide(at.*index, count_, spread.degrees, level);
      });
    };
    const auto bounds_of_p = [&](double level) {
      return both ? statistics::IntervalOfP(at.p, spread.degrees, level)
                  : statistics::IntervalOfSide(at.p, count_, spread.degrees, level);
    };
    const auto p = Made(of.p, both ? "chi-square" : "noncentral t", bounds_of_p);
    const auto bounds_of_k = [&](double level) {
      return statistics::IntervalOfK(at.k, count_, spread.degrees, level);
    };
    using Indices = statistics::CapabilityIndices;
    const auto k = both ? Made(of.k, "Bissell", bounds_of_k) : one(&Indices::k);
    const std::string name(1, spread.first);
    to.push_back({name + "p", p});
    to.push_back({name + "pk", k});
    if (tolerance_.usl) to.push_back({name + "pu", one(&Indices::upper)});
    if (tolerance_.lsl) to.push_back({name + "pl", one(&Indices::lower)});
    if (!all) return;
    to.push_back({name + "r", Inverse(of.ratio, p, bounds_of_p)});
    const auto aim = tolerance_.Aim();
    const double off = aim && has_sigma ? (mean_ - *aim) / spread.of_bounds : kNaN;
    const double degrees = statistics::DegreesOfM(count_, spread.degrees_of_m, off);
    const auto bounds_of_m = [&](double level) {
      return statistics::IntervalOfP(at.m, degrees, level);
    };
    to.push_back({name == "C" ? "Cpm" : "Ppm", aim ? Made(of.m, "chi-square", bounds_of_m) : k});
  }

 private:
  template <class Between>
  Interval Made(double value, const char* method, Between between) const {
    Interval interval{value, kNaN, kNaN, options_.level, method};
    if (std::isnan(value)) return interval;
    const bool both = options_.bound == Bound::Both;
    const ConfidenceInterval found = between(both ? options_.level : 2.0 * options_.level - 1.0);
    if (options_.bound != Bound::Upper) interval.lower = found.lower;
    if (options_.bound != Bound::Lower) interval.upper = found.upper;
    return interval;
  }

  // Of 1/p. Where p may be 0 its inverse has no bounds.
  template <class Between>
  Interval Inverse(double value, const Interval& p, Between between) const {
    return Made(p.value == 0.0 ? kNaN : value, p.method.c_str(), [&](double level) {
      const ConfidenceInterval of = between(level);
      if (of.lower <= 0.0 && of.upper >= 0.0) return ConfidenceInterval{kNaN, kNaN};
      return ConfidenceInterval{1.0 / of.upper, 1.0 / of.lower};
    });
  }

  double mean_, count_;
  const IndexOptions& options_;
  statistics::Tolerance tolerance_;
};

double SigmaOfBounds(const CapabilitySample& sample) {
  return std::isnan(sample.pooled) ? sample.within.value : sample.pooled;
}

double DegreesWithin(const CapabilitySample& sample) {
  return statistics::EffectiveDegrees(sample.within.name, sample.sizes, sample.within.used);
}

Estimate AsEstimate(const statistics::SigmaEstimate& sigma) {
  auto estimate = statistics::ToEstimate(sigma);
  if (!sigma.Exists()) estimate.value = kNaN;
  return estimate;
}

void NoteMissing(const CapabilitySample& sample, const IndexOptions& options,
                 std::vector<Note>& notes) {
  if (sample.Empty()) return;
  if (!ToleranceOf(options).HasLimit()) {
    notes.push_back(
        {"no-limits", "There are no specification limits, so there are no indices.", {}});
  } else if (!(sample.overall > 0.0)) {
    notes.push_back({"all-equal", "The values have no spread, so there are no indices.", {}});
  } else if (!(sample.within.value > 0.0)) {
    notes.push_back(
        {"no-sigma", "There is no sigma within subgroups, so there are no indices with it.", {}});
  }
}

// Gives each of these intervals, one a figure, its bounds.
BootstrapFacts AddBounds(const CapabilitySample& sample, const SampleFigures& figures_of,
                         const IndexOptions& options, std::vector<NamedInterval>& intervals,
                         std::vector<Note>& notes) {
  if (intervals.empty()) return {};
  constexpr std::int64_t kMostValues = 100'000'000, kFewer = 500;
  auto draws = options.resamples;
  if (draws > kFewer && draws * static_cast<std::int64_t>(sample.values.size()) > kMostValues) {
    draws = kFewer;
    notes.push_back(
        {"fewer-draws",
         "Intervals come of " + std::to_string(kFewer) + " resamples, because of many values.",
         {}});
  }
  const double tail = (options.bound == Bound::Both ? 0.5 : 1.0) * (1.0 - options.level);
  const auto found =
      Bootstrap(ViewOf(sample), figures_of, intervals.size(), tail, draws, options.seed);
  bool none = false;
  for (std::size_t i = 0; i < intervals.size(); ++i) {
    auto& interval = intervals[i].interval;
    interval.level = options.level;
    interval.method = "bootstrap";
    if (options.bound != Bound::Upper) interval.lower = found.lower[i];
    if (options.bound != Bound::Lower) interval.upper = found.upper[i];
    none = none || std::isnan(found.lower[i]);
  }
  if (none) {
    notes.push_back({"no-interval",
                     std::to_string(found.failed) + " of " + std::to_string(draws) +
                         " resamples have no figure, so there is no interval.",
                     {}});
  }
  return {draws, found.failed};
}

}  // namespace

CapabilitySample LatestCapability(platform::Database& database) {
  CapabilitySample sample;
  const auto* const run = capability::CapabilityLibrary::LatestRun(database.ConnectionHandle());
  if (run == nullptr) return sample;
  sample.values.reserve(run->Values().Count());
  for (const auto& block : run->Values().Blocks()) {
    sample.values.insert(sample.values.end(), block.values.begin(), block.values.end());
    for (const auto& same : block.runs) {
      sample.sizes.insert(sample.sizes.end(), static_cast<std::size_t>(same.count), same.size);
    }
  }
  sample.streams.assign(run->StreamGroups().begin(), run->StreamGroups().end());
  sample.mean = run->Centre().mean;
  sample.overall = run->Centre().sd;
  sample.within = AsEstimate(run->ShortTerm());
  sample.pooled = run->ShortTerm().sbar;
  return sample;
}

CapabilitySample CapabilitySampleOf(std::span<const double> values,
                                    std::span<const std::int32_t> sizes,
                                    const std::string& estimator) {
  CapabilitySample sample;
  sample.values.assign(values.begin(), values.end());
  sample.sizes.assign(sizes.begin(), sizes.end());
  sample.streams = {sizes.size()};
  sample.mean = statistics::Mean(values);
  sample.overall = values.size() < 2 ? 0.0 : statistics::SampleStandardDeviation(values);
  const auto within = WithinOf(ViewOf(sample), estimator);
  sample.within = AsEstimate(within);
  sample.pooled = within.sbar;
  return sample;
}

IndexIntervals StudyIndices(const CapabilitySample& sample, const IndexOptions& options) {
  Check(options);
  IndexIntervals study;
  NoteMissing(sample, options, study.notes);
  if (sample.Empty()) return study;
  const auto count = static_cast<double>(sample.values.size());
  study.overall_degrees = count > 1.0 ? count - 1.0 : kNaN;
  study.within_degrees = DegreesWithin(sample);
  const Intervals intervals(sample, options);
  intervals.Add(
      {sample.within.value, study.within_degrees, study.within_degrees, SigmaOfBounds(sample), 'C'},
      true, study.indices);
  intervals.Add({sample.overall, study.overall_degrees, count, sample.overall, 'P'}, true,
                study.indices);
  return study;
}

namespace {

// Bounds of indices without a law: their least and greatest values while each quantile lies inside
// its own interval. The indices rise or fall with each quantile throughout, so these are at ends of
// the intervals; of Ppk they are those of the lesser side.
void AddRankBounds(const std::vector<double>& sorted, const IndexOptions& options,
                   QuantileIndexIntervals& study) {
  if (study.indices.empty()) return;
  const bool both = options.bound == Bound::Both;
  // A bound by itself has all of the risk beyond it; one of a level below a half is that of a half.
  const double level = both ? options.level : std::max(2.0 * options.level - 1.0, 1e-9);
  const auto of = StudyQuantiles(sorted, {}, level);
  if (std::isnan(of.low.lower) || std::isnan(of.high.upper)) {
    // So many that the extreme value is beyond an outer quantile but for the risk.
    const double least = std::ceil(std::log(0.5 * (1.0 - level)) / std::log1p(-0.00135));
    study.notes.push_back({"no-interval",
                           std::to_string(sorted.size()) +
                               " values are too few for intervals of indices without a law: " +
                               std::to_string(static_cast<std::int64_t>(least)) + " are needed.",
                           {}});
    return;
  }
  const double lsl = options.limits.lower, usl = options.limits.upper;
  struct Bounds {
    double lower = INFINITY, upper = -INFINITY;
    void Take(double value) {
      lower = std::min(lower, value);
      upper = std::max(upper, value);
    }
  };
  Bounds pp, ppu, ppl, ppk;
  // An outer quantile that may be as far in as the other one, or the median, leaves no bound above.
  const auto ratio = [](double limits, double reach) {
    return reach > 0.0 ? limits / reach : std::copysign(INFINITY, limits);
  };
  for (const double low : {of.low.lower, of.low.upper})
    for (const double high : {of.high.lower, of.high.upper}) pp.Take(ratio(usl - lsl, high - low));
  for (const double median : {of.median.lower, of.median.upper}) {
    for (const double high : {of.high.lower, of.high.upper})
      ppu.Take(ratio(usl - median, high - median));
    for (const double low : {of.low.lower, of.low.upper})
      ppl.Take(ratio(median - lsl, median - low));
  }
  if (std::isnan(lsl)) {
    ppk = ppu;
  } else if (std::isnan(usl)) {
    ppk = ppl;
  } else {
    ppk = {std::min(ppu.lower, ppl.lower), std::min(ppu.upper, ppl.upper)};
  }
  for (auto& [name, interval] : study.indices) {
    const auto& found = name == "Pp" ? pp : name == "Ppk" ? ppk : name == "Ppu" ? ppu : ppl;
    if (options.bound != Bound::Upper && std::isfinite(found.lower)) interval.lower = found.lower;
    if (options.bound != Bound::Lower && std::isfinite(found.upper)) interval.upper = found.upper;
  }
}

}  // namespace

QuantileIndexIntervals StudyQuantileIndices(const CapabilitySample& sample, const LawFigures* law,
                                            const LawOptions& how, const IndexOptions& options) {
  Check(options);
  QuantileIndexIntervals study;
  if (sample.Empty()) return study;
  using Member = double QuantileIndices::*;
  static constexpr std::pair<const char*, Member> kIndices[] = {{"Pp", &QuantileIndices::pp},
                                                                {"Ppk", &QuantileIndices::ppk},
                                                                {"Ppu", &QuantileIndices::ppu},
                                                                {"Ppl", &QuantileIndices::ppl}};
  std::vector<double> sorted;
  if (law == nullptr) sorted = sample.values;
  std::ranges::sort(sorted);
  const auto now = law != nullptr ? law->indices : SampleIndices(sorted, options.limits);
  const char* const method = law != nullptr ? "bootstrap" : "order statistics";
  std::vector<Member> members;
  for (const auto& [name, member] : kIndices) {
    if (!std::isfinite(now.*member)) continue;
    study.indices.push_back({name, {now.*member, kNaN, kNaN, options.level, method}});
    members.push_back(member);
  }
  if (law == nullptr) {
    AddRankBounds(sorted, options, study);
    return study;
  }
  auto of_law = how;
  of_law.limits = options.limits;
  study.bootstrap = AddBounds(
      sample,
      [&](const SampleView& drawn) {
        const auto found = RefittedIndices(
            *law, std::vector<double>(drawn.values.begin(), drawn.values.end()), of_law);
        std::vector<double> figures;
        for (const auto member : members) figures.push_back(found.*member);
        return figures;
      },
      options, study.indices, study.notes);
  return study;
}

namespace {

// Subgroups of two pieces or more, and their means.
struct Layout {
  std::vector<double> values, means;
  std::vector<std::int32_t> sizes;
  std::vector<std::uint8_t> anew;  // of the means: another stream begins
  std::vector<std::size_t> streams;
  std::int64_t left = 0;  // smaller subgroups
  double inverse_sizes = 0.0;

  explicit Layout(const SampleView& sample) {
    std::size_t stream = 0, in_stream = 0;
    streams.assign(sample.streams.size(), 0);
    bool begins = true;
    ForEachGroup(sample, [&](std::span<const double> group) {
      while (stream < sample.streams.size() && in_stream == sample.streams[stream]) {
        ++stream;
        in_stream = 0;
        begins = true;
      }
      ++in_stream;
      if (group.size() < 2) {
        ++left;
        return;
      }
      values.insert(values.end(), group.begin(), group.end());
      sizes.push_back(static_cast<std::int32_t>(group.size()));
      means.push_back(statistics::Mean(group));
      anew.push_back(begins ? 1 : 0);
      begins = false;
      inverse_sizes += 1.0 / static_cast<double>(group.size());
      ++streams[stream];
    });
  }
};

struct BetweenSigmas {
  statistics::SigmaEstimate within, means;
  double between = kNaN, both = kNaN, harmonic_size = kNaN;
};

BetweenSigmas SigmasOf(const Layout& layout, const std::string& estimator) {
  BetweenSigmas sigmas;
  if (layout.sizes.empty()) return sigmas;
  sigmas.harmonic_size = static_cast<double>(layout.sizes.size()) / layout.inverse_sizes;
  sigmas.within = WithinOf({layout.values, layout.sizes, layout.streams}, estimator);
  sigmas.means =
      statistics::SigmaFromMovingRanges(layout.means, {}, statistics::kUsualEstimator, layout.anew);
  const double within = sigmas.within.value, means = sigmas.means.value;
  if (!sigmas.within.Exists() || !sigmas.means.Exists()) return sigmas;
  sigmas.between = std::sqrt(std::max(0.0, means * means - within * within / sigmas.harmonic_size));
  sigmas.both = std::hypot(sigmas.between, within);
  return sigmas;
}

// Those of the names, in their order.
std::vector<double> IndicesNamed(const std::vector<NamedInterval>& names, double mean, double sigma,
                                 const statistics::Tolerance& tolerance) {
  const auto of = IndicesOf(statistics::Reach::OfNormal(mean, sigma), tolerance);
  std::vector<double> found;
  for (const auto& each : names) {
    const double value = each.name == "Cp"    ? of.p
                         : each.name == "Cpk" ? of.k
                         : each.name == "Cpu" ? of.upper
                                              : of.lower;
    found.push_back(sigma > 0.0 ? value : kNaN);
  }
  return found;
}

Figure ToFigure(const statistics::SigmaEstimate& sigma, std::int64_t left) {
  return {sigma.Exists() ? sigma.value : kNaN, std::string(sigma.name), sigma.constant, sigma.used,
          left};
}

}  // namespace

BetweenWithinStudy StudyBetweenWithin(const CapabilitySample& sample, const IndexOptions& options,
                                      bool intervals) {
  Check(options);
  BetweenWithinStudy study;
  if (sample.Empty()) return study;
  const Layout layout(ViewOf(sample));
  // Moving ranges, which single values have, are no spread within a subgroup.
  const std::string estimator = sample.within.name.empty() || sample.within.name.starts_with("MR")
                                    ? "pooled"
                                    : sample.within.name;
  const auto sigmas = SigmasOf(layout, estimator);
  study.within = ToFigure(sigmas.within, layout.left);
  study.means = ToFigure(sigmas.means, layout.left);
  study.harmonic_size = sigmas.harmonic_size;
  if (layout.left > 0) {
    study.notes.push_back({"single-pieces",
                           std::to_string(layout.left) +
                               " subgroups of one piece have no spread within and are left out.",
                           {}});
  }
  if (!HasEnough(layout.sizes.size(), {2, 20}, "subgroups of 2 pieces or more", study.notes)) {
    return study;
  }
  study.between = {sigmas.between, "", kNaN, sigmas.means.used, layout.left};
  study.both = {sigmas.both, "", kNaN, sigmas.means.used, layout.left};
  const auto tolerance = ToleranceOf(options);
  if (!tolerance.HasLimit()) {
    study.notes.push_back(
        {"no-limits", "There are no specification limits, so there are no indices.", {}});
    return study;
  }
  std::vector<const char*> names = {"Cp", "Cpk"};
  if (tolerance.usl) names.push_back("Cpu");
  if (tolerance.lsl) names.push_back("Cpl");
  for (const auto* const name : names) study.indices.push_back({name, {}});
  const auto now = IndicesNamed(study.indices, sample.mean, sigmas.both, tolerance);
  for (std::size_t i = 0; i < now.size(); ++i) {
    study.indices[i].interval = {now[i], kNaN, kNaN, options.level, ""};
  }
  if (!(sigmas.both > 0.0)) {
    study.notes.push_back({"all-equal", "The values have no spread, so there are no indices.", {}});
    return study;
  }
  if (!intervals) return study;
  study.bootstrap = AddBounds(
      sample,
      [&](const SampleView& drawn) {
        const auto again = SigmasOf(Layout(drawn), estimator);
        return IndicesNamed(study.indices, statistics::Mean(drawn.values), again.both, tolerance);
      },
      options, study.indices, study.notes);
  return study;
}

TransformedStudy StudyTransformed(const CapabilitySample& sample, const LawFigures& law,
                                  const IndexOptions& options) {
  Check(options);
  Need(law.law == Law::BoxCox || law.law == Law::Johnson,
       "the law must transform its values: box-cox or johnson");
  TransformedStudy study;
  if (sample.Empty() || !law.Exists()) return study;
  CapabilitySample moved = sample;
  for (auto& value : moved.values) value = PlotAcross(law, value);
  if (!std::ranges::all_of(moved.values, [](double value) { return std::isfinite(value); })) {
    study.notes.push_back(
        {"not-transformed", "A value has no transform, so there are no indices within.", {}});
    return study;
  }
  moved = CapabilitySampleOf(moved.values, moved.sizes, sample.within.name);
  moved.streams = sample.streams;
  if (sample.within.name.starts_with("MR")) {
    moved.within = AsEstimate(FromMovingRanges(ViewOf(moved)));
  }
  const auto scale = PlotScaleOf(law);
  study.within = moved.within;
  study.within.value *= scale.unit;
  study.mean = scale.origin + scale.unit * moved.mean;
  auto on_scale = options;
  const auto limit = [&](double value) {
    const double at = std::isfinite(value) ? PlotAcross(law, value) : kNaN;
    return std::isfinite(at) ? at : kNaN;
  };
  on_scale.limits = {limit(options.limits.lower), limit(options.limits.upper)};
  study.limits = {scale.origin + scale.unit * on_scale.limits.lower,
                  scale.origin + scale.unit * on_scale.limits.upper};
  on_scale.target = kNaN;
  const auto is_lost = [](double given, double at) {
    return std::isfinite(given) && std::isnan(at);
  };
  const bool lower_lost = is_lost(options.limits.lower, study.limits.lower),
             upper_lost = is_lost(options.limits.upper, study.limits.upper);
  if (lower_lost || upper_lost) {
    const char* const which = lower_lost && upper_lost ? ": neither limit has a transform"
                              : lower_lost             ? ": the lower limit has no transform"
                                                       : ": the upper limit has no transform";
    study.notes.push_back({"limit-not-transformed",
                           std::string(WordOf(law.law)) + which +
                               ", so short-term indices go without, and there is no Cp.",
                           {}});
  }
  if (ToleranceOf(on_scale).HasLimit() || !ToleranceOf(options).HasLimit())
    NoteMissing(moved, on_scale, study.notes);
  const double degrees = DegreesWithin(moved);
  Intervals(moved, on_scale)
      .Add({moved.within.value, degrees, degrees, SigmaOfBounds(moved), 'C'}, false, study.indices);
  const bool two = std::isfinite(options.limits.lower) && std::isfinite(options.limits.upper);
  for (auto& [name, interval] : study.indices) {
    if (two && (lower_lost || upper_lost) && name == "Cp")
      interval = {kNaN, kNaN, kNaN, options.level, ""};
  }
  return study;
}

}  // namespace orvspc::studies
