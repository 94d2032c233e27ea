// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Laws.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "engine/statistics/Distributions.h"
#include "engine/statistics/GammaSeries.h"
#include "engine/statistics/Numerics.h"

// The laws themselves, the sample and the Anderson-Darling statistic. The fits are in law_fit.cpp.
namespace orvspc::engine::statistics {
namespace {

using platform::kNaN;

constexpr LawFamily kFamilies[kLikelihoodLaws] = {
    {Kernel::Normal, LawScale::Plain, false, {"mean", "sd"}, 2},
    {Kernel::Normal, LawScale::Log, false, {"mu", "sigma"}, 2},
    {Kernel::Normal, LawScale::Log, true, {"mu", "sigma", "threshold"}, 3},
    {Kernel::SmallestExtreme, LawScale::Log, false, {"shape", "scale"}, 2},
    {Kernel::SmallestExtreme, LawScale::Log, true, {"shape", "scale", "threshold"}, 3},
    {Kernel::Gamma, LawScale::Plain, false, {"shape", "scale"}, 2},
    {Kernel::Gamma, LawScale::Plain, true, {"shape", "scale", "threshold"}, 3},
    {Kernel::Exponential, LawScale::Plain, false, {"scale"}, 1},
    {Kernel::Exponential, LawScale::Plain, true, {"scale", "threshold"}, 2},
    {Kernel::Logistic, LawScale::Plain, false, {"location", "scale"}, 2},
    {Kernel::Logistic, LawScale::Log, false, {"location", "scale"}, 2},
    {Kernel::Logistic, LawScale::Log, true, {"location", "scale", "threshold"}, 3},
    {Kernel::SmallestExtreme, LawScale::Mirrored, false, {"location", "scale"}, 2},
    {Kernel::SmallestExtreme, LawScale::Plain, false, {"location", "scale"}, 2},
};

// A Weibull law is that of the smallest extreme value of ln x.
bool IsWeibull(const LawFamily& family) {
  return family.kernel == Kernel::SmallestExtreme && family.scale == LawScale::Log;
}

// ln of the normal tail below a score so far out that it underflows.
double FarNormalLog(double z) {
  const double square = 1.0 / (z * z);
  return -0.5 * z * z - std::log(-z * std::sqrt(2.0 * std::numbers::pi)) +
         std::log1p(-square * (1.0 - 3.0 * square * (1.0 - 5.0 * square)));
}

LogTails NormalTails(double z) {
  const bool is_low = z <= 0.0;
  const double out = is_low ? z : -z;
  const double share = NormalBelow(out);
  const double far = out > -37.0 ? std::log(share) : FarNormalLog(out);
  const double near = std::log1p(-share);
  return is_low ? LogTails{far, near} : LogTails{near, far};
}

LogTails LogisticTails(double z) {
  const double more = std::log1p(std::exp(-std::abs(z)));
  return z < 0.0 ? LogTails{z - more, -more} : LogTails{-more, -z - more};
}

// 1 - exp(-w) below.
LogTails ExponentialTails(double w) {
  if (!(w > 0.0)) return {-kInfinity, 0.0};
  return {w < std::numbers::ln2 ? std::log(-std::expm1(-w)) : std::log1p(-std::exp(-w)), -w};
}

LogTails ExtremeTails(double z) {
  auto tails = ExponentialTails(std::exp(z));
  if (z < -700.0) tails.below = z;
  return tails;
}

LogTails GammaTails(double x, double shape) {
  if (!(x > 0.0)) return {-kInfinity, 0.0};
  if (shape > kLargeShape) {
    const double e = (x - shape) / shape;
    return e > -1.0 ? NormalTails(LargeGammaScore(e, shape).score) : LogTails{-kInfinity, 0.0};
  }
  // The leading factor of the series below and of the continued fraction above.
  const auto factor = [&](double last) { return shape * std::log(x) - x - last; };
  if (x < shape) {
    const double share = GammaBelow(x, shape);
    return {share > 1e-280 ? std::log(share)
                           : factor(LogGamma(shape + 1.0)) - std::log1p(-x / (shape + 1.0)),
            std::log1p(-share)};
  }
  const double share = GammaAbove(x, shape);
  return {std::log1p(-share),
          share > 1e-280 ? std::log(share) : factor(LogGamma(shape)) - std::log(x + 1.0 - shape)};
}

// x/k - 1 at a normal score, by Newton's method; the score is all but linear there.
double LargeGammaExcess(double score, double shape) {
  double e = score / std::sqrt(shape);
  for (int step = 0; step < 4; ++step) {
    const double off = score - LargeGammaScore(e, shape).score;
    e += off * (1.0 + e) * std::sqrt(LogBend(e) / shape);
  }
  return e;
}

double StandardGammaQuantile(double share, double shape) {
  const double score = shape > kLargeShape ? NormalQuantile(share) : kNaN;
  if (!std::isfinite(score)) return GammaQuantile(share, shape);
  return shape + shape * LargeGammaExcess(score, shape);
}

double LogGammaDensity(double x, double shape) {
  if (shape < kStirling || !(x > 0.0)) {
    return (shape - 1.0) * std::log(x) - x - LogGamma(shape);
  }
  const double e = (x - shape) / shape;
  if (!(e > -1.0)) return -kInfinity;
  return -0.5 * std::log(2.0 * std::numbers::pi * shape) - StirlingRest(shape) -
         shape * LessLog(e) - std::log1p(e);
}

LogTails StandardTails(Kernel kernel, double z, double shape) {
  switch (kernel) {
    case Kernel::Normal:
      return NormalTails(z);
    case Kernel::Logistic:
      return LogisticTails(z);
    case Kernel::SmallestExtreme:
      return ExtremeTails(z);
    case Kernel::Gamma:
      return GammaTails(z, shape);
    case Kernel::Exponential:
      break;
  }
  return ExponentialTails(z);
}

double StandardQuantile(Kernel kernel, double share, double shape) {
  switch (kernel) {
    case Kernel::Normal:
      return NormalQuantile(share);
    case Kernel::Logistic:
      return std::log(share) - std::log1p(-share);
    case Kernel::SmallestExtreme:
      return std::log(-std::log1p(-share));
    case Kernel::Gamma:
      return StandardGammaQuantile(share, shape);
    case Kernel::Exponential:
      break;
  }
  return -std::log1p(-share);
}

double LogStandardDensity(Kernel kernel, double z, double shape) {
  switch (kernel) {
    case Kernel::Normal:
      return -0.5 * z * z - 0.5 * std::log(2.0 * std::numbers::pi);
    case Kernel::Logistic:
      return -std::abs(z) - 2.0 * std::log1p(std::exp(-std::abs(z)));
    case Kernel::SmallestExtreme:
      return z - std::exp(z);
    case Kernel::Gamma:
      return LogGammaDensity(z, shape);
    case Kernel::Exponential:
      break;
  }
  return -z;
}

bool IsOfLocation(Kernel kernel) {
  return kernel != Kernel::Gamma && kernel != Kernel::Exponential;
}

// N + A2 times N: the sum over all values with the tails at each, of which at(i) gives those.
template <class At>
double Statistic(std::size_t count, At at) {
  const auto n = static_cast<double>(count);
  double sum = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    const auto tails = at(i);
    const double below = 2.0 * static_cast<double>(i) + 1.0;
    sum += below * tails.below + (2.0 * n - below) * tails.above;
  }
  return -n - sum / n;
}

// Significance points of the modified statistic.
struct TableOfPoints {
  std::array<double, 7> points;  // 0: none
};
constexpr double kShares[7] = {0.25, 0.15, 0.10, 0.05, 0.025, 0.01, 0.005};
constexpr TableOfPoints kExponentialTable{{0.736, 0.916, 1.062, 1.321, 1.591, 1.959, 0.0}};
constexpr TableOfPoints kExtremeTable{{0.474, 0.0, 0.637, 0.757, 0.877, 1.038, 0.0}};
constexpr TableOfPoints kLogisticTable{{0.426, 0.0, 0.563, 0.660, 0.769, 0.906, 1.010}};

double NormalP(double a) {
  if (a < 0.2) return 1.0 - std::exp(-13.436 + 101.14 * a - 223.73 * a * a);
  if (a < 0.34) return 1.0 - std::exp(-8.318 + 42.796 * a - 59.938 * a * a);
  if (a < 0.6) return std::exp(0.9177 - 4.279 * a - 1.38 * a * a);
  return a < 10.0 ? std::exp(1.2937 - 5.709 * a + 0.0186 * a * a) : 0.0;
}

TailProbability FromTable(const TableOfPoints& table, double a) {
  if (std::isnan(a)) return {};
  std::size_t before = std::size(kShares);
  for (std::size_t i = 0; i < std::size(kShares); ++i) {
    const double point = table.points[i];
    if (point == 0.0) continue;
    if (before == std::size(kShares)) {
      if (a < point) return {kNaN, kShares[i], kNaN};
    } else if (a <= point) {
      const double share = (a - table.points[before]) / (point - table.points[before]);
      const double from = std::log(kShares[before]), to = std::log(kShares[i]);
      return {std::exp(from + share * (to - from)), kNaN, kNaN};
    }
    before = i;
  }
  return {kNaN, kNaN, kShares[before]};
}

constexpr std::size_t kCondensed = 4096;  // values below which nothing is condensed

}  // namespace

