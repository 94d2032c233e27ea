// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <map>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/cli/UsedSubgroups.h"
#include "host/cli/study/Readings.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/Text.h"
#include "host/render/data/DataReading.h"
#include "host/render/study/Plan.h"

namespace orvspc::cli {

namespace {

constexpr RealInside Share(const char* name, const char* help, const char* fallback = "") {
  return {{name, "P", help, fallback}, 0.0, 1.0, true, true};
}
constexpr auto kAql = Share("aql", "share of bad units that is still good, 0.01 for 1 %", "0.01");
constexpr auto kAlpha = Share("alpha", "risk that such a lot is refused", "0.05");
constexpr auto kRql = Share("rql", "share that is to be refused", "0.05");
constexpr auto kBeta = Share("beta", "risk that such a lot is taken", "0.1");
constexpr Number kLotSize{{"lot-size", "N", "units in a lot"}, 1};
constexpr Option kLot{"lot", "", ""};  // of a selection
constexpr Option kDefects{"defects", nullptr, "defects, not bad units: shares are defects a unit"};
enum class DoubleKind { Equal, Twice };
constexpr render::Word kDoubleWords[] = {{"equal", static_cast<std::int32_t>(DoubleKind::Equal)},
                                         {"twice", static_cast<std::int32_t>(DoubleKind::Twice)}};
constexpr Choice<DoubleKind> kDouble{{"double", "WORD",
                                      "two samples, the second as large as the first or twice",
                                      "one sample", false, kDoubleWords}};
enum class Sigma { Unknown, Known };
constexpr render::Word kVariablesWords[] = {{"unknown", static_cast<std::int32_t>(Sigma::Unknown)},
                                            {"known", static_cast<std::int32_t>(Sigma::Known)}};
constexpr Choice<Sigma> kVariables{{"variables", "WORD",
                                    "measurements against one limit, sigma known or not", "counts",
                                    false, kVariablesWords}};
constexpr Number kN{{"n", "N", "of a plan that is given: sample"}, 1, 1'000'000};
constexpr Number kC{{"c", "N", "most bad units in it"}, 0, 1'000'000};
constexpr RealInside kK{
    {"k", "X",
     "of a plan of measurements: least distance of the mean from the limit, of an unknown sigma "
     "unless --variables says known"},
    -100.0,
    100.0};
constexpr Number kN1{{"n1", "N", "of two samples: the first"}, 1, 1'000'000};
constexpr Number kC1{{"c1", "N", "most bad units in it for the lot to be taken"}, 0, 1'000'000};
constexpr Number kR1{{"r1", "N", "least for it to be refused", "c2 + 1"}, 2, 1'000'000};
constexpr Number kN2{{"n2", "N", "the second sample"}, 1, 1'000'000};
constexpr Number kC2{{"c2", "N", "most bad units in both"}, 0, 1'000'000};
constexpr RealInside kTo = Share("to", "largest share of the curves");
// Of defects, of which a unit may have several.
constexpr double kMostTo = 1e6;

std::int64_t Needed(const Arguments& arguments, StudyOptions& options, const char* key,
                    const Number& option, std::optional<std::int64_t> fallback = {}) {
  const auto given = arguments.Get(option);
  if (!given && !fallback) throw Misuse("--" + std::string(option.name) + " is missing");
  const auto value = given ? static_cast<std::int64_t>(*given) : *fallback;
  options.Add(key, static_cast<double>(value), given.has_value());
  return value;
}

void Exclude(const Arguments& arguments, std::span<const Option> options, const char* with) {
  const auto first = arguments.FirstOf(options);
  if (!first.empty()) throw Misuse(first + " does not go with " + with);
}

// What was asked for, while it is read.
struct Asked {
  studies::PlanOptions options;
  studies::PlanPoints points;
  bool is_given = false;  // the plan itself
};

void Design(render::PlanDocument& document, const Arguments& arguments, StudyOptions& options,
            Asked& asked) {
  auto& points = asked.points;
  points.aql = options.Get("AQL", kAql, points.aql);
  points.alpha = options.Get("Alpha", kAlpha, points.alpha);
  points.rql = options.Get("RQL", kRql, points.rql);
  points.beta = options.Get("Beta", kBeta, points.beta);
  if (points.aql >= points.rql) {
    throw Misuse("--rql takes a number above --aql to below 1, not " +
                 render::Shortest(points.rql));
  }
  document.points = points;
  if (arguments.Has(kVariables)) {
    const bool known = options.Get("Variables", kVariables) == Sigma::Known;
    if (const auto plan = studies::DesignVariables(points, known)) document.plan = *plan;
  } else if (arguments.Has(kDouble)) {
    const auto ratio = options.Get("Double", kDouble) == DoubleKind::Equal ? 1 : 2;
    if (const auto plan = studies::DesignDouble(points, ratio, asked.options))
      document.plan = *plan;
  } else if (const auto plan = studies::DesignSingle(points, asked.options)) {
    document.plan = *plan;
  }
  if (document.plan.index() == 0) {
    const bool by_counts = !arguments.Has(kVariables);
    const auto accepted =
        arguments.Has(kDouble) ? studies::kMostAcceptedOfTwo : studies::kMostAccepted;
    const auto lot = by_counts ? asked.options.lot : std::nullopt;
    const auto most = std::min(studies::kMostSample, lot.value_or(studies::kMostSample));
    document.head.notes.push_back(
        {"no-plan",
         "No plan with samples up to " + std::to_string(most) +
             (by_counts ? " and acceptance numbers up to " + std::to_string(accepted) : "") +
             " keeps within both risks; points that lie further apart have one.",
         {}});
  }
}

void TakePlan(render::PlanDocument& document, const Arguments& arguments, StudyOptions& options,
              const Asked& asked) {
  const Option designs[] = {kAlpha, kBeta, kDouble};
  Exclude(arguments, designs, "a plan that is given");
  if (arguments.Has(kN1)) {
    const Option others[] = {kN, kC, kK, kVariables};
    Exclude(arguments, others, "--n1");
    studies::DoublePlan plan;
    plan.n1 = Needed(arguments, options, "N1", kN1);
    plan.c1 = Needed(arguments, options, "C1", kC1);
    plan.n2 = Needed(arguments, options, "N2", kN2);
    plan.c2 = Needed(arguments, options, "C2", kC2);
    plan.r1 = Needed(arguments, options, "R1", kR1, plan.c2 + 1);
    if (plan.c2 < plan.c1) throw Misuse("--c2 takes a number from --c1 on");
    if (plan.r1 < plan.c1 + 2) throw Misuse("--r1 takes a number above --c1 + 1");
    document.plan = plan;
  } else if (arguments.Has(kVariables) || arguments.Has(kK)) {
    const Option others[] = {kC, kC1, kR1, kN2, kC2};
    Exclude(arguments, others, "--k");
    studies::VariablesPlan plan;
    if (arguments.Has(kVariables)) {
      plan.sigma_known = options.Get("Variables", kVariables) == Sigma::Known;
    } else {
      options.Add("Variables", std::string("unknown"), false);
    }
    plan.n = Needed(arguments, options, "N", kN);
    const auto k = options.Get("K", kK);
    if (!k) throw Misuse("--k is missing");
    plan.k = *k;
    if (plan.n < 2 && !plan.sigma_known) throw Misuse("--n takes a number from 2");
    document.plan = plan;
  } else {
    const Option others[] = {kC1, kR1, kN2, kC2};
    Exclude(arguments, others, "--n");
    studies::SinglePlan plan;
    plan.n = Needed(arguments, options, "N", kN);
    plan.c = Needed(arguments, options, "C", kC);
    document.plan = plan;
  }
  const auto aql = options.Get("AQL", kAql), rql = options.Get("RQL", kRql);
  if (aql.has_value() != rql.has_value()) throw Misuse("--aql and --rql go together");
  if (!aql) return;
  if (*aql >= *rql) throw Misuse("--rql takes a number above --aql to below 1");
  document.points = asked.points;
  document.points->aql = *aql;
  document.points->rql = *rql;
}

std::int64_t SizeOf(const render::PlanDocument& document) {
  if (const auto* pair = std::get_if<studies::DoublePlan>(&document.plan))
    return pair->n1 + pair->n2;
  if (const auto* single = std::get_if<studies::SinglePlan>(&document.plan)) return single->n;
  if (const auto* of = std::get_if<studies::VariablesPlan>(&document.plan)) return of->n;
  return 0;
}

studies::PlanPoint PointOf(const render::PlanDocument& document, double share,
                           const studies::PlanOptions& options) {
  return std::visit(
      [&](const auto& plan) {
        if constexpr (std::is_same_v<std::decay_t<decltype(plan)>, std::monostate>) {
          return studies::PlanPoint();
        } else {
          return studies::PointOf(plan, share, options);
        }
      },
      document.plan);
}

void AddCurve(render::PlanDocument& document, const studies::PlanOptions& options,
              std::optional<double> to) {
  if (document.plan.index() == 0) return;
  double end = to.value_or(1.0);
  if (!to) {
    const auto is_taken = [&](double share) {
      return PointOf(document, share, options).accepted > 0.002;
    };
    double low = 0.0, high = 1.0;
    while (options.model == studies::CountModel::Poisson && is_taken(high)) high *= 2.0;
    for (int i = 0; i < 50; ++i) {
      const double middle = (low + high) / 2.0;
      (is_taken(middle) ? low : high) = middle;
    }
    end = high;
  }
  constexpr int kSteps = 200;
  for (const double share : studies::SharesUpTo(end, kSteps, options)) {
    document.curve.push_back(PointOf(document, share, options));
  }
  if (document.points) {
    document.producer = 1.0 - PointOf(document, document.points->aql, options).accepted;
    document.consumer = PointOf(document, document.points->rql, options).accepted;
  }
  if (const auto* single = std::get_if<studies::SinglePlan>(&document.plan)) {
    document.outgoing = studies::OutgoingLimitOf(*single, options);
  }
  if (const auto* pair = std::get_if<studies::DoublePlan>(&document.plan)) {
    document.outgoing = studies::OutgoingLimitOf(*pair, options);
  }
}

// What is said of the source of the lot, before anything is opened.
void CheckLot(const Arguments& arguments) {
  if (!arguments.Has(kDatabase)) {
    for (const auto& condition : ConditionsOf(arguments)) {
      throw Misuse(condition.text + " goes with --db");
    }
    return;
  }
  if (arguments.Values(kLot).size() != 1) throw Misuse("--db needs --lot NAME, one lot");
  for (const Option& option : {Option(kVariables), Option(kK)}) {
    if (arguments.Has(option)) {
      throw Misuse("--" + std::string(option.name) + " does not go with --db, which has counts");
    }
  }
}

// The subgroups of a stream that a plan judges, and those that it does not.
struct LotSamples {
  std::vector<studies::LotSample> used, left;
  std::vector<std::int32_t> left_subgroups;  // identifiers
};

LotSamples SamplesOf(const studies::Stream& stream) {
  LotSamples samples;
  for (const auto& stretch : stream.stretches) {
    for (std::size_t i = 0; i < stretch.counts.size(); ++i) {
      if (std::isnan(stretch.counts[i])) continue;
      const studies::LotSample sample{stretch.sizes[i], std::llround(stretch.counts[i])};
      if (stretch.IsUsed(i)) {
        samples.used.push_back(sample);
      } else {
        samples.left.push_back(sample);
        samples.left_subgroups.push_back(stretch.subgroups[i]);
      }
    }
  }
  return samples;
}

// "2 of 4 subgroups are left out, with 3 bad units in 50 units: 1 disabled, 1 incomplete"
void NoteUnjudged(const Analysis& run, const LotSamples& samples, bool defects,
                  std::vector<Note>& notes) {
  if (samples.left.empty()) return;
  const auto data = Checked(
      run.database, [&](const auto& open) { return run.select->Clone()->GetSubgroupData(open); });
  const auto rows = render::ReadSubgroups(*data).rows;
  const auto why = WhyNotUsed(rows, ExcludedRows(run.database, rows), run.select.get());
  std::map<std::int32_t, std::string> reasons;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (why[i] != nullptr) reasons[rows[i].sgrp] = why[i];
  }
  std::map<std::string, std::size_t> counts;
  for (const auto subgroup : samples.left_subgroups) {
    const auto found = reasons.find(subgroup);
    ++counts[found == reasons.end() ? "not used by charts" : found->second];
  }
  std::vector<std::string> texts;
  for (const auto& [reason, count] : counts) texts.push_back(std::to_string(count) + " " + reason);
  const auto all = samples.used.size() + samples.left.size();
  notes.push_back({"subgroups-left-out",
                   std::to_string(samples.left.size()) + " of " + std::to_string(all) +
                       " subgroups are left out, with " +
                       studies::TextOfSamples(samples.left, defects) + ": " +
                       render::Joined(texts, ", "),
                   {}});
}

// What the plan says of the lot that is selected.
int RunOnLot(const Arguments& arguments, Console& console, render::PlanDocument document) {
  const bool defects = document.model == studies::CountModel::Poisson;
  const auto types = defects ? ttDefects : ttDefectives;
  constexpr Number kAll = MaximumOption("", "all");
  return RunAnalysis(arguments, console, kDrawn, kAll, types, [&](Analysis& run) -> Outcome {
    auto& head = document.head;
    head.select = run.select;
    // Of counts, which are known without a size, too.
    constexpr std::int32_t kCountsOfDefects = 0xE00, kCountsOfDefectives = 0xC00;
    studies::ReadOptions read;
    read.counts = true;
    read.joins_phases = true;
    read.unknown_sizes = true;
    read.chart_word = defects ? kCountsOfDefects : kCountsOfDefectives;
    const auto data = StreamsOf(run, read, head.notes);
    // What charts do without a size is no matter here: the decision says what it does.
    std::erase_if(head.notes, [](const auto& note) {
      return note.code == "no-size" || note.code == "no-mean" || note.code == "sizes-rounded";
    });
    if (data.Empty()) NoteEmpty(run, kAll, head.notes);
    if (data.streams.size() > 1) {
      throw Refusal("the lot has values of " + std::to_string(data.streams.size()) +
                    " streams; --part, --process and --test choose one");
    }
    for (const auto& stream : data.streams) {
      const auto samples = SamplesOf(stream);
      auto& judged = document.judged.emplace();
      judged.name = *arguments.Value(kLot);
      judged.stream = render::StreamName(run.names, stream.part, stream.process, stream.test);
      judged.subgroups = samples.used.size();
      if (const auto* single = std::get_if<studies::SinglePlan>(&document.plan)) {
        judged.decision = studies::DecideLot(*single, samples.used, defects);
      } else if (const auto* pair = std::get_if<studies::DoublePlan>(&document.plan)) {
        judged.decision = studies::DecideLot(*pair, samples.used, defects);
      } else {
        judged.decision.reason = "there is no plan";
      }
      NoteUnjudged(run, samples, defects, head.notes);
      head.notes.push_back(
          {"advice-only", "What is said of the lot is advice; nothing is stored.", {}});
    }
    return {
        FormattedStudy<render::PlanDocument>(document, run, render::PlanJson, render::MakePlanView),
        data.Empty()};
  });
}

int RunPlan(const Arguments& arguments, Console& console) {
  CheckLot(arguments);
  StudyOptions options(arguments);
  Asked asked;
  render::PlanDocument document;
  if (const auto lot = arguments.Get(kLotSize)) asked.options.lot = *lot;
  if (options.Get("Defects", kDefects)) asked.options.model = studies::CountModel::Poisson;
  if (arguments.Has(kDefects) && (arguments.Has(kVariables) || arguments.Has(kK))) {
    throw Misuse("--defects does not go with measurements");
  }
  if (arguments.Has(kVariables) && arguments.Has(kDouble)) {
    throw Misuse("--variables does not go with --double");
  }
  const Option given[] = {kN, kC, kK, kN1, kC1, kR1, kN2, kC2};
  asked.is_given = !arguments.FirstOf(given).empty();
  if (asked.is_given) {
    TakePlan(document, arguments, options, asked);
  } else {
    Design(document, arguments, options, asked);
  }
  const auto size = SizeOf(document);
  auto& taken = asked.options;
  if (taken.lot && size > *taken.lot) {
    throw Misuse("--lot-size takes a number from the samples on, which are " +
                 std::to_string(size) + ", not " + std::to_string(*taken.lot));
  }
  const bool by_counts = !std::holds_alternative<studies::VariablesPlan>(document.plan);
  if (asked.is_given && by_counts && taken.lot && taken.model == studies::CountModel::Binomial &&
      size * 10 > *taken.lot) {
    taken.model = studies::CountModel::Hypergeometric;
  }
  options.Add("LotSize",
              taken.lot ? decltype(render::ResolvedOption::value)(static_cast<double>(*taken.lot))
                        : decltype(render::ResolvedOption::value)(),
              taken.lot.has_value());
  auto to_option = kTo;
  if (taken.model == studies::CountModel::Poisson) to_option.high = kMostTo;
  const auto to = options.Get("To", to_option);
  auto notes = std::move(document.head.notes);
  document.head = {"plan", options.Take(), {}, std::move(notes)};
  document.model = taken.model;
  document.lot = taken.lot;
  AddCurve(document, taken, to);
  if (arguments.Has(kDatabase)) return RunOnLot(arguments, console, std::move(document));
  return DeliverStudy(arguments, console, document, render::PlanJson, render::MakePlanView);
}

}  // namespace

Command PlanStudyCommand() {
  return {
      "study plan",
      "[--aql P --alpha P --rql P --beta P] [--n N --c N] [OPTIONS]",
      "Acceptance sampling: the least plan for two risks, and what a plan does",
      "Designs a plan that refuses a lot of quality --aql with at most --alpha, and takes one of "
      "--rql with at most --beta; or shows the plan of --n and --c. Shares are proportions, "
      "0.01 for 1 %. With --db and --lot it says what the plan says of a stored lot: of what was "
      "counted in it, oldest subgroups first.\n"
      "Formats: text, json, svg, html.",
      "orvspc study plan --aql 0.01 --alpha 0.05 --rql 0.05 --beta 0.1 -o plan.svg",
      Together(std::vector<Option>{kAql, kAlpha, kRql, kBeta, kLotSize, kDefects, kDouble,
                                   kVariables, kN, kC, kK, kN1, kC1, kR1, kN2, kC2, kTo},
               SelectionOptions(), kPageOptions),
      RunPlan};
}

}  // namespace orvspc::cli
