// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/VariableRun.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <string>
#include <utility>

#include "engine/charts/Marks.h"
#include "engine/charts/PreControl.h"
#include "engine/charts/forget.h"
#include "engine/charts/variable_lines.h"
#include "engine/statistics/TimeWeighted.h"
#include "platform/Enumerations.h"

// The process call: from the selection to the points. What is read from a finished run stands in
// variable_delivery.cpp.
namespace orvspc::engine {
namespace {

constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();
constexpr std::int32_t kBadArgument = 5, kOverflow = 6;

EstimatorSetting SettingOf(Store& store) {
  const auto name = store.Setting("sigma_estimator", "mvlue");
  if (const auto setting = EstimatorSettingFromName(name)) return *setting;
  AddNote("setting-unknown",
          "The setting sigma_estimator \"" + name + "\" is unknown; mvlue is used.");
  return EstimatorSetting::Mvlue;
}

std::int32_t ConstantSize(std::span<const std::int32_t> sizes) {
  const bool constant = std::all_of(sizes.begin(), sizes.end(),
                                    [&](std::int32_t size) { return size == sizes.front(); });
  return constant && !sizes.empty() ? sizes.front() : -1;
}

}  // namespace

void VariableRun::Clear() {
  Forget(data_.subgroups);
  Forget(data_.values);
  Forget(data_.keys);
  Forget(stamps_);
  subgroups_taken_ = false;
  if (table_.Count() > kKeptElements) table_ = PointTable();
  table_.Clear();
  plan_ = ChartPlan();
  states_.clear();
  for (auto& points : points_) Forget(points);
  Forget(windows_);
  within_ = WithinPieces();
  Forget(limit_row_);
  Forget(zone_marks_);
  spec_rows_.clear();
  limit_rows_.clear();
  Forget(marks_);
  marked_ = {};
  test_count_ = 0;
  alarms_differ_ = false;
}

std::int32_t VariableRun::Process(Store& store, API_DSInfo& info,
                                  std::span<const std::int32_t> filter,
                                  const API_CCVarOptions& options) {
  Clear();
  if (!IsVariableWord(options.ChartWord)) {
    store.Fail(kBadArgument, "The chart word " + std::to_string(options.ChartWord) +
                                 " names no chart of variables.");
    return 0;
  }
  SelectOptions select;
  select.test_types = ttVariable;
  if (!store.Select(info, filter, select, data_)) return 0;
  if (data_.subgroups.empty()) {
    AddNote("no-data", "No subgroup of a variable test matches the selection.");
    return 0;
  }
  if (data_.values.size() > std::numeric_limits<std::int32_t>::max()) {
    store.Fail(kOverflow, "The selection has more test values than can be counted.");
    return 0;
  }
  test_count_ = static_cast<std::int32_t>(data_.values.size());
  table_.Build(data_, info.Status);
  auto plan = PlanVariableChart(options.ChartWord, options.ProcessingWord, table_.Shape(data_));
  const auto word = std::exchange(plan.word, 0);
  plan_ = std::move(plan);
  ConvertRules(store.Rules(), rules_);
  LoadStreamRows(store);
  LoadAlarms(store);
  MakeColumns(store);
  if (plan_.kinds[0] == ChartKind::PreControl && !MakePreControl()) {
    AddNote("no-limits",
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
  TellNotes(store);
  return word;
}

void VariableRun::LoadStreamRows(Store& store) {
  const auto streams = table_.Streams();
  states_.resize(streams.size());
  bool any_limits = false;
  for (std::size_t s = 0; s < streams.size(); ++s) {
    const auto& stream = streams[s];
    auto& state = states_[s];
    state.constant_size = ConstantSize(Part(table_.Sizes(), stream));
    state.specs = store.SpecLimits(stream.part, stream.test);
    SortByTime(state.specs);
    state.limits = store.ControlLimits(stream.part, stream.process, stream.test);
    SortForProcess(state.limits);
    any_limits = any_limits || !state.limits.empty();
  }
  if (any_limits) {
    limit_row_.assign(table_.Count(), kNoRow);
    for (std::size_t s = 0; s < streams.size(); ++s) {
      if (states_[s].limits.empty()) continue;
      RowsInForce<ControlLimit> rows(states_[s].limits);
      for (auto place = streams[s].begin; place < streams[s].end; ++place) {
        limit_row_[place] = rows.At(StampAt(place));
      }
    }
  }
  CollectSpecRows();
  CollectLimitRows();
}

// One row for each part and test, the one in force at the newest point of the pair: whoever judges
// values by these rows does not look at times.
void VariableRun::CollectSpecRows() {
  const auto streams = table_.Streams();
  struct Pair {
    std::vector<std::size_t> streams;
    std::int32_t last = std::numeric_limits<std::int32_t>::min();
  };
  std::vector<Pair> pairs;
  std::map<std::pair<std::int32_t, std::int32_t>, std::size_t> numbers;
  std::vector<std::int32_t> first(streams.size(), std::numeric_limits<std::int32_t>::max());
  for (std::size_t s = 0; s < streams.size(); ++s) {
    if (states_[s].specs.empty()) continue;
    const auto number =
        numbers.try_emplace({streams[s].part, streams[s].test}, pairs.size()).first->second;
    if (number == pairs.size()) pairs.emplace_back();
    auto& pair = pairs[number];
    pair.streams.push_back(s);
    for (auto place = streams[s].begin; place < streams[s].end; ++place) {
      first[s] = std::min(first[s], StampAt(place));
      pair.last = std::max(pair.last, StampAt(place));
    }
  }
  for (const auto& pair : pairs) {
    const auto& specs = states_[pair.streams.front()].specs;
    RowsInForce<API_CCSpecLim> rows(specs);
    const auto newest = rows.At(pair.last);
    if (newest != kNoRow) spec_rows_.push_back(specs[static_cast<std::size_t>(newest)]);
    // A stream that ends before the change is judged by the newest row as well.
    for (const auto s : pair.streams) states_[s].specs_change = rows.At(first[s]) != newest;
  }
}

void VariableRun::CollectLimitRows() {
  if (!HasStoredLimits()) return;
  const auto streams = table_.Streams();
  for (std::size_t s = 0; s < streams.size(); ++s) {
    auto& state = states_[s];
    std::vector<std::uint8_t> seen(state.limits.size(), 0);
    const auto first = limit_row_[streams[s].begin];
    for (auto place = streams[s].begin; place < streams[s].end; ++place) {
      const auto row = limit_row_[place];
      state.limits_change = state.limits_change || row != first;
      if (row != kNoRow) seen[static_cast<std::size_t>(row)] = 1;
    }
    for (std::size_t i = 0; i < seen.size(); ++i) {
      // A row for any process may serve several streams.
      const auto& row = state.limits[i].row;
      const bool known = std::any_of(
          limit_rows_.begin(), limit_rows_.end(),
          [&](const auto& other) { return std::memcmp(&other, &row, sizeof row) == 0; });
      if (seen[i] != 0 && !known) limit_rows_.push_back(row);
    }
  }
}

void VariableRun::LoadAlarms(Store& store) {
  const auto streams = table_.Streams();
  if (streams.size() < 2) return;
  for (std::size_t s = 0; s < streams.size(); ++s) {
    for (std::size_t graph = 0; graph < 3; ++graph) {
      states_[s].alarms[graph] =
          store.AlarmBits(streams[s].part, streams[s].process, streams[s].test,
                          static_cast<std::int32_t>(graph) + 1);
    }
    alarms_differ_ = alarms_differ_ || states_[s].alarms != states_[0].alarms;
  }
}

void VariableRun::MakeColumns(Store& store) {
  const auto streams = table_.Streams();
  bool deviations = false;
  for (const auto& stream : streams) {
    const auto shape = ShapeOf(Part(table_.Sizes(), stream), Part(table_.Used(), stream));
    deviations = deviations || NeedsDeviations(plan_, shape);
  }
  auto sds = deviations ? table_.StandardDeviations(data_) : std::vector<double>();
  if (plan_.kinds[1] == ChartKind::Cv) MakeRatios(sds);
  if (plan_.WithinPieces()) {
    within_ = ReadWithinPieces(data_, table_, plan_.kinds[2] == ChartKind::PieceRange);
  }
  points_[0] =
      plan_.kinds[0] == ChartKind::Median ? table_.Medians(data_) : std::move(table_.means);
  Estimate(sds, SettingOf(store));
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

void VariableRun::Estimate(std::span<const double> sds, EstimatorSetting setting) {
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
    points_[1][place] = mean > 0.0 ? table_.overflows.Keep(sds[place] / mean, place) : kNoValue;
  }
}

void VariableRun::MakeMovingRanges() {
  points_[1].resize(table_.Count());
  for (const auto& stream : table_.Streams()) {
    const auto ranges = MovingRanges(Part(points_[0], stream), Part(table_.Used(), stream));
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
  SelectForGraph(rules_, ChartKind::PreControl, false, graph_rules_);
  bool any = false;
  for (std::size_t s = 0; s < streams.size(); ++s) {
    const PreControlInput input{data_, table_, streams[s], states_[s].specs, graph_rules_};
    states_[s].no_lines = !FillPreControl(input, points_[0], zone_marks_);
    any = any || !states_[s].no_lines;
  }
  return any;
}

void VariableRun::MakeCusum() {
  const auto streams = table_.Streams();
  std::vector<double> centre, sigma;
  std::vector<std::uint8_t> restart;
  for (std::size_t s = 0; s < streams.size(); ++s) {
    const auto& stream = streams[s];
    auto lines = LineSource::UnderCusum(*this, s);
    centre.resize(stream.Count());
    sigma.resize(stream.Count());
    restart.resize(stream.Count());
    for (std::size_t i = 0; i < stream.Count(); ++i) {
      const auto at = lines.At(stream.begin + i);
      centre[i] = at.centre;
      sigma[i] = at.sigma;
      restart[i] = RestartsAt(stream, stream.begin + i) ? 1 : 0;
    }
    CusumSettings settings;
    settings.k = kCusumReference;
    settings.h = kCusumDecision;
    const auto series = Cusum(
        {Part(points_[0], stream), centre, sigma, Part(table_.Used(), stream), restart}, settings);
    for (std::size_t i = 0; i < stream.Count(); ++i) {
      auto& point = points_[0][stream.begin + i];
      const bool has_sigma = sigma[i] > 0.0;
      states_[s].no_cusum = states_[s].no_cusum || (!std::isnan(point) && !has_sigma);
      if (!std::isnan(point) && has_sigma && std::isnan(series.points[i])) {
        table_.overflows.Keep(std::numeric_limits<double>::infinity(), stream.begin + i);
      }
      point = series.points[i];
    }
  }
}

bool VariableRun::RestartsAt(const ChartStream& stream, std::size_t place) const {
  if (!HasStoredLimits() || !table_.IsUsed(place)) return false;
  auto before = place;
  while (before > stream.begin) {
    --before;
    if (table_.IsUsed(before)) return limit_row_[before] != limit_row_[place];
  }
  return false;
}

std::int32_t VariableRun::StampAt(std::size_t place) const {
  return stamps_.empty() ? data_.subgroups[table_.SubgroupAt(place)].Sgtm : stamps_[place];
}

void VariableRun::TellNotes(Store& store) const {
  constexpr double kLargestGoodCv = 0.3;
  for (const auto& note : plan_.notes) AddNote(std::string(note.code), std::string(note.text));
  const auto streams = table_.Streams();
  for (std::size_t s = 0; s < streams.size(); ++s) {
    const auto& state = states_[s];
    const auto tell = [&](bool when, const char* code, const char* text) {
      if (!when) return;
      AddNote(code, text, store.StreamName(streams[s].part, streams[s].process, streams[s].test));
    };
    tell(plan_.kinds[0] != ChartKind::PreControl && std::isnan(state.estimates.sp.value),
         "no-sigma", "There is nothing to estimate sigma from, so there are no calculated limits.");
    tell(state.no_cusum, "no-cusum",
         "A cusum counts in sigmas: without one above 0 there is none.");
    tell(state.estimates.overflow || table_.overflows.In(streams[s]), "overflow",
         "Figures beyond the largest number that can be held are left out.");
    tell(state.limits_change, "limits-changed",
         "The control limits in force changed inside the chart.");
    tell(state.specs_change, "specification-changed",
         "The specification limits in force changed inside the chart; values are judged by the "
         "newest.");
    tell(state.estimates.gamma.value > kLargestGoodCv, "cv-large",
         "The coefficient of variation is above 0.3, where its limits are no longer good to 5 %.");
    tell(state.no_lines, "no-limits", "No specification gives this stream pre-control lines.");
  }
}

}  // namespace orvspc::engine
