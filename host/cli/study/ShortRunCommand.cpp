// SPDX-License-Identifier: Apache-2.0
#include "host/cli/study/Study.h"
#include "host/render/study/ShortRun.h"

namespace orvspc::cli {

namespace {

using studies::PartNominal;
using studies::PartSigma;
using studies::ShortRunKind;
using studies::SpreadGraph;

template <class Type>
constexpr render::Word WordFor(const char* word, Type value) {
  return {word, static_cast<std::int32_t>(value)};
}

constexpr render::Word kKindWords[] = {WordFor("deviation", ShortRunKind::Deviation),
                                       WordFor("z", ShortRunKind::Score)};
constexpr Choice<ShortRunKind> kKind{{"kind", "WORD",
                                      "deviations from nominal, or these in sigmas of the part", "",
                                      false, kKindWords}};
constexpr render::Word kSigmaWords[] = {
    WordFor("by-part", PartSigma::ByPart), WordFor("constant", PartSigma::Constant),
    WordFor("relative", PartSigma::Relative), WordFor("stored", PartSigma::Stored)};
constexpr Choice<PartSigma> kSigma{
    {"sigma", "WORD",
     "of z: of each part, of all parts, proportional to the nominal, or of the stored limits", "",
     false, kSigmaWords}};
constexpr render::Word kNominalWords[] = {WordFor("target", PartNominal::Target),
                                          WordFor("mean", PartNominal::Mean)};
constexpr Choice<PartNominal> kNominal{
    {"nominal", "WORD", "target of the specification limits, if any, or mean of the part", "",
     false, kNominalWords}};
constexpr render::Word kSpreadWords[] = {WordFor("auto", SpreadGraph::Auto),
                                         WordFor("range", SpreadGraph::Range),
                                         WordFor("deviation", SpreadGraph::Deviation)};
constexpr Choice<SpreadGraph> kSpread{
    {"spread", "WORD", "graph 2 of subgroups", "", false, kSpreadWords}};
constexpr Option kRules{"rules", "SET", "classic, nelson, western-electric, aiag or public-health",
                        "rule 1"};

std::vector<studies::ChartRule> RulesOf(const Arguments& arguments) {
  if (!arguments.Has(kRules)) return {studies::ChartRule{}};
  auto rules = studies::RulesOfSet(*arguments.Value(kRules));
  if (!rules.empty()) return rules;
  std::string sets;
  for (const auto name : studies::NamesOfSets()) {
    sets += (sets.empty() ? "" : ", ") + std::string(name);
  }
  throw Misuse("--rules takes one of " + sets + ", not " + *arguments.Value(kRules));
}

int RunShortRun(const Arguments& arguments, Console& console) {
  studies::ShortRunOptions asked;
  asked.rules = RulesOf(arguments);
  const auto take = [&](StudyOptions& options) {
    asked.kind = options.Get("Kind", kKind);
    asked.sigma = options.Get("Sigma", kSigma);
    asked.nominal = options.Get("Nominal", kNominal);
    asked.spread = options.Get("Spread", kSpread);
    options.Add("Rules", arguments.Value(kRules).value_or("rule 1"), arguments.Has(kRules));
  };
  studies::ReadOptions read;
  read.limits = true;
  read.bases = true;
  return RunOnStreams<render::ShortRunDocument>(
      arguments, console, "short-run", render::ShortRunJson, render::MakeShortRunView, take,
      [&](render::ShortRunDocument& filled) {
        if (arguments.Has(kSigma) && asked.kind != ShortRunKind::Score) {
          throw Misuse("--sigma goes with --kind z");
        }
        filled.data = studies::MixedParts(filled.data);
        for (const auto& stream : filled.data.streams) {
          auto& row = filled.studies.emplace_back();
          for (const auto& stretch : stream.stretches) {
            const bool own = stretch.limits_of >= row.size();
            row.push_back(
                studies::StudyShortRun(stretch, asked, own ? nullptr : &row[stretch.limits_of]));
          }
        }
      },
      read);
}

}  // namespace

Command ShortRunStudyCommand() {
  return {"study short-run",
          "--db FILE [--process NAME] [--test NAME] [OPTIONS]",
          "One chart of several parts that a process makes in turn",
          "Each part is compared with its own nominal, so that short runs of many parts make one "
          "chart of their process.\n"
          "Formats: text, json, svg, html.",
          "orvspc study short-run --db q.db --process Lathe --test Diameter -o lathe.svg",
          Together(SelectionOptions(),
                   std::vector<Option>{kStudyMax, kKind, kSigma, kNominal, kSpread, kRules, kPhase,
                                       kAllPhases, kSignalExit},
                   kPageOptions),
          RunShortRun};
}

}  // namespace orvspc::cli
