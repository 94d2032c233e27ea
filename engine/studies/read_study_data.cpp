// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <map>
#include <memory>

#include "engine/catalogue/limits.h"
#include "engine/charts/AttributeRun.h"
#include "engine/charts/VariableRun.h"
#include "engine/store/Store.h"
#include "engine/studies/StudyData.h"
#include "engine/studies/study_streams.h"
#include "platform/NaN.h"

namespace orvspc::studies {

using namespace engine;

namespace {

void AddLimits(const charts::VariableRun& run, std::size_t s, Stretch& stretch) {
  const auto& rows = run.Rows().Of(s);
  const auto begin = run.Streams()[s].begin;
  catalogue::EffectiveRows<API_CCSpecLim> specs(rows.specs);
  for (std::size_t i = 0; i < stretch.times.size(); ++i) {
    const auto* const spec = specs.At(stretch.times[i]);
    stretch.targets.push_back(spec == nullptr ? platform::kNaN
                                              : catalogue::SpecLimitsOf(*spec).target);
    const auto at =
        run.Rows().HasStoredLimits() ? run.Rows().LimitRowAt(begin + i) : catalogue::kNoRow;
    const double sigma =
        at == catalogue::kNoRow ? 0.0 : double(rows.limits[static_cast<std::size_t>(at)].row.F_SP);
    stretch.stored_sigmas.push_back(sigma > 0.0 ? sigma : platform::kNaN);
  }
}

// Where the points are counts, also those of subgroups without a size; else only where there is a
// point. None for rates of opportunities. Defects without a size are those of one unit, as on their
// chart.
void AddCounts(const charts::AttributeRun& run, const charts::ChartStream& stream,
               std::span<const double> units, bool keep_unknown, Stretch& stretch) {
  const auto& table = run.Points();
  const auto& chart = *run.Plan().chart;
  for (auto place = stream.begin; place < stream.end; ++place) {
    const bool has_point = !std::isnan(stretch.points[stretch.counts.size()]);
    const bool has_count = chart.counted || (has_point && !chart.per_opportunity);
    const double size = units[table.SubgroupAt(place)];
    const bool is_one = size == 0.0 && chart.BearsNoSize() && !keep_unknown;
    stretch.sizes.push_back(is_one ? 1.0 : size);
    stretch.counts.push_back(has_count ? run.Counts()[place] : platform::kNaN);
  }
}

// read(store, info, filter, options) reads the same of another selection.
template <class Run, class Read>
void AddBasesOf(const Run& run, store::Store& store, const API_DSInfo& selected,
                std::span<const std::int32_t> filter, const ReadOptions& options, StudyData& data,
                Read read) {
  if (!options.bases) return;
  struct Result {
    StudyData data;
  };
  AddBases(
      run, data,
      [&](const typename Run::Whole& whole) {
        auto info = whole.SelectionFrom(selected);
        auto how = options;
        how.bases = false;
        how.joins_phases = whole.phase == 0;
        const auto notes = store::NoteCount();
        Result result{read(store, info, filter, how)};
        store::KeepNotes(notes);
        return result;
      },
      [](const Result&, std::size_t, std::size_t, std::size_t) {});
}

StudyData ReadVariables(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                        const ReadOptions& options) {
  const auto selected = info;
  charts::VariableRun run;
  run.NoteNoMisfit();
  if (!options.chart_sigma) run.TakeUsualSigma();
  if (options.joins_phases) run.JoinPhases();
  API_CCVarOptions asked{};
  asked.ChartWord = options.chart_word;
  asked.Constant = 2;
  const auto word = run.Process(store, info, filter, asked);
  if (word == 0) return {};
  store::PieceReader reader(run.Rows().Data());
  auto data = Taken(run, word, [&](std::size_t s, Stretch& stretch) {
    const auto& stream = run.Streams()[s];
    AddPieces(run, stream, reader, stretch);
    if (options.limits) AddLimits(run, s, stretch);
  });
  AddBasesOf(run, store, selected, filter, options, data, ReadVariables);
  return data;
}

StudyData ReadCounts(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                     const ReadOptions& options) {
  const auto selected = info;
  charts::AttributeRun run;
  run.NoteNoMisfit();
  run.KeepCounts();
  if (options.joins_phases) run.JoinPhases();
  const auto word = run.Process(store, info, filter, {options.chart_word, 0, 0.0});
  if (word == 0) return {};
  const auto units = run.UnitsInspected();
  auto data = Taken(run, word, [&](std::size_t s, Stretch& stretch) {
    AddCounts(run, run.Streams()[s], units, options.unknown_sizes, stretch);
  });
  const auto& chart = *run.Plan().chart;
  data.defectives = chart.defectives;
  data.counted = chart.counted;
  data.scale = chart.scale;
  AddBasesOf(run, store, selected, filter, options, data, ReadCounts);
  return data;
}

}  // namespace

StudyData ReadStudyData(platform::Database& database, const API_DSInfo& selection,
                        std::span<const std::int32_t> filter, const ReadOptions& options) {
  StudyData data;
  auto info = selection;
  const auto word = store::AnalyseWithStore(
      database.ConnectionHandle(), info, [&](const std::shared_ptr<store::Store>& store) {
        data = options.counts ? ReadCounts(*store, info, filter, options)
                              : ReadVariables(*store, info, filter, options);
        return data.chart_word;
      });
  return word == 0 ? StudyData() : data;
}

namespace {

// Which stretches of different parts belong together. Those that are not shown come first.
struct PhaseKey {
  bool is_shown = true;
  std::int32_t phase = 0, limits_of = kOwn;  // that of their limits

