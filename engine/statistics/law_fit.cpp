// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>

#include "engine/statistics/Distributions.h"
#include "engine/statistics/GammaSeries.h"
#include "engine/statistics/Laws.h"
#include "engine/statistics/Numerics.h"

namespace orvspc::engine::statistics {
namespace {

using platform::kNaN;

constexpr int kMostSteps = 200;

// ln f(z) of a standard density and its first two derivatives.
struct Slopes {
  double log_density, first, second;
};
struct NormalSlopes {
  static Slopes At(double z) {
    return {-0.5 * z * z - 0.5 * std::log(2.0 * std::numbers::pi), -z, -1.0};
  }
};
struct LogisticSlopes {
  static Slopes At(double z) {
    const double e = std::exp(-std::abs(z));
    const double half = (1.0 - e) / (1.0 + e);  // tanh(|z|/2)
    return {-std::abs(z) - 2.0 * std::log1p(e), z < 0.0 ? half : -half, -0.5 * (1.0 - half * half)};
  }
};
struct ExtremeSlopes {
  static Slopes At(double z) {
    const double e = std::exp(z);
    return {z - e, 1.0 - e, -e};
  }
};

// Values of which each counts once, or with its weight.
struct Weighted {
  std::span<const double> values, weights = {};

  std::size_t Count() const { return values.size(); }
  double WeightOf(std::size_t i) const { return weights.empty() ? 1.0 : weights[i]; }
};

struct Spread {
  double weight = 0.0, mean = 0.0, deviation = 0.0;  // divisor N
};

Spread SpreadOf(const Weighted& sample) {
  Spread spread;
  const double origin = sample.values.front();
  double sum = 0.0;
  for (std::size_t i = 0; i < sample.Count(); ++i) {
    spread.weight += sample.WeightOf(i);
    sum += sample.WeightOf(i) * (sample.values[i] - origin);
  }
  spread.mean = origin + sum / spread.weight;
  double first = 0.0, squares = 0.0;
  for (std::size_t i = 0; i < sample.Count(); ++i) {
    const double distance = sample.values[i] - spread.mean;
    first += sample.WeightOf(i) * distance;
    squares += sample.WeightOf(i) * distance * distance;
  }
  squares -= first * first / spread.weight;
  spread.deviation = std::sqrt(std::max(0.0, squares) / spread.weight);
  return spread;
}

// A law of location and scale.
struct Place {
  double location = kNaN, scale = kNaN;
  double log_likelihood = kNaN;  // mean of ln f(z) - ln scale
  int steps = 0;
};

// In z = intercept + slope y, for y with mean 0 and deviation 1: what one fit hands the next one of
// nearly the same shape.
struct Start {
  double intercept, slope;
};

Start UsualStart(Kernel kernel) {
  if (kernel == Kernel::Logistic) return {0.0, std::numbers::pi / std::sqrt(3.0)};
  constexpr double kEuler = 0.57721566490153286;
  return {-kEuler, std::numbers::pi / std::sqrt(6.0)};
}

struct PlaceSums {
  double value = 0.0, by_intercept = 0.0, by_slope = 0.0;
  double second = 0.0, mixed = 0.0, second_slope = 0.0;
};

// One pass; standard(value) gives y.
template <class Slopes, bool kWeighted>
PlaceSums SumsAt(const Weighted& sample, const Spread& spread, const Start& at) {
  PlaceSums sums;
  const double per = 1.0 / spread.deviation;
  for (std::size_t i = 0; i < sample.values.size(); ++i) {
    const double y = (sample.values[i] - spread.mean) * per;
    const auto slopes = Slopes::At(at.intercept + at.slope * y);
    const double w = kWeighted ? sample.weights[i] : 1.0;
    sums.value += w * slopes.log_density;
    sums.by_intercept += w * slopes.first;
    sums.by_slope += w * slopes.first * y;
    sums.second += w * slopes.second;
    sums.mixed += w * slopes.second * y;
    sums.second_slope += w * slopes.second * y * y;
  }
  const double n = spread.weight;
  sums.value = sums.value / n + std::log(at.slope);
  sums.by_intercept /= n;
  sums.by_slope = sums.by_slope / n + 1.0 / at.slope;
  sums.second /= n;
  sums.mixed /= n;
  sums.second_slope = sums.second_slope / n - 1.0 / (at.slope * at.slope);
  return sums;
}

// Newton's method; the log likelihood is concave in intercept and slope, so that a step that is
// too long need only be halved.
template <class Slopes, bool kWeighted>
Place Climb(const Weighted& sample, const Spread& spread, Start& at, double tolerance) {
  Place place;
  auto sums = SumsAt<Slopes, kWeighted>(sample, spread, at);
  for (; place.steps < kMostSteps; ++place.steps) {
    if (std::max(std::abs(sums.by_intercept), std::abs(sums.by_slope)) < tolerance) break;
    const double determinant = sums.second * sums.second_slope - sums.mixed * sums.mixed;
    Start step{(-sums.second_slope * sums.by_intercept + sums.mixed * sums.by_slope) / determinant,
               (-sums.second * sums.by_slope + sums.mixed * sums.by_intercept) / determinant};
    if (!std::isfinite(step.intercept) || !std::isfinite(step.slope)) break;
    bool moved = false;
    for (int halvings = 0; halvings < 60 && !moved; ++halvings) {
      const Start next{at.intercept + step.intercept, at.slope + step.slope};
      if (next.slope > 0.0) {
        const auto there = SumsAt<Slopes, kWeighted>(sample, spread, next);
        // Near the top slopes are more exact than values.
        const auto steep = [](const PlaceSums& each) {
          return std::max(std::abs(each.by_intercept), std::abs(each.by_slope));
        };
        if (there.value > sums.value || steep(there) < steep(sums)) {
          at = next;
          sums = there;
          moved = true;
        }
      }
      step = {0.5 * step.intercept, 0.5 * step.slope};
    }
    if (!moved) break;
  }
  place.scale = spread.deviation / at.slope;
  place.location = spread.mean - at.intercept * place.scale;
  place.log_likelihood = sums.value - std::log(spread.deviation);
  return place;
}

// tolerance   of the mean slopes
Place FitPlace(Kernel kernel, const Weighted& sample, std::optional<Start>& start,
               double tolerance) {
  const auto spread = SpreadOf(sample);
  if (kernel == Kernel::Normal) {
    return {spread.mean, spread.deviation,
            -0.5 * std::log(2.0 * std::numbers::pi) - 0.5 - std::log(spread.deviation), 1};
  }
  if (!start) start = UsualStart(kernel);
  const bool weighted = !sample.weights.empty();
  if (kernel == Kernel::Logistic) {
    return weighted ? Climb<LogisticSlopes, true>(sample, spread, *start, tolerance)
                    : Climb<LogisticSlopes, false>(sample, spread, *start, tolerance);
  }
  return weighted ? Climb<ExtremeSlopes, true>(sample, spread, *start, tolerance)
                  : Climb<ExtremeSlopes, false>(sample, spread, *start, tolerance);
}

// Solves ln k - digamma(k) = s > 0.
double GammaShape(double s, int& steps) {
  double k = (3.0 - s + std::sqrt((s - 3.0) * (s - 3.0) + 24.0 * s)) / (12.0 * s);
  for (int step = 0; step < kMostSteps; ++step, ++steps) {
    const double change = (LogLessDigamma(k) - s) / TrigammaExcess(k);
    const double next = k * std::exp(std::clamp(change, -2.0, 2.0));
    const bool is_there = !(std::abs(next - k) > 1e-14 * k);
    if (std::isfinite(next)) k = next;
    if (is_there) break;
  }
  return k;
}

// Values are mean (1 + e): ln mean - mean ln x = mean of e - ln(1 + e), without loss where e is
// small.
template <class At>
double LogMeanLessMeanLog(std::size_t count, At at) {
  double sum = 0.0, weights = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    const auto [e, weight] = at(i);
    sum += weight * LessLog(e);
    weights += weight;
  }
  return sum / weights;
}

// ln of a gamma density, the mean over values with that ln mean less mean ln x, where the mean is
// (1 + more) times that of the law.
double GammaLikelihood(double k, double mean, double s, double more = 0.0) {
  return 0.5 * std::log(k / (2.0 * std::numbers::pi)) - StirlingRest(k) - std::log(mean) -
         (k - 1.0) * s - k * LessLog(more);
}

// A law with threshold, `gap` below the smallest value, at its other parameters' best.
struct Profile {
  Place place = {};              // gamma: shape and scale
  double log_likelihood = kNaN;  // mean
  double slope = kNaN;           // of that by ln gap
};

// Distances from the smallest value are d; y = ln(1 + d/gap) is ln(x - threshold) less ln gap, and
// keeps its digits where the gap is large.
class ProfileOfThreshold {
 public:
  ProfileOfThreshold(Kernel kernel, Weighted distances, double tolerance)
      : kernel_(kernel), d_(distances), tolerance_(tolerance), y_(distances.Count()) {
    for (std::size_t i = 0; i < d_.Count(); ++i) {
      weight_ += d_.WeightOf(i);
      mean_ += d_.WeightOf(i) * d_.values[i];
    }
    mean_ /= weight_;
  }

