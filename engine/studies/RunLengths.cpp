// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/RunLengths.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>

#include "engine/statistics/Distributions.h"
#include "engine/statistics/Numerics.h"
#include "engine/statistics/RuleChain.h"
#include "engine/statistics/RunLengths.h"
#include "engine/studies/Multivariate.h"
#include "engine/studies/run_rules.h"
#include "engine/studies/study_notes.h"

namespace orvspc::studies {

using namespace engine;

namespace {

using platform::kNaN;
using statistics::RunLength;

using statistics::kInfinity;

statistics::Sides SidesOf(Sided sided) {
  return sided == Sided::Two     ? statistics::Sides::Both
         : sided == Sided::Upper ? statistics::Sides::Upper
                                 : statistics::Sides::Lower;
}

void CheckShifts(std::span<const double> shifts) {
  constexpr double kMost = 20.0;
  for (const double shift : shifts) Need(std::abs(shift) <= kMost, "shifts must be -20 to 20");
}

void NeedRuns(std::size_t runs) {
  Need(runs >= 100 && runs <= 10'000'000, "runs must be 100 to 10000000");
}

void Add(RunLengthStudy& study, double shift, const RunLength& length) {
  // Beyond it the digits of a mean are those of rounding.
  constexpr double kMost = 1e12;
  const bool has_digits = length.mean < kMost;
  const auto kept = [&](double value) { return has_digits ? value : kNaN; };
  study.shifts.push_back(shift);
  study.arl.push_back(kept(length.mean));
  study.sdrl.push_back(kept(length.sd));
  study.p05.push_back(kept(length.p05));
  study.median.push_back(kept(length.median));
  study.p95.push_back(kept(length.p95));
}

void NoteMissing(RunLengthStudy& study) {
  if (std::ranges::none_of(study.arl, [](double arl) { return std::isnan(arl); })) return;
  study.notes.push_back({"no-run-length",
                         study.method == "simulation"
                             ? "Runs of more than 1,000,000 points are not simulated."
                             : "Run lengths above 1e12, or that do not settle, are left out.",
                         {}});
}

void BeSimulated(RunLengthStudy& study, std::size_t runs, std::uint64_t seed) {
  study.method = "simulation";
  study.runs = runs;
  study.seed = seed;
}

void AddSimulated(RunLengthStudy& study, double shift,
                  const statistics::SimulatedRunLength& simulated) {
  Add(study, shift, simulated.length);
  study.standard_error.push_back(simulated.standard_error);
}

// Points of two arms until one signals.
statistics::SimulatedRunLength SimulateCusum(const CusumRunOptions& options, double shift,
                                             std::size_t runs, std::uint64_t seed) {
  constexpr std::size_t kMostPoints = 1'000'000;
  statistics::Draws draws(seed);
  std::vector<std::size_t> lengths;
  for (std::size_t run = 0; run < runs; ++run) {
    double up = options.head_start, down = options.head_start;
    std::size_t points = 0;
    while (up <= options.h && down <= options.h) {
      if (++points > kMostPoints) return {};
      const double y = draws.Normal() + shift;
      up = std::max(0.0, up + y - options.k);
      down = std::max(0.0, down - y - options.k);
    }
    lengths.push_back(points);
  }
  return statistics::SummaryOfRuns(std::move(lengths));
}

// Points of averages, of which the first has moved, until their distance from 0 is beyond the
// limit.
statistics::SimulatedRunLength SimulateMewma(const MewmaRunOptions& options, double shift) {
  constexpr std::size_t kMostPoints = 1'000'000;
  statistics::Draws draws(options.seed);
  std::vector<std::size_t> lengths;
  std::vector<double> z(options.variables);
  const double kept = 1.0 - options.weight;
  const double limit = options.h * options.weight / (2.0 - options.weight);
  for (std::size_t run = 0; run < options.runs; ++run) {
    std::ranges::fill(z, 0.0);
    std::size_t points = 0;
    double before = 1.0;  // what the start still has of the variance of z
    for (bool is_inside = true; is_inside;) {
      if (++points > kMostPoints) return {};
      double distance = 0.0;
      for (std::size_t j = 0; j < z.size(); ++j) {
        const double x = draws.Normal() + (j == 0 ? shift : 0.0);
        z[j] = options.weight * x + kept * z[j];
        distance += z[j] * z[j];
      }
      before *= kept * kept;
      is_inside = distance <= limit * (options.exact ? 1.0 - before : 1.0);
    }
    lengths.push_back(points);
  }
  return statistics::SummaryOfRuns(std::move(lengths));
}

// Of counts of so many units with a proportion, or defects a unit.
class CountLaw {
 public:
  CountLaw(PointsOf points, double size, double rate)
      : is_binomial_(points == PointsOf::Defectives), size_(size), rate_(rate) {}

