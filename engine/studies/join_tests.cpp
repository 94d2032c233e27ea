// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/charts/VariableRun.h"
#include "engine/store/Store.h"
#include "engine/studies/Multivariate.h"
#include "engine/studies/study_notes.h"
#include "engine/studies/study_streams.h"
#include "platform/NaN.h"

namespace orvspc::studies {

using namespace engine;

namespace {

struct NumberedStream {
  const Stream* stream = nullptr;
  const std::vector<std::vector<std::int32_t>>* numbers = nullptr;

  const Stretch& At(std::size_t stretch) const { return stream->stretches[stretch]; }
  std::int32_t NumberOf(std::size_t stretch, std::size_t piece) const {
    return (*numbers)[stretch][piece];
  }
};
using Streams = std::vector<NumberedStream>;  // by variable

// A subgroup of a stream: in which stretch, and where there.
struct Place {
  std::size_t stretch = 0, subgroup = 0;
};
using Places = std::vector<Place>;  // of one subgroup, by variable

// Pieces that all tests have lie at the same number; NaN where a test lacks one.
void AddSubgroup(const Streams& streams, const Places& places, Stretch& to) {
  const auto p = streams.size();
  std::vector<std::size_t> at(p), end(p);
  for (std::size_t j = 0; j < p; ++j) {
    const auto& stretch = streams[j].At(places[j].stretch);
    at[j] = stretch.first_piece[places[j].subgroup];
    end[j] = stretch.first_piece[places[j].subgroup + 1];
  }
  double vectors = 0.0;
  for (;; ++vectors) {
    std::int32_t number = INT32_MAX;
    bool is_left = false;
    for (std::size_t j = 0; j < p; ++j) {
      if (at[j] == end[j]) continue;
      is_left = true;
      number = std::min(number, streams[j].NumberOf(places[j].stretch, at[j]));
    }
    if (!is_left) break;
    for (std::size_t j = 0; j < p; ++j) {
      const auto& stretch = streams[j].At(places[j].stretch);
      const bool has = at[j] < end[j] && streams[j].NumberOf(places[j].stretch, at[j]) == number;
      to.pieces.push_back(has ? stretch.pieces[at[j]++] : platform::kNaN);
    }
  }
  to.first_piece.push_back(static_cast<std::uint32_t>(to.pieces.size()));
  to.sizes.push_back(vectors);
  to.points.push_back(platform::kNaN);
  const auto& first = streams[0].At(places[0].stretch);
  to.times.push_back(first.times[places[0].subgroup]);
  to.subgroups.push_back(first.subgroups[places[0].subgroup]);
  bool used = true;
  for (std::size_t j = 0; j < p; ++j) {
    used = used && streams[j].At(places[j].stretch).IsUsed(places[j].subgroup);
  }
  to.used.push_back(used ? 1 : 0);
}

using Stretches = std::vector<std::size_t>;  // which of each variable

class Joint {
 public:
  explicit Joint(Streams streams) : streams_(std::move(streams)) {
    joined_.part = streams_[0].stream->part;
    joined_.process = streams_[0].stream->process;
  }

  void Add(const Places& places) {
    Stretches stretches;
    for (const auto& place : places) stretches.push_back(place.stretch);
    if (made_of_.empty() || made_of_.back() != stretches) Begin(std::move(stretches));
    AddSubgroup(streams_, places, joined_.stretches.back());
  }
  Stream Take() { return std::move(joined_); }

 private:
  void Begin(Stretches stretches) {
    auto& stretch = joined_.stretches.emplace_back();
    stretch.first_piece.push_back(0);
    Stretches limits_of;
    stretch.is_shown = streams_[0].At(stretches[0]).is_shown;
    for (std::size_t j = 0; j < streams_.size(); ++j) {
      const auto& of = streams_[j].At(stretches[j]);
      limits_of.push_back(of.limits_of);
      if (stretch.phase.id == 0) stretch.phase = of.phase;
    }
    made_of_.push_back(std::move(stretches));
    const auto found = std::ranges::find(made_of_, limits_of);
    stretch.limits_of = found == made_of_.end()
                            ? made_of_.size() - 1
                            : static_cast<std::size_t>(found - made_of_.begin());
  }