  Profile At(double gap, bool with_slope) {
    return kernel_ == Kernel::Gamma ? GammaAt(gap) : PlaceAt(gap, with_slope);
  }
  double SlopeAt(double gap) { return At(gap, true).slope; }
  int Steps() const { return steps_; }

 private:
  Profile PlaceAt(double gap, bool with_slope) {
    const double per = 1.0 / gap;
    double sum = 0.0;
    for (std::size_t i = 0; i < d_.Count(); ++i) {
      y_[i] = std::log1p(d_.values[i] * per);
      sum += d_.WeightOf(i) * y_[i];
    }
    Profile profile;
    profile.place = FitPlace(kernel_, {y_, d_.weights}, start_, tolerance_);
    steps_ += profile.place.steps;
    profile.log_likelihood = profile.place.log_likelihood - sum / weight_ - std::log(gap);
    if (with_slope) profile.slope = SlopeOf(profile.place, gap);
    profile.place.location += std::log(gap);
    return profile;
  }

  // Mean of -first q/scale - (1 - q), q = d/(gap + d).
  template <class Slopes>
  double SlopeOf(const Place& place, double gap) const {
    const double per = 1.0 / place.scale;
    double sum = 0.0;
    for (std::size_t i = 0; i < y_.size(); ++i) {
      const double q = d_.values[i] / (gap + d_.values[i]);
      const double first = Slopes::At((y_[i] - place.location) * per).first;
      sum += d_.WeightOf(i) * (-first * per * q - gap / (gap + d_.values[i]));
    }
    return sum / weight_;
  }
  double SlopeOf(const Place& place, double gap) const {
    if (kernel_ == Kernel::Normal) return SlopeOf<NormalSlopes>(place, gap);
    return kernel_ == Kernel::Logistic ? SlopeOf<LogisticSlopes>(place, gap)
                                       : SlopeOf<ExtremeSlopes>(place, gap);
  }

