// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <limits>
#include <utility>

#include "engine/charts/PointTable.h"

// Streams cut at the borders of their phases.
namespace orvspc::engine::charts {
namespace {

// The stretch of time around a stamp that lies in one phase or between two.
struct Span {
  std::int64_t begin = std::numeric_limits<std::int64_t>::max(), end = 0;
  std::int32_t phase = kNoPhase;  // among those of the stream

  bool Holds(std::int32_t stamp) const { return begin <= stamp && stamp < end; }
};

Span SpanAround(const std::vector<Phase>& phases, std::int32_t stamp) {
  Span span{std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max(),
            kNoPhase};
  for (std::size_t i = 0; i < phases.size(); ++i) {
    const auto& phase = phases[i];
    if (phase.Holds(stamp)) span.phase = static_cast<std::int32_t>(i);
    for (const auto border : {std::optional(phase.start), phase.finish}) {
      if (!border) continue;
      if (*border <= stamp) span.begin = std::max<std::int64_t>(span.begin, *border);
      if (*border > stamp) span.end = std::min<std::int64_t>(span.end, *border);
    }
  }
  return span;
}

}  // namespace

void StreamTable::CutAtPhases(const store::DataSet& data, store::Store& store, bool joined) {
  const bool keeps_borders = !store.JoinsPhases();
  joined = joined || !keeps_borders;
  std::vector<ChartStream> cut;
  const auto add = [&](ChartStream stream) {
    stream.limits_of = cut.size();
    cut.push_back(stream);
  };
  for (std::size_t s = 0; s < streams_.size(); ++s) {
    const auto stream = streams_[s];
    const auto phases = store.Phases(stream.part, stream.process, stream.test);
    if (phases.empty()) {
      if (are_cut_) add(stream);
      continue;
    }
    if (!joined && !are_cut_) {
      cut.assign(streams_.begin(), streams_.begin() + static_cast<std::ptrdiff_t>(s));
      are_cut_ = true;
    }
    Span span;
    std::size_t latest = streams_.size() + data.subgroups.size();  // phase with limits; none yet
    for (auto place = stream.begin; place < stream.end; ++place) {
      const auto stamp = data.subgroups[SubgroupAt(place)].Sgtm;
      const bool begins = !span.Holds(stamp);
      if (begins) span = SpanAround(phases, stamp);
      const auto* const phase =
          span.phase == kNoPhase ? nullptr : &phases[static_cast<std::size_t>(span.phase)];
      if (phase != nullptr && !phase->Counts()) Disuse(place, data.subgroups.size());
      if (joined) {
        if (!begins || !keeps_borders || place == stream.begin) continue;
        anew_.resize(data.subgroups.size());
        anew_[place] = 1;
        continue;
      }
      if (begins) {
        add(stream);
        auto& begun = cut.back();
        begun.begin = place;
        if (phase == nullptr) {
          // Between phases there are the limits of the phase before.
          begun.limits_of = std::min(latest, begun.limits_of);
        } else {
          if (phase->Counts()) latest = begun.limits_of;
          begun.phase = static_cast<std::int32_t>(phases_.size());
          phases_.push_back(*phase);
        }
      }
      cut.back().end = place + 1;
    }
  }
  if (are_cut_) streams_ = std::move(cut);
}

const Phase* StreamTable::PhaseOf(const ChartStream& stream) const {
  return stream.phase == kNoPhase ? nullptr : &phases_[static_cast<std::size_t>(stream.phase)];
}

std::size_t StreamTable::StreamCount() const {
  return streams_.empty() ? 0 : streams_.back().number + 1;
}

std::pair<std::size_t, std::size_t> StreamTable::BeforePhases(std::size_t number) const {
  std::pair ends(streams_.size(), streams_.size());
  for (std::size_t s = 0; s < streams_.size(); ++s) {
    if (streams_[s].number != number) continue;
    const auto* const phase = PhaseOf(streams_[s]);
    if (phase != nullptr && phase->Counts()) break;
    if (phase != nullptr) continue;
    if (ends.first == streams_.size()) ends.first = s;
    ends.second = s;
  }
  return ends;
}

std::size_t StreamTable::NewestOf(std::size_t number) const {
  std::size_t newest = 0;
  bool counts = false;
  for (std::size_t s = 0; s < streams_.size(); ++s) {
    if (streams_[s].number != number) continue;
    const auto* const phase = PhaseOf(streams_[s]);
    const bool is_counted = phase == nullptr || phase->Counts();
    if (!is_counted && counts) continue;
    newest = s;
    counts = is_counted;
  }
  return newest;
}

}  // namespace orvspc::engine::charts
