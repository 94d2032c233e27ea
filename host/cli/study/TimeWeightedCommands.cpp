// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

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
enum class PointsOf { Means, Medians };
constexpr render::Word kPointsWords[] = {{"mean", static_cast<std::int32_t>(PointsOf::Means)},
                                         {"median", static_cast<std::int32_t>(PointsOf::Medians)}};
constexpr Choice<PointsOf> kPoints{
    {"points", "WORD", "of measurements: mean or median of a subgroup", "", false, kPointsWords}};
constexpr Option kReset{"reset", nullptr, "begin anew after a signal"};
constexpr RealInside kReference{{"k", "X", "reference value in sigmas", "0.5"}, 0.0, 3.0};
constexpr RealInside kDecision{
    {"h", "X", "decision interval in sigmas", "5; of counts none"}, 0.0, 50.0, true};
constexpr RealInside kHeadStart{
    {"head-start", "X", "of both arms, in sigmas; below h", "0"}, 0.0, 50.0};
constexpr Option kOfCounts{"counts", nullptr,
                           "of a test that counts: h and head start are counts, --mu1 or --p1 says "
                           "what is to be found, above or below the mean"};
constexpr RealInside kMu1{{"mu1", "X", "of defects: as many a unit inspected"}, 0.0, 1e6, true};
constexpr RealInside kP1{{"p1", "P", "of defectives: the proportion"}, 0.0, 1.0, true, true};
constexpr RealInside kDecisionOfCounts{kDecision, 0.0, 1000.0, true};
constexpr RealInside kHeadStartOfCounts{kHeadStart, 0.0, 1000.0};
// The chart word of single values with their moving ranges.
constexpr std::int32_t kIndividuals = 0x330;
// That of medians, with the sigma that suits the data.
constexpr std::int32_t kMedians = 0x200;
constexpr Option kShared[] = {kStudyMax, kTarget, kSigma,     kPoints,    kSided,
                              kReset,    kPhase,  kAllPhases, kSignalExit};

// Sigmas of counts follow from their line, and there are no pieces.
void NeedMeasured(const studies::AboutOptions& asked, const studies::StudyData& data) {
  if (data.Empty() || data.streams[0].stretches[0].counts.empty()) return;
  if (asked.sigma) throw Misuse("--sigma goes with measurements, not with counts");
  if (asked.medians) throw Misuse("--points median goes with measurements, not with counts");
}

// What the points of counts are, which a target needs.
void TakeCounts(const studies::StudyData& data, studies::AboutOptions& asked) {
  asked.defectives = data.defectives;
  asked.counted = data.counted;
  asked.scale = data.scale;
  if (data.Empty() || data.streams[0].stretches[0].counts.empty() || !asked.target) return;
  const bool has_end = data.defectives && !data.counted;
  if (*asked.target > 0.0 && (!has_end || *asked.target < data.scale)) return;
  throw Misuse("--target of counts takes a number above 0" +
               (has_end ? " to below " + render::Significant(data.scale, 12) : std::string()) +
               ", not " + render::Shortest(*asked.target));
}

bool IsOfSingles(const studies::Stream& stream) {
  return std::ranges::all_of(stream.stretches, [](const studies::Stretch& stretch) {
    return std::ranges::all_of(stretch.sizes, [](double size) { return size <= 1.0; });
  });
}

// Beside streams of subgroups those of single values have no ranges inside subgroups: they are read
// by themselves, so that their sigma is that of moving ranges.
void ReadSinglesApart(const Analysis& run, studies::StudyData& data, std::vector<Note>& notes) {
  const auto singles = std::ranges::count_if(data.streams, IsOfSingles);
  const bool is_counted = !data.Empty() && !data.streams[0].stretches[0].counts.empty();
  if (is_counted || singles == 0 || singles == std::ssize(data.streams)) return;
  studies::ReadOptions read;
  read.chart_word = kIndividuals;
  read.bases = true;
  std::vector<Note> of_singles;
  const auto apart = StreamsOf(run, read, of_singles);
  for (auto& stream : data.streams) {
    if (!IsOfSingles(stream)) continue;
    const auto found = std::ranges::find_if(apart.streams, [&](const studies::Stream& other) {
      return other.part == stream.part && other.process == stream.process &&
             other.test == stream.test;
    });
    if (found == apart.streams.end()) continue;
    stream = *found;
    const auto name = render::StreamName(run.names, stream.part, stream.process, stream.test);
    std::erase_if(notes, [&](const Note& note) { return note.stream == name; });
    for (const auto& note : of_singles) {
      if (note.stream == name) notes.push_back(note);
    }
  }
}

// A study of measurements or counts whose options a database may have: take(options) resolves them
// into asked.
template <class Document>
int RunWeighted(const Arguments& arguments, Console& console, const char* word,
                studies::AboutOptions& asked,
                std::string (*json)(const Document&, const render::Names&),
                render::StudyView (*view)(const Document&, const render::Names&),
                const std::function<void(StudyOptions&)>& take,
                const std::function<void(Document&)>& fill) {
  // What is misuse by the command alone is so without a database.
  StudyOptions given(arguments);
  take(given);
  Document document;
  document.head = {word, {}, {}, {}};
  return RunOnStreams<Document>(
      arguments, console, document, json, view, fill, {.bases = true}, 0,
      [&](const Analysis& run, Document& filled) {
        StudyOptions options(arguments, StoredOptionsOf(run, filled.data, word));
        take(options);
        filled.head.options = options.Take();
        NeedMeasured(asked, filled.data);
        TakeCounts(filled.data, asked);
        if (asked.medians && !std::ranges::all_of(filled.data.streams, IsOfSingles))
          ReadAnew(run, {.chart_word = kMedians, .bases = true}, filled);
        ReadSinglesApart(run, filled.data, filled.head.notes);
      },
      StudiedTests::MeasuredElseCounted);
}

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
    asked.medians = options.GetGiven("Points", kPoints) == PointsOf::Medians;
    asked.sided = options.Get("Sided", kSided);
    asked.reset = options.Get("Reset", kReset);
    if (asked.fir && !asked.exact) throw Misuse("--fir goes with --limits exact");
  };
  return RunWeighted<render::EwmaDocument>(
      arguments, console, "ewma", asked, render::EwmaJson, render::MakeEwmaView, take,
      [&](render::EwmaDocument& filled) {
        filled.FillByLimits([&](const auto& stretch, const auto* limits_of) {
          return studies::StudyEwma(stretch, asked, limits_of);
        });
      });
}