  Streams streams_;
  Stream joined_;
  std::vector<Stretches> made_of_;
};

// By identifier, of the stretches that are shown or of those that are not.
std::unordered_map<std::int32_t, Place> PlacesOf(const Stream& stream, bool shown) {
  std::unordered_map<std::int32_t, Place> places;
  for (std::size_t s = 0; s < stream.stretches.size(); ++s) {
    const auto& stretch = stream.stretches[s];
    if (stretch.is_shown != shown) continue;
    for (std::size_t i = 0; i < stretch.subgroups.size(); ++i) {
      if (!stretch.PiecesOf(i).empty()) places[stretch.subgroups[i]] = {s, i};
    }
  }
  return places;
}

// Times of all subgroups of the streams that are shown.
std::map<std::int32_t, std::int32_t> TimesOf(const Streams& streams) {
  std::map<std::int32_t, std::int32_t> times;
  for (const auto& each : streams) {
    for (const auto& stretch : each.stream->stretches) {
      for (std::size_t i = 0; stretch.is_shown && i < stretch.subgroups.size(); ++i) {
        times[stretch.subgroups[i]] = stretch.times[i];
      }
    }
  }
  return times;
}

// The tests of one part and process; what is joined is erased from `left`.
Stream Joined(const Streams& streams, std::map<std::int32_t, std::int32_t>& left) {
  std::vector<std::unordered_map<std::int32_t, Place>> known[2];
  for (const auto& each : streams) {
    for (const bool shown : {false, true}) known[shown].push_back(PlacesOf(*each.stream, shown));
  }
  Joint joint(streams);
  Places places(streams.size());
  for (const auto& stretch : streams[0].stream->stretches) {
    for (const auto subgroup : stretch.subgroups) {
      bool has_all = true;
      for (std::size_t j = 0; has_all && j < streams.size(); ++j) {
        const auto& of = known[stretch.is_shown][j];
        const auto found = of.find(subgroup);
        has_all = found != of.end();
        if (has_all) places[j] = found->second;
      }
      if (!has_all) continue;
      joint.Add(places);
      if (stretch.is_shown) left.erase(subgroup);
    }
  }
  return joint.Take();
}

// Leaves the subgroups of a joined stretch from a time and identifier on.
void Shorten(Stretch& stretch, std::pair<std::int32_t, std::int32_t> oldest) {
  Stretch kept;
  kept.phase = stretch.phase;
  kept.limits_of = stretch.limits_of;
  kept.is_shown = stretch.is_shown;
  kept.first_piece.push_back(0);
  for (std::size_t i = 0; i < stretch.subgroups.size(); ++i) {
    if (std::pair(stretch.times[i], stretch.subgroups[i]) < oldest) continue;
    const auto pieces = stretch.PiecesOf(i);
    kept.pieces.insert(kept.pieces.end(), pieces.begin(), pieces.end());
    kept.first_piece.push_back(static_cast<std::uint32_t>(kept.pieces.size()));
    kept.sizes.push_back(stretch.sizes[i]);
    kept.points.push_back(stretch.points[i]);
    kept.times.push_back(stretch.times[i]);
    kept.subgroups.push_back(stretch.subgroups[i]);
    kept.used.push_back(stretch.used[i]);
  }
  stretch = std::move(kept);
}

using Age = std::pair<std::int32_t, std::int32_t>;  // time and identifier

// What stretches keep their limits from though it is no longer shown from `oldest` back: the points
// of a phase that is frozen, and of a phase that is gone as a whole.
void KeepBases(std::vector<Stretch>& stretches, const Age& oldest) {
  std::vector<Base> bases;
  for (std::size_t s = 0; s < stretches.size(); ++s) {
    const auto& stretch = stretches[s];
    const auto age = [&](std::size_t i) { return Age(stretch.times[i], stretch.subgroups[i]); };
    if (!stretch.is_shown || stretch.limits_of != s || age(0) >= oldest) continue;
    if (stretch.phase.freeze_after == 0 && age(stretch.times.size() - 1) >= oldest) continue;
    bases.push_back({stretch, s});
  }
  PutBases(std::move(bases), stretches);
}

// Leaves out stretches without subgroups, and what is not shown where nothing has its limits from
// it.
void DropEmpty(std::vector<Stretch>& stretches) {
  std::vector<std::uint8_t> is_needed;
  for (const auto& stretch : stretches) {
    is_needed.push_back(stretch.is_shown && !stretch.subgroups.empty() ? 1 : 0);
  }
  for (std::size_t s = 0; s < stretches.size(); ++s) {
    if (is_needed[s] != 0) is_needed[stretches[s].limits_of] = 1;
  }
  std::vector<Stretch> kept;
  std::vector<std::size_t> places;  // of each stretch among those that are kept
  for (std::size_t s = 0; s < stretches.size(); ++s) {
    places.push_back(kept.size());
    if (is_needed[s] != 0) kept.push_back(std::move(stretches[s]));
  }
  for (auto& stretch : kept) stretch.limits_of = places[stretch.limits_of];
  stretches = std::move(kept);
}

// Of the pieces that a run has in each stretch, as PieceReader gives them.
void AddNumbers(const store::DataSet& data, std::size_t subgroup,
                std::vector<std::int32_t>& numbers) {
  const auto before = std::ssize(numbers);
  const auto rows = store::RowsOf(data, subgroup);
  for (std::size_t row = 0; row < rows.count; ++row) {
    const auto key = data.keys.empty() ? store::PlainKey(row) : data.keys[rows.begin + row];
    if (key.Sbno == 0 && std::isfinite(data.values[rows.begin + row])) numbers.push_back(key.Tsno);
  }
  std::sort(numbers.begin() + before, numbers.end());
}

struct Numbered {
  StudyData data;
  PieceNumbers numbers;
};

Numbered ReadNumbered(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                      bool joins_phases, charts::VariableRun& run) {
  run.NoteNoMisfit();
  if (joins_phases) run.JoinPhases();
  API_CCVarOptions asked{};
  asked.Constant = 2;
  Numbered read;
  const auto made = run.Process(store, info, filter, asked);
  if (made == 0) return read;
  store::PieceReader reader(run.Rows().Data());
  std::size_t streams = 0;
  read.data = Taken(run, made, [&](std::size_t s, Stretch& stretch) {
    const auto& stream = run.Streams()[s];
    AddPieces(run, stream, reader, stretch);
    if (stream.number + 1 > streams) read.numbers.emplace_back();
    streams = stream.number + 1;
    auto& of = read.numbers.back().emplace_back();
    for (std::size_t i = 0; i < stretch.points.size(); ++i) {
      if (stretch.PiecesOf(i).empty()) continue;
      AddNumbers(run.Rows().Data(), run.Points().SubgroupAt(stream.begin + i), of);
    }
  });
  return read;
}

}  // namespace

JoinedTests JoinTests(const StudyData& data, const PieceNumbers& numbers,
                      std::span<const std::int32_t> order) {
  Need(numbers.size() == data.streams.size(), "pieces must have their numbers");
  std::vector<std::pair<std::int32_t, std::int32_t>> keys;  // part and process
  for (std::size_t s = 0; s < data.streams.size(); ++s) {
    const auto& stream = data.streams[s];
    const std::pair key(stream.part, stream.process);
    if (std::ranges::find(keys, key) == keys.end()) keys.push_back(key);
    Need(numbers[s].size() == stream.stretches.size(), "pieces must have their numbers");
    for (std::size_t i = 0; i < numbers[s].size(); ++i) {
      Need(numbers[s][i].size() == stream.stretches[i].pieces.size(),
           "pieces must have their numbers");
    }
  }
  JoinedTests joined;
  for (const auto& key : keys) {
    Streams streams;
    for (std::size_t s = 0; s < data.streams.size(); ++s) {
      const auto& stream = data.streams[s];
      if (std::pair(stream.part, stream.process) != key) continue;
      streams.push_back({&stream, &numbers[s]});
    }
    std::ranges::stable_sort(streams, {}, [&](const NumberedStream& each) {
      return std::ranges::find(order, each.stream->test) - order.begin();
    });
    auto left = TimesOf(streams);
    if (streams.size() >= kLeastVariables && streams.size() <= kMostVariables) {
      if (auto stream = Joined(streams, left); !stream.stretches.empty()) {
        joined.data.chart_word = data.chart_word;
        joined.data.streams.push_back(std::move(stream));
        auto& tests = joined.tests.emplace_back();
        for (const auto& each : streams) tests.push_back(each.stream->test);
      }
    }
    if (left.empty()) continue;
    auto& kept = joined.left.emplace_back(LeftOfJoin{key.first, key.second, streams.size()});
    for (const auto& subgroup : left) kept.times.push_back(subgroup.second);
  }
  return joined;
}

void KeepNewest(JoinedTests& joined, std::size_t most) {
  auto& streams = joined.data.streams;
  std::vector<Age> ages;
  for (const auto& stream : streams) {
    for (const auto& stretch : stream.stretches) {
      for (std::size_t i = 0; stretch.is_shown && i < stretch.subgroups.size(); ++i) {
        ages.emplace_back(stretch.times[i], stretch.subgroups[i]);
      }
    }
  }
  if (ages.size() <= most || most == 0) return;
  const auto oldest = ages.end() - static_cast<std::ptrdiff_t>(most);
  std::ranges::nth_element(ages, oldest);
  for (auto& stream : streams) {
    KeepBases(stream.stretches, *oldest);
    for (auto& stretch : stream.stretches) {
      if (stretch.is_shown) Shorten(stretch, *oldest);
    }
    DropEmpty(stream.stretches);
  }
  for (std::size_t s = streams.size(); s-- > 0;) {
    if (!streams[s].stretches.empty()) continue;
    streams.erase(streams.begin() + static_cast<std::ptrdiff_t>(s));
    joined.tests.erase(joined.tests.begin() + static_cast<std::ptrdiff_t>(s));
  }
  for (auto& left : joined.left) {
    std::erase_if(left.times, [&](std::int32_t time) { return time < oldest->first; });
  }
  std::erase_if(joined.left, [](const LeftOfJoin& left) { return left.times.empty(); });
}

JoinedTests ReadJoinedTests(platform::Database& database, const API_DSInfo& selection,
                            std::span<const std::int32_t> filter,
                            std::span<const std::int32_t> order, bool joins_phases) {
  JoinedTests joined;
  auto info = selection;
  const auto most = info.Count;  // the values of each test would have their own
  if (most > 0) info.Count = INT32_MAX;
  const auto selected = info;
  const auto word = store::AnalyseWithStore(
      database.ConnectionHandle(), info, [&](const std::shared_ptr<store::Store>& store) {
        charts::VariableRun run;
        auto read = ReadNumbered(*store, info, filter, joins_phases, run);
        AddBases(
            run, read.data,
            [&](const charts::VariableRun::Whole& whole) {
              auto of = whole.SelectionFrom(selected);
              const auto notes = store::NoteCount();
              charts::VariableRun other;
              auto base = ReadNumbered(*store, of, filter, whole.phase == 0, other);
              store::KeepNotes(notes);
              return base;
            },
            [&](const Numbered& base, std::size_t i, std::size_t p, std::size_t s) {
              auto& to = read.numbers[s];
              const auto shown = read.data.streams[s].stretches.size();
              to.insert(to.end() - static_cast<std::ptrdiff_t>(shown), base.numbers[i][p]);
            });
        if (read.data.chart_word == 0) return read.data.chart_word;
        joined = JoinTests(read.data, read.numbers, order);
        KeepNewest(joined, static_cast<std::size_t>(most));
        return read.data.chart_word;
      });
  return word == 0 ? JoinedTests() : joined;
}

}  // namespace orvspc::studies
