// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "host/cli/study/Study.h"
#include "host/render/study/Baseline.h"
#include "platform/Actor.h"

namespace orvspc::cli {

namespace {

constexpr render::Word kScreeningWords[] = {
    {"cause", static_cast<std::int32_t>(LimitScreening::WithCause)},
    {"every", static_cast<std::int32_t>(LimitScreening::Every)},
    {"none", static_cast<std::int32_t>(LimitScreening::None)}};
constexpr Choice<LimitScreening> kScreening{
    {"screening", "WORD",
     "points beyond the limits that are left out: those with a cause, every one, or none", "",
     false, kScreeningWords}};
constexpr Option kScreenMr{"screen-mr", nullptr,
                           "sigma without moving ranges above 3.267 of their mean"};
constexpr Option kOfCounts{"counts", nullptr, "tests of counts in place of measurements"};

// The lines of each round: those of the subgroups that were left when it began.
std::vector<render::BaselineRound> RoundsOf(const QualityDatabase& database, LimitRequest request,
                                            const LimitProposal& proposal) {
  request.screening = LimitScreening::None;
  std::vector<render::BaselineRound> rounds;
  for (const auto& round : proposal.rounds) {
    rounds.push_back({round, database.ComputeLimits(request).lines});
    request.exclusions.insert(request.exclusions.end(), round.left_out.begin(),
                              round.left_out.end());
  }
  return rounds;
}

render::BaselineStudy StudyOf(const QualityDatabase& database, const studies::Stream& stream,
                              const studies::Stretch& stretch, LimitRequest request) {
  render::BaselineStudy study;
  study.left_out.assign(stretch.points.size(), 0);
  study.signals = study.left_out;
  request.part = stream.part;
  request.process = stream.process;
  request.test = stream.test;
  request.since = stretch.times.front();
  request.until = stretch.times.back();
  request.all_phases = true;  // the stretch lies in one
  request.force = true;
  try {
    study.proposal = database.ComputeLimits(request);
    study.rounds = RoundsOf(database, request, study.proposal);
    study.made = true;
  } catch (const Refused& refused) {
    study.notes.push_back({"no-baseline", refused.what(), {}});
    return study;
  }
  const auto place = [&](std::int32_t subgroup) {
    return static_cast<std::size_t>(std::ranges::find(stretch.subgroups, subgroup) -
                                    stretch.subgroups.begin());
  };
  for (const auto& each : study.proposal.exclusions) {
    const auto i = place(each.subgroup);
    if (i < study.left_out.size()) study.left_out[i] = 1;
  }
  for (const auto& each : study.proposal.signals) {
    const auto i = place(each.subgroup);
    if (each.graph == 1 && i < study.signals.size()) study.signals[i] = 1;
  }
  for (const auto& text : study.proposal.missing) {
    study.notes.push_back({"not-to-be-proposed", "Not to be proposed: " + text + ".", {}});
  }
  if (study.proposal.subgroups != static_cast<std::int32_t>(stretch.points.size())) {
    study.notes.push_back(
        {"all-subgroups",
         "The limits are those of all subgroups of the time, also of those not selected.",
         {}});
  }
  return study;
}

int RunBaseline(const Arguments& arguments, Console& console) {
  StudyOptions options(arguments);
  LimitRequest request;
  request.screening = options.Get("Screening", kScreening);
  request.screen_mr = options.Get("ScreenMR", kScreenMr);
  studies::ReadOptions read;
  read.counts = options.Get("Counts", kOfCounts);
  render::BaselineDocument document;
  document.head = {"baseline", options.Take(), {}, {}};
  const auto types = read.counts ? kCounts : std::int32_t{ttVariable};
  return RunAnalysis(arguments, console, kDrawn, kStudyMax, types, [&](Analysis& run) -> Outcome {
    run.database.JoinPhases(arguments.Has(kAllPhases));
    document.head.select = run.select;
    document.data = StreamsOf(run, read, document.head.notes);
    const bool empty = document.data.Empty();
    if (empty) NoteEmpty(run, kStudyMax, document.head.notes);
    for (const auto& stream : document.data.streams) {
      auto& row = document.studies.emplace_back();
      for (const auto& stretch : stream.stretches) {
        row.push_back(StudyOf(run.database, stream, stretch, request));
      }
    }
    return {FormattedStudy(document, run, render::BaselineJson, render::MakeBaselineView), empty};
  });
}

}  // namespace

Command BaselineStudyCommand() {
  return {
      "study baseline",
      "--db FILE [--part NAME] [--test NAME] [OPTIONS]",
      "Limits of what is left when points with a cause are left out",
      "In rounds, points beyond the limits are left out and the limits computed anew: first "
      "those of the spread, then those of the mean. Nothing is stored: \"orvspc limits propose "
      "--iterate\" does that.\n"
      "Formats: text, json, svg, html.",
      "orvspc study baseline --db q.db --part Ring --test Diameter -o baseline.svg",
      Together(SelectionOptions(),
               std::vector<Option>{kStudyMax, kScreening, kScreenMr, kOfCounts, kPhase, kAllPhases},
               kPageOptions),
      RunBaseline};
}

}  // namespace orvspc::cli
