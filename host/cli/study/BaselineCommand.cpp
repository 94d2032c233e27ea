// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <span>
#include <utility>
#include <vector>

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

bool HasSubgroups(const QualityDatabase& database, LimitRequest request, const Phase& phase) {
  request.since = phase.start;
  if (phase.finish) request.until = *phase.finish - 1;
  request.all_phases = true;
  request.force = true;
  try {
    database.ComputeLimits(request);
    return true;
  } catch (const Refused& refused) {
    return refused.code != "unknown";
  }
}

// The phase whose limits hold in a stretch between phases: the one before it that is shown, else
// among those of all streams the newest with subgroups. Null: there is none.
const Phase* PhaseBefore(const QualityDatabase& database, const LimitRequest& request,
                         const std::vector<Phase>& phases,
                         const std::vector<studies::Stretch>& stretches, std::size_t p) {
  const auto& stretch = stretches[p];
  if (stretch.limits_of != p) return &stretches[stretch.limits_of].phase;
  const auto fits = [](std::int32_t of_phase, std::int32_t id) {
    return of_phase == 0 || of_phase == id;
  };
  const auto before = std::find_if(phases.rbegin(), phases.rend(), [&](const Phase& phase) {
    return phase.Counts() && phase.start <= stretch.times.front() &&
           fits(phase.part, request.part) && fits(phase.process, request.process) &&
           fits(phase.test, request.test) && HasSubgroups(database, request, phase);
  });
  return before == phases.rend() ? nullptr : &*before;
}

// The stretches that share their limits with one: before the first phase all of them, which
// excluded phases part; else itself alone. First and last.
std::pair<std::size_t, std::size_t> SharedBy(const std::vector<studies::Stretch>& stretches,
                                             std::size_t p) {
  std::pair shared{p, p};
  if (stretches[p].phase.id != 0) return shared;
  const auto parts = [](const studies::Stretch& each) {
    return each.phase.id == 0 || !each.phase.Counts();
  };
  const auto end =
      static_cast<std::size_t>(std::ranges::find_if_not(stretches, parts) - stretches.begin());
  if (p >= end) return shared;
  for (std::size_t q = 0; q < end; ++q) {
    if (stretches[q].phase.id != 0) continue;
    shared.first = std::min(shared.first, q);
    shared.second = std::max(shared.second, q);
  }
  return shared;
}

// Subgroups of these stretches that limits can be of. Those of a frozen phase are of its first
// ones.
std::ptrdiff_t SelectedOf(std::span<const studies::Stretch> stretches,
                          const LimitProposal& proposal) {
  const auto frozen = stretches.front().phase.freeze_after;
  const bool ends_before = frozen > 0 && proposal.used >= frozen;
  std::ptrdiff_t count = 0;
  for (const auto& stretch : stretches) {
    count += std::ranges::count_if(
        stretch.times, [&](std::int32_t time) { return !ends_before || time <= proposal.finish; });
  }
  return count;
}

void MarkPoints(const studies::Stretch& stretch, render::BaselineStudy& study) {
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
    if (each.graph == 1 && i < study.marks.size()) study.marks[i] = each.rules;
  }
}

