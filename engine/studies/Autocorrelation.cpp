// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Autocorrelation.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>
#include <utility>

#include "engine/charts/Estimates.h"
#include "engine/statistics/Autoregression.h"
#include "engine/statistics/Distributions.h"
#include "engine/statistics/Estimators.h"
#include "engine/statistics/Neighbours.h"
#include "engine/studies/study_notes.h"
#include "platform/NaN.h"

namespace orvspc::studies {

using namespace engine;
using platform::kNaN;

namespace {

constexpr LeastAmounts kLeast{10, 30}, kLeastForFit{50, 50};
constexpr double kWandering = 0.95;
constexpr double kD2 = 2.0 * std::numbers::inv_sqrtpi;  // of two values

// Sums of products of deviations from the mean at each lag.
struct Products {
  std::vector<double> deviations;  // of the used points; NaN: no value
  double count = 0.0, mean = kNaN, squares = 0.0;

  explicit Products(std::vector<double> values) : deviations(std::move(values)) {
    double sum = 0.0;
    for (const double value : deviations) {
      if (std::isnan(value)) continue;
      sum += value;
      ++count;
    }
    mean = sum / count;
    // Once more, by what rounding has left.
    double left = 0.0;
    for (const double value : deviations) left += std::isnan(value) ? 0.0 : value - mean;
    mean += left / count;
    for (auto& value : deviations) {
      value -= mean;
      if (!std::isnan(value)) squares += value * value;
    }
  }