const LawFamily& FamilyOf(Law kind) { return kFamilies[static_cast<std::size_t>(kind)]; }

FittedLaw FittedLaw::Of(Law kind, std::span<const double> parameters) {
  const auto& family = FamilyOf(kind);
  const double threshold = family.has_threshold ? parameters[family.parameters - 1] : 0.0;
  if (family.kernel == Kernel::Exponential) return {kind, 0.0, parameters[0], threshold};
  if (IsWeibull(family)) return {kind, std::log(parameters[1]), 1.0 / parameters[0], threshold};
  return {kind, parameters[0], parameters[1], threshold};
}

std::vector<double> FittedLaw::Parameters() const {
  const auto& family = FamilyOf(kind_);
  std::vector<double> parameters{location_, scale_};
  if (family.kernel == Kernel::Exponential) parameters = {scale_};
  if (IsWeibull(family)) parameters = {1.0 / scale_, std::exp(location_)};
  if (family.has_threshold) parameters.push_back(threshold_);
  return parameters;
}

double FittedLaw::ScaleOfValue(double x) const {
  const auto& family = FamilyOf(kind_);
  if (family.scale != LawScale::Log) return x - threshold_;
  return x > threshold_ ? std::log(x - threshold_) : -kInfinity;
}

double FittedLaw::ScaleOfShare(double share_below) const {
  const auto& family = FamilyOf(kind_);
  const bool mirrored = family.scale == LawScale::Mirrored;
  // 1 - share in a quantile that takes the share above.
  if (mirrored) return -std::log(-std::log(share_below));
  return StandardQuantile(family.kernel, share_below, location_);
}

