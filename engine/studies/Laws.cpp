// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Laws.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <optional>

#include "engine/capability/JohnsonChoice.h"
#include "engine/statistics/Distributions.h"
#include "engine/statistics/Johnson.h"
#include "engine/statistics/Laws.h"
#include "engine/statistics/Moments.h"
#include "engine/statistics/Numerics.h"
#include "engine/studies/study_notes.h"

namespace orvspc::studies {

using namespace engine;
using statistics::FittedLaw;
using statistics::LawOutcome;
using statistics::LawSample;
using statistics::LogTails;

namespace {

using platform::kNaN;

constexpr double kLowShare = 0.00135, kHighShare = 0.99865;
constexpr double kLeastChoiceP = 0.05;
constexpr std::size_t kLeastOfTest = 8, kMostSimulated = 50'000;
constexpr std::int64_t kMostDrawn = 5'000'000, kLeastDraws = 99;

constexpr const char* kWords[] = {
    "normal",      "lognormal",     "lognormal-3",     "weibull",          "weibull-3",
    "gamma",       "gamma-3",       "exponential",     "exponential-2",    "logistic",
    "loglogistic", "loglogistic-3", "largest-extreme", "smallest-extreme", "box-cox",
    "johnson"};

bool IsLikelihoodLaw(Law law) { return static_cast<std::size_t>(law) < kLikelihoodLaws; }

// A law that has its parameters, whichever it is.
struct Curve {
  std::function<LogTails(double)> tails;
  std::function<double(double)> quantile;    // of a share below
  std::function<double(double)> across, up;  // places in a probability plot
};

// Values are normal after the transform.
Curve TransformedCurve(const std::function<double(double)>& transform,
                       const std::function<double(double)>& back, double mean, double sd) {
  const FittedLaw normal(Law::Normal, mean, sd);
  return {[=](double x) {
            const double y = transform(x);
            return std::isnan(y) ? LogTails{-INFINITY, 0.0} : normal.TailsAt(y);
          },
          [=](double share) { return back(normal.Quantile(share)); }, transform,
          [=](double share) { return statistics::NormalQuantile(share); }};
}

Curve CurveOf(const FittedLaw& law) {
  return {[=](double x) { return law.TailsAt(x); },
          [=](double share) { return law.Quantile(share); },
          [=](double x) { return law.ScaleOfValue(x); },
          [=](double share) { return law.ScaleOfShare(share); }};
}

// Of values over their median, which the transform turns into 0.
struct BoxCoxLaw {
  double lambda, median, sd;
};

Curve CurveOf(const BoxCoxLaw& law) {
  return TransformedCurve(
      [=](double x) { return statistics::BoxCox(x, law.lambda, law.median); },
      [=](double y) { return statistics::InverseBoxCox(y, law.lambda, law.median); }, 0.0, law.sd);
}

BoxCoxLaw BoxCoxOf(const LawFigures& figures) {
  const double lambda = figures.parameters[0].value, sd = figures.parameters[2].value;
  return {lambda, figures.centre, sd / std::pow(figures.centre, lambda)};
}

Curve CurveOf(const statistics::JohnsonCurve& curve) {
  return TransformedCurve([=](double x) { return curve.Score(x); },
                          [=](double z) { return curve.AtScore(z); }, 0.0, 1.0);
}

constexpr std::pair<const char*, statistics::JohnsonFamily> kJohnsonWords[] = {
    {"SU", statistics::JohnsonFamily::Unbounded},
    {"SB", statistics::JohnsonFamily::Bounded},
    {"SL", statistics::JohnsonFamily::Lognormal}};

std::vector<double> ValuesOf(const LawFigures& figures) {
  std::vector<double> values;
  for (const auto& parameter : figures.parameters) values.push_back(parameter.value);
  return values;
}

statistics::JohnsonCurve JohnsonOf(const LawFigures& figures) {
  const auto values = ValuesOf(figures);
  auto family = statistics::JohnsonFamily::Lognormal;
  for (const auto& [word, each] : kJohnsonWords)
    if (figures.curve == word) family = each;
  return statistics::JohnsonCurve({family, values[0], values[1], values[2], values[3]});
}

Curve CurveOf(const LawFigures& figures) {
  const auto values = ValuesOf(figures);
  if (IsLikelihoodLaw(figures.law)) return CurveOf(FittedLaw::Of(figures.law, values));
  if (figures.law == Law::BoxCox) return CurveOf(BoxCoxOf(figures));
  return CurveOf(JohnsonOf(figures));
}

QuantileIndices IndicesOf(double low, double median, double high, double lsl, double usl) {
  const auto ratio = [](double limits, double reach) {
    return reach > 0.0 && std::isfinite(limits) ? limits / reach : kNaN;
  };
  QuantileIndices indices{ratio(usl - lsl, high - low), kNaN, ratio(usl - median, high - median),
                          ratio(median - lsl, median - low)};
  // The lesser of those that exist.
  indices.ppk = std::isnan(indices.ppu)   ? indices.ppl
                : std::isnan(indices.ppl) ? indices.ppu
                                          : std::min(indices.ppu, indices.ppl);
  return indices;
}

void AddIndices(const Curve& curve, const SpecificationLimits& limits, LawFigures& figures) {
  figures.low.value = curve.quantile(kLowShare);
  figures.median.value = curve.quantile(0.5);
  figures.high.value = curve.quantile(kHighShare);
  figures.indices = IndicesOf(figures.low.value, figures.median.value, figures.high.value,
                              limits.lower, limits.upper);
  if (figures.law == Law::BoxCox) {
    const double reach = 3.0 * BoxCoxOf(figures).sd;
    figures.indices =
        IndicesOf(-reach, 0.0, reach, curve.across(limits.lower), curve.across(limits.upper));
  }
  if (std::isfinite(limits.lower))
    figures.ppm_below = 1e6 * std::exp(curve.tails(limits.lower).below);
  if (std::isfinite(limits.upper))
    figures.ppm_above = 1e6 * std::exp(curve.tails(limits.upper).above);
}

void SetParameters(Law law, std::span<const double> values, LawFigures& figures) {
  static constexpr const char* kBoxCox[] = {"lambda", "mean", "sd"};
  static constexpr const char* kJohnson[] = {"gamma", "delta", "xi", "lambda"};
  for (std::size_t i = 0; i < values.size(); ++i) {
    figures.parameters.push_back(
        {std::string(IsLikelihoodLaw(law) ? statistics::FamilyOf(law).names[i]
                     : law == Law::BoxCox ? kBoxCox[i]
                                          : kJohnson[i]),
         values[i]});
  }
}

void SetLikelihood(double log_likelihood, std::size_t parameters, LawFigures& figures) {
  figures.log_likelihood = log_likelihood;
  figures.aic = 2.0 * static_cast<double>(parameters) - 2.0 * log_likelihood;
}

// One law while it is studied.
struct Work {
  const LawSample& sample;
  const LawOptions& options;
  std::vector<Note>& notes;