  Profile GammaAt(double gap) {
    const double mean = gap + mean_;
    const double s = LogMeanLessMeanLog(d_.Count(), [&](std::size_t i) {
      return std::pair((d_.values[i] - mean_) / mean, d_.WeightOf(i));
    });
    double inverse = 0.0;  // mean of gap/(x - threshold)
    for (std::size_t i = 0; i < d_.Count(); ++i)
      inverse += d_.WeightOf(i) * (gap / (gap + d_.values[i]));
    inverse /= weight_;
    Profile profile;
    const double k = GammaShape(s, steps_);
    profile.place = {k, mean / k, kNaN, 0};
    profile.log_likelihood = GammaLikelihood(k, mean, s);
    profile.slope = (k - 1.0) * inverse - k * gap / mean;
    return profile;
  }

  Kernel kernel_;
  Weighted d_;
  double tolerance_;
  double weight_ = 0.0, mean_ = 0.0;
  std::vector<double> y_;
  std::optional<Start> start_;
  int steps_ = 0;
};

struct Bracket {
  double low, high, log_likelihood;
};

constexpr int kGridSteps = 200;
double GridGap(int step, double range) {
  return range * std::pow(10.0, -4.0 + 6.0 * step / kGridSteps);
}

// Maxima inside the grid, the highest one first. rises_far: none, and the likelihood is greatest or
// still rises at the far end.
std::vector<Bracket> Maxima(ProfileOfThreshold& profile, double range, bool& rises_far) {
  std::array<double, kGridSteps + 1> values{};
  for (int i = 0; i <= kGridSteps; ++i)
    values[static_cast<std::size_t>(i)] = profile.At(GridGap(i, range), false).log_likelihood;
  std::vector<Bracket> found;
  for (int i = 1; i < kGridSteps; ++i) {
    const double* const at = &values[static_cast<std::size_t>(i)];
    if (at[0] > at[-1] && at[0] >= at[1])
      found.push_back({GridGap(i - 1, range), GridGap(i + 1, range), at[0]});
  }
  std::ranges::sort(found, std::ranges::greater(), &Bracket::log_likelihood);
  rises_far = values[kGridSteps] > values[kGridSteps - 1];
  return found;
}

// The gap at the maximum inside the bracket, which is widened where it was found on condensed data;
// NaN where there is none.
double MaximumIn(ProfileOfThreshold& profile, const Bracket& bracket) {
  constexpr double kWider = 1.072;
  double low = bracket.low, high = bracket.high;
  for (int i = 0; i < 4; ++i) {
    if (profile.SlopeAt(low) > 0.0 && profile.SlopeAt(high) < 0.0) {
      return Root([&](double gap) { return profile.SlopeAt(gap); }, low, high);
    }
    low /= kWider;
    high *= kWider;
  }
  return kNaN;
}

// From a gap uphill to the next maximum, to four digits; without one the farthest gap, or the one
// that is set where the likelihood has no bound.
double UphillFrom(ProfileOfThreshold& profile, double gap, double range, double nearest) {
  constexpr double kFactor = 1.5;
  double slope = profile.SlopeAt(gap);
  const double factor = slope > 0.0 ? kFactor : 1.0 / kFactor;
  for (;;) {
    if (gap > 100.0 * range) return gap;
    if (gap < 1e-4 * range) return nearest;
    const double next = gap * factor, there = profile.SlopeAt(next);
    if (std::isnan(there)) return kNaN;
    if ((there > 0.0) != (slope > 0.0)) {
      return Root([&](double each) { return profile.SlopeAt(each); }, std::min(gap, next),
                  std::max(gap, next), 1e-4);
    }
    gap = next;
    slope = there;
  }
}

// Sums over the sample at the parameters of a law, by location, scale and threshold; a gamma law's
// first is the shape, and an exponential law has none.
struct Derivatives {
  double log_likelihood = 0.0;
  std::array<double, 3> first{};
  LawCovariance second{};
};

template <class Slopes, class At>
Derivatives OfPlace(std::size_t count, double scale, At at) {
  Derivatives sums;
  auto& g = sums.first;
  auto& h = sums.second;
  for (std::size_t i = 0; i < count; ++i) {
    // dy/dthreshold is -r, and the density has a factor r.
    const auto [z, log_factor, r] = at(i);
    const auto slopes = Slopes::At(z);
    const double one = slopes.first, two = slopes.second;
    sums.log_likelihood += slopes.log_density + log_factor;
    g[0] -= one;
    g[1] -= 1.0 + z * one;
    h[0][0] += two;
    h[0][1] += one + z * two;
    h[1][1] += 1.0 + 2.0 * z * one + z * z * two;
    if (r == 0.0) continue;
    g[2] += r * (1.0 - one / scale);
    h[0][2] += two * r;
    h[1][2] += (one + z * two) * r;
    h[2][2] += r * r * (two / (scale * scale) - one / scale + 1.0);
  }
  sums.log_likelihood -= static_cast<double>(count) * std::log(scale);
  const double square = scale * scale;
  for (const std::size_t i : {0U, 1U}) {
    g[i] /= scale;
    h[0][i] /= square;
    h[i][2] /= square;
  }
  h[1][1] /= square;
  return sums;
}

Derivatives OfGamma(const LawSample& sample, const FittedLaw& law) {
  const double k = law.Location(), scale = law.Scale(), threshold = law.Threshold();
  const auto n = static_cast<double>(sample.Count());
  const double gap = sample.Smallest() - threshold;
  const double mean = sample.Mean() - threshold;
  const bool estimated = FamilyOf(law.Kind()).has_threshold;
  double r = 0.0, r2 = 0.0;
  const auto& distances = sample.Distances();
  const double s = LogMeanLessMeanLog(distances.size(), [&](std::size_t i) {
    const double x = gap + distances[i];
    if (estimated) {
      r += 1.0 / x;
      r2 += 1.0 / (x * x);
    }
    return std::pair((x - mean) / mean, 1.0);
  });
  Derivatives sums;
  sums.log_likelihood = n * GammaLikelihood(k, mean, s, (mean / scale - k) / k);
  sums.first = {n * (LogLessDigamma(k) - s + std::log(mean / (k * scale))),
                n * (mean / scale - k) / scale, estimated ? n / scale - (k - 1.0) * r : 0.0};
  auto& h = sums.second;
  h[0][0] = -n * Trigamma(k);
  h[0][1] = -n / scale;
  h[1][1] = n * (k - 2.0 * mean / scale) / (scale * scale);
  if (!estimated) return sums;
  h[0][2] = -r;
  h[1][2] = -n / (scale * scale);
  h[2][2] = -(k - 1.0) * r2;
  return sums;
}

struct Term {
  double z, log_factor, r;
};

template <class Slopes>
Derivatives OfPlace(const LawSample& sample, const FittedLaw& law) {
  const auto& family = FamilyOf(law.Kind());
  const auto& values = sample.Values();
  const double location = law.Location(), per = 1.0 / law.Scale();
  const auto made = [&](auto at) { return OfPlace<Slopes>(values.size(), law.Scale(), at); };
  if (family.scale == LawScale::Plain) {
    return made([&](std::size_t i) { return Term{(values[i] - location) * per, 0.0, 0.0}; });
  }
  if (family.scale == LawScale::Mirrored) {
    auto sums = made([&](std::size_t i) { return Term{(location - values[i]) * per, 0.0, 0.0}; });
    sums.first[0] = -sums.first[0];
    sums.second[0][1] = -sums.second[0][1];
    return sums;
  }
  if (!family.has_threshold) {
    const auto& logs = sample.Logarithms();
    return made([&](std::size_t i) { return Term{(logs[i] - location) * per, -logs[i], 0.0}; });
  }
  const auto& distances = sample.Distances();
  const double gap = sample.Smallest() - law.Threshold(), log_gap = std::log(gap);
  return made([&](std::size_t i) {
    const double y = std::log1p(distances[i] / gap);
    return Term{(y - (location - log_gap)) * per, -(y + log_gap), 1.0 / (gap + distances[i])};
  });
}

Derivatives DerivativesAt(const LawSample& sample, const FittedLaw& law) {
  const auto& family = FamilyOf(law.Kind());
  switch (family.kernel) {
    case Kernel::Normal:
      return OfPlace<NormalSlopes>(sample, law);
    case Kernel::Logistic:
      return OfPlace<LogisticSlopes>(sample, law);
    case Kernel::SmallestExtreme:
      return OfPlace<ExtremeSlopes>(sample, law);
    case Kernel::Gamma:
      return OfGamma(sample, law);
    case Kernel::Exponential:
      break;
  }
  Derivatives sums;
  const auto n = static_cast<double>(sample.Count());
  const double scale = law.Scale();
  const double mean = sample.Mean() - law.Threshold();
  sums.log_likelihood = -n * (std::log(scale) + mean / scale);
  sums.first = {0.0, n * (mean / scale - 1.0) / scale, 0.0};
  sums.second[1][1] = n * (1.0 - 2.0 * mean / scale) / (scale * scale);
  return sums;
}

bool Supports(const LawSample& sample, Law kind) {
  const auto& family = FamilyOf(kind);
  if (family.has_threshold) return true;
  if (family.kernel == Kernel::Exponential) return sample.Smallest() >= 0.0;
  const bool above_zero = family.kernel == Kernel::Gamma || family.scale == LawScale::Log;
  return !above_zero || sample.Smallest() > 0.0;
}

// By how much more than themselves roundings of the parameters move the slopes.
double ConditionOf(const LawSample& sample, const FittedLaw& law, double gap) {
  const auto& family = FamilyOf(law.Kind());
  const double lowest = sample.Smallest(), highest = sample.Values().back();
  const double far = std::max(std::abs(lowest), std::abs(highest));
  const double of_gap = family.has_threshold ? far / gap : 0.0;
  if (family.kernel == Kernel::Gamma) return law.Location() * (1.0 + of_gap);
  if (family.scale != LawScale::Log) return far / law.Scale();
  const double per = 1.0 / law.Scale();
  if (family.has_threshold) return (of_gap + std::abs(law.Location())) * per * std::max(1.0, per);
  return std::max(std::abs(std::log(lowest)), std::abs(std::log(highest))) * per;
}

// Likelihood and slopes of the mean by each parameter in its own scale.
void Judge(const LawSample& sample, const FittedLaw& law, bool threshold_is_set, LawFit& fit) {
  const auto sums = DerivativesAt(sample, law);
  const auto n = static_cast<double>(sample.Count());
  fit.log_likelihood = sums.log_likelihood;
  const bool is_gamma = FamilyOf(law.Kind()).kernel == Kernel::Gamma;
  const double gap = sample.Smallest() - law.Threshold();
  const double scales[3] = {is_gamma ? law.Location() : law.Scale(), law.Scale(),
                            std::min(gap, std::sqrt(sample.Squares() / n))};
  fit.gradient = 0.0;
  for (std::size_t i = 0; i < (threshold_is_set ? 2U : 3U); ++i)
    fit.gradient = std::max(fit.gradient, std::abs(sums.first[i] * scales[i] / n));
  const bool is_closed_form =
      FamilyOf(law.Kind()).kernel == Kernel::Normal && !FamilyOf(law.Kind()).has_threshold;
  constexpr double kRounding = 4.0 * std::numeric_limits<double>::epsilon();
  const double least = std::max(kConvergedSlope, kRounding * ConditionOf(sample, law, gap));
  if (!is_closed_form && !(fit.gradient < least)) fit.outcome = LawOutcome::NotConverged;
}

constexpr double kTight = 1e-14;

LawFit FitWithThreshold(const LawSample& sample, Law kind, const LawFitOptions& options) {
  const auto kernel = FamilyOf(kind).kernel;
  LawFit fit{LawOutcome::NotConverged, FittedLaw(kind, kNaN, kNaN, kNaN)};
  const double range = sample.Range(), smallest = sample.Smallest();
  ProfileOfThreshold full(kernel, {sample.Distances()}, options.start == nullptr ? kTight : 1e-8);
  double gap = kNaN;
  bool rises_far = false;
  if (options.start != nullptr) {
    gap = UphillFrom(full,
                     std::clamp(smallest - options.start->Threshold(), 2e-4 * range, 50.0 * range),
                     range, range / static_cast<double>(sample.Count()));
  } else {
    const auto search = [&](const LawSample::Cells& cells) {
      ProfileOfThreshold rough(kernel, {cells.distances, cells.weights}, 1e-10);
      const auto maxima = Maxima(rough, range, rises_far);
      fit.iterations += rough.Steps();
      for (const auto& bracket : maxima) {
        gap = MaximumIn(full, bracket);
        if (!std::isnan(gap)) return;
      }
    };
    search(sample.Condensed());
    // What condensed data promised may not hold for all of them.
    if (std::isnan(gap) && sample.Condensed().weights.size() < sample.Different()) {
      search({sample.Distances(), std::vector<double>(sample.Count(), 1.0)});
    }
  }
  fit.outcome = LawOutcome::Fitted;
  if (std::isnan(gap)) {
    if (options.start != nullptr) {
      fit.outcome = LawOutcome::NotConverged;
      return fit;
    }
    if (rises_far) {
      fit.outcome = LawOutcome::NoThreshold;
      return fit;
    }
    fit.outcome = LawOutcome::ThresholdSet;
    gap = range / static_cast<double>(sample.Count());
  }
  const auto best = full.At(gap, false).place;
  fit.iterations += full.Steps();
  fit.law = FittedLaw(kind, best.location, best.scale, smallest - gap);
  if (options.start == nullptr)
    Judge(sample, fit.law, fit.outcome == LawOutcome::ThresholdSet, fit);
  return fit;
}

LawFit FitExponential(const LawSample& sample, Law kind) {
  LawFit fit{LawOutcome::Fitted, FittedLaw(kind, 0.0, sample.Mean()), kNaN, 0.0, 1};
  const auto n = static_cast<double>(sample.Count());
  double scale = sample.Mean();
  if (kind == Law::Exponential2) {
    scale -= sample.Smallest();
    fit.law = FittedLaw(kind, 0.0, scale, sample.Smallest() - scale / n);
  }
  fit.log_likelihood = -n * (std::log(scale) + 1.0);
  if (!(scale > 0.0)) fit.outcome = LawOutcome::NotConverged;
  return fit;
}

}  // namespace

