// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/TimeWeighted.h"

#include <algorithm>
#include <cmath>
#include <string>

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
    if (!options.sigma) return stretch.sigma[i];
    const double size = stretch.sizes.empty() ? 1.0 : stretch.sizes[i];
    return size > 0.0 ? *options.sigma / std::sqrt(size) : kNaN;
  }
};

void CheckAbout(const Stretch& stretch, const AboutOptions& options) {
  Need(!options.target || std::isfinite(*options.target), "target must be a number");
  Need(!options.sigma || (*options.sigma > 0.0 && std::isfinite(*options.sigma)),
       "sigma must be a number above 0");
  Need(!options.sigma || stretch.counts.empty(), "sigma goes with measurements, not with counts");
}

Figure AsFigure(const Estimate& estimate, const std::optional<double>& given) {
  if (given) return {*given, "given", kNaN, 0, 0};
  return {estimate.value, estimate.name, estimate.constant, estimate.used, 0};
}

// Fills in what both studies share; false: there is too little for figures.
template <class Study>
bool Begin(const Stretch& stretch, const AboutOptions& options, Study& study) {
  CheckAbout(stretch, options);
  study.mean = AsFigure(stretch.mean, options.target);
  study.sigma = AsFigure(stretch.sp, options.sigma);
  study.signals.assign(stretch.points.size(), 0);
  const bool has_sigma = options.sigma.has_value();
  const LeastAmounts least{has_sigma ? 1U : 2U, IsOfSingles(stretch) ? 25U : 20U};
  if (!HasEnough(UsedPoints(stretch), least, "points", study.notes)) return false;
  const About about{stretch, options};
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

}  // namespace

EwmaStudy StudyEwma(const Stretch& stretch, const EwmaOptions& options) {
  Need(options.weight > 0.0 && options.weight <= 1.0, "weight must be above 0 and at most 1");
  Need(options.width > 0.0 && options.width <= 6.0, "width must be above 0 and at most 6");
  Need(!options.fir || (*options.fir > 0.0 && *options.fir < 1.0), "fir must lie between 0 and 1");
  Need(!options.fir || options.exact, "fir goes with exact limits");
  EwmaStudy study;
  const auto count = stretch.points.size();
  const std::vector<double> none(count, kNaN);
  study.z = study.centre = study.upper = study.lower = none;
  if (!Begin(stretch, options, study)) return study;

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
      study.upper[i] = centre + options.width * spread;
      study.lower[i] = centre - options.width * spread;
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

CusumStudy StudyCusum(const Stretch& stretch, const CusumOptions& options) {
  Need(options.k >= 0.0 && options.k <= 3.0, "k must be 0 to 3");
  Need(options.h > 0.0 && options.h <= 50.0, "h must be above 0 and at most 50");
  Need(options.head_start >= 0.0 && options.head_start < options.h,
       "head-start must be 0 or more and below h");
  CusumStudy study;
  const auto count = stretch.points.size();
  study.upper.assign(count, kNaN);
  study.lower.assign(count, kNaN);
  study.count_upper.assign(count, 0);
  study.count_lower.assign(count, 0);
  if (!Begin(stretch, options, study)) return study;

  const About about{stretch, options};
  struct Arm {
    double sum;
    std::int32_t points = 0;  // since it left 0
    std::size_t start = 0;    // the point after the last zero
  };
  Arm arms[2] = {};
  const double signs[2] = {1.0, -1.0};
  bool anew = true;
  for (std::size_t i = 0; i < count; ++i) {
    if (anew || stretch.BeginsAnew(i)) {
      for (auto& arm : arms) arm = {options.head_start, 0, i};
      anew = false;
    }
    const double sigma = about.Sigma(i);
    const double y = (stretch.points[i] - about.Centre(i)) / sigma;
    if (!(sigma > 0.0) || !std::isfinite(y)) continue;
    bool signals = false;
    for (std::size_t side = 0; side < 2; ++side) {
      auto arm = arms[side];
      arm.sum = std::max(0.0, arm.sum + signs[side] * y - options.k);
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
      if (!(arm.sum > options.h)) continue;
      signals = true;
      const double shift = options.k + arm.sum / static_cast<double>(arm.points);
      study.changes.push_back(
          {i, side == 0, arm.start, about.Centre(i) + signs[side] * sigma * shift});
    }
    study.signals[i] = signals ? 1 : 0;
    anew = signals && options.reset;
  }
  return study;
}

}  // namespace orvspc::studies
