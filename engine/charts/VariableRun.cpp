// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/VariableRun.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "engine/charts/Marks.h"
#include "engine/charts/PreControl.h"
#include "engine/charts/column_storage.h"
#include "engine/charts/cusum.h"
#include "platform/Enumerations.h"
#include "platform/NaN.h"

// The process call: from the selection to the points. Reading a finished run is in
// variable_delivery.cpp.
namespace orvspc::engine::charts {
namespace {

constexpr std::int32_t kBadArgument = 5;

std::int32_t ConstantSize(std::span<const std::int32_t> sizes) {
  const bool constant = std::all_of(sizes.begin(), sizes.end(),
                                    [&](std::int32_t size) { return size == sizes.front(); });
  return constant && !sizes.empty() ? sizes.front() : -1;
}

}  // namespace

void VariableRun::Clear() {
  rows_.Clear();
  if (table_.Count() > kKeptElements) table_ = PointTable();
  table_.Clear();
  plan_ = ChartPlan();
  states_.clear();
  for (auto& points : points_) Forget(points);
  Forget(windows_);
  within_ = WithinPieces();
  Forget(zone_marks_);
  Forget(marks_);
  marked_ = {};
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
  auto plan =
      PlanVariableChart(options.ChartWord, options.ProcessingWord, table_.Shape(rows_.Data()));
  const auto word = std::exchange(plan.word, 0);
  plan_ = std::move(plan);
  rows_.Load(store, false, [](const store::ControlLimit&) { return Suits::Yes; });
  const auto streams = table_.Streams();
  states_.resize(streams.size());
  for (std::size_t s = 0; s < streams.size(); ++s) {
    states_[s].constant_size = ConstantSize(Part(table_.Sizes(), streams[s]));
  }
  MakeColumns(store);
  if (plan_.kinds[0] == ChartKind::PreControl && !MakePreControl()) {
    store::AddNote("no-limits",
                   "A pre-control chart needs both specification limits, or one and a target.");
    Clear();
    return 0;
  }
  if (plan_.cusum) {
    MakeCusum();
  } else if (plan_.kinds[0] == ChartKind::MovingAverage) {
    MakeMovingAverages();
  }
  plan_.word = word;
  AddNotes(store);
  return word;
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
  Estimate(sds, store::EstimatorSettingOf(store));
  if (plan_.kinds[1] == ChartKind::MovingRange) MakeMovingRanges();

  for (const std::size_t graph : {1U, 2U}) {
    const bool again = graph == 1 && plan_.kinds[2] == plan_.kinds[1];
    const auto take = [&](std::vector<double>& column) {
      points_[graph] = again ? column : std::move(column);
    };
    switch (plan_.kinds[graph]) {
      case ChartKind::Range:
        take(table_.ranges);
        break;
      case ChartKind::Sd:
        take(sds);
        break;
      case ChartKind::PieceRange:
      case ChartKind::PieceSd:
        points_[graph] = std::move(within_.points);
        break;
      default:
        break;
    }
  }
  Forget(table_.means);
  Forget(table_.ranges);
  Forget(within_.statistics);
}

void VariableRun::Estimate(std::span<const double> sds, statistics::EstimatorSetting setting) {
  std::vector<std::uint8_t> piece_used;
  if (plan_.WithinPieces() && !table_.Used().empty()) {
    piece_used.resize(within_.sizes.size());
    for (std::size_t place = 0; place < table_.Count(); ++place) {
      std::fill(piece_used.begin() + within_.begin[place],
                piece_used.begin() + within_.begin[place + 1], table_.Used()[place]);
    }
  }
  const auto streams = table_.Streams();
  for (std::size_t s = 0; s < streams.size(); ++s) {
    const auto& stream = streams[s];
    EstimateInput input;
    input.base = Part(points_[0], stream);
    input.ranges = Part(table_.ranges, stream);
    if (!sds.empty()) input.sds = sds.subspan(stream.begin, stream.Count());
    if (plan_.kinds[1] == ChartKind::Cv) input.ratios = Part(points_[1], stream);
    input.sizes = Part(table_.Sizes(), stream);
    input.used = Part(table_.Used(), stream);
    if (plan_.WithinPieces()) {
      const std::size_t begin = within_.begin[stream.begin], end = within_.begin[stream.end];
      input.piece_statistics = std::span(within_.statistics).subspan(begin, end - begin);
      input.piece_sizes = std::span(within_.sizes).subspan(begin, end - begin);
      if (!piece_used.empty()) {
        input.piece_used = std::span(piece_used).subspan(begin, end - begin);
      }
    }
    states_[s].estimates = EstimateStream(plan_, input, setting);
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
    const auto ranges =
        statistics::MovingRanges(Part(points_[0], stream), Part(table_.Used(), stream));
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

void VariableRun::MakeCusum() {
  const auto streams = table_.Streams();
  for (std::size_t s = 0; s < streams.size(); ++s) {
    auto lines = LinesOf(s, 0, false, false);
    const auto outcome = FillCusum(
        table_, streams[s], rows_, [&](std::size_t place) { return lines.At(place); }, points_[0]);
    states_[s].no_cusum = outcome.no_sigma;
    for (const auto place : outcome.beyond) {
      table_.overflows.Keep(std::numeric_limits<double>::infinity(), place);
    }
  }
}

void VariableRun::AddNotes(store::Store& store) const {
  constexpr double kLargestGoodCv = 0.3;
  for (const auto& note : plan_.notes)
    store::AddNote(std::string(note.code), std::string(note.text));
  for (std::size_t s = 0; s < states_.size(); ++s) {
    const auto& state = states_[s];
    const auto note = [&](bool applies, const char* code, const std::string& text) {
      rows_.NoteIf(applies, store, s, code, text);
    };
    note(plan_.kinds[0] != ChartKind::PreControl && std::isnan(state.estimates.sp.value),
         "no-sigma", "There is nothing to estimate sigma from, so there are no calculated limits.");
    note(state.no_cusum, "no-cusum",
         "A cusum counts in sigmas: without one above 0 there is none.");
    note(state.estimates.overflow || table_.overflows.In(table_.Streams()[s]), "overflow",
         "Figures beyond the largest number that can be held are left out.");
    rows_.AddNotes(store, s);
    note(state.estimates.gamma.value > kLargestGoodCv, "cv-large",
         "The coefficient of variation is above 0.3, where its limits are no longer good to 5 %.");
    note(state.no_lines, "no-limits", "No specification gives this stream pre-control lines.");
  }
}

}  // namespace orvspc::engine::charts