LawFit FitLaw(const LawSample& sample, Law kind, const LawFitOptions& options) {
  const auto& family = FamilyOf(kind);
  LawFit none{LawOutcome::NotSupported, FittedLaw(kind, kNaN, kNaN, kNaN)};
  if (!Supports(sample, kind)) return none;
  if (!(sample.Range() > 0.0) || !std::isfinite(sample.Range())) {
    none.outcome = LawOutcome::NotConverged;
    return none;
  }
  if (family.kernel == Kernel::Exponential) return FitExponential(sample, kind);
  if (family.has_threshold) return FitWithThreshold(sample, kind, options);

  LawFit fit{LawOutcome::Fitted, FittedLaw(kind, kNaN, kNaN)};
  if (family.kernel == Kernel::Gamma) {
    const double mean = sample.Mean();
    const double s = LogMeanLessMeanLog(sample.Count(), [&](std::size_t i) {
      return std::pair((sample.Values()[i] - mean) / mean, 1.0);
    });
    const double k = GammaShape(s, fit.iterations);
    fit.law = FittedLaw(kind, k, mean / k);
    Judge(sample, fit.law, false, fit);
    return fit;
  }
  const auto& values = family.scale == LawScale::Log ? sample.Logarithms() : sample.Values();
  std::vector<double> mirrored;
  if (family.scale == LawScale::Mirrored) {
    mirrored.assign(values.size(), 0.0);
    std::ranges::transform(values, mirrored.begin(), std::negate<>());
  }
  std::optional<Start> start;
  const auto place = FitPlace(family.kernel, {mirrored.empty() ? values : mirrored}, start, kTight);
  fit.iterations = place.steps;
  const bool is_mirrored = family.scale == LawScale::Mirrored;
  fit.law = FittedLaw(kind, is_mirrored ? -place.location : place.location, place.scale);
  Judge(sample, fit.law, false, fit);
  const bool divides_by_n_minus_1 =
      kind == Law::Normal || (kind == Law::Lognormal && options.lognormal_n_minus_1);
  if (divides_by_n_minus_1) {
    const auto n = static_cast<double>(sample.Count());
    fit.law = FittedLaw(kind, place.location, place.scale * std::sqrt(n / (n - 1.0)));
  }
  return fit;
}

