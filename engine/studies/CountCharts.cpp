// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/CountCharts.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "engine/statistics/ExactLimits.h"
#include "engine/studies/study_notes.h"
#include "platform/NaN.h"

namespace orvspc::studies {

using namespace engine;
using platform::kNaN;

namespace {

constexpr LeastAmounts kLeast{3, 20};

std::vector<double> ScoresOf(const Stretch& stretch) {
  std::vector<double> z(stretch.points.size(), kNaN);
  for (std::size_t i = 0; i < z.size(); ++i) {
    if (!(stretch.sigma[i] > 0.0)) continue;
    z[i] = (stretch.points[i] - stretch.centre[i]) / stretch.sigma[i];
  }
  return z;
}

Figure FactorOf(const Stretch& stretch) {
  Figure factor{kNaN, "MR-est", 2.0 * std::numbers::inv_sqrtpi, 0, 0};
  const auto z = ScoresOf(stretch);
  const auto base = BaseOf(stretch);
  double sum = 0.0, before = kNaN;
  for (std::size_t i = 0; i < z.size(); ++i) {
    if (base[i] == 0 || std::isnan(z[i])) {
      ++factor.left;
      continue;
    }
    if (factor.used > 0) sum += std::abs(z[i] - before);
    before = z[i];
    ++factor.used;
  }
  if (factor.used < static_cast<std::int64_t>(kLeast.none)) return factor;
  factor.value = sum / static_cast<double>(factor.used - 1) / factor.constant;
  return factor;
}

ExactLimits ExactOf(double mean, const statistics::CountLimits& limits) {
  return {mean, limits.lower, limits.upper, limits.risk_below, limits.risk_above};
}

void NeedAlpha(double alpha) {
  Need(alpha >= statistics::kLeastAlpha && alpha <= statistics::kMostAlpha,
       "alpha must be 0.0001 to 0.1");
}

}  // namespace

LaneyStudy StudyLaney(const Stretch& stretch, const LaneyOptions& options,
                      const Stretch* limits_of) {
  Need(options.most > 0.0, "most must be above 0");
  LaneyStudy study;
  const auto count = stretch.points.size();
  study.z = ScoresOf(stretch);
  study.centre = stretch.centre;
  study.upper.assign(count, kNaN);
  study.lower.assign(count, kNaN);
  study.signals.assign(count, 0);
  const auto& mean = stretch.mean;
  const auto& source = limits_of == nullptr ? stretch : *limits_of;
  study.mean = {mean.value, mean.name, mean.constant, mean.used, LeftOut(source)};
  study.sigma_z = FactorOf(source);
  const auto used = static_cast<std::size_t>(study.sigma_z.used);
  // Points without a sigma, as all are where every count is 0, are no scores.
  if (used == 0 && UsedPoints(source) >= kLeast.none) {
    study.notes.push_back({"no-sigma", "The rate has no spread, so there are no limits.", {}});
    return study;
  }
  if (!HasEnough(used, kLeast, "subgroups", study.notes)) return study;

  double factor = study.sigma_z.value;
  if (factor == 0.0) {
    study.notes.push_back({"no-sigma", "All values are equal, so there are no limits.", {}});
    return study;
  }
  if (factor < 0.9) {
    study.notes.push_back({"underdispersed",
                           options.floor && factor < 1.0
                               ? "The points vary less than their sizes explain; the factor is "
                                 "taken as 1."
                               : "The points vary less than their sizes explain, which narrows the "
                                 "limits.",
                           {}});
  }
  if (options.floor) factor = std::max(factor, 1.0);
  for (std::size_t i = 0; i < count; ++i) {
    if (!(stretch.sigma[i] > 0.0)) continue;
    const double half = 3.0 * stretch.sigma[i] * factor;
    study.upper[i] = std::min(stretch.centre[i] + half, options.most);
    study.lower[i] = std::max(stretch.centre[i] - half, 0.0);
    const bool beyond = stretch.points[i] > study.upper[i] || stretch.points[i] < study.lower[i];
    study.signals[i] = beyond && stretch.IsUsed(i) ? 1 : 0;
  }
  return study;
}

ExactLimits BinomialLimits(double size, double share, double alpha) {
  NeedAlpha(alpha);
  if (std::isnan(size) || std::isnan(share)) return {};
  Need(size >= 1.0 && std::floor(size) == size && std::isfinite(size),
       "size must be a whole number of 1 or more");
  Need(share >= 0.0 && share <= 1.0, "share must be 0 to 1");
  return ExactOf(size * share, statistics::BinomialCountLimits(size, share, alpha));
}

ExactLimits PoissonLimits(double mean, double alpha) {
  NeedAlpha(alpha);
  if (std::isnan(mean)) return {};
  Need(mean >= 0.0 && std::isfinite(mean), "mean must be 0 or more");
  return ExactOf(mean, statistics::PoissonCountLimits(mean, alpha));
}

}  // namespace orvspc::studies
