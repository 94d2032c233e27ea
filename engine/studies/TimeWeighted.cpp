// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/TimeWeighted.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "engine/statistics/ControlConstants.h"
#include "engine/studies/study_notes.h"

namespace orvspc::studies {
namespace {

using platform::kNaN;

// What a point is compared with.
struct About {
  const Stretch& stretch;
  const AboutOptions& options;

  double Centre(std::size_t i) const { return options.target.value_or(stretch.centre[i]); }
  // Of the point, as it has so many pieces.
  double Sigma(std::size_t i) const {
    if (options.target && !stretch.counts.empty()) return SigmaOfTarget(i);
    return options.sigma ? *options.sigma * SigmaOfOne(i) : stretch.sigma[i];
  }
  // Of measurements, where sigma of a piece is 1.
  double SigmaOfOne(std::size_t i) const {
    const double size = Units(i);
    if (!(size > 0.0)) return kNaN;
    return options.medians ? engine::statistics::MedianSd(static_cast<std::int32_t>(size))
                           : 1.0 / std::sqrt(size);
  }
  // What a rate is multiplied by to be a point.
  double UnitOf(std::size_t i) const { return options.scale * (options.counted ? Units(i) : 1.0); }

 private:
  double Units(std::size_t i) const { return stretch.sizes.empty() ? 1.0 : stretch.sizes[i]; }
  // Of counts, by the units of the point. Where a rate is one per opportunity only the sigma about
  // the line knows these.
  double SigmaOfTarget(std::size_t i) const {
    const double unit = UnitOf(i);
    const auto variance = [&](double centre) {
      const double rate = centre / unit;
      return rate * (options.defectives ? 1.0 - rate : 1.0);
    };
    const double wanted = variance(*options.target), known = variance(stretch.centre[i]);
    if (known > 0.0 && stretch.sigma[i] > 0.0) {
      return stretch.sigma[i] * std::sqrt(wanted / known);
    }
    return std::isnan(stretch.counts[i]) ? kNaN : unit * std::sqrt(wanted / Units(i));
  }
};

bool HasSigma(const AboutOptions& options) {
  if (!(*options.target > 0.0) || !std::isfinite(*options.target)) return false;
  return !options.defectives || options.counted || *options.target < options.scale;
}

void CheckAbout(const Stretch& stretch, const AboutOptions& options) {
  Need(!options.target || std::isfinite(*options.target), "target must be a number");
  Need(!options.sigma || (*options.sigma > 0.0 && std::isfinite(*options.sigma)),
       "sigma must be a number above 0");
  Need(!options.sigma || stretch.counts.empty(), "sigma goes with measurements, not with counts");
  Need(!options.target || stretch.counts.empty() || HasSigma(options),
       "a target of counts must be above 0, of a proportion below 1");
}

constexpr const char* kLineInForce = "line in force";

// That of the newest point: given, the estimate of the stretch, or what a stored row of limits or
// the phase before has. in_force: NaN without a point; basis: what the estimate is of
Figure FigureOf(const Stretch& basis, const Estimate& estimate, const std::optional<double>& given,
                double in_force) {
  constexpr double kSame = 1e-9;  // a sigma is divided by the root of a size, and times it
  if (given) return {*given, "given", kNaN, 0, 0};
  const bool is_own = std::isnan(in_force) ||
                      std::abs(in_force - estimate.value) <= kSame * std::abs(estimate.value);
  if (!is_own) return {in_force, kLineInForce, kNaN, 0, 0};
  const auto left = std::isnan(estimate.value) ? 0 : LeftOut(basis);
  return {estimate.value, estimate.name, estimate.constant, estimate.used, left};
}

// The last element that is a number.
template <class At>
double Newest(const Stretch& stretch, At at) {
  for (auto i = stretch.points.size(); i-- > 0;) {
    if (const double value = at(i); !std::isnan(value)) return value;
  }
  return kNaN;
}

// The mean in the unit of the points. unit_of(i): what an estimated rate is multiplied by.
template <class Centre, class UnitOf>
Figure MeanInForce(const Stretch& stretch, const Stretch& basis, const std::optional<double>& given,
                   Centre centre, UnitOf unit_of) {
  auto mean = stretch.mean;
  const double unit =
      Newest(stretch, [&](std::size_t i) { return std::isnan(centre(i)) ? kNaN : unit_of(i); });
  if (!std::isnan(unit)) mean.value *= unit;
  return FigureOf(basis, mean, given, Newest(stretch, centre));
}

// Fills in what both studies share; false: there is too little for figures.
template <class Study>
bool Begin(const Stretch& stretch, const AboutOptions& options, const Stretch* limits_of,
           Study& study) {
  CheckAbout(stretch, options);
  const About about{stretch, options};
  const bool is_counted = !stretch.counts.empty();  // its sigmas are of points
  const auto& basis = limits_of == nullptr ? stretch : *limits_of;
  study.mean = MeanInForce(
      stretch, basis, options.target, [&](std::size_t i) { return about.Centre(i); },
      [&](std::size_t i) { return is_counted ? about.UnitOf(i) : 1.0; });
  study.sigma = FigureOf(basis, stretch.sp, options.sigma, Newest(stretch, [&](std::size_t i) {
                           return is_counted ? kNaN : about.Sigma(i) / about.SigmaOfOne(i);
                         }));
  study.signals.assign(stretch.points.size(), 0);
  // Stored limits and those of the phase before are known at the first point already, and so is
  // the sigma of counts about a target.
  const bool has_sigma = options.sigma.has_value() || (is_counted && options.target) ||
                         (is_counted ? study.mean : study.sigma).estimator == kLineInForce;
  const LeastAmounts least{has_sigma ? 1U : 2U, IsOfSingles(stretch) ? 25U : 20U};
  if (!HasEnough(UsedPoints(stretch), least, "points", study.notes)) return false;
  for (std::size_t i = 0; i < stretch.points.size(); ++i) {
    if (about.Sigma(i) > 0.0 || std::isnan(stretch.points[i])) continue;
    study.notes.push_back({"no-sigma",
                           about.Sigma(i) == 0.0
                               ? "All values are equal, so there are no limits."
                               : "There is no sigma at some points, so these have no limits.",
                           {}});
    break;
  }
  return true;
}

// Mean size of the points that count.
double MeanSize(const Stretch& stretch) {
  double sum = 0.0;
  std::size_t count = 0;
  for (std::size_t i = 0; i < stretch.sizes.size(); ++i) {
    if (!stretch.IsUsed(i) || std::isnan(stretch.points[i])) continue;
    sum += stretch.sizes[i];
    ++count;
  }
  return count == 0 ? kNaN : sum / static_cast<double>(count);
}

struct Arm {
  double sum = 0.0;
  std::int32_t points = 0;  // since it left 0
  std::size_t start = 0;    // the point after the last zero
};

// What each point adds to the upper and the lower arm; NaN: nothing, or there is no such arm.
struct Steps {
  std::vector<double> sides[2];
};

struct ArmRules {
  double h, head_start;
  bool reset, signals_at_h;  // at h or above; otherwise above
};

// Fills in arms, counts and signals. changed(i, is_upper, arm) is the new mean of a signal.
template <class Changed>
void RunArms(const Stretch& stretch, const Steps& steps, const ArmRules& rules, CusumStudy& study,
             Changed changed) {
  const auto count = stretch.points.size();
  Arm arms[2];
  bool anew = true;
  for (std::size_t i = 0; i < count; ++i) {
    if (anew || stretch.BeginsAnew(i)) {
      for (auto& arm : arms) arm = {rules.head_start, 0, i};
      anew = false;
    }
    bool signals = false;
    for (std::size_t side = 0; side < 2; ++side) {
      const double step = steps.sides[side][i];
      if (!std::isfinite(step)) continue;
      auto arm = arms[side];
      arm.sum = std::max(0.0, arm.sum + step);
      if (arm.sum > 0.0) {
        if (arm.points == 0) arm.start = i;
        ++arm.points;
      } else {
        arm.points = 0;
      }
      (side == 0 ? study.upper : study.lower)[i] = arm.sum;
      (side == 0 ? study.count_upper : study.count_lower)[i] = arm.points;
      if (!stretch.IsUsed(i)) continue;
      arms[side] = arm;
      if (!(rules.signals_at_h ? arm.sum >= rules.h : arm.sum > rules.h)) continue;
      signals = true;
      study.changes.push_back({i, side == 0, arm.start, changed(i, side == 0, arm)});
    }
    study.signals[i] = signals ? 1 : 0;
    anew = anew || (signals && rules.reset);
  }
}

void SetColumns(std::size_t count, double h, CusumStudy& study) {
  study.h = h;
  study.upper.assign(count, kNaN);
  study.lower.assign(count, kNaN);
  study.count_upper.assign(count, 0);
  study.count_lower.assign(count, 0);
}

bool IsOfSteps(double value) {
  return std::abs(value / kCountStep - std::round(value / kCountStep)) < 1e-9;
}

// Of so many units, between the rates without and with the shift.
double CountReference(double without, double with, double size, bool of_defectives) {
  const double more = std::log(with / without);
  if (!of_defectives) return size * (with - without) / more;
  const double fewer_good = std::log((1.0 - without) / (1.0 - with));
  return size * fewer_good / (more + fewer_good);
}

}  // namespace

EwmaStudy StudyEwma(const Stretch& stretch, const EwmaOptions& options, const Stretch* limits_of) {
  Need(options.weight > 0.0 && options.weight <= 1.0, "weight must be above 0 and at most 1");
  Need(options.width > 0.0 && options.width <= 6.0, "width must be above 0 and at most 6");
  Need(!options.fir || (*options.fir > 0.0 && *options.fir < 1.0), "fir must lie between 0 and 1");
  Need(!options.fir || options.exact, "fir goes with exact limits");
  EwmaStudy study;
  const auto count = stretch.points.size();
  const std::vector<double> none(count, kNaN);
  study.z = study.centre = study.upper = study.lower = none;
  if (!Begin(stretch, options, limits_of, study)) return study;

  const About about{stretch, options};
  const double weight = options.weight, kept = 1.0 - weight;
  const double mean_size = MeanSize(stretch);
  const double narrowing = options.fir ? (-2.0 / std::log10(1.0 - *options.fir) - 1.0) / 19.0 : 0.0;
  double deviation = 0.0, variance = 0.0;
  std::int64_t t = 0;  // points since the start
  bool anew = true;
  for (std::size_t i = 0; i < count; ++i) {
    if (anew || stretch.BeginsAnew(i)) {
      deviation = variance = 0.0;
      t = 0;
      anew = false;
    }
    const double centre = about.Centre(i), sigma = about.Sigma(i);
    const double next_variance = weight * weight * sigma * sigma + kept * kept * variance;
    double spread = std::sqrt(next_variance);
    if (!options.exact) {
      const double size = stretch.sizes.empty() ? 1.0 : stretch.sizes[i];
      const double at_mean_size = size > 0.0 ? sigma * std::sqrt(size / mean_size) : sigma;
      spread = std::sqrt(weight / (2.0 - weight)) * at_mean_size;
    }
    if (options.fir) {
      spread *= 1.0 - std::pow(1.0 - *options.fir, 1.0 + narrowing * static_cast<double>(t));
    }
    const double next = weight * (stretch.points[i] - centre) + kept * deviation;
    study.z[i] = centre + next;
    study.centre[i] = centre;
    if (sigma > 0.0) {
      if (options.sided != Sided::Lower) study.upper[i] = centre + options.width * spread;
      if (options.sided != Sided::Upper) study.lower[i] = centre - options.width * spread;
    }
    if (std::isnan(next) || !stretch.IsUsed(i)) continue;
    deviation = next;
    if (!std::isnan(next_variance)) variance = next_variance;
    ++t;
    if (study.z[i] > study.upper[i] || study.z[i] < study.lower[i]) {
      study.signals[i] = 1;
      anew = options.reset;
    }
  }
  return study;
}

CusumStudy StudyCusum(const Stretch& stretch, const CusumOptions& options,
                      const Stretch* limits_of) {
  Need(options.k >= 0.0 && options.k <= 3.0, "k must be 0 to 3");
  Need(options.h > 0.0 && options.h <= 50.0, "h must be above 0 and at most 50");
  Need(options.head_start >= 0.0 && options.head_start < options.h,
       "head-start must be 0 or more and below h");
  CusumStudy study;
  const auto count = stretch.points.size();
  SetColumns(count, options.h, study);
  if (!Begin(stretch, options, limits_of, study)) return study;

  const About about{stretch, options};
  Steps steps;
  for (std::size_t i = 0; i < count; ++i) {
    const double sigma = about.Sigma(i);
    const double y = sigma > 0.0 ? (stretch.points[i] - about.Centre(i)) / sigma : kNaN;
    steps.sides[0].push_back(options.sided == Sided::Lower ? kNaN : y - options.k);
    steps.sides[1].push_back(options.sided == Sided::Upper ? kNaN : -y - options.k);
  }
  RunArms(stretch, steps, {options.h, options.head_start, options.reset, false}, study,
          [&](std::size_t i, bool is_upper, const Arm& arm) {
            const double shift = options.k + arm.sum / static_cast<double>(arm.points);
            return about.Centre(i) + (is_upper ? 1.0 : -1.0) * about.Sigma(i) * shift;
          });
  return study;
}

CusumStudy StudyCountCusum(const Stretch& stretch, const CountCusumOptions& options,
                           const Stretch* limits_of) {
  const auto is_rate = [&](double rate) {
    return rate > 0.0 && std::isfinite(rate) && (!options.defectives || rate < 1.0);
  };
  Need(is_rate(options.shifted),
       options.defectives ? "p1 must lie between 0 and 1" : "mu1 must be a number above 0");
  Need(!options.target || is_rate(*options.target),
       options.defectives ? "target must lie between 0 and 1" : "target must be above 0");
  Need(options.h > 0.0 && options.h <= 1000.0 && IsOfSteps(options.h),
       "h must be above 0, at most 1000 and a multiple of 0.25");
  Need(options.head_start >= 0.0 && options.head_start < options.h && IsOfSteps(options.head_start),
       "head-start must be 0 or more, below h and a multiple of 0.25");
  CusumStudy study;
  const auto count = stretch.points.size();
  SetColumns(count, options.h, study);
  study.reference.assign(count, kNaN);
  study.signals.assign(count, 0);
  // The line in force as a rate.
  const auto rate_at = [&](std::size_t i) {
    if (options.target) return *options.target;
    return stretch.centre[i] / options.scale / (options.counted ? stretch.sizes[i] : 1.0);
  };
  const auto in_unit_of_points = [&](double rate, std::size_t i) {
    return rate * options.scale * (options.counted ? stretch.sizes[i] : 1.0);
  };
  study.mean = MeanInForce(
      stretch, limits_of == nullptr ? stretch : *limits_of, options.target,
      [&](std::size_t i) { return stretch.centre[i]; },
      [&](std::size_t i) { return in_unit_of_points(1.0, i); });
  const bool is_known = options.target || study.mean.estimator == kLineInForce;
  const LeastAmounts least_points{is_known ? 1U : 2U, 20};
  if (!HasEnough(UsedPoints(stretch), least_points, "points", study.notes)) return study;
  const double without = Newest(stretch, rate_at);
  if (!is_rate(without) || std::abs(without - options.shifted) <= 1e-12 * without) {
    study.notes.push_back(
        {"no-shift",
         "Nothing lies between the mean and what is to be found, so there are no sums.",
         {}});
    return study;
  }
  const bool is_upper = options.shifted > without;
  const double sign = is_upper ? 1.0 : -1.0;
  Steps steps;
  for (auto& side : steps.sides) side.assign(count, kNaN);
  double least = kNaN, most = kNaN;
  for (std::size_t i = 0; i < count; ++i) {
    const double rate = rate_at(i), size = stretch.sizes[i];
    // A stored row may lie on the other side of what is to be found.
    if (!is_rate(rate) || !(size > 0.0) || (options.shifted > rate) != is_upper) continue;
    const double exact = CountReference(rate, options.shifted, size, options.defectives);
    study.reference[i] = std::round(exact / kCountStep) * kCountStep;
    steps.sides[is_upper ? 0 : 1][i] = sign * (stretch.counts[i] - study.reference[i]);
    least = std::fmin(least, study.reference[i]);
    most = std::fmax(most, study.reference[i]);
  }
  if (least == 0.0) {
    study.notes.push_back({"reference-zero",
                           "Some points have so few units that their reference value is 0; larger "
                           "samples, or counts of several together, have one.",
                           {}});
  }
  if (least != most) {
    study.notes.push_back({"references-differ",
                           "The reference value differs from point to point, so the run length of "
                           "one reference value is not that of this chart.",
                           {}});
  }
  RunArms(stretch, steps, {options.h, options.head_start, options.reset, true}, study,
          [&](std::size_t i, bool, const Arm& arm) {
            double counts = 0.0, units = 0.0;
            for (auto from = arm.start; from <= i; ++from) {
              if (!stretch.IsUsed(from) || !std::isfinite(stretch.counts[from])) continue;
              counts += stretch.counts[from];
              units += stretch.sizes[from];
            }
            return in_unit_of_points(counts / units, i);
          });
  return study;
}

}  // namespace orvspc::studies