  double AtMost(double count) const {
    if (count < 0.0) return 0.0;
    return is_binomial_ ? statistics::BinomialAtMost(std::floor(count), size_, rate_)
                        : statistics::PoissonAtMost(std::floor(count), size_ * rate_);
  }
  double Deviation() const { return std::sqrt(size_ * rate_ * (is_binomial_ ? 1.0 - rate_ : 1.0)); }
  double Mean() const { return size_ * rate_; }
  // The least count that has so much up to it.
  double Quantile(double share) const {
    double count = std::max(0.0, std::floor(Mean() - 8.0 * Deviation() - 1.0));
    while (AtMost(count) < share) ++count;
    return count;
  }

 private:
  bool is_binomial_;
  double size_, rate_;
};

void CheckRate(PointsOf points, double rate, const char* text) {
  Need(rate >= 0.0 && (points == PointsOf::Defectives ? rate <= 1.0 : rate <= 1e6), text);
}

// What the points of a Shewhart chart are when the process has moved.
struct ShiftedPoints {
  statistics::PointLaw law;
  std::function<double(double)> draw;  // from a uniform draw
};

ShiftedPoints PointsAt(const ShewhartRunOptions& options, double shift) {
  if (options.points == PointsOf::Measurements) {
    const double distance = shift * std::sqrt(options.size);
    return {statistics::NormalPoints(distance),
            [distance](double u) { return statistics::NormalQuantile(u) + distance; }};
  }
  // A count on a line differs from it by rounding.
  constexpr double kTie = 1e-9;
  const CountLaw centre(options.points, options.size, options.mean);
  const CountLaw law(options.points, options.size, shift);
  const auto count_at = [centre](double z) { return centre.Mean() + z * centre.Deviation(); };
  const double tie = kTie * centre.Deviation();
  const auto below = [law, count_at, tie](double z) {
    return z == kInfinity ? 1.0 : law.AtMost(count_at(z) + tie);
  };
  const auto at = [law, count_at, tie](double z) {
    const double count = std::round(count_at(z));
    if (std::abs(count_at(z) - count) > tie) return 0.0;
    return law.AtMost(count) - law.AtMost(count - 1.0);
  };
  return {{below, [below](double z) { return 1.0 - below(z); }, at}, [law, centre](double u) {
            return (law.Quantile(u) - centre.Mean()) / centre.Deviation();
          }};
}

// The rules as those of one side; what has no side is left out.
std::vector<statistics::RunRule> RulesOfSide(std::vector<statistics::RunRule> rules, Sided sided) {
  using statistics::RuleKind;
  using statistics::RuleSide;
  if (sided == Sided::Two) return rules;
  const auto kept = sided == Sided::Upper ? RuleSide::Upper : RuleSide::Lower;
  const auto other = sided == Sided::Upper ? RuleSide::Lower : RuleSide::Upper;
  std::erase_if(rules, [&](const auto& rule) {
    return rule.kind == RuleKind::Within || rule.kind == RuleKind::Alternate ||
           rule.side == RuleSide::Both || rule.side == other ||
           (rule.kind != RuleKind::Limit && rule.side == RuleSide::Either);
  });
  for (auto& rule : rules) rule.side = kept;
  return rules;
}

}  // namespace

RunLengthStudy StudyCusumRuns(std::span<const double> shifts, const CusumRunOptions& options) {
  Need(options.k >= 0.0 && options.k <= 3.0, "k must be 0 to 3");
  Need(options.h > 0.0 && options.h <= 50.0, "h must be above 0 and at most 50");
  Need(options.head_start >= 0.0 && options.head_start < options.h,
       "head-start must be 0 or more and below h");
  CheckShifts(shifts);
  RunLengthStudy study;
  study.method = "integral";
  const statistics::CusumScheme scheme{options.k, options.h, options.head_start,
                                       SidesOf(options.sided)};
  for (const double shift : shifts) {
    if (const auto length = statistics::CusumRunLength(scheme, shift)) {
      Add(study, shift, *length);
      continue;
    }
    const ShewhartRunOptions defaults;
    BeSimulated(study, defaults.runs, defaults.seed);
    AddSimulated(study, shift, SimulateCusum(options, shift, defaults.runs, defaults.seed));
  }
  NoteMissing(study);
  return study;
}

RunLengthStudy StudyEwmaRuns(std::span<const double> shifts, const EwmaRunOptions& options) {
  Need(options.weight >= (options.exact ? 0.005 : 0.001) && options.weight <= 1.0,
       options.exact ? "weight must be 0.005 to 1" : "weight must be 0.001 to 1");
  Need(options.width > 0.0 && options.width <= 6.0, "width must be above 0 and at most 6");
  Need(!options.fir || (*options.fir > 0.0 && *options.fir < 1.0), "fir must lie between 0 and 1");
  Need(!options.fir || options.exact, "fir goes with exact limits");
  CheckShifts(shifts);
  RunLengthStudy study;
  study.method = "integral";
  const statistics::EwmaScheme scheme{options.weight, options.width, options.exact, options.fir,
                                      SidesOf(options.sided)};
  for (const double shift : shifts) Add(study, shift, statistics::EwmaRunLength(scheme, shift));
  NoteMissing(study);
  return study;
}

RunLengthStudy StudyMewmaRuns(std::span<const double> shifts, const MewmaRunOptions& options) {
  Need(options.variables >= kLeastVariables && options.variables <= kMostVariables,
       "variables must be 2 to 20");
  Need(options.weight >= 0.01 && options.weight <= 1.0, "weight must be 0.01 to 1");
  Need(options.h > 0.0 && options.h <= 1000.0, "h must be above 0 and at most 1000");
  NeedRuns(options.runs);
  for (const double shift : shifts) {
    Need(shift >= 0.0 && shift <= 20.0, "shifts of several variables must be 0 to 20");
  }
  RunLengthStudy study;
  BeSimulated(study, options.runs, options.seed);
  for (const double shift : shifts) AddSimulated(study, shift, SimulateMewma(options, shift));
  NoteMissing(study);
  return study;
}

RunLengthStudy StudyShewhartRuns(std::span<const double> shifts,
                                 const ShewhartRunOptions& options) {
  Need(options.width > 0.0 && options.width <= 10.0, "width must be above 0 and at most 10");
  Need(options.size >= 1.0 && options.size <= 1e6, "size must be 1 to 1000000");
  NeedRuns(options.runs);
  Need(!options.rules.empty(), "a chart needs a rule");
  if (options.points == PointsOf::Measurements) {
    CheckShifts(shifts);
  } else {
    Need(options.mean > 0.0 && (options.points == PointsOf::Defects || options.mean < 1.0),
         "mean must be above 0, and of defectives below 1");
    for (const double shift : shifts) {
      CheckRate(options.points, shift,
                "shifts of counts must be proportions, 0 to 1, or defects a unit, 0 to 1000000");
    }
  }
  if (const auto wrong = RefusalOf(options.rules); !wrong.empty()) {
    throw std::invalid_argument(wrong);
  }
  RunLengthStudy study;
  const auto rules = RulesOfSide(RunRulesOf(options.rules), options.sided);
  const double upper = options.sided == Sided::Lower ? kInfinity : options.width;
  const double lower = options.sided == Sided::Upper ? kInfinity : options.width;
  const bool counts = options.points != PointsOf::Measurements;
  const auto chain =
      statistics::RuleChain::Make(rules, {upper, lower, options.full_windows, counts});
  study.method = "chain";
  if (!chain) BeSimulated(study, options.runs, options.seed);
  if (chain) study.states = chain->States();
  // What can signal at the first point: no rule that compares neighbours, no window of several.
  auto of_one_point = rules;
  std::erase_if(of_one_point, [](const auto& rule) {
    return rule.m != 1 || rule.kind == statistics::RuleKind::Trend ||
           rule.kind == statistics::RuleKind::Alternate;
  });
  std::optional<statistics::RuleChain> first;
  if (!of_one_point.empty()) {
    first = statistics::RuleChain::Make(of_one_point, {upper, lower, false, counts});
  }
  for (const double shift : shifts) {
    const auto points = PointsAt(options, shift);
    const auto& at_first = chain ? chain : first;
    study.oc.push_back(at_first ? at_first->QuietAtFirst(points.law) : 1.0);
    if (chain) {
      Add(study, shift, chain->LengthOf(points.law));
    } else {
      statistics::SimulationOptions simulation{upper, lower, options.runs, options.seed};
      AddSimulated(study, shift, statistics::SimulateRunLength(rules, points.draw, simulation));
    }
  }
  NoteMissing(study);
  return study;
}

RunLengthStudy StudyCountCusumRuns(std::span<const double> shifts,
                                   const CountCusumRunOptions& options) {
  const auto steps = static_cast<double>(options.steps);
  const auto is_multiple = [&](double value) {
    return std::abs(value * steps - std::round(value * steps)) < 1e-9;
  };
  Need(options.points != PointsOf::Measurements, "a cusum of counts takes defectives or defects");
  Need(options.steps >= 1 && options.steps <= 1000, "steps must be 1 to 1000");
  Need(options.size > 0.0 && options.size <= 1e6, "size must be above 0 and at most 1000000");
  Need(options.k > 0.0 && options.k <= 1e6 && is_multiple(options.k),
       "k must be above 0 and a multiple of 1 / steps");
  Need(options.h > 0.0 && options.h * steps <= 2000.0 && is_multiple(options.h),
       "h must be above 0, a multiple of 1 / steps, and at most 2000 of them");
  Need(options.head_start >= 0.0 && options.head_start < options.h &&
           is_multiple(options.head_start),
       "head-start must be 0 or more, below h, and a multiple of 1 / steps");
  RunLengthStudy study;
  study.method = "chain";
  study.states = static_cast<std::size_t>(std::llround(options.h * steps));
  const statistics::CountCusumScheme scheme{options.k, options.h, options.head_start, options.steps,
                                            options.is_upper};
  for (const double shift : shifts) {
    CheckRate(options.points, shift,
              "shifts of counts must be proportions, 0 to 1, or defects a unit, 0 to 1000000");
    const CountLaw law(options.points, options.size, shift);
    Add(study, shift,
        statistics::CountCusumRunLength(scheme, [&](double count) { return law.AtMost(count); }));
  }
  NoteMissing(study);
  return study;
}

}  // namespace orvspc::studies