  static constexpr std::int32_t kOwn = -1;
  auto operator<=>(const PhaseKey&) const = default;
};

PhaseKey KeyOf(const Stream& stream, std::size_t p) {
  const auto& stretch = stream.stretches[p];
  const auto from = stretch.limits_of;
  return {stretch.is_shown, stretch.phase.id,
          from == p ? PhaseKey::kOwn : stream.stretches[from].phase.id};
}

struct Member {
  const Stream* stream;
  std::int32_t label;
  std::size_t stretch;

  const Stretch& Get() const { return stream->stretches[stretch]; }
};

// Appends subgroup i of a stretch to those of several.
void Append(Stretch& to, const Stretch& from, std::size_t i, std::int32_t label) {
  const auto copy = [i](auto& column, const auto& source) {
    if (!source.empty()) column.push_back(source[i]);
  };
  copy(to.points, from.points);
  copy(to.sizes, from.sizes);
  copy(to.centre, from.centre);
  copy(to.sigma, from.sigma);
  copy(to.times, from.times);
  copy(to.subgroups, from.subgroups);
  copy(to.targets, from.targets);
  copy(to.stored_sigmas, from.stored_sigmas);
  to.used.push_back(from.IsUsed(i) ? 1 : 0);
  to.restart.push_back(from.BeginsAnew(i) ? 1 : 0);
  to.members.push_back(label);
  if (from.first_piece.empty()) return;
  const auto pieces = from.PiecesOf(i);
  to.pieces.insert(to.pieces.end(), pieces.begin(), pieces.end());
  to.first_piece.push_back(static_cast<std::uint32_t>(to.pieces.size()));
}

Stretch Mixed(const std::vector<Member>& members) {
  Stretch mixed;
  mixed.phase = members.front().Get().phase;
  mixed.is_shown = members.front().Get().is_shown;
  struct Place {
    std::int32_t time;
    std::size_t member, at;
  };
  std::vector<Place> places;
  for (std::size_t m = 0; m < members.size(); ++m) {
    const auto& times = members[m].Get().times;
    for (std::size_t i = 0; i < times.size(); ++i) places.push_back({times[i], m, i});
  }
  std::ranges::stable_sort(places, {}, &Place::time);
  if (!members.front().Get().first_piece.empty()) mixed.first_piece.push_back(0);
  for (const auto& place : places) {
    const auto& member = members[place.member];
    Append(mixed, member.Get(), place.at, member.label);
  }
  return mixed;
}

// The stretches of one stream of several.
using Groups = std::map<PhaseKey, std::vector<Member>>;

void AddTo(Groups& groups, const Stream& stream, std::int32_t label) {
  for (std::size_t p = 0; p < stream.stretches.size(); ++p) {
    groups[KeyOf(stream, p)].push_back({&stream, label, p});
  }
}

std::vector<Stretch> StretchesOf(const Groups& groups) {
  std::vector<std::pair<PhaseKey, Stretch>> made;
  for (const auto& [key, members] : groups) made.emplace_back(key, Mixed(members));
  std::ranges::stable_sort(made, {}, [](const auto& each) {
    return std::pair(each.second.is_shown, each.second.times.front());
  });
  std::vector<Stretch> stretches;
  for (std::size_t p = 0; p < made.size(); ++p) {
    auto& stretch = made[p].second;
    stretch.limits_of = p;
    for (std::size_t q = 0; q < p && stretch.limits_of == p; ++q) {
      const auto& other = made[q].first;
      const bool has_own = other.limits_of == PhaseKey::kOwn;
      if (has_own && other.phase == made[p].first.limits_of) stretch.limits_of = q;
    }
    stretches.push_back(std::move(stretch));
  }
  return stretches;
}

}  // namespace

StudyData MixedParts(const StudyData& data) {
  StudyData mixed;
  mixed.chart_word = data.chart_word;
  std::map<std::pair<std::int32_t, std::int32_t>, Groups> streams;
  for (const auto& stream : data.streams) {
    AddTo(streams[{stream.process, stream.test}], stream, stream.part);
  }
  for (const auto& [ids, groups] : streams) {
    mixed.streams.push_back({0, ids.first, ids.second, StretchesOf(groups)});
  }
  return mixed;
}

StudyData MixedStreams(const StudyData& data) {
  StudyData mixed;
  mixed.chart_word = data.chart_word;
  if (data.Empty()) return mixed;
  auto all = data.streams.front();
  Groups groups;
  std::int32_t label = 0;
  for (const auto& stream : data.streams) {
    AddTo(groups, stream, label++);
    if (stream.part != all.part) all.part = 0;
    if (stream.process != all.process) all.process = 0;
    if (stream.test != all.test) all.test = 0;
  }
  mixed.streams.push_back({all.part, all.process, all.test, StretchesOf(groups)});
  return mixed;
}

}  // namespace orvspc::studies
