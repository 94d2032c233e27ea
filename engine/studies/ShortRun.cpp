// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/ShortRun.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <span>
#include <string>
#include <utility>

#include "engine/statistics/ChartFormulas.h"
#include "engine/statistics/Estimators.h"
#include "engine/statistics/HypothesisTests.h"
#include "engine/studies/run_rules.h"
#include "engine/studies/spread_columns.h"
#include "engine/studies/study_notes.h"
#include "platform/NaN.h"

namespace orvspc::studies {

using namespace engine;
using platform::kNaN;
using statistics::PointLimits;

namespace {

constexpr std::size_t kFewSubgroups = 20, kFewSingles = 25;
constexpr std::int64_t kLeastSubgroups = 3, kLeastRanges = 5;  // for a sigma of the part itself
constexpr double kSignificant = 0.01;

// The subgroups with the place of each among the parts of the study.
struct Columns : SpreadColumns {
  std::vector<std::size_t> parts;

  std::vector<std::uint8_t> Of(std::size_t part) const {
    std::vector<std::uint8_t> takes;
    for (const auto each : parts) takes.push_back(each == part ? 1 : 0);
    return takes;
  }
};

Columns ColumnsOf(const Stretch& stretch, SpreadGraph asked, std::vector<ShortRunPart>& parts) {
  Columns columns{SpreadColumnsOf(stretch, asked), {}};
  for (std::size_t i = 0; i < stretch.points.size(); ++i) {
    const auto id = stretch.members.empty() ? 0 : stretch.members[i];
    auto part = std::ranges::find(parts, id, &ShortRunPart::part);
    if (part == parts.end()) {
      part = parts.emplace(part);
      part->part = id;
    }
    const auto place = static_cast<std::size_t>(part - parts.begin());
    const bool anew = i == 0 || columns.parts.back() != place;
    ++part->subgroups;
    if (anew) ++part->runs;
    columns.parts.push_back(place);
    columns.anew.push_back(anew ? 1 : 0);
  }
  return columns;
}

std::vector<double> NominalsOf(const Stretch& stretch, const Columns& columns, PartNominal asked,
                               std::vector<ShortRunPart>& parts) {
  std::vector<double> nominals;
  for (std::size_t i = 0; i < stretch.points.size(); ++i) {
    auto& part = parts[columns.parts[i]];
    const bool has_target =
        asked == PartNominal::Target && !stretch.targets.empty() && !std::isnan(stretch.targets[i]);
    const std::string source = has_target ? "target" : "mean";
    part.nominal = has_target ? stretch.targets[i] : part.mean.value;
    if (part.source.empty()) part.source = source;
    if (part.source != source) part.source = "target, mean";
    nominals.push_back(part.nominal);
  }
  return nominals;
}

// Sigmas of the parts, but for stored ones: of deviations those of each by itself.
void SetPartSigmas(const Columns& columns, const ShortRunOptions& options, ShortRunStudy& study) {
  const bool scores = options.kind == ShortRunKind::Score;
  const auto least = columns.Moving() ? kLeastRanges : kLeastSubgroups;
  std::size_t pooled = 0;
  for (std::size_t p = 0; p < study.parts.size(); ++p) {
    auto& part = study.parts[p];
    if (scores && options.sigma == PartSigma::Relative) {
      part.sigma = study.variation;
      part.sigma.value *= part.nominal;
      part.sigma_of = "x/nominal";
      continue;
    }
    if (!scores || options.sigma == PartSigma::ByPart) {
      const auto own = SigmaOf(columns, columns.Of(p));
      part.sigma = AsFigure(own, static_cast<std::size_t>(part.subgroups));
      if (!scores || own.used >= least) continue;
      ++pooled;
    }
    part.sigma = study.sigma;
    part.sigma_of = "all parts";
  }
  if (pooled == 0) return;
  study.notes.push_back({"pooled",
                         std::to_string(pooled) + (pooled == 1 ? " part has" : " parts have") +
                             " fewer than " + std::to_string(least) +
                             (columns.Moving() ? " moving ranges" : " subgroups") +
                             "; sigma there is that of all parts.",
                         {}});
}

// The newest of each part; the points are judged by those in force at them.
void TakeStoredSigmas(const Stretch& stretch, const Columns& columns, ShortRunStudy& study) {
  for (auto& part : study.parts) {
    part.sigma = {};
    part.sigma_of.clear();
  }
  for (std::size_t i = 0; i < stretch.stored_sigmas.size(); ++i) {
    const double sigma = stretch.stored_sigmas[i];
    if (std::isnan(sigma)) continue;
    study.parts[columns.parts[i]].sigma = {sigma, "stored", kNaN, 0, 0};
  }
}

TestOfSignificance CompareSpreads(const Columns& columns, std::size_t parts) {
  TestOfSignificance test;
  if (columns.Moving()) {
    std::vector<std::vector<double>> groups(parts);
    for (std::size_t i = 0; i < columns.levels.size(); ++i) {
      if (columns.used[i] == 0 || std::isnan(columns.levels[i])) continue;
      groups[columns.parts[i]].push_back(columns.levels[i]);
    }
    const auto levene = statistics::LeveneOf(groups);
    test = {"F",
            levene.value,
            {levene.degrees, levene.within_degrees},
            levene.probability,
            "Levene, from medians"};
  } else {
    std::vector<double> squares(parts, 0.0), degrees(parts, 0.0);
    for (std::size_t i = 0; i < columns.sds.size(); ++i) {
      if (columns.used[i] == 0 || std::isnan(columns.sds[i])) continue;
      squares[columns.parts[i]] += (columns.sizes[i] - 1) * columns.sds[i] * columns.sds[i];
      degrees[columns.parts[i]] += columns.sizes[i] - 1;
    }
    std::vector<double> variances, of;
    for (std::size_t p = 0; p < parts; ++p) {
      if (degrees[p] == 0.0) continue;
      variances.push_back(squares[p] / degrees[p]);
      of.push_back(degrees[p]);
    }
    const auto bartlett = statistics::BartlettOf(variances, of);
    test = {"chi-square", bartlett.value, {bartlett.degrees}, bartlett.probability, "Bartlett"};
  }
  if (std::isnan(test.value)) test.degrees.clear();
  return test;
}

void Add(ShortRunGraph& graph, double point, const PointLimits& lines) {
  graph.points.push_back(point);
  graph.centre.push_back(lines.centre);
  // Without spread there are no limits.
  const bool has_limits = lines.sigma > 0.0;
  graph.upper.push_back(has_limits ? lines.upper : kNaN);
  graph.lower.push_back(has_limits ? lines.lower : kNaN);
}

// Parts that a frozen phase says nothing about.
void NoteLateParts(const Stretch& stretch, ShortRunStudy& study) {
  if (stretch.phase.freeze_after == 0) return;
  const auto late = std::ranges::count_if(
      study.parts, [](const ShortRunPart& part) { return std::isnan(part.nominal); });
  if (late == 0) return;
  study.notes.push_back({"no-estimates",
                         std::to_string(late) + (late == 1 ? " part has" : " parts have") +
                             " neither a target nor points among those that the frozen limits are "
                             "made of.",
                         {}});
}

// Sigma of one piece that point i is judged by.
double SigmaAt(const Stretch& stretch, const Columns& columns, const ShortRunOptions& options,
               const ShortRunStudy& study, std::size_t i) {
  if (options.kind == ShortRunKind::Deviation) return study.sigma.value;
  if (options.sigma == PartSigma::Relative) return study.variation.value * study.nominals[i];
  if (options.sigma != PartSigma::Stored) return study.parts[columns.parts[i]].sigma.value;
  return stretch.stored_sigmas.empty() ? kNaN : stretch.stored_sigmas[i];
}

void MakeGraphs(const Stretch& stretch, const Columns& columns, const ShortRunOptions& options,
                ShortRunStudy& study) {
  const bool scores = options.kind == ShortRunKind::Score;
  const bool moving = columns.Moving();
  for (std::size_t i = 0; i < columns.levels.size(); ++i) {
    const auto n = columns.sizes[i];
    const double sigma = SigmaAt(stretch, columns, options, study, i);
    const double unit = !scores ? 1.0 : sigma > 0.0 ? sigma : kNaN;
    const double point = columns.levels[i] / (scores ? unit / std::sqrt(n) : 1.0);
    Add(study.level, point,
        scores ? PointLimits{0.0, 3.0, -3.0, 1.0}
               : statistics::MeanLimits(study.mean.value, sigma, n));
    if (!moving) {
      Add(study.spread, columns.Spreads()[i] / unit,
          SpreadLimits(columns.graph, scores ? 1.0 : sigma, n));
    }
  }
  if (moving) {
    const auto ranges = statistics::MovingRanges(study.level.points, columns.used);
    const auto of = SpreadLimits(columns.graph, scores ? 1.0 : study.sigma.value, 2);
    for (const double range : ranges) Add(study.spread, range, of);
  }
}

std::vector<std::vector<std::int32_t>> MarksOf(const ShortRunGraph& graph, const Columns& columns,
                                               std::span<const statistics::RunRule> rules) {
  std::vector<double> sigmas;
  for (std::size_t i = 0; i < graph.points.size(); ++i) {
    sigmas.push_back((graph.upper[i] - graph.centre[i]) / statistics::kThreeSigma);
  }
  const auto bits = statistics::EvaluateRules(
      {graph.points, graph.centre, sigmas, graph.upper, graph.lower, columns.used, {}, {}}, rules);
  std::vector<std::vector<std::int32_t>> marks(bits.size());
  for (const auto& rule : rules) {
    for (std::size_t i = 0; i < bits.size(); ++i) {
      if ((bits[i] & statistics::RuleBit(rule.number)) != 0) marks[i].push_back(rule.number);
    }
  }
  return marks;
}

// The estimates of the study that holds, as far as its parts are here.
void TakeEstimates(const ShortRunStudy& from, ShortRunStudy& study) {
  study.mean = from.mean;
  study.sigma = from.sigma;
  study.variation = from.variation;
  std::size_t missing = 0;
  for (auto& part : study.parts) {
    const auto known = std::ranges::find(from.parts, part.part, &ShortRunPart::part);
    if (known == from.parts.end()) {
      ++missing;
      continue;
    }
    part.mean = known->mean;
    part.sigma = known->sigma;
    part.sigma_of = known->sigma_of;
  }
  if (missing == 0) return;
  study.notes.push_back({"no-estimates",
                         std::to_string(missing) + (missing == 1 ? " part has" : " parts have") +
                             " no estimates in the phase whose limits hold here.",
                         {}});
}

}  // namespace

ShortRunStudy StudyShortRun(const Stretch& stretch, const ShortRunOptions& options,
                            const ShortRunStudy* limits_of) {
  Need(RefusalOf(options.rules).empty(), "rules must be right");
  Need(options.spread != SpreadGraph::MovingRange, "spread must be auto, range or deviation");
  ShortRunStudy study;
  auto columns = ColumnsOf(stretch, options.spread, study.parts);
  study.spread_graph = columns.graph;
  if (limits_of != nullptr) {
    TakeEstimates(*limits_of, study);
  } else {
    for (std::size_t p = 0; p < study.parts.size(); ++p) {
      study.parts[p].mean = MeanOf(columns, stretch.points, columns.Of(p));
    }
  }
  study.nominals = NominalsOf(stretch, columns, options.nominal, study.parts);
  if (limits_of == nullptr) NoteLateParts(stretch, study);
  for (std::size_t i = 0; i < stretch.points.size(); ++i) {
    columns.levels.push_back(stretch.points[i] - study.nominals[i]);
  }
  const bool stored = options.kind == ShortRunKind::Score && options.sigma == PartSigma::Stored;
  const LeastAmounts least{stored ? std::size_t{1} : std::size_t{2},
                           columns.Moving() ? kFewSingles : kFewSubgroups};
  const bool is_enough =
      limits_of != nullptr || HasEnough(CountInBase(stretch, UsedPoints(stretch)), least,
                                        columns.Moving() ? "points" : "subgroups", study.notes);
  const auto count = stretch.points.size();
  if (limits_of == nullptr && is_enough) {
    study.mean = MeanOf(columns, columns.levels);
    study.sigma = AsFigure(SigmaOf(columns), count);
    const bool relative =
        options.kind == ShortRunKind::Score && options.sigma == PartSigma::Relative;
    if (relative && std::ranges::all_of(study.nominals, [](double t) { return t > 0.0; })) {
      study.variation = AsFigure(SigmaOf(columns, {}, study.nominals), count);
    } else if (relative) {
      study.notes.push_back(
          {"no-sigma", "A sigma that is proportional to the nominal needs nominals above 0.", {}});
    }
    if (!stored) SetPartSigmas(columns, options, study);
  }
  if (stored) TakeStoredSigmas(stretch, columns, study);
  study.spreads = CompareSpreads(columns, study.parts.size());
  MakeGraphs(stretch, columns, options, study);
  const auto rules = RunRulesOf(options.rules);
  std::vector<statistics::RunRule> of_limits;
  std::ranges::copy_if(rules, std::back_inserter(of_limits), [](const statistics::RunRule& rule) {
    return rule.kind == statistics::RuleKind::Limit;
  });
  study.level.marks = MarksOf(study.level, columns, rules);
  study.spread.marks = MarksOf(study.spread, columns, of_limits);
  if (is_enough && study.sigma.value == 0.0) {
    study.notes.push_back({"no-sigma", "There is no spread, so there are no limits.", {}});
  }
  if (stored &&
      std::ranges::any_of(study.level.points, [](double point) { return std::isnan(point); })) {
    study.notes.push_back(
        {"no-sigma", "Where no control limits are stored, points have no score.", {}});
  }
  if (is_enough && study.parts.size() > 1 && std::isnan(study.spreads.value)) {
    study.notes.push_back({"no-test",
                           "A part that does not spread, or has too few subgroups, leaves nothing "
                           "to compare spreads by.",
                           {}});
  }
  if (options.kind == ShortRunKind::Deviation && study.spreads.p < kSignificant) {
    study.notes.push_back(
        {"spreads-differ", "The parts do not spread alike; scores suit them better.", {}});
  }
  return study;
}

}  // namespace orvspc::studies