LawCovariance CovarianceOf(const LawSample& sample, const LawFit& fit) {
  LawCovariance covariance{};
  const auto& law = fit.law;
  const auto n = static_cast<double>(sample.Count());
  const auto& family = FamilyOf(law.Kind());
  if (law.Kind() == Law::Normal) {
    covariance[0][0] = law.Scale() * law.Scale() / n;
    covariance[1][1] = 0.5 * covariance[0][0];
    return covariance;
  }
  if (family.kernel == Kernel::Exponential) {
    // The smallest value is exponential with scale/N above the threshold, whatever the rest.
    const double variance = law.Scale() * law.Scale() / n;
    covariance[1][1] = variance;
    if (!family.has_threshold) return covariance;
    covariance[2][2] = variance / n + variance / (n * n);
    covariance[1][2] = covariance[2][1] = -variance / n;
    return covariance;
  }
  if (law.Kind() == Law::Gamma) {
    const double k = law.Location(), scale = law.Scale(), excess = TrigammaExcess(k);
    covariance[0][0] = k / (n * excess);
    covariance[0][1] = covariance[1][0] = -scale / (n * excess);
    covariance[1][1] = scale * scale * (1.0 + excess) / (k * n * excess);
    return covariance;
  }
  auto information = DerivativesAt(sample, law).second;
  const std::size_t size = family.has_threshold && fit.outcome == LawOutcome::Fitted ? 3 : 2;
  // Cholesky, then the inverse by columns.
  LawCovariance root{};
  for (std::size_t i = 0; i < size; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      double sum = -information[j][i];
      for (std::size_t k = 0; k < j; ++k) sum -= root[i][k] * root[j][k];
      if (i == j && !(sum > 0.0)) {
        for (auto& row : covariance) row.fill(kNaN);
        return covariance;
      }
      root[i][j] = i == j ? std::sqrt(sum) : sum / root[j][j];
    }
  }
  for (std::size_t column = 0; column < size; ++column) {
    std::array<double, 3> x{};
    for (std::size_t i = 0; i < size; ++i) {
      double sum = i == column ? 1.0 : 0.0;
      for (std::size_t k = 0; k < i; ++k) sum -= root[i][k] * x[k];
      x[i] = sum / root[i][i];
    }
    for (std::size_t i = size; i-- > 0;) {
      double sum = x[i];
      for (std::size_t k = i + 1; k < size; ++k) sum -= root[k][i] * x[k];
      x[i] = sum / root[i][i];
      covariance[i][column] = x[i];
    }
  }
  return covariance;
}

