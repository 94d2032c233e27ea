// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/VariableRun.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numeric>
#include <string>

#include "engine/charts/Marks.h"
#include "engine/charts/PointTable.h"
#include "engine/statistics/Estimators.h"
#include "engine/statistics/Neighbours.h"
#include "engine/statistics/StepHints.h"
#include "engine/store/Store.h"
#include "platform/Enumerations.h"
#include "platform/NaN.h"
#include "platform/TimeText.h"

namespace orvspc::engine::charts {
namespace {

constexpr std::int32_t kBadArgument = 5;

std::int32_t ConstantSize(std::span<const std::int32_t> sizes) {
  const bool constant = std::all_of(sizes.begin(), sizes.end(),
                                    [&](std::int32_t size) { return size == sizes.front(); });
  return constant && !sizes.empty() ? sizes.front() : -1;
}

// The option of charts that asks for notes on steps, and those of the study of steps.
constexpr std::string_view kStepsOption = "chart.steps", kPenaltyOption = "steps.penalty",
                           kLeastOption = "steps.least";
constexpr std::string_view kYes = "yes";

// Of an option, which is checked when it is stored.
double NumberOf(const std::string& text) {
  double number = platform::kNaN;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// "The mean may have changed after 2024-01-01T04:30:00, from 1098 to 850."
std::string StepText(std::int32_t after, double before, double since) {
  char means[64];
  std::snprintf(means, sizeof means, ", from %.6g to %.6g.", before, since);
  return "The mean may have changed after " + platform::IsoText(after) + means;
}

}  // namespace

void VariableRun::Clear() {
  ClearShared();
  Forget(windows_);
  within_ = WithinPieces();
  Forget(zone_marks_);
}

std::int32_t VariableRun::Process(store::Store& store, API_DSInfo& info,
                                  std::span<const std::int32_t> filter,
                                  const API_CCVarOptions& options) {
  Clear();
  if (!IsVariableWord(options.ChartWord)) {
    store.Fail(kBadArgument, "The chart word " + std::to_string(options.ChartWord) +
                                 " names no chart of variables.");
    return 0;
  }
  if (!rows_.Select(store, info, filter, ttVariable,
                    "No subgroup of a variable test matches the selection.")) {
    return 0;
  }
  table_.Build(rows_.Data(), info.Status);
  table_.CutAtPhases(rows_.Data(), store, joins_phases_);
  plan_ = PlanVariableChart(options.ChartWord, options.ProcessingWord, table_.Shape(rows_.Data()));
  rows_.Load(store, false, [](const store::ControlLimit& limit) {
    return catalogue::RateKindOf(limit.chart_word) == catalogue::RateKind::None ? Suits::Yes
                                                                                : Suits::OtherChart;
  });
  const auto streams = table_.Streams();
  states_.resize(streams.size());
  for (std::size_t s = 0; s < streams.size(); ++s) {
    states_[s].constant_size = ConstantSize(Part(table_.Sizes(), streams[s]));
  }
  MakeColumns(store);
  CompleteLimits(store, info, [&](VariableRun& run, API_DSInfo& whole) {
    auto again = options;
    run.usual_sigma_ = usual_sigma_;
    again.ChartWord = plan_.word;
    again.ProcessingWord = 0;
    return run.Process(store, whole, filter, again);
  });
  if (plan_.kinds[0] == ChartKind::PreControl && !MakePreControl()) {
    store::AddNote("no-limits",
                   "A pre-control chart needs both specification limits, or one and a target.");
    Clear();
    return 0;
  }
  if (plan_.cusum) {
    for (const auto place : MakeCusum()) {
      table_.overflows.Keep(std::numeric_limits<double>::infinity(), place);
    }
  } else if (plan_.kinds[0] == ChartKind::MovingAverage) {
    MakeMovingAverages();
  }
  is_open_ = true;
  AddNotes(store);
  return plan_.word;
}

void VariableRun::MakeColumns(store::Store& store) {
  const auto streams = table_.Streams();
  bool deviations = false;
  for (const auto& stream : streams) {
    const auto shape = ShapeOf(Part(table_.Sizes(), stream), Part(table_.Used(), stream));
    deviations = deviations || NeedsDeviations(plan_, shape);
  }
  auto sds = deviations ? table_.StandardDeviations(rows_.Data()) : std::vector<double>();
  if (plan_.kinds[1] == ChartKind::Cv) MakeRatios(sds);
  if (plan_.WithinPieces()) {
    within_ = ReadWithinPieces(rows_.Data(), table_, plan_.kinds[2] == ChartKind::PieceRange);
  }
  points_[0] =
      plan_.kinds[0] == ChartKind::Median ? table_.Medians(rows_.Data()) : std::move(table_.means);
  Estimate(store, sds);
  if (plan_.kinds[1] == ChartKind::MovingRange) MakeMovingRanges();

  for (const std::size_t graph : {1U, 2U}) {
    const auto kind = plan_.kinds[graph];
    // Moving ranges and ratios are made already; the readings inside pieces are on graph 3.
    if (graph == 1 && kind != ChartKind::Range && kind != ChartKind::Sd) continue;
    auto* const column = kind == ChartKind::Range ? &table_.ranges
                         : kind == ChartKind::Sd  ? &sds
                                                  : &within_.points;
    const bool again = graph == 1 && plan_.kinds[2] == kind;
    points_[graph] = again ? *column : std::move(*column);
  }
  Forget(table_.means);
  Forget(table_.ranges);
  Forget(within_.statistics);
}

void VariableRun::Estimate(store::Store& store, std::span<const double> sds) {
  const auto setting = store::EstimatorSettingOf(store);
  const bool screen_moving = store.Setting(kScreenMovingRanges, "no") == "yes";
  std::vector<std::uint8_t> piece_used;
  if (plan_.WithinPieces() && !table_.Used().empty()) {
    piece_used.resize(within_.sizes.size());
    for (std::size_t place = 0; place < table_.Count(); ++place) {
      std::fill(piece_used.begin() + within_.begin[place],
                piece_used.begin() + within_.begin[place + 1], table_.Used()[place]);
    }
  }
  const auto streams = table_.Streams();
  const auto has_value = [&](std::size_t place) { return !std::isnan(points_[0][place]); };
  for (std::size_t s = 0; s < streams.size(); ++s) {
    auto& state = states_[s];
    if (streams[s].limits_of != s) {
      state.TakeLimitsOf(states_[streams[s].limits_of]);
      continue;
    }
    auto stream = table_.BasisOf(streams[s], has_value);
    state.no_basis = stream.Count() == 0;
    // Sizes are those of the stretch, whatever its limits come from.
    if (state.no_basis) stream = streams[s];
    EstimateInput input;
    input.screen_moving = screen_moving;
    input.widen = AsksToWiden(store, stream);
    input.base = Part(points_[0], stream);
    input.ranges = Part(table_.ranges, stream);
    if (!sds.empty()) input.sds = sds.subspan(stream.begin, stream.Count());
    if (plan_.kinds[1] == ChartKind::Cv) input.ratios = Part(points_[1], stream);
    input.sizes = Part(table_.Sizes(), stream);
    if (!state.no_basis) input.used = Part(table_.Used(), stream);
    input.anew = Part(table_.Anew(), stream);
    if (plan_.WithinPieces()) {
      const std::size_t begin = within_.begin[stream.begin], end = within_.begin[stream.end];
      input.piece_statistics = std::span(within_.statistics).subspan(begin, end - begin);
      input.piece_sizes = std::span(within_.sizes).subspan(begin, end - begin);
      if (!piece_used.empty() && !state.no_basis) {
        input.piece_used = std::span(piece_used).subspan(begin, end - begin);
      }
    }
    state.estimates = EstimateStream(plan_, input, setting);
    if (state.no_basis) state.estimates = WithoutFigures(state.estimates);
  }
}

void VariableRun::MakeRatios(std::span<const double> sds) {
  points_[1].resize(table_.Count());
  for (std::size_t place = 0; place < table_.Count(); ++place) {
    const double mean = table_.means[place];
    points_[1][place] =
        mean > 0.0 ? table_.overflows.Keep(sds[place] / mean, place) : platform::kNaN;
  }
}

void VariableRun::MakeMovingRanges() {
  points_[1].resize(table_.Count());
  for (const auto& stream : table_.Streams()) {
    const auto ranges = statistics::MovingRanges(
        Part(points_[0], stream), Part(table_.Used(), stream), Part(table_.Anew(), stream));
    for (std::size_t i = 0; i < ranges.size(); ++i) {
      points_[1][stream.begin + i] = table_.overflows.Keep(ranges[i], stream.begin + i);
    }
  }
}

void VariableRun::MakeMovingAverages() {
  windows_.assign(table_.Count(), {});
  for (const auto& stream : table_.Streams()) {
    std::array<double, 2> before{};
    std::array<std::int32_t, 2> sizes{};  // 0: no such point yet
    for (auto place = stream.begin; place < stream.end; ++place) {
      const double mean = points_[0][place];
      const auto size = table_.Sizes()[place];
      if (table_.BeginsAnew(place)) sizes = {};
      if (size < 1) continue;
      double sum = 0.0;
      int count = 1;
      for (std::size_t i = 0; i < 2; ++i) {
        if (sizes[i] == 0) continue;
        sum += before[i] - mean;
        ++count;
      }
      points_[0][place] = table_.overflows.Keep(mean + sum / count, place);
      windows_[place] = {size, sizes[0], sizes[1]};
      if (!table_.IsUsed(place)) continue;
      before = {mean, before[0]};
      sizes = {size, sizes[0]};
    }
  }
}

bool VariableRun::MakePreControl() {
  const auto streams = table_.Streams();
  zone_marks_.assign(table_.Count(), 0);
  SelectForGraph(rows_.Rules(), ChartKind::PreControl, false, graph_rules_);
  bool any = false;
  for (std::size_t s = 0; s < streams.size(); ++s) {
    const PreControlInput input{rows_.Data(), table_, streams[s], rows_.Of(s).specs, graph_rules_};
    states_[s].no_lines = !FillPreControl(input, points_[0], zone_marks_);
    any = any || !states_[s].no_lines;
  }
  return any;
}

VariableLines VariableRun::LinesOf(std::size_t stream, std::size_t graph, bool calculated,
                                   bool plain) const {
  const auto& state = states_[stream];
  return VariableLines({table_, rows_, plan_, windows_, within_, state.estimates,
                        state.constant_size, stream, graph, calculated,
                        plan_.cusum && graph == 0 && !plain});
}

std::int32_t VariableRun::SizeAt(std::size_t graph, std::size_t place) const {
  const auto sum = [](const auto& sizes) { return std::accumulate(sizes.begin(), sizes.end(), 0); };
  if (points_[graph].empty() || std::isnan(points_[graph][place])) return 0;
  const auto size = RowOf(plan_.kinds[graph]).size;
  if (size == SizeOf::Pair) return 2;
  if (size == SizeOf::Readings) return sum(within_.SizesAt(place));
  // A cusum has no windows.
  if (size == SizeOf::Window && !windows_.empty()) return sum(windows_[place]);
  return table_.Sizes()[place];
}

void VariableRun::Judge(std::size_t graph, bool calculated) {
  if (plan_.kinds[graph] == ChartKind::PreControl) {
    marks_ = zone_marks_;
  } else {
    ChartRun::Judge(graph, calculated);
  }
}

bool VariableRun::AsksToWiden(store::Store& store, const ChartStream& stream) const {
  if (usual_sigma_) return false;
  const auto sigma =
      store.ChartOption(stream.part, stream.process, stream.test, 1, store::kSigmaOption);
  return sigma && sigma->value == store::kAr1Sigma;
}

bool VariableRun::HasStoredSigma(std::size_t s) const {
  if (!rows_.HasStoredLimits()) return false;
  const auto& stream = table_.Streams()[s];
  const auto& limits = rows_.Of(s).limits;
  auto latest = kNoRow;
  for (auto place = stream.begin; place < stream.end; ++place) {
    if (!table_.IsUsed(place) || std::isnan(points_[0][place])) continue;
    const auto row = rows_.LimitRowAt(place);
    if (row == kNoRow) return false;
    if (row == latest) continue;
    if (!GivesSigma(limits[static_cast<std::size_t>(row)], states_[s].estimates, plan_, 0))
      return false;
    latest = row;
  }
  return latest != kNoRow;
}

void VariableRun::AddNotes(store::Store& store) {
  constexpr double kLargestGoodCv = 0.3;
  for (const auto& [code, text] : plan_.notes) store::AddNote(code, text);
  for (std::size_t s = 0; s < states_.size(); ++s) {
    const auto& state = states_[s];
    const auto note = [&](bool applies, std::string_view code, std::string_view text) {
      rows_.NoteIf(applies, store, s, code, text);
    };
    const bool counts = rows_.Counts(s);
    const bool asks = notes_misfit_ && counts && AsksToWiden(store, table_.Streams()[s]);
    const bool is_stored = asks && plan_.kinds[0] != ChartKind::PreControl && HasStoredSigma(s);
    note(state.no_basis && counts && plan_.kinds[0] != ChartKind::PreControl, "phase-short",
         rows_.Stretch(s) + "Fewer than 2 points count here, so there are no calculated limits.");
    note(!state.no_basis && plan_.kinds[0] != ChartKind::PreControl &&
             std::isnan(state.estimates.sp.value),
         "no-sigma",
         rows_.Stretch(s) +
             "There is nothing to estimate sigma from, so there are no calculated limits.");
    note(asks && (is_stored || state.estimates.not_widened), "not-widened",
         rows_.Stretch(s) +
             (is_stored ? "The stored limits hold; --sigma ar1 widens none of them."
                        : "Limits widened for correlated points need 50 of them and moving ranges; "
                          "these are the usual ones."));
    note(state.no_cusum && counts, "no-cusum",
         "A cusum counts in sigmas: without one above 0 there is none.");
    note(state.estimates.overflow || table_.overflows.In(table_.Streams()[s]), "overflow",
         "Figures beyond the largest number that can be held are left out.");
    rows_.AddNotes(store, s);
    note(state.estimates.gamma.value > kLargestGoodCv, "cv-large",
         "The coefficient of variation is above 0.3, where its limits are no longer good to 5 %.");
    note(state.no_lines, "no-limits", "No specification gives this stream pre-control lines.");
    NoteNeighbours(store, s);
    NoteSteps(store, s);
  }
}

bool VariableRun::NotesLevels() const {
  const auto kind = plan_.kinds[0];
  return notes_misfit_ && !plan_.cusum &&
         (kind == ChartKind::Mean || kind == ChartKind::Individuals);
}

void VariableRun::NoteSteps(store::Store& store, std::size_t s) {
  const auto& stream = table_.Streams()[s];
  const auto chosen = [&](std::string_view key) {
    return store.ChartOption(stream.part, stream.process, stream.test, 1, key);
  };
  const auto asked = chosen(kStepsOption);
  if (!notes_misfit_ || !asked || asked->value != kYes || !rows_.Counts(s)) return;
  const auto none = [&](bool applies, std::string_view text) {
    rows_.NoteIf(applies, store, s, "no-steps", rows_.Stretch(s) + std::string(text));
    return applies;
  };
  if (none(!NotesLevels(), "Steps are looked for on charts of means and of single values.")) return;
  std::vector<double> values;
  std::vector<std::size_t> places;
  for (auto place = stream.begin; place < stream.end; ++place) {
    if (!table_.IsUsed(place) || !std::isfinite(points_[0][place])) continue;
    values.push_back(points_[0][place]);
    places.push_back(place);
  }
  if (none(values.size() < statistics::kLeastForSteps,
           "Steps are looked for in 20 points or more.") ||
      none(values.size() > statistics::kMostForSteps,
           "Steps are looked for in 20000 points or fewer.")) {
    return;
  }
  const double sigma = statistics::SigmaFromMovingRanges(values).value;
  if (!(sigma > 0.0) || !std::isfinite(sigma)) return;
  const auto penalty = chosen(kPenaltyOption), least = chosen(kLeastOption);
  const auto hints = statistics::HintsOfSteps(
      values, sigma, penalty ? NumberOf(penalty->value) : statistics::kUsualPenalty,
      least ? static_cast<std::size_t>(NumberOf(least->value)) : statistics::kUsualLeast);
  if (none(hints.wanders && !hints.steps.empty(),
           "Neighbours are correlated, so no steps are hinted at."))
    return;
  for (std::size_t k = 0; k < hints.steps.size(); ++k) {
    rows_.NoteIf(true, store, s, "step",
                 rows_.Stretch(s) + StepText(rows_.StampAt(places[hints.steps[k].before - 1]),
                                             hints.means[k], hints.means[k + 1]));
  }
}

void VariableRun::NoteNeighbours(store::Store& store, std::size_t s) {
  if (!NotesLevels()) return;
  const auto& stream = table_.Streams()[s];
  const auto& estimates = states_[s].estimates;
  const auto neighbours = statistics::CorrelationOfNeighbours(
      Part(points_[0], stream), Part(table_.Used(), stream), estimates.mean);
  using statistics::LimitsFrom;
  const auto from = estimates.sp.name == kWidenedName || HasStoredSigma(s) ? LimitsFrom::Other
                    : statistics::IsFromMovingRanges(estimates.sp) ? LimitsFrom::MovingRanges
                                                                   : LimitsFrom::Subgroups;
  for (const auto& note :
       statistics::NotesOnNeighbours(neighbours, from, [&] { return JudgesRuns(store, stream); })) {
    rows_.NoteIf(true, store, s, note.code, rows_.Stretch(s) + note.text);
  }
}

bool VariableRun::JudgesRuns(store::Store& store, const ChartStream& stream) {
  const auto on = store.AlarmBits(stream.part, stream.process, stream.test, 1);
  SelectForGraph(rows_.Rules(), plan_.kinds[0], false, graph_rules_);
  return std::any_of(graph_rules_.begin(), graph_rules_.end(), [&](const auto& rule) {
    return rule.kind != statistics::RuleKind::Limit && (on & statistics::RuleBit(rule.number)) != 0;
  });
}

}  // namespace orvspc::engine::charts