LogTails FittedLaw::TailsAt(double x) const {
  const auto& family = FamilyOf(kind_);
  if (!IsOfLocation(family.kernel)) {
    return StandardTails(family.kernel, (x - threshold_) / scale_, location_);
  }
  if (family.scale == LawScale::Mirrored) {
    const auto tails = ExtremeTails((location_ - x) / scale_);
    return {tails.above, tails.below};
  }
  const double y = ScaleOfValue(x);
  if (y == -kInfinity) return {-kInfinity, 0.0};
  return StandardTails(family.kernel, (y - location_) / scale_, 0.0);
}

double FittedLaw::Density(double x) const {
  const auto& family = FamilyOf(kind_);
  if (!IsOfLocation(family.kernel)) {
    const double z = (x - threshold_) / scale_;
    return z < 0.0 ? 0.0 : std::exp(LogStandardDensity(family.kernel, z, location_)) / scale_;
  }
  if (family.scale == LawScale::Mirrored) {
    return std::exp(LogStandardDensity(family.kernel, (location_ - x) / scale_, 0.0)) / scale_;
  }
  const double y = ScaleOfValue(x);
  if (y == -kInfinity) return 0.0;
  const double density =
      std::exp(LogStandardDensity(family.kernel, (y - location_) / scale_, 0.0)) / scale_;
  return family.scale == LawScale::Log ? density / (x - threshold_) : density;
}

double FittedLaw::Quantile(double share_below) const {
  const auto& family = FamilyOf(kind_);
  const double z = ScaleOfShare(share_below);
  if (!IsOfLocation(family.kernel)) return threshold_ + scale_ * z;
  const double y = location_ + scale_ * z;
  return family.scale == LawScale::Log ? threshold_ + std::exp(y) : y;
}

std::array<double, 3> FittedLaw::QuantileSlopes(double share_below) const {
  const auto& family = FamilyOf(kind_);
  const double z = ScaleOfShare(share_below);
  if (family.kernel == Kernel::Exponential) return {0.0, z, 1.0};
  if (family.kernel == Kernel::Gamma) {
    const double step = 1e-4 * location_;
    const double slope = (StandardGammaQuantile(share_below, location_ + step) -
                          StandardGammaQuantile(share_below, location_ - step)) /
                         (2.0 * step);
    return {scale_ * slope, z, 1.0};
  }
  const double each = family.scale == LawScale::Log ? std::exp(location_ + scale_ * z) : 1.0;
  return {each, each * z, 1.0};
}

double FittedLaw::QuantileError(const LawCovariance& covariance, double share_below) const {
  double variance = 0.0;
  if (kind_ == Law::Gamma && location_ > kLargeShape) {
    // The same by shape and mean, which are independent: by shape and scale nothing would be left.
    const double score = NormalQuantile(share_below), e = LargeGammaExcess(score, location_);
    const double by_shape = -0.5 * (2.0 * LargeGammaScore(e, location_).root - score) * (1.0 + e) *
                            std::sqrt(LogBend(e) / location_);
    variance = covariance[0][0] * scale_ * scale_ *
               (by_shape * by_shape + TrigammaExcess(location_) * (1.0 + e) * (1.0 + e));
    return std::sqrt(variance);
  }
  const auto slopes = QuantileSlopes(share_below);
  for (std::size_t i = 0; i < 3; ++i)
    for (std::size_t j = 0; j < 3; ++j) variance += slopes[i] * covariance[i][j] * slopes[j];
  return std::sqrt(variance);
}