// The limits that "limits compute" gives for the phase of a stretch.
render::BaselineStudy StudyOf(const QualityDatabase& database, const std::vector<Phase>& phases,
                              const studies::Stream& stream, std::size_t p, LimitRequest request) {
  const auto& stretch = stream.stretches[p];
  render::BaselineStudy study;
  study.left_out.assign(stretch.points.size(), 0);
  study.marks.resize(stretch.points.size());
  const auto none = [&](const std::string& text) {
    study.notes.push_back({"no-baseline", text, {}});
    return study;
  };
  request.part = stream.part;
  request.process = stream.process;
  request.test = stream.test;
  request.force = true;
  if (!stretch.phase.Counts()) return none("It is excluded, so it has no baseline.");
  if (stretch.phase.id == 0 && !request.all_phases) {
    if (const auto* const before = PhaseBefore(database, request, phases, stream.stretches, p)) {
      return none("Between phases there is no baseline; the limits of phase \"" + before->name +
                  "\" hold there.");
    }
  }
  const auto [first, last] = SharedBy(stream.stretches, p);
  const auto shared = std::span(stream.stretches).subspan(first, last - first + 1);
  const bool is_frozen = stretch.phase.freeze_after > 0;
  request.since = is_frozen ? stretch.phase.start : shared.front().times.front();
  request.until = shared.back().times.back();
  try {
    study.proposal = database.ComputeLimits(request);
    study.rounds = RoundsOf(database, request, study.proposal);
    study.made = true;
  } catch (const Refused& refused) {
    return none(refused.what());
  }
  MarkPoints(stretch, study);
  if (p != first) return study;  // what there is to be said, the first of them says
  for (const auto& text : study.proposal.missing) {
    study.notes.push_back({"not-to-be-proposed", "Not to be proposed: " + text + ".", {}});
  }
  if (study.proposal.subgroups > SelectedOf(shared, study.proposal)) {
    study.notes.push_back(
        {"all-subgroups",
         "The limits are those of all subgroups of the time, also of those not selected.",
         {}});
  }
  return study;
}

// Whether the points of a stretch signal on any graph that were not left out.
void AddSignals(std::vector<bool>& points, const studies::Stretch& stretch,
                const render::BaselineStudy& study) {
  std::set<std::int32_t> signals;
  for (const auto& each : study.proposal.signals) signals.insert(each.subgroup);
  for (std::size_t i = 0; i < stretch.subgroups.size(); ++i) {
    if (!stretch.IsUsed(i) || study.left_out[i] != 0) continue;
    points.push_back(signals.contains(stretch.subgroups[i]));
  }
}

int RunBaseline(const Arguments& arguments, Console& console) {
  StudyOptions options(arguments);
  LimitRequest request;
  request.screening = options.Get("Screening", kScreening);
  request.screen_mr = options.Get("ScreenMR", kScreenMr);
  request.all_phases = arguments.Has(kAllPhases);
  studies::ReadOptions read;
  read.counts = options.Get("Counts", kOfCounts);
  render::BaselineDocument document;
  document.head = {"baseline", options.Take(), {}, {}};
  const auto types = read.counts ? kCounts : std::int32_t{ttVariable};
  return RunAnalysis(arguments, console, kDrawn, kStudyMax, types, [&](Analysis& run) -> Outcome {
    run.database.JoinPhases(request.all_phases);
    document.head.select = run.select;
    document.data = StreamsOf(run, read, document.head.notes);
    const bool empty = document.data.Empty();
    if (empty) NoteEmpty(run, kStudyMax, document.head.notes);
    const auto phases = run.database.Phases();
    for (const auto& stream : document.data.streams) {
      auto& row = document.studies.emplace_back();
      for (std::size_t p = 0; p < stream.stretches.size(); ++p) {
        row.push_back(StudyOf(run.database, phases, stream, p, request));
      }
    }
    const int status = SignalStatus(arguments, empty, SignalsOfStreams(document, AddSignals));
    return {FormattedStudy(document, run, render::BaselineJson, render::MakeBaselineView),
            empty,
            {},
            status};
  });
}

}  // namespace

Command BaselineStudyCommand() {
  return {"study baseline",
          "--db FILE [--part NAME] [--test NAME] [OPTIONS]",
          "Limits of what is left when points with a cause are left out",
          "In rounds, points beyond the limits are left out and the limits computed anew: first "
          "those of the spread, then those of the mean. Nothing is stored: \"orvspc limits propose "
          "--iterate\" does that.\n"
          "Formats: text, json, svg, html.",
          "orvspc study baseline --db q.db --part Ring --test Diameter -o baseline.svg",
          Together(SelectionOptions(),
                   std::vector<Option>{kStudyMax, kScreening, kScreenMr, kOfCounts, kPhase,
                                       kAllPhases, kSignalExit},
                   kPageOptions),
          RunBaseline};
}

}  // namespace orvspc::cli