  double Correlation(std::size_t lag) const {
    double sum = 0.0;
    for (std::size_t i = lag; i < deviations.size(); ++i) {
      const double product = deviations[i] * deviations[i - lag];
      if (!std::isnan(product)) sum += product;
    }
    return sum / squares;
  }
};

// Those of a column where takes is not 0; empty: all.
std::vector<double> Picked(const std::vector<double>& column,
                           const std::vector<std::uint8_t>& takes) {
  std::vector<double> values;
  for (std::size_t i = 0; i < column.size(); ++i) {
    if (takes.empty() || takes[i] != 0) values.push_back(column[i]);
  }
  return values;
}

// Every point that counts has a stored sigma.
bool HasStoredSigma(const Stretch& stretch) {
  bool any = false;
  for (std::size_t i = 0; i < stretch.stored_sigmas.size(); ++i) {
    if (!stretch.IsUsed(i) || std::isnan(stretch.points[i])) continue;
    if (std::isnan(stretch.stored_sigmas[i])) return false;
    any = true;
  }
  return any;
}

// What the limits of a chart of these points are made of.
statistics::LimitsFrom LimitsFromOf(const Stretch& stretch) {
  const auto& name = stretch.sp.name;
  if (name == charts::kWidenedName || HasStoredSigma(stretch)) return statistics::LimitsFrom::Other;
  const bool moving =
      name.empty() ? IsOfSingles(stretch) : name.starts_with(statistics::kMovingRangeName);
  return moving ? statistics::LimitsFrom::MovingRanges : statistics::LimitsFrom::Subgroups;
}

// All points are one value, but for the rounding of their mean.
bool AllEqual(const std::vector<double>& values) {
  double low = kNaN, high = kNaN;
  for (const double value : values) {
    low = std::fmin(low, value);
    high = std::fmax(high, value);
  }
  return !(high > low);
}

Note EqualNote() { return {"all-equal", "All values are equal, so there are no figures.", {}}; }

TestOfSignificance LjungBox(const Products& products, std::size_t lags, std::int32_t fitted) {
  double sum = 0.0;
  for (std::size_t k = 1; k <= lags; ++k) {
    const double r = products.Correlation(k);
    sum += r * r / (products.count - static_cast<double>(k));
  }
  TestOfSignificance test;
  test.statistic = "Q";
  test.method = "Ljung-Box";
  test.value = products.count * (products.count + 2.0) * sum;
  const double degrees = static_cast<double>(lags) - fitted;
  test.degrees = {degrees};
  test.p = statistics::ChiSquareAbove(test.value, degrees);
  return test;
}

std::size_t Tested(double count) {
  return static_cast<std::size_t>(std::min(10.0, std::floor(count / 5.0)));
}

void SetResiduals(const Stretch& stretch, double phi, double mean, Ar1Study& study) {
  double before = kNaN;  // the used point before
  for (std::size_t i = 0; i < stretch.points.size(); ++i) {
    const double x = stretch.points[i];
    if (std::isnan(before)) {
      study.fitted[i] = std::isnan(x) ? kNaN : mean;
      study.residuals[i] = (x - mean) * std::sqrt(1.0 - phi * phi);
    } else {
      study.fitted[i] = mean + phi * (before - mean);
      study.residuals[i] = x - study.fitted[i];
    }
    if (stretch.IsUsed(i)) before = x;
  }
}

Figure SigmaOf(const std::vector<double>& residuals, std::int64_t left) {
  Figure sigma{kNaN, "MR-est", kD2, 0, left};
  double sum = 0.0;
  std::int64_t ranges = 0;
  for (std::size_t i = 0; i < residuals.size(); ++i) {
    if (std::isnan(residuals[i])) continue;
    ++sigma.used;
    if (i == 0 || std::isnan(residuals[i - 1])) continue;
    sum += std::abs(residuals[i] - residuals[i - 1]);
    ++ranges;
  }
  if (ranges > 0) sigma.value = sum / static_cast<double>(ranges) / kD2;
  return sigma;
}

}  // namespace

AcfStudy StudyAcf(const Stretch& stretch, const AcfOptions& options) {
  Need(!options.lags || *options.lags >= 1, "lags must be 1 or more");
  Need(!options.tested || *options.tested >= 1, "tested must be 1 or more");
  Need(options.level >= 0.5 && options.level <= 0.9999, "level must be 0.5 to 0.9999");
  Need(options.fitted >= 0, "fitted must be 0 or more");
  Need(!options.tested || *options.tested > options.fitted, "tested must be above fitted");
  AcfStudy study;
  auto values = Picked(stretch.points, stretch.used);
  if (!HasEnough(UsedPoints(stretch), kLeast, "points", study.notes)) return study;
  const bool equal = AllEqual(values);
  const auto left = static_cast<std::int64_t>(stretch.points.size() - UsedPoints(stretch));
  const Products products(std::move(values));
  const auto count = static_cast<std::size_t>(products.count);
  study.mean = {products.mean, "mean", kNaN, static_cast<std::int64_t>(count), left};
  if (equal) {
    study.notes.push_back(EqualNote());
    return study;
  }
  const auto asked = [&](const std::optional<std::int32_t>& number, std::size_t fallback) {
    if (!number) return fallback;
    if (static_cast<std::size_t>(*number) < count) return static_cast<std::size_t>(*number);
    study.notes.push_back({"fewer-lags",
                           "There are no lags from " + std::to_string(count) +
                               " on, the number "
                               "of points.",
                           {}});
    return count - 1;
  };
  const auto lags = asked(options.lags, std::min<std::size_t>(20, count / 4));
  const auto tested = asked(options.tested, Tested(products.count));
  for (std::size_t k = 1; k <= lags; ++k) study.acf.push_back(products.Correlation(k));
  study.bound =
      statistics::NormalUpperQuantile((1.0 - options.level) / 2.0) / std::sqrt(products.count);
  study.ljung_box = LjungBox(products, tested, options.fitted);
  study.first = LjungBox(products, 1, 0);
  const statistics::NeighbourCorrelation neighbours{static_cast<std::int64_t>(count),
                                                    products.Correlation(1)};
  study.factor = neighbours.Factor();
  if (options.fitted > 0) return study;
  for (auto& note :
       statistics::NotesOnNeighbours(neighbours, LimitsFromOf(stretch), [] { return true; })) {
    study.notes.push_back(std::move(note));
  }
  return study;
}

Ar1Study StudyAr1(const Stretch& stretch, const std::optional<Ar1Parameters>& known) {
  Need(!known || std::abs(known->phi) <= statistics::kMostPhi, "phi must be -0.999 to 0.999");
  Need(!known || std::isfinite(known->mean), "mean must be a number");
  Need(!known || (known->sigma > 0.0 && std::isfinite(known->sigma)), "sigma must be above 0");
  Ar1Study study;
  const auto count = stretch.points.size();
  study.residuals.assign(count, kNaN);
  study.fitted.assign(count, kNaN);
  study.signals.assign(count, 0);
  const auto base = known ? stretch.used : BaseOf(stretch);
  if (known) {
    study.phi = {known->phi, "given", kNaN, 0, 0};
    study.mean = {known->mean, "given", kNaN, 0, 0};
    study.sigma = {known->sigma, "given", kNaN, 0, 0};
  } else {
    const auto values = Picked(stretch.points, base);
    const auto used = CountInBase(stretch, UsedPoints(stretch));
    if (!HasEnough(used, kLeastForFit, "points", study.notes)) return study;
    if (AllEqual(values)) {
      study.notes.push_back(EqualNote());
      return study;
    }
    const statistics::Autoregression fit(values);
    const double phi = fit.BestPhi(), mean = fit.MeanAt(phi);
    const auto left = static_cast<std::int64_t>(count - used);
    study.phi = {phi, "maximum likelihood", kNaN, static_cast<std::int64_t>(used), left};
    study.mean = {mean, "maximum likelihood", kNaN, static_cast<std::int64_t>(used), left};
    study.spread = std::sqrt(fit.Squares(phi, mean) / fit.Count());
    study.log_likelihood = fit.LogLikelihood(phi);
  }
  SetResiduals(stretch, study.phi.value, study.mean.value, study);
  auto residuals = Picked(study.residuals, base);
  if (!known) study.sigma = SigmaOf(residuals, study.phi.left);
  if (study.sigma.value > 0.0) {
    study.upper = 3.0 * study.sigma.value;
    study.lower = -study.upper;
  }
  for (std::size_t i = 0; i < count; ++i) {
    const bool beyond = std::abs(study.residuals[i]) > study.upper;
    study.signals[i] = beyond && stretch.IsUsed(i) ? 1 : 0;
  }
  if (UsedPoints(stretch) >= kLeast.none && !AllEqual(residuals)) {
    const Products products(std::move(residuals));
    study.ljung_box = LjungBox(products, Tested(products.count), 1);
  }
  if (std::abs(study.phi.value) > kWandering) {
    study.notes.push_back(
        {"wandering", "The points wander; a moving centre line may serve better.", {}});
  }
  return study;
}

}  // namespace orvspc::studies
