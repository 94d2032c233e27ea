// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Autocorrelation.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>
#include <utility>

#include "engine/statistics/Distributions.h"
#include "engine/statistics/Numerics.h"
#include "engine/studies/study_notes.h"
#include "platform/NaN.h"

namespace orvspc::studies {

using namespace engine;
using platform::kNaN;

namespace {

constexpr LeastAmounts kLeast{10, 30}, kLeastForFit{50, 50};
constexpr std::size_t kNoted = 25;  // points from which on neighbours are noted
constexpr double kSignificant = 0.01;
constexpr double kMostPhi = 0.999, kWandering = 0.95;
constexpr double kD2 = 2.0 * std::numbers::inv_sqrtpi;  // of two values

std::string Rounded(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3g", value);
  return text;
}

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

std::vector<double> UsedValues(const Stretch& stretch) {
  std::vector<double> values;
  for (std::size_t i = 0; i < stretch.points.size(); ++i) {
    if (stretch.IsUsed(i)) values.push_back(stretch.points[i]);
  }
  return values;
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

// The likelihood of an autoregression. A run begins at the start and after a gap.
class Autoregression {
 public:
  explicit Autoregression(const std::vector<double>& values) {
    double before = kNaN;
    for (const double value : values) {
      if (!std::isnan(value)) {
        if (std::isnan(before)) {
          starts_.push_back(value);
        } else {
          pairs_.push_back({before, value});
        }
      }
      before = value;
    }
  }

  double MeanAt(double phi) const {
    double sum = 0.0;
    for (const double x : starts_) sum += (1.0 + phi) * x;
    for (const auto& pair : pairs_) sum += pair.value - phi * pair.before;
    return sum / ((1.0 + phi) * static_cast<double>(starts_.size()) +
                  (1.0 - phi) * static_cast<double>(pairs_.size()));
  }

  double Squares(double phi, double mean) const {
    double sum = 0.0;
    for (const double x : starts_) sum += (1.0 - phi * phi) * (x - mean) * (x - mean);
    for (const auto& pair : pairs_) {
      const double e = pair.value - mean - phi * (pair.before - mean);
      sum += e * e;
    }
    return sum;
  }

  double LogLikelihood(double phi) const {
    const double count = Count();
    const double variance = Squares(phi, MeanAt(phi)) / count;
    return -0.5 * count * (std::log(2.0 * std::numbers::pi * variance) + 1.0) +
           0.5 * static_cast<double>(starts_.size()) * std::log1p(-phi * phi);
  }

  // Of the log-likelihood by phi. The mean is the best one at phi, so its own change adds nothing.
  double Slope(double phi) const {
    const double mean = MeanAt(phi);
    double of_squares = 0.0;
    for (const double x : starts_) of_squares -= 2.0 * phi * (x - mean) * (x - mean);
    for (const auto& pair : pairs_) {
      const double before = pair.before - mean;
      of_squares -= 2.0 * (pair.value - mean - phi * before) * before;
    }
    return -0.5 * Count() * of_squares / Squares(phi, mean) -
           static_cast<double>(starts_.size()) * phi / (1.0 - phi * phi);
  }

  double BestPhi() const {
    const double phi = statistics::Root([&](double at) { return Slope(at); }, -kMostPhi, kMostPhi);
    if (!std::isnan(phi)) return phi;
    return LogLikelihood(kMostPhi) > LogLikelihood(-kMostPhi) ? kMostPhi : -kMostPhi;
  }

  double Count() const { return static_cast<double>(starts_.size() + pairs_.size()); }

 private:
  struct Pair {
    double before, value;
  };
  std::vector<double> starts_;
  std::vector<Pair> pairs_;
};

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

std::vector<double> UsedResiduals(const Stretch& stretch, const std::vector<double>& residuals) {
  std::vector<double> used;
  for (std::size_t i = 0; i < residuals.size(); ++i) {
    if (stretch.IsUsed(i)) used.push_back(residuals[i]);
  }
  return used;
}

Figure SigmaOf(const std::vector<double>& residuals) {
  Figure sigma{kNaN, "MR-est", kD2, 0, 0};
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
  auto values = UsedValues(stretch);
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
  const double r1 = products.Correlation(1);
  study.factor = std::sqrt(1.0 - r1);
  if (options.fitted > 0 || count < kNoted || !(study.first.p < kSignificant)) return study;
  study.notes.push_back(
      {"correlated",
       "Neighbours are correlated (r1 = " + Rounded(r1) + "): limits from moving ranges are too " +
           (r1 > 0.0 ? "narrow" : "wide") + " by the factor " + Rounded(study.factor) + ".",
       {}});
  if (r1 > 0.0) study.notes.push_back({"runs-expected", "Runs on one side are expected.", {}});
  return study;
}

Ar1Study StudyAr1(const Stretch& stretch, const std::optional<Ar1Parameters>& known) {
  Need(!known || std::abs(known->phi) <= kMostPhi, "phi must be -0.999 to 0.999");
  Need(!known || std::isfinite(known->mean), "mean must be a number");
  Need(!known || (known->sigma > 0.0 && std::isfinite(known->sigma)), "sigma must be above 0");
  Ar1Study study;
  const auto count = stretch.points.size();
  study.residuals.assign(count, kNaN);
  study.fitted.assign(count, kNaN);
  study.signals.assign(count, 0);
  if (known) {
    study.phi = {known->phi, "given", kNaN, 0, 0};
    study.mean = {known->mean, "given", kNaN, 0, 0};
    study.sigma = {known->sigma, "given", kNaN, 0, 0};
  } else {
    const auto values = UsedValues(stretch);
    const auto used = UsedPoints(stretch);
    if (!HasEnough(used, kLeastForFit, "points", study.notes)) return study;
    if (AllEqual(values)) {
      study.notes.push_back(EqualNote());
      return study;
    }
    const Autoregression fit(values);
    const double phi = fit.BestPhi(), mean = fit.MeanAt(phi);
    const auto left = static_cast<std::int64_t>(count - used);
    study.phi = {phi, "maximum likelihood", kNaN, static_cast<std::int64_t>(used), left};
    study.mean = {mean, "maximum likelihood", kNaN, static_cast<std::int64_t>(used), left};
    study.spread = std::sqrt(fit.Squares(phi, mean) / fit.Count());
    study.log_likelihood = fit.LogLikelihood(phi);
  }
  SetResiduals(stretch, study.phi.value, study.mean.value, study);
  auto residuals = UsedResiduals(stretch, study.residuals);
  if (!known) study.sigma = SigmaOf(residuals);
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
