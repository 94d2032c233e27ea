// SPDX-License-Identifier: Apache-2.0
#include "host/cli/study/Study.h"
#include "host/render/study/Steps.h"

namespace orvspc::cli {

namespace {

constexpr RealInside kPenalty{
    {"penalty", "X", "what a step must gain, times the logarithm of the number of points", "3"},
    1.0,
    20.0};
constexpr Number kLeast{{"least", "N", "points between two steps at least", "5"}, 2, 1000};

int RunSteps(const Arguments& arguments, Console& console) {
  studies::StepOptions asked;
  const auto take = [&](StudyOptions& options) {
    asked = {};
    asked.penalty = options.Get("Penalty", kPenalty, asked.penalty);
    asked.least = options.Get("Least", kLeast).value_or(asked.least);
  };
  return RunOnStreams<render::StepDocument>(
      arguments, console, "steps", render::StepJson, render::MakeStepView, take,
      [&](render::StepDocument& filled) {
        filled.Fill([&](const auto& stretch) { return studies::StudySteps(stretch, asked); });
      });
}

}  // namespace

Command StepsStudyCommand() {
  return {
      "study steps",
      "--db FILE [--part NAME] [--test NAME] [OPTIONS]",
      "Where the mean may have changed",
      "Hints of steps of the mean, each with the points that it may lie between. They move no "
      "limit; a phase does. Each phase is by itself.\n"
      "Formats: text, json, svg, html.",
      "orvspc study steps --db q.db --part Ring --test Diameter -o steps.svg",
      Together(SelectionOptions(),
               std::vector<Option>{kStudyMax, kPenalty, kLeast, kPhase, kAllPhases}, kPageOptions),
      RunSteps};
}

}  // namespace orvspc::cli