LawSample::LawSample(std::vector<double> values) : values_(std::move(values)) {
  std::sort(values_.begin(), values_.end());
  const auto n = static_cast<double>(values_.size());
  const double least = values_.front();
  double sum = 0.0;
  for (const double value : values_) sum += value - least;
  mean_ = least + sum / n;
  double first = 0.0;
  for (const double value : values_) {
    first += value - mean_;
    squares_ += (value - mean_) * (value - mean_);
  }
  squares_ -= first * first / n;
  for (std::size_t i = 0; i < values_.size(); ++i) {
    if (i == 0 || values_[i] != values_[i - 1]) ++different_;
  }
}

const std::vector<double>& LawSample::Logarithms() const {
  if (logarithms_.empty()) {
    logarithms_.resize(values_.size());
    for (std::size_t i = 0; i < values_.size(); ++i) logarithms_[i] = std::log(values_[i]);
  }
  return logarithms_;
}

const std::vector<double>& LawSample::Distances() const {
  if (distances_.empty()) {
    distances_.resize(values_.size());
    for (std::size_t i = 0; i < values_.size(); ++i) distances_[i] = values_[i] - values_.front();
  }
  return distances_;
}

const LawSample::Cells& LawSample::Condensed() const {
  if (!condensed_.weights.empty()) return condensed_;
  const auto& distances = Distances();
  // A hundredth of the distance and a two thousandth of the range wide at most.
  const bool all = Count() <= kCondensed;
  for (std::size_t i = 0; i < distances.size();) {
    const double end =
        all ? distances[i] : distances[i] + std::min(0.01 * distances[i], Range() / 2000.0);
    double sum = 0.0;
    const auto first = i;
    do {
      sum += distances[i++];
    } while (i < distances.size() && distances[i] <= end);
    const auto count = static_cast<double>(i - first);
    condensed_.distances.push_back(sum / count);
    condensed_.weights.push_back(count);
  }
  return condensed_;
}

double AndersonDarling(const LawSample& sample, const FittedLaw& law) {
  const auto& family = FamilyOf(law.Kind());
  const auto& values = sample.Values();
  const double location = law.Location(), per = 1.0 / law.Scale(), threshold = law.Threshold();
  // One loop for each law, so that nothing is chosen inside of it.
  const auto of_scale = [&](auto tails) {
    if (family.scale == LawScale::Plain) {
      return Statistic(values.size(), [&](auto i) { return tails((values[i] - location) * per); });
    }
    if (!family.has_threshold) {
      const auto& logs = sample.Logarithms();
      return Statistic(values.size(), [&](auto i) { return tails((logs[i] - location) * per); });
    }
    const auto& distances = sample.Distances();
    const double gap = sample.Smallest() - threshold;
    return Statistic(values.size(), [&](auto i) {
      return tails((std::log(distances[i] + gap) - location) * per);
    });
  };
  switch (family.kernel) {
    case Kernel::Normal:
      return of_scale(NormalTails);
    case Kernel::Logistic:
      return of_scale(LogisticTails);
    case Kernel::SmallestExtreme:
      if (family.scale != LawScale::Mirrored) return of_scale(ExtremeTails);
      return Statistic(values.size(), [&](auto i) {
        const auto tails = ExtremeTails((location - values[i]) * per);
        return LogTails{tails.above, tails.below};
      });
    case Kernel::Gamma:
      return Statistic(values.size(),
                       [&](auto i) { return GammaTails((values[i] - threshold) * per, location); });
    case Kernel::Exponential:
      break;
  }
  return Statistic(values.size(),
                   [&](auto i) { return ExponentialTails((values[i] - threshold) * per); });
}

bool HasTable(Law kind) {
  const auto& family = FamilyOf(kind);
  return !family.has_threshold && family.kernel != Kernel::Gamma;
}

TailProbability AndersonDarlingP(Law kind, double a2, std::size_t count) {
  const auto n = static_cast<double>(count);
  if (!HasTable(kind) || std::isnan(a2)) return {};
  switch (FamilyOf(kind).kernel) {
    case Kernel::Normal:
      return {NormalP(a2 * (1.0 + 0.75 / n + 2.25 / (n * n))), kNaN, kNaN};
    case Kernel::Logistic:
      return FromTable(kLogisticTable, a2 * (1.0 + 0.25 / n));
    case Kernel::SmallestExtreme:
      return FromTable(kExtremeTable, a2 * (1.0 + 0.2 / std::sqrt(n)));
    default:
      return FromTable(kExponentialTable, a2 * (1.0 + 0.6 / n));
  }
}

}  // namespace orvspc::engine::statistics