// Box-Cox.

namespace {

// Variance of (exp(lambda u) - 1)/lambda and half of its logarithm's slope, u = ln x less its mean.
struct Transformed {
  double variance, slope;
};

Transformed TransformedAt(std::span<const double> u, double lambda) {
  const auto n = static_cast<double>(u.size());
  double w_sum = 0.0, w2 = 0.0, v_sum = 0.0, wv = 0.0;
  for (const double each : u) {
    const double t = lambda * each;
    double w = 0.0, v = 0.0;  // v: dw/dlambda
    if (std::abs(t) < 0.01) {
      w = each *
          (1.0 + t / 2.0 * (1.0 + t / 3.0 * (1.0 + t / 4.0 * (1.0 + t / 5.0 * (1.0 + t / 6.0)))));
      v = each * each *
          (0.5 + t * (1.0 / 3.0 + t * (0.125 + t * (1.0 / 30.0 + t * (1.0 / 144.0 + t / 840.0)))));
    } else {
      const double more = std::expm1(t);
      w = more / lambda;
      v = (each * (more + 1.0) - w) / lambda;
    }
    w_sum += w;
    w2 += w * w;
    v_sum += v;
    wv += w * v;
  }
  const double variance = w2 / n - w_sum * w_sum / (n * n);
  return {variance, (wv / n - w_sum * v_sum / (n * n)) / variance};
}

// ln(x/centre), of values next to the centre too.
double LogRatio(double x, double centre) {
  const double more = (x - centre) / centre;
  return std::abs(more) < 0.5 ? std::log1p(more) : std::log(x) - std::log(centre);
}

std::vector<double> CentredLogarithms(const LawSample& sample, double& mean) {
  const double centre = std::exp(SpreadOf({sample.Logarithms()}).mean);
  std::vector<double> u(sample.Count());
  for (std::size_t i = 0; i < u.size(); ++i) u[i] = LogRatio(sample.Values()[i], centre);
  const double rest = SpreadOf({u}).mean;
  for (auto& each : u) each -= rest;
  mean = std::log(centre) + rest;
  return u;
}

double LikelihoodOf(double variance, double mean_log, double n) {
  return -0.5 * n * (std::log(2.0 * std::numbers::pi) + 1.0 + std::log(variance)) - n * mean_log;
}

}  // namespace