void NeedBelowH(const Arguments& arguments, double head_start, double h) {
  if (head_start < h) return;
  throw Misuse("--head-start takes a number from 0 to below --h, not " +
               arguments.Value(kHeadStart).value_or(render::Shortest(head_start)));
}

void NeedQuarters(const Arguments& arguments, const Option& option, double value) {
  if (std::fmod(value, studies::kCountStep) == 0.0) return;
  throw Misuse("--" + std::string(option.name) + " of counts takes a multiple of 0.25, not " +
               *arguments.Value(option));
}

int RunCountCusum(const Arguments& arguments, Console& console) {
  StudyOptions options(arguments);
  for (const Option& option :
       {Option(kReference), Option(kSigma), Option(kSided), Option(kPoints)}) {
    if (arguments.Has(option)) {
      throw Misuse("--" + std::string(option.name) + " does not go with --counts");
    }
  }
  if (arguments.Has(kMu1) == arguments.Has(kP1)) {
    throw Misuse("--counts needs --mu1 or --p1, which say what is to be found");
  }
  if (!arguments.Has(kDecision)) throw Misuse("--counts needs --h");
  studies::CountCusumOptions asked;
  options.Get("Counts", kOfCounts);
  asked.defectives = arguments.Has(kP1);
  asked.shifted = *(asked.defectives ? options.Get("P1", kP1) : options.Get("Mu1", kMu1));
  asked.h = options.Get("H", kDecisionOfCounts, asked.h);
  asked.head_start = options.Get("HeadStart", kHeadStartOfCounts, asked.head_start);
  NeedBelowH(arguments, asked.head_start, asked.h);
  NeedQuarters(arguments, kDecision, asked.h);
  NeedQuarters(arguments, kHeadStart, asked.head_start);
  // As --mu1 and --p1.
  const RealInside target{kTarget, 0.0, asked.defectives ? kP1.high : kMu1.high, true,
                          asked.defectives};
  asked.target = options.Get("Target", target);
  asked.reset = options.Get("Reset", kReset);
  studies::ReadOptions read;
  read.counts = true;
  read.bases = true;
  render::CusumDocument document;
  document.head = {"cusum", options.Take(), {}, {}};
  return RunOnStreams<render::CusumDocument>(
      arguments, console, document, render::CusumJson, render::MakeCusumView,
      [&](render::CusumDocument& filled) {
        asked.counted = filled.data.counted;
        asked.scale = filled.data.scale;
        filled.FillByLimits([&](const auto& stretch, const auto* limits_of) {
          return studies::StudyCountCusum(stretch, asked, limits_of);
        });
      },
      read, asked.defectives ? ttDefectives : ttDefects);
}

int RunCusum(const Arguments& arguments, Console& console) {
  if (arguments.Has(kOfCounts)) return RunCountCusum(arguments, console);
  for (const Option& option : {Option(kMu1), Option(kP1)}) {
    if (arguments.Has(option)) {
      throw Misuse("--" + std::string(option.name) + " goes with --counts");
    }
  }
  studies::CusumOptions asked;
  const auto take = [&](StudyOptions& options) {
    asked = {};
    asked.k = options.Get("K", kReference, asked.k);
    asked.h = options.Get("H", kDecision, asked.h);
    asked.head_start = options.Get("HeadStart", kHeadStart, asked.head_start);
    asked.target = options.Get("Target", kTarget);
    asked.sigma = options.Get("Sigma", kSigma);
    asked.medians = options.GetGiven("Points", kPoints) == PointsOf::Medians;
    asked.sided = options.Get("Sided", kSided);
    asked.reset = options.Get("Reset", kReset);
    NeedBelowH(arguments, asked.head_start, asked.h);
  };
  return RunWeighted<render::CusumDocument>(
      arguments, console, "cusum", asked, render::CusumJson, render::MakeCusumView, take,
      [&](render::CusumDocument& filled) {
        filled.FillByLimits([&](const auto& stretch, const auto* limits_of) {
          return studies::StudyCusum(stretch, asked, limits_of);
        });
      });
}

}  // namespace

Command EwmaStudyCommand() {
  return {
      "study ewma",
      "--db FILE [--part NAME] [--test NAME] [OPTIONS]",
      "Exponentially weighted moving average of measurements or counts",
      "Finds small shifts that last. Points are subgroup means, single values or, where nothing "
      "was measured, those of a chart of counts. Each phase "
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
          "Cumulative sums of measurements or counts above and below the target",
          "Finds small shifts that last, and says when they began and how large they are. Points "
          "are those of ewma; with --counts the sum is that of a test that counts, in counts.\n"
          "Formats: text, json, svg, html.",
          "orvspc study cusum --db q.db --part Ring --test Diameter --h 4 --head-start 2 -o c.svg",
          Together(SelectionOptions(), kShared,
                   std::vector<Option>{kReference, kDecision, kHeadStart, kOfCounts, kMu1, kP1},
                   kPageOptions),
          RunCusum};
}

}  // namespace orvspc::cli
