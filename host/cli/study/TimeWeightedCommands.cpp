// SPDX-License-Identifier: Apache-2.0
#include "host/cli/study/Study.h"
#include "host/render/core/Numbers.h"
#include "host/render/study/TimeWeighted.h"

namespace orvspc::cli {

namespace {

constexpr RealInside kTarget{{"target", "X", "what points are compared with", "the line in force"},
                             -1e300,
                             1e300,
                             true,
                             true};
constexpr RealInside kSigma{
    {"sigma", "X", "standard deviation of one piece", "what the line in force has"},
    0.0,
    1e300,
    true,
    true};
constexpr RealInside kWeight{{"weight", "X", "of the newest point", "0.2"}, 0.0, 1.0, true};
constexpr RealInside kWidth{
    {"width", "X", "half width of the limits in sigmas", "3"}, 0.0, 6.0, true};
constexpr RealInside kFir{
    {"fir", "F", "fast initial response: the limits begin at this share of their width"},
    0.0,
    1.0,
    true,
    true};
enum class LimitsOf { Exact, Asymptotic };
constexpr render::Word kLimitsWords[] = {
    {"exact", static_cast<std::int32_t>(LimitsOf::Exact)},
    {"asymptotic", static_cast<std::int32_t>(LimitsOf::Asymptotic)}};
constexpr Choice<LimitsOf> kLimits{
    {"limits", "WORD", "of each point, or as they are after many", "", false, kLimitsWords}};
constexpr Option kReset{"reset", nullptr, "begin anew after a signal"};
constexpr RealInside kReference{{"k", "X", "reference value in sigmas", "0.5"}, 0.0, 3.0};
constexpr RealInside kDecision{{"h", "X", "decision interval in sigmas", "5"}, 0.0, 50.0, true};
constexpr RealInside kHeadStart{
    {"head-start", "X", "of both arms, in sigmas; below h", "0"}, 0.0, 50.0};
constexpr Option kShared[] = {kStudyMax, kTarget, kSigma, kReset, kPhase, kAllPhases};

int RunEwma(const Arguments& arguments, Console& console) {
  studies::EwmaOptions asked;
  const auto take = [&](StudyOptions& options) {
    asked = {};
    asked.weight = options.Get("Weight", kWeight, asked.weight);
    asked.width = options.Get("Width", kWidth, asked.width);
    asked.exact = options.Get("Limits", kLimits) == LimitsOf::Exact;
    asked.fir = options.Get("FIR", kFir);
    asked.target = options.Get("Target", kTarget);
    asked.sigma = options.Get("Sigma", kSigma);
    asked.reset = options.Get("Reset", kReset);
    if (asked.fir && !asked.exact) throw Misuse("--fir goes with --limits exact");
  };
  return RunOnStreams<render::EwmaDocument>(
      arguments, console, "ewma", render::EwmaJson, render::MakeEwmaView, take,
      [&](render::EwmaDocument& filled) {
        filled.Fill([&](const auto& stretch) { return studies::StudyEwma(stretch, asked); });
      });
}

int RunCusum(const Arguments& arguments, Console& console) {
  studies::CusumOptions asked;
  const auto take = [&](StudyOptions& options) {
    asked = {};
    asked.k = options.Get("K", kReference, asked.k);
    asked.h = options.Get("H", kDecision, asked.h);
    asked.head_start = options.Get("HeadStart", kHeadStart, asked.head_start);
    asked.target = options.Get("Target", kTarget);
    asked.sigma = options.Get("Sigma", kSigma);
    asked.reset = options.Get("Reset", kReset);
    if (asked.head_start >= asked.h) {
      throw Misuse("--head-start takes a number from 0 to below --h, not " +
                   arguments.Value(kHeadStart).value_or(render::Shortest(asked.head_start)));
    }
  };
  return RunOnStreams<render::CusumDocument>(
      arguments, console, "cusum", render::CusumJson, render::MakeCusumView, take,
      [&](render::CusumDocument& filled) {
        filled.Fill([&](const auto& stretch) { return studies::StudyCusum(stretch, asked); });
      });
}

}  // namespace

Command EwmaStudyCommand() {
  return {
      "study ewma",
      "--db FILE [--part NAME] [--test NAME] [OPTIONS]",
      "Exponentially weighted moving average of measurements",
      "Finds small shifts that last. Points are subgroup means, or single values. Each phase "
      "begins anew, and so does each row of control limits.\n"
      "Formats: text, json, svg, html.",
      "orvspc study ewma --db q.db --part Ring --test Diameter --weight 0.1 --width 2.7 -o e.svg",
      Together(SelectionOptions(), kShared, std::vector<Option>{kWeight, kWidth, kLimits, kFir},
               kPageOptions),
      RunEwma};
}

Command CusumStudyCommand() {
  return {"study cusum",
          "--db FILE [--part NAME] [--test NAME] [OPTIONS]",
          "Cumulative sums of measurements above and below the target",
          "Finds small shifts that last, and says when they began and how large they are.\n"
          "Formats: text, json, svg, html.",
          "orvspc study cusum --db q.db --part Ring --test Diameter --h 4 --head-start 2 -o c.svg",
          Together(SelectionOptions(), kShared,
                   std::vector<Option>{kReference, kDecision, kHeadStart}, kPageOptions),
          RunCusum};
}

}  // namespace orvspc::cli