BoxCoxFit FitBoxCox(const LawSample& sample) {
  constexpr double kFarthest = 5.0;
  BoxCoxFit fit;
  if (!(sample.Smallest() > 0.0) || !(sample.Range() > 0.0)) return fit;
  double mean_log = 0.0;
  const auto u = CentredLogarithms(sample, mean_log);
  const auto n = static_cast<double>(u.size());
  const auto slope = [&](double lambda) { return -TransformedAt(u, lambda).slope; };
  double best = kInfinity;
  const auto take = [&](double lambda, bool at_edge) {
    const double variance = TransformedAt(u, lambda).variance;
    if (!(variance > 0.0 && variance < best)) return;
    best = variance;
    fit = {lambda, at_edge, LikelihoodOf(variance, mean_log, n)};
  };
  double before = slope(-kFarthest);
  if (before < 0.0) take(-kFarthest, true);
  for (double low = -kFarthest; low < kFarthest; low += 1.0) {
    const double there = slope(low + 1.0);
    if (before > 0.0 && there <= 0.0) take(Root(slope, low, low + 1.0, 1e-12), false);
    before = there;
  }
  if (before > 0.0) take(kFarthest, true);
  return fit;
}

double BoxCox(double x, double lambda, double centre) {
  if (!(x > 0.0)) return kNaN;
  const double ratio = LogRatio(x, centre);
  return lambda == 0.0 ? ratio : std::expm1(lambda * ratio) / lambda;
}

double InverseBoxCox(double y, double lambda, double centre) {
  if (lambda == 0.0) return centre * std::exp(y);
  const double power = lambda * y;
  return power > -1.0 ? centre * std::exp(std::log1p(power) / lambda) : kNaN;
}

double BoxCoxLogLikelihood(const LawSample& sample, double lambda) {
  double mean_log = 0.0;
  const auto u = CentredLogarithms(sample, mean_log);
  return LikelihoodOf(TransformedAt(u, lambda).variance, mean_log, static_cast<double>(u.size()));
}

}  // namespace orvspc::engine::statistics
