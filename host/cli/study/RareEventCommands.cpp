// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <utility>

#include "host/cli/study/Readings.h"
#include "host/render/events/Events.h"
#include "host/render/study/RareEvents.h"
#include "platform/TimeStamp.h"

namespace orvspc::cli {

namespace {

constexpr Option kGaps{"data", "FILE.csv", "a row an event, oldest first; otherwise --db"};
constexpr Option kColumn{"column", "NAME", "heading of the column", "the first"};
constexpr RealInside kAlpha{
    {"alpha", "X", "chance of a false signal, of both sides together", "0.0027"}, 0.0001, 0.1};
constexpr render::Word kRunWords[] = {{"9", 2}, {"8", 9}, {"7", 10}, {"none", 0}};
constexpr Choice<std::int32_t> kRun{{"run", "N",
                                     "points in a row on one side of the median that are a signal",
                                     "", false, kRunWords}};
enum class GLimits { Probability, Sigma };
constexpr render::Word kLimitsWords[] = {
    {"probability", static_cast<std::int32_t>(GLimits::Probability)},
    {"sigma", static_cast<std::int32_t>(GLimits::Sigma)}};
constexpr Choice<GLimits> kLimits{
    {"limits", "WORD", "quantiles, or three sigmas about the mean", "", false, kLimitsWords}};
enum class GEstimator { Unbiased, Likelihood };
constexpr render::Word kEstimatorWords[] = {
    {"unbiased", static_cast<std::int32_t>(GEstimator::Unbiased)},
    {"ml", static_cast<std::int32_t>(GEstimator::Likelihood)}};
constexpr Choice<GEstimator> kEstimator{
    {"estimator", "WORD", "of the chance of an event", "", false, kEstimatorWords}};
constexpr render::Word kLawWords[] = {
    {"weibull", static_cast<std::int32_t>(studies::TimeLaw::Weibull)},
    {"exponential", static_cast<std::int32_t>(studies::TimeLaw::Exponential)},
    {"power", static_cast<std::int32_t>(studies::TimeLaw::Power)}};
constexpr Choice<studies::TimeLaw> kLaw{
    {"law", "WORD", "distribution of the times", "", false, kLawWords}};
constexpr RealInside kResolution{
    {"resolution", "X", "of the times: one of 0 counts as half of it", "1"},
    0.0,
    1e300,
    true,
    true};
constexpr RealInside kOpen{
    {"open", "X", "what there was since the last event, drawn hollow", "none"},
    0.0,
    1e300,
    false,
    true};
constexpr Option kEvent{"event", "NAME", "with --db: only events of that name", "", true};
enum class Clock { Always, Running };
constexpr render::Word kRunningWords[] = {{"no", static_cast<std::int32_t>(Clock::Always)},
                                          {"yes", static_cast<std::int32_t>(Clock::Running)}};
constexpr Choice<Clock> kRunning{
    {"running", "WORD", "with --db: only time in which the process ran", "", false, kRunningWords}};

// Fills in column and points.
template <class Document>
void ReadGaps(const Arguments& arguments, bool whole, Document& document) {
  const DataFile file(arguments.Required(kGaps));
  const auto asked = arguments.Value(kColumn);
  const auto column = asked ? file.Column({*asked}) : 0;
  document.column = file.Headings()[column];
  for (std::size_t row = 0; row < file.Rows(); ++row) {
    const double value = file.Number(row, column);
    if (value < 0.0) file.Refuse(row, column, "is below 0");
    if (whole && std::floor(value) != value) file.Refuse(row, column, "is not a whole number");
    document.points.push_back(value);
  }
}

// Writes a document of a file; what the program exits with.
template <class Document>
int DeliverGaps(const Arguments& arguments, Console& console, const Document& document,
                std::string (*json)(const Document&, const render::Names&),
                render::StudyView (*view)(const Document&, const render::Names&)) {
  const int status = SignalStatus(arguments, document.points.empty(), SignalsOfOne(document.study));
  DeliverStudy(arguments, console, document, json, view);
  return status;
}

void TakeShared(StudyOptions& options, studies::GapOptions& asked) {
  asked.alpha = options.Get("Alpha", kAlpha, asked.alpha);
  asked.run_rule = options.Get("Run", kRun);
}

// Misuse for options of a file beside a database, and the reverse.
void CheckOptions(const Arguments& arguments, std::initializer_list<Option> of_files,
                  std::initializer_list<Option> of_databases) {
  CheckSource(arguments, true);
  const bool has_database = arguments.Has(kDatabase);
  for (const auto& option : has_database ? of_files : of_databases) {
    if (!arguments.Has(option)) continue;
    throw Misuse("--" + std::string(option.name) + " goes with " +
                 (has_database ? "--data" : "--db"));
  }
}

studies::GOptions GOptionsOf(const Arguments& arguments, StudyOptions& options) {
  studies::GOptions asked;
  TakeShared(options, asked);
  asked.probability = options.Get("Limits", kLimits) == GLimits::Probability;
  asked.unbiased = options.Get("Estimator", kEstimator) == GEstimator::Unbiased;
  if (!asked.probability && arguments.Has(kAlpha)) {
    throw Misuse("--alpha goes with --limits probability");
  }
  return asked;
}

// Units between the subgroups of each stream that have a defective or a defect.
int RunGOfStreams(const Arguments& arguments, Console& console) {
  studies::ReadOptions read;
  read.counts = true;
  read.bases = true;
  studies::GOptions asked;
  return RunOnStreams<render::GStreamsDocument>(
      arguments, console, "g", render::GStreamsJson, render::MakeGStreamsView,
      [&](StudyOptions& options) { asked = GOptionsOf(arguments, options); },
      [&](render::GStreamsDocument& filled) {
        for (auto& stream : filled.data.streams) {
          auto& row = filled.studies.emplace_back();
          std::optional<double> open;
          for (auto& stretch : stream.stretches) {
            const bool is_shown = stretch.is_shown;
            auto between = studies::UnitsBetweenEvents(stretch, is_shown ? open : std::nullopt);
            if (is_shown) open = between.open;
            auto of_stretch = asked;
            of_stretch.base = between.base;
            if (&stretch == &stream.stretches.back()) of_stretch.open = between.open;
            stretch = std::move(between.stretch);
            const bool is_judged = stretch.limits_of < row.size();
            auto& study = row.emplace_back(studies::StudyG(
                stretch.points, of_stretch, is_judged ? &row[stretch.limits_of] : nullptr));
            study.notes.insert(study.notes.begin(), between.notes.begin(), between.notes.end());
          }
        }
      },
      read);
}

int RunG(const Arguments& arguments, Console& console) {
  CheckOptions(arguments, {kColumn, kOpen}, {kAllPhases});
  if (arguments.Has(kDatabase)) return RunGOfStreams(arguments, console);
  StudyOptions options(arguments);
  auto asked = GOptionsOf(arguments, options);
  asked.open = options.Get("Open", kOpen);
  render::GDocument document;
  ReadGaps(arguments, true, document);
  document.head = {"g", options.Take(), {}, {}};
  document.study = studies::StudyG(document.points, asked);
  return DeliverGaps(arguments, console, document, render::GJson, render::MakeGView);
}

// The events of a selection, oldest first, of these names or of any.
std::vector<render::EventRow> EventsOf(Analysis& run, std::vector<Note>& notes) {
  std::vector<std::int32_t> names;
  for (const auto& name : run.arguments.Values(kEvent)) {
    const auto id = run.database.Find(ItemKind::EventName, name);
    if (!id) throw Refusal("no event-name is called \"" + name + "\"");
    names.push_back(*id);
  }
  auto [events, report] = Reported(
      run.database, [&](const auto& open) { return run.select->Clone()->GetEventData(open); });
  notes.insert(notes.end(), report.notes.begin(), report.notes.end());
  auto rows = render::ReadEvents(*events);
  std::vector<std::int32_t> ids;
  for (const auto& row : rows) ids.push_back(row.evnt);
  std::vector<std::int32_t> taken;
  for (const auto& event : run.database.Events(ids)) {
    if (names.empty() || std::ranges::find(names, event.name) != names.end()) {
      taken.push_back(event.id);
    }
  }
  std::erase_if(rows, [&](const render::EventRow& row) {
    return std::ranges::find(taken, row.evnt) == taken.end();
  });
  std::ranges::stable_sort(rows, {}, &render::EventRow::time);
  return rows;
}

// When the process of the events ran, from one time up to another.
std::vector<studies::TimeSpan> RunningSpans(const QualityDatabase& database,
                                            const std::vector<render::EventRow>& events,
                                            std::int64_t to, std::vector<Note>& notes) {
  const auto process = events.front().prcs;
  if (process == 0 || std::ranges::any_of(events, [&](const render::EventRow& event) {
        return event.prcs != process;
      })) {
    throw Refusal("--running yes takes events of one process; --process chooses it");
  }
  const auto from = events.front().time;
  auto states = database.StatesBetween(process, from, to);
  if (auto before = database.StateBefore(process, from)) {
    states.insert(states.begin(), std::move(*before));
  }
  if (states.empty()) {
    notes.push_back(
        {"no-state-log", "The process has no state log and counts as running all the time.", {}});
    return {{from, to}};
  }
  std::vector<studies::TimeSpan> spans;
  for (std::size_t i = 0; i < states.size(); ++i) {
    if (states[i].type != pst_Start && states[i].type != pst_Run) continue;
    spans.push_back({states[i].since, i + 1 < states.size() ? states[i + 1].since : to});
  }
  return spans;
}

constexpr Number kAllEvents = MaximumOption("", "all");
constexpr double kHour = 3600.0;

studies::TOptions TOptionsOf(const Arguments& arguments, StudyOptions& options) {
  studies::TOptions asked;
  TakeShared(options, asked);
  asked.law = options.Get("Law", kLaw);
  if (asked.law == studies::TimeLaw::Power && arguments.Has(kAlpha)) {
    throw Misuse("--alpha goes with --law weibull or exponential");
  }
  return asked;
}

// What events are of, each once; 0: of none in particular.
std::vector<StreamKey> StreamsOfEvents(const std::vector<render::EventRow>& events) {
  std::set<std::array<std::int32_t, 3>> found;
  for (const auto& event : events) found.insert({event.part, event.prcs, event.test});
  std::vector<StreamKey> streams;
  for (const auto& [part, process, test] : found) streams.push_back({part, process, test});
  return streams;
}

// Hours between the events of a selection.
int RunTOfEvents(const Arguments& arguments, Console& console) {
  // What is misuse by the command alone is so without a database.
  StudyOptions given(arguments);
  TOptionsOf(arguments, given);
  given.Get("Running", kRunning);
  return RunAnalysis(
      arguments, console, kDrawn, kAllEvents, kAllTests, [&](Analysis& run) -> Outcome {
        const double until =
            run.select->DateRangeTimeType() == drttStatic ? run.select->DateRangeEnd() : 0.0;
        render::TDocument document;
        document.head = {"t", {}, run.select, {}};
        const auto events = EventsOf(run, document.head.notes);
        StudyOptions options(arguments, StoredOptionsOf(run, StreamsOfEvents(events), "t"));
        auto asked = TOptionsOf(arguments, options);
        const auto clock = options.Get("Running", kRunning);
        options.Add("Event", render::Joined(arguments.Values(kEvent), ", "), arguments.Has(kEvent));
        document.head.options = options.Take();
        asked.resolution = 1.0 / kHour;
        document.column =
            clock == Clock::Running ? "running hours between events" : "hours between events";
        const bool empty = events.empty();
        if (empty) NoteEmpty(run, kAllEvents, document.head.notes, {kEvents});
        if (!empty) {
          // What came since the last event ends with the range, or now.
          std::int64_t end = CurrentTime();
          if (until != 0.0) end = std::min<std::int64_t>(end, platform::DateToTimeStamp(until));
          end = std::max(end, events.back().time);
          if (end < CurrentTime()) {
            document.head.notes.push_back(
                {"open-until",
                 "The time since the last event is counted until " + render::IsoTime(end) + ".",
                 {}});
          }
          std::vector<std::int64_t> stamps;
          for (const auto& event : events) stamps.push_back(event.time);
          document.times.assign(stamps.begin() + 1, stamps.end());
          stamps.push_back(end);
          auto hours = clock == Clock::Running
                           ? studies::SecondsBetween(stamps, RunningSpans(run.database, events, end,
                                                                          document.head.notes))
                           : studies::SecondsBetween(stamps);
          for (auto& each : hours) each /= kHour;
          asked.open = hours.back();
          hours.pop_back();
          document.points = std::move(hours);
        }
        document.study = studies::StudyT(document.points, asked);
        const int status = SignalStatus(arguments, empty, SignalsOfOne(document.study));
        return {FormattedStudy<render::TDocument>(document, run, render::TJson, render::MakeTView),
                empty,
                {},
                status};
      });
}

int RunT(const Arguments& arguments, Console& console) {
  CheckOptions(arguments, {kColumn, kOpen, kResolution}, {kEvent, kRunning});
  if (arguments.Has(kDatabase)) return RunTOfEvents(arguments, console);
  StudyOptions options(arguments);
  auto asked = TOptionsOf(arguments, options);
  asked.resolution = options.Get("Resolution", kResolution, asked.resolution);
  asked.open = options.Get("Open", kOpen);
  render::TDocument document;
  ReadGaps(arguments, false, document);
  document.head = {"t", options.Take(), {}, {}};
  document.study = studies::StudyT(document.points, asked);
  return DeliverGaps(arguments, console, document, render::TJson, render::MakeTView);
}

constexpr Option kShared[] = {kGaps, kColumn, kOpen, kAlpha, kRun, kSignalExit};

}  // namespace

Command GStudyCommand() {
  return {"study g",
          "--data FILE.csv|--db FILE [OPTIONS]",
          "g chart of how many units, patients or days lie between rare events",
          "For events so rare that most points of a p or c chart are 0. A point above the upper "
          "limit is good news. Out of a database: units between the subgroups that have a "
          "defective or a defect.\n"
          "Formats: text, json, svg, html.",
          "orvspc study g --data between.csv --column units -o g.svg",
          Together(kShared, std::vector<Option>{kLimits, kEstimator}, SelectionOptions(),
                   std::vector<Option>{kStudyMax, kPhase, kAllPhases}, kPageOptions),
          RunG};
}

Command TStudyCommand() {
  return {"study t",
          "--data FILE.csv|--db FILE [OPTIONS]",
          "t chart of the times between rare events",
          "Times between failures, accidents or complaints, with limits by a distribution of "
          "times. Out of a database: hours between its events, which have a time, a process, a "
          "part, a test and an employee.\n"
          "Formats: text, json, svg, html.",
          "orvspc study t --data failures.csv --column hours --open 4000 -o t.svg",
          Together(kShared, std::vector<Option>{kLaw, kResolution, kEvent, kRunning},
                   SelectionOptions(), kPageOptions),
          RunT};
}

}  // namespace orvspc::cli