  std::size_t Count() const { return sample.Count(); }
  void Say(const char* code, Law law, const std::string& text) const {
    notes.push_back({code, std::string(WordOf(law)) + ": " + text, {}});
  }
  // The standard error of a quantile goes z times to either side.
  double BandWidth() const { return -statistics::NormalQuantile(0.5 * (1.0 - options.level)); }
};

struct Fitted {
  LawFigures figures;
  std::optional<Curve> curve;
  std::function<double(double)> error;  // standard error of the quantile of a share; none: empty
  std::function<std::vector<double>(statistics::Draws&)> draw;  // a sample of the law
  // A2 of a sample after a fit of its own; NaN where it has none.
  std::function<double(std::vector<double>)> refitted;
};

// A gamma value by the ratio of Marsaglia and Tsang.
double GammaDraw(statistics::Draws& draws, double shape) {
  const double more = shape < 1.0 ? shape + 1.0 : shape;
  const double d = more - 1.0 / 3.0, c = 1.0 / std::sqrt(9.0 * d);
  for (;;) {
    const double z = draws.Normal(), base = 1.0 + c * z;
    if (base <= 0.0) continue;
    const double v = base * base * base, u = draws.Uniform();
    if (u > 0.0 && std::log(u) < 0.5 * z * z + d - d * v + d * std::log(v)) {
      double boost = 1.0;
      if (shape < 1.0) {
        double share = 0.0;
        while (share == 0.0) share = draws.Uniform();
        boost = std::pow(share, 1.0 / shape);
      }
      return d * v * boost;
    }
  }
}

std::vector<double> DrawOf(const FittedLaw& law, std::size_t count, statistics::Draws& draws) {
  std::vector<double> values(count);
  const bool is_gamma = statistics::FamilyOf(law.Kind()).kernel == statistics::Kernel::Gamma;
  for (auto& value : values) {
    if (is_gamma) {
      value = law.Threshold() + law.Scale() * GammaDraw(draws, law.Location());
      continue;
    }
    double share = 0.0;
    while (share == 0.0) share = draws.Uniform();
    value = law.Quantile(share);
  }
  return values;
}

std::string Outcome(LawOutcome outcome) {
  switch (outcome) {
    case LawOutcome::NotSupported:
      return "a value lies outside of this law, which has none of 0 or less.";
    case LawOutcome::NoThreshold:
      return "no threshold, use the law without.";
    case LawOutcome::ThresholdSet:
      return "the likelihood has no maximum inside; the threshold is the smallest value less "
             "range/N.";
    default:
      return "the fit did not converge.";
  }
}

void FitLikelihoodLaw(const Work& work, Law law, Fitted& to) {
  const auto kind = law;
  const statistics::LawFitOptions how{work.options.lognormal_n_minus_1, nullptr};
  const auto fit = statistics::FitLaw(work.sample, kind, how);
  to.figures.iterations = fit.iterations;
  if (fit.outcome != LawOutcome::Fitted) {
    static constexpr std::pair<LawOutcome, const char*> kCodes[] = {
        {LawOutcome::NotSupported, "not-supported"},
        {LawOutcome::NoThreshold, "no-threshold"},
        {LawOutcome::ThresholdSet, "threshold-set"},
        {LawOutcome::NotConverged, "not-converged"}};
    for (const auto& [outcome, code] : kCodes)
      if (outcome == fit.outcome) work.Say(code, law, Outcome(outcome));
  }
  if (!fit.Exists()) return;
  to.figures.converged = true;
  SetParameters(law, fit.law.Parameters(), to.figures);
  SetLikelihood(fit.log_likelihood, statistics::FamilyOf(kind).parameters, to.figures);
  to.curve = CurveOf(fit.law);
  to.error = [law = fit.law, covariance = statistics::CovarianceOf(work.sample, fit)](
                 double share) { return law.QuantileError(covariance, share); };
  if (fit.outcome == LawOutcome::ThresholdSet) return;
  to.draw = [law = fit.law, count = work.Count()](statistics::Draws& draws) {
    return DrawOf(law, count, draws);
  };
  to.refitted = [law = fit.law, how](std::vector<double> values) {
    const LawSample sample(std::move(values));
    auto again = how;
    again.start = &law;
    const auto fitted = statistics::FitLaw(sample, law.Kind(), again);
    return fitted.Exists() ? statistics::AndersonDarling(sample, fitted.law) : kNaN;
  };
}

// transformed   over the median of the law
std::optional<BoxCoxLaw> FitBoxCox(const LawSample& sample, bool round, bool& at_edge,
                                   std::vector<double>& transformed) {
  const auto fit = statistics::FitBoxCox(sample);
  if (std::isnan(fit.lambda)) return std::nullopt;
  at_edge = fit.at_edge;
  const double lambda = round ? std::round(2.0 * fit.lambda) / 2.0 : fit.lambda;
  const double inside = sample.Values()[sample.Count() / 2];
  transformed.resize(sample.Count());
  for (std::size_t i = 0; i < transformed.size(); ++i)
    transformed[i] = statistics::BoxCox(sample.Values()[i], lambda, inside);
  const double mean = statistics::Mean(transformed);
  for (auto& each : transformed) each = (each - mean) / (1.0 + lambda * mean);
  return BoxCoxLaw{lambda, statistics::InverseBoxCox(mean, lambda, inside),
                   statistics::SampleStandardDeviation(transformed)};
}

// The parameters are those of the values' own transform.
void SetBoxCox(const BoxCoxLaw& law, LawFigures& figures) {
  const double values[] = {law.lambda, statistics::BoxCox(law.median, law.lambda),
                           law.sd * std::pow(law.median, law.lambda)};
  SetParameters(Law::BoxCox, values, figures);
  figures.centre = law.median;
}

double NormalStatistic(std::vector<double> transformed, double mean, double sd) {
  return statistics::AndersonDarling(LawSample(std::move(transformed)),
                                     FittedLaw(Law::Normal, mean, sd));
}

void StudyBoxCox(const Work& work, Fitted& to) {
  if (!(work.sample.Smallest() > 0.0)) {
    work.Say("not-supported", Law::BoxCox, Outcome(LawOutcome::NotSupported));
    return;
  }
  bool at_edge = false;
  std::vector<double> transformed;
  const auto fit = FitBoxCox(work.sample, work.options.round_lambda, at_edge, transformed);
  if (!fit || !(fit->sd > 0.0)) {
    work.Say("not-converged", Law::BoxCox, Outcome(LawOutcome::NotConverged));
    return;
  }
  if (at_edge) work.Say("lambda-at-edge", Law::BoxCox, "lambda lies at the end of -5 to 5.");
  to.figures.converged = !at_edge;
  SetBoxCox(*fit, to.figures);
  SetLikelihood(statistics::BoxCoxLogLikelihood(work.sample, fit->lambda), 3, to.figures);
  to.curve = CurveOf(*fit);
  to.figures.ad = NormalStatistic(transformed, 0.0, fit->sd);
  for (const double limit : {work.options.limits.lower, work.options.limits.upper}) {
    if (limit <= 0.0) {
      work.Say("limit-not-transformed", Law::BoxCox,
               "a limit of 0 or less has no transform and does not count.");
    }
  }
  to.draw = [fit = *fit, count = work.Count()](statistics::Draws& draws) {
    std::vector<double> drawn(count);
    for (auto& value : drawn) {
      do {
        value = statistics::InverseBoxCox(fit.sd * draws.Normal(), fit.lambda, fit.median);
      } while (!(value > 0.0) || !std::isfinite(value));
    }
    return drawn;
  };
  to.refitted = [round = work.options.round_lambda](std::vector<double> drawn) {
    const LawSample sample(std::move(drawn));
    bool edge = false;
    std::vector<double> again;
    const auto refit = FitBoxCox(sample, round, edge, again);
    return refit ? NormalStatistic(std::move(again), 0.0, refit->sd) : kNaN;
  };
}

capability::JohnsonChoice ChooseJohnson(const LawSample& sample) {
  statistics::Sample values;
  values.Add(sample.Values());
  return capability::ChooseJohnson(values, capability::CentreOf(values));
}

void StudyJohnson(const Work& work, Fitted& to) {
  const auto chosen = ChooseJohnson(work.sample);
  if (!chosen.curve) {
    work.Say(chosen.normal_serves ? "johnson-normal" : "johnson-none", Law::Johnson,
             chosen.normal_serves ? "a normal distribution describes the values."
                                  : "no Johnson curve fits.");
    return;
  }
  const auto& curve = *chosen.curve;
  const auto& of = curve.Parameters();
  for (const auto& [word, family] : kJohnsonWords)
    if (family == of.family) to.figures.curve = word;
  const double values[] = {of.gamma, of.delta, of.xi, of.lambda};
  SetParameters(Law::Johnson, values, to.figures);
  to.figures.converged = true;
  double log_likelihood = 0.0;
  for (const double x : work.sample.Values()) {
    const double z = curve.Score(x);
    log_likelihood +=
        -0.5 * z * z - 0.5 * std::log(2.0 * std::numbers::pi) + std::log(curve.Slope(x));
  }
  SetLikelihood(log_likelihood, static_cast<std::size_t>(curve.FittedParameters()), to.figures);
  to.curve = CurveOf(curve);
  const auto statistic = [](const LawSample& sample, const statistics::JohnsonCurve& of_sample) {
    std::vector<double> scores;
    for (const double x : sample.Values()) scores.push_back(of_sample.Score(x));
    return NormalStatistic(std::move(scores), 0.0, 1.0);
  };
  to.figures.ad = statistic(work.sample, curve);
  to.draw = [curve, count = work.Count()](statistics::Draws& draws) {
    std::vector<double> drawn(count);
    for (auto& value : drawn) value = curve.AtScore(draws.Normal());
    return drawn;
  };
  to.refitted = [statistic](std::vector<double> drawn) {
    const LawSample sample(std::move(drawn));
    const auto again = ChooseJohnson(sample);
    if (again.curve) return statistic(sample, *again.curve);
    if (!again.normal_serves) return kNaN;
    return statistics::AndersonDarling(sample, statistics::FitLaw(sample, Law::Normal).law);
  };
}

// The table of normal laws is that of deviations with divisor N - 1, also of logarithms.
FittedLaw LawOfTest(const Work& work, const LawFigures& figures) {
  auto parameters = ValuesOf(figures);
  if (figures.law == Law::Lognormal && !work.options.lognormal_n_minus_1) {
    const auto n = static_cast<double>(work.Count());
    parameters[1] *= std::sqrt(n / (n - 1.0));
  }
  return FittedLaw::Of(figures.law, parameters);
}

// P by the table of the law, or by samples of the law itself.
void AddTest(const Work& work, Fitted& to) {
  auto& figures = to.figures;
  if (work.Count() < kLeastOfTest) {
    figures.ad = kNaN;
    return;
  }
  if (IsLikelihoodLaw(figures.law)) {
    const auto kind = figures.law;
    figures.ad = statistics::AndersonDarling(work.sample, LawOfTest(work, figures));
    if (std::isinf(figures.ad)) {
      work.Say("endless-a2", kind,
               "a value lies where the law begins, with nothing below it, so A2 has no bound.");
    }
    if (statistics::HasTable(kind)) {
      const auto tail = statistics::AndersonDarlingP(kind, figures.ad, work.Count());
      figures.p = tail.p;
      figures.p_above = tail.above;
      figures.p_below = tail.below;
      figures.p_method = "table";
      return;
    }
  }
  if (!work.options.simulates || std::isnan(figures.ad)) return;
  if (!to.draw) {
    work.Say("no-p", figures.law, "there is no P of a law whose threshold was set.");
    return;
  }
  if (work.Count() > kMostSimulated) {
    work.Say("no-p", figures.law, "P is not simulated for more than 50,000 values.");
    return;
  }
  const auto most = kMostDrawn / static_cast<std::int64_t>(work.Count());
  figures.draws = std::max(kLeastDraws, std::min(work.options.draws, most));
  if (figures.draws < work.options.draws) {
    work.Say("fewer-draws", figures.law,
             "P comes of " + std::to_string(figures.draws) + " draws, because of many values.");
  }
  figures.p_method = "simulation";
  statistics::Draws draws(work.options.seed);
  std::int64_t greater = 0, failed = 0;
  for (std::int64_t i = 0; i < figures.draws; ++i) {
    const double a2 = to.refitted(to.draw(draws));
    if (std::isnan(a2)) {
      ++failed;
    } else if (a2 >= figures.ad) {
      ++greater;
    }
  }
  if (20 * failed > figures.draws) {
    work.Say("no-p", figures.law,
             std::to_string(failed) + " of " + std::to_string(figures.draws) +
                 " draws could not be fitted, so there is no P.");
    return;
  }
  figures.p = static_cast<double>(1 + greater) / static_cast<double>(figures.draws - failed + 1);
}

std::size_t ParametersOf(Law law) {
  if (law == Law::BoxCox) return 3;
  return law == Law::Johnson ? 4 : statistics::FamilyOf(law).parameters;
}

Interval Banded(double value, const Fitted& fitted, double share, const Work& work) {
  Interval interval{value, kNaN, kNaN, work.options.level, "observed information"};
  if (!fitted.error) {
    interval.method.clear();
    return interval;
  }
  const double half = work.BandWidth() * fitted.error(share);
  interval.lower = value - half;
  interval.upper = value + half;
  return interval;
}

Fitted StudyOne(const Work& work, Law law) {
  Fitted fitted;
  fitted.figures.law = law;
  const auto least = ParametersOf(law) + 3;
  if (work.Count() < least) {
    work.Say("too-few", law, std::to_string(least) + " values are needed.");
    return fitted;
  }
  if (law == Law::BoxCox) {
    StudyBoxCox(work, fitted);
  } else if (law == Law::Johnson) {
    StudyJohnson(work, fitted);
  } else {
    FitLikelihoodLaw(work, law, fitted);
  }
  if (!fitted.curve) return fitted;
  AddTest(work, fitted);
  AddIndices(*fitted.curve, work.options.limits, fitted.figures);
  auto& figures = fitted.figures;
  figures.low = Banded(figures.low.value, fitted, kLowShare, work);
  figures.median = Banded(figures.median.value, fitted, 0.5, work);
  figures.high = Banded(figures.high.value, fitted, kHighShare, work);
  return fitted;
}

// Ranks that a plot shows: all, or the outer ones and every so many between.
std::vector<std::size_t> ShownRanks(std::size_t count) {
  constexpr std::size_t kMost = 2000, kOuter = 500;
  std::vector<std::size_t> ranks;
  const auto inner = count > kMost ? (count - 2 * kOuter) / (kMost - 2 * kOuter) + 1 : 1;
  for (std::size_t i = 0; i < count;) {
    ranks.push_back(i);
    const bool is_outer = i < kOuter || i + kOuter >= count;
    i = is_outer ? i + 1 : std::min(i + inner, count - kOuter);
  }
  return ranks;
}

ProbabilityPlot PlotOf(const Work& work, const Fitted& fitted) {
  ProbabilityPlot plot;
  const auto n = static_cast<double>(work.Count());
  const double before = work.options.median_ranks ? 0.3 : 0.5;
  for (const auto rank : ShownRanks(work.Count())) {
    const double p = (static_cast<double>(rank) + 1.0 - before) / (n + 1.0 - 2.0 * before);
    const double fit = fitted.curve->quantile(p);
    const auto band = Banded(fit, fitted, p, work);
    plot.x.push_back(work.sample.Values()[rank]);
    plot.p.push_back(p);
    plot.fit.push_back(fit);
    plot.lower.push_back(band.lower);
    plot.upper.push_back(band.upper);
  }
  return plot;
}

// Greater P first, then lesser AIC; laws that were not fitted last.
bool GoesBefore(const LawFigures& a, const LawFigures& b) {
  if (a.Exists() != b.Exists()) return a.Exists();
  const auto p = [](const LawFigures& each) {
    const double known = each.ChoiceP();
    return std::isnan(known) ? -1.0 : known;
  };
  if (p(a) != p(b)) return p(a) > p(b);
  return a.aic < b.aic;
}

std::string JoinedWords(const std::vector<Law>& laws) {
  std::string text;
  for (const auto law : laws) text += (text.empty() ? "" : ", ") + std::string(WordOf(law));
  return text;
}

// The place of the chosen law, with a note on what else was tried.
std::size_t Choose(const std::vector<LawFigures>& laws, std::size_t count,
                   std::vector<Note>& notes) {
  const bool goes_by_p =
      count <= kMostSimulated && std::ranges::any_of(laws, [](const LawFigures& law) {
        return law.Exists() && !std::isnan(law.ChoiceP());
      });
  std::optional<std::size_t> best, best_of_all;
  std::vector<Law> serve;
  for (std::size_t i = 0; i < laws.size(); ++i) {
    if (!laws[i].Exists()) continue;
    const auto less = [&](const std::optional<std::size_t>& other) {
      return !other || laws[i].aic < laws[*other].aic;
    };
    if (less(best_of_all)) best_of_all = i;
    if (!(laws[i].ChoiceP() >= kLeastChoiceP)) continue;
    serve.push_back(laws[i].law);
    if (less(best)) best = i;
  }
  if (!best_of_all) return 0;
  const auto chosen = goes_by_p && best ? *best : *best_of_all;
  std::string text = std::to_string(laws.size()) + " laws tried; least AIC";
  text += goes_by_p && best ? " of those with P 0.05 or more: " : ": ";
  text += WordOf(laws[chosen].law);
  std::erase(serve, laws[chosen].law);
  if (!serve.empty()) text += "; P 0.05 or more has also " + JoinedWords(serve);
  if (!best && goes_by_p) text += "; none has P 0.05 or more";
  notes.push_back({"laws-tried", text + ".", {}});
  return chosen;
}

void NoteRounding(const LawSample& sample, std::vector<Note>& notes) {
  const auto tied = sample.Count() - sample.Different();
  if (sample.Different() >= 10 && 2 * tied <= sample.Count()) return;
  notes.push_back({"rounded-values",
                   "The values are rounded (" + std::to_string(sample.Different()) +
                       " different ones), so P is too small.",
                   {}});
}

// Values that are finite, or nothing and a note.
std::vector<double> Usable(std::span<const double> values, std::vector<Note>& notes) {
  std::vector<double> usable;
  for (const double value : values)
    if (std::isfinite(value)) usable.push_back(value);
  auto sorted = usable;
  std::sort(sorted.begin(), sorted.end());
  const auto different = std::unique(sorted.begin(), sorted.end()) - sorted.begin();
  if (different >= 3) return usable;
  notes.push_back({different == 1 && usable.size() > 1 ? "all-equal" : "too-few",
                   different == 1 && usable.size() > 1
                       ? "All values are equal, so no law can be fitted."
                       : "A fit takes 3 different values or more.",
                   {}});
  return {};
}

}  // namespace

const char* WordOf(Law law) { return kWords[static_cast<std::size_t>(law)]; }

std::vector<Law> LikelihoodLaws() {
  std::vector<Law> laws;
  for (std::size_t i = 0; i < kLikelihoodLaws; ++i) laws.push_back(static_cast<Law>(i));
  return laws;
}

double LawFigures::ChoiceP() const {
  if (!std::isnan(p)) return p;
  return std::isnan(p_above) ? p_below * 0.999 : p_above;
}

double PlotAcross(const LawFigures& law, double x) { return CurveOf(law).across(x); }
PlotScale PlotScaleOf(const LawFigures& law) {
  if (law.law != Law::BoxCox) return {};
  const double lambda = law.parameters[0].value;
  return {statistics::BoxCox(law.centre, lambda), std::pow(law.centre, lambda)};
}
double PlotUp(const LawFigures& law, double share) { return CurveOf(law).up(share); }
bool PlotsLogarithms(Law law) {
  return IsLikelihoodLaw(law) && statistics::FamilyOf(law).scale == statistics::LawScale::Log;
}
double QuantileOfLaw(const LawFigures& law, double share) { return CurveOf(law).quantile(share); }

LawsStudy StudyLaws(std::span<const double> values, const LawOptions& options) {
  Need(!options.laws.empty(), "there must be a law");
  Need(options.level > 0.0 && options.level < 1.0, "level must lie between 0 and 1");
  Need(options.draws >= kLeastDraws && options.draws <= 100'000, "draws must be 99 to 100000");
  Need(!(options.limits.lower >= options.limits.upper), "the lower limit must lie below the upper");
  LawsStudy study;
  auto usable = Usable(values, study.notes);
  study.count = static_cast<std::int64_t>(usable.size());
  if (usable.empty()) {
    study.count = static_cast<std::int64_t>(values.size());
    for (const auto law : options.laws) study.laws.emplace_back().law = law;
    return study;
  }
  const LawSample sample(std::move(usable));
  // Indices by quantiles lean on the tails.
  HasEnough(sample.Count(), {0, 100}, "values", study.notes);
  if (sample.Count() < kLeastOfTest) {
    study.notes.push_back({"no-p",
                           "The test of Anderson and Darling takes " +
                               std::to_string(kLeastOfTest) +
                               " values or more, so there is neither A2 nor P.",
                           {}});
  }
  const Work work{sample, options, study.notes};
  std::vector<Fitted> fitted;
  for (const auto law : options.laws) fitted.push_back(StudyOne(work, law));
  std::ranges::stable_sort(fitted, GoesBefore, &Fitted::figures);
  for (const auto& each : fitted) study.laws.push_back(each.figures);
  const bool has_p = std::ranges::any_of(
      study.laws, [](const LawFigures& law) { return !std::isnan(law.ChoiceP()); });
  if (has_p) NoteRounding(sample, study.notes);
  if (options.laws.size() > 1) study.chosen = Choose(study.laws, sample.Count(), study.notes);
  if (fitted[study.chosen].curve) study.plot = PlotOf(work, fitted[study.chosen]);
  return study;
}

LawFigures FiguresOfLaw(Law law, std::span<const double> parameters,
                        const SpecificationLimits& limits) {
  LawFigures figures;
  figures.law = law;
  SetParameters(law, parameters, figures);
  if (law == Law::BoxCox) figures.centre = statistics::InverseBoxCox(parameters[1], parameters[0]);
  AddIndices(CurveOf(figures), limits, figures);
  return figures;
}

QuantilesStudy StudyQuantiles(std::span<const double> values, const SpecificationLimits& limits,
                              double level) {
  Need(level > 0.0 && level < 1.0, "level must lie between 0 and 1");
  Need(!(limits.lower >= limits.upper), "the lower limit must lie below the upper");
  QuantilesStudy study;
  std::vector<double> sorted;
  for (const double value : values)
    if (std::isfinite(value)) sorted.push_back(value);
  std::ranges::sort(sorted);
  study.count = static_cast<std::int64_t>(sorted.size());
  const auto n = static_cast<double>(sorted.size());
  const double each_side = 0.5 * (1.0 - level);
  // Between the order statistics whose ranks a count of values below the quantile leaves.
  const auto quantile = [&](double share) {
    Interval interval{statistics::Quantile(sorted, share), kNaN, kNaN, level, "order statistics"};
    if (sorted.empty()) return interval;
    // The greatest rank with P(count < rank) at most so much.
    const auto rank = [&](double below) {
      std::size_t low = 0, high = sorted.size();
      while (low < high) {
        const auto middle = (low + high + 1) / 2;
        const double at = statistics::BinomialAtMost(static_cast<double>(middle) - 1.0, n, below);
        (at <= each_side ? low : high) = at <= each_side ? middle : middle - 1;
      }
      return low;
    };
    const auto lower = rank(share), from_top = rank(1.0 - share);
    if (lower == 0 || from_top == 0) return interval;
    interval.lower = sorted[lower - 1];
    interval.upper = sorted[sorted.size() - from_top];
    return interval;
  };
  study.low = quantile(kLowShare);
  study.median = quantile(0.5);
  study.high = quantile(kHighShare);
  if (!HasEnough(sorted.size(), {2, 100}, "values", study.notes)) return study;
  study.indices = SampleIndices(sorted, limits);
  if (sorted.front() == sorted.back()) {
    study.notes.push_back({"all-equal", "All values are equal, so there are no indices.", {}});
  } else if (0.5 / n > kLowShare) {
    study.notes.push_back({"sample-range",
                           "With fewer than 371 values the index is at best that of the sample "
                           "range: the outer quantiles are the extreme values.",
                           {}});
  }
  return study;
}

QuantileIndices RefittedIndices(const LawFigures& law, std::vector<double> values,
                                const LawOptions& options) {
  const LawSample sample(std::move(values));
  if (sample.Different() < 3) return {};
  const auto& limits = options.limits;
  LawFigures again;
  again.law = law.law;
  if (IsLikelihoodLaw(law.law)) {
    const auto kind = law.law;
    const auto start = FittedLaw::Of(kind, ValuesOf(law));
    const auto fit = statistics::FitLaw(sample, kind, {options.lognormal_n_minus_1, &start});
    if (!fit.Exists()) return {};
    AddIndices(CurveOf(fit.law), limits, again);
    return again.indices;
  }
  if (law.law == Law::BoxCox) {
    bool at_edge = false;
    std::vector<double> transformed;
    const auto fit = FitBoxCox(sample, options.round_lambda, at_edge, transformed);
    if (!fit || !(fit->sd > 0.0)) return {};
    SetBoxCox(*fit, again);
    AddIndices(CurveOf(*fit), limits, again);
    return again.indices;
  }
  const auto chosen = ChooseJohnson(sample);
  if (chosen.curve) {
    AddIndices(CurveOf(*chosen.curve), limits, again);
  } else if (chosen.normal_serves) {
    AddIndices(CurveOf(statistics::FitLaw(sample, Law::Normal).law), limits, again);
  }
  return again.indices;
}

QuantileIndices SampleIndices(const std::vector<double>& sorted,
                              const SpecificationLimits& limits) {
  return IndicesOf(statistics::Quantile(sorted, kLowShare), statistics::Quantile(sorted, 0.5),
                   statistics::Quantile(sorted, kHighShare), limits.lower, limits.upper);
}

double ValueAcross(const LawFigures& law, double at) {
  switch (law.law) {
    case Law::Normal:
      return at;
    case Law::Lognormal:
      return std::exp(at);
    case Law::BoxCox:
      return statistics::InverseBoxCox(at, law.parameters[0].value, law.centre);
    case Law::Johnson:
      return JohnsonOf(law).AtScore(at);
    default:
      return kNaN;
  }
}

}  // namespace orvspc::studies
