// SPDX-License-Identifier: Apache-2.0
#include "engine/capability/StreamSample.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string>
#include <utility>

#include "engine/chunks/DataSet.h"
#include "engine/store/phases.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::capability {
namespace {

constexpr std::int32_t kNoPhase = -1;  // less by one for each phase before

struct Ids {
  std::int32_t part, process, test;
  explicit Ids(const API_SubgroupData& row) : part(row.Part), process(row.Prcs), test(row.Test) {}
  explicit Ids(const StreamSample& each)
      : part(each.part), process(each.process), test(each.test) {}
  friend bool operator==(const Ids&, const Ids&) = default;
};

class Collector final : public store::BatchTaker {
 public:
  Collector(bool all_count, std::vector<Phase> phases, bool joins_phases)
      : all_count_(all_count), phases_(std::move(phases)), joins_phases_(joins_phases) {}

  void Begin(std::size_t parts) override {
    parts_.clear();
    parts_.resize(parts);
  }

  void Take(std::size_t part, const store::DataSet& batch) override {
    store::PieceReader reader(batch);
    StreamSample* stream = nullptr;
    for (std::size_t i = 0; i < batch.subgroups.size(); ++i) {
      const auto& row = batch.subgroups[i];
      if (!all_count_ && row.Flag != sfEnabled) continue;
      const auto pieces = reader.Pieces(i);
      if (pieces.empty()) continue;
      const Ids ids(row);
      const auto phase = phases_.empty() ? kNoPhase : PhaseAt(ids, row.Sgtm);
      if (stream == nullptr || Ids(*stream) != ids || stream->phase != phase) {
        stream = &StreamIn(parts_[part], ids, phase);
      }
      See(*stream, row.Sgtm, row.Sgtm);
      stream->sample.Add(pieces);
    }
  }

  std::vector<StreamSample> Joined() {
    std::vector<StreamSample> all;
    for (auto& part : parts_) {
      for (auto& each : part) {
        auto& stream = StreamIn(all, Ids(each), each.phase);
        See(stream, each.oldest, each.newest);
        stream.sample.Append(std::move(each.sample));
      }
    }
    return all;
  }

 private:
  std::int32_t PhaseAt(const Ids& ids, std::int32_t stamp) const {
    std::int32_t before = 0;
    for (std::size_t i = 0; i < phases_.size(); ++i) {
      const auto& phase = phases_[i];
      if (!store::HoldsFor(phase, ids.part, ids.process, ids.test)) continue;
      if (phase.Holds(stamp)) return static_cast<std::int32_t>(i);
      if (phase.start <= stamp) ++before;
    }
    // No moving range reaches across a phase, so that those of a chart are the same.
    return joins_phases_ ? kNoPhase : kNoPhase - before;
  }
  static StreamSample& StreamIn(std::vector<StreamSample>& streams, const Ids& ids,
                                std::int32_t phase) {
    const auto found = std::ranges::find_if(
        streams, [&](const StreamSample& each) { return Ids(each) == ids && each.phase == phase; });
    if (found != streams.end()) return *found;
    return streams.emplace_back(StreamSample{ids.part, ids.process, ids.test, phase});
  }
  static void See(StreamSample& stream, std::int32_t oldest, std::int32_t newest) {
    stream.oldest = std::min(stream.oldest, oldest);
    stream.newest = std::max(stream.newest, newest);
  }

  bool all_count_;
  std::vector<Phase> phases_;
  bool joins_phases_;
  std::vector<std::vector<StreamSample>> parts_;
};

std::string Counted(std::size_t count, const std::string& of) {
  return std::to_string(count) + " " + of + (count == 1 ? "" : "s");
}

// Leaves of the stretches of one stream the newest phase, with a note where that is not all. The
// stretches of excluded phases are gone already.
std::vector<StreamSample> Newest(store::Store& store, std::vector<StreamSample> stretches,
                                 const std::vector<Phase>& phases) {
  std::size_t subgroups = 0, in_phases = 0, newest = 0;
  for (std::size_t i = 0; i < stretches.size(); ++i) {
    subgroups += stretches[i].sample.Groups();
    if (stretches[i].phase <= kNoPhase) continue;
    if (in_phases++ == 0 || stretches[i].newest > stretches[newest].newest) newest = i;
  }
  if (in_phases == 0 || stretches.size() == 1) return stretches;
  auto& taken = stretches[newest];
  store::AddNote("newest-phase",
                 "newest of " + Counted(in_phases, "phase") + ", " +
                     std::to_string(taken.sample.Groups()) + " of " +
                     Counted(subgroups, "subgroup") + ": " +
                     phases[static_cast<std::size_t>(taken.phase)].name,
                 store.StreamName(taken.part, taken.process, taken.test));
  std::vector<StreamSample> left;
  left.push_back(std::move(taken));
  return left;
}

// What counts of streams with phases.
std::vector<StreamSample> TakePhases(store::Store& store, std::vector<StreamSample> all,
                                     const std::vector<Phase>& phases) {
  std::vector<StreamSample> taken;
  while (!all.empty()) {
    const Ids ids(all.front());
    std::vector<StreamSample> stretches, others;
    std::size_t excluded = 0;
    for (auto& each : all) {
      if (Ids(each) != ids) {
        others.push_back(std::move(each));
      } else if (each.phase <= kNoPhase || phases[static_cast<std::size_t>(each.phase)].Counts()) {
        stretches.push_back(std::move(each));
      } else {
        excluded += each.sample.Groups();
      }
    }
    if (excluded > 0) {
      store::AddNote("phase-excluded",
                     Counted(excluded, "subgroup") + " of excluded phases " +
                         (excluded == 1 ? "is" : "are") + " left out",
                     store.StreamName(ids.part, ids.process, ids.test));
    }
    stretches = Newest(store, std::move(stretches), phases);
    std::ranges::move(stretches, std::back_inserter(taken));
    all = std::move(others);
  }
  return taken;
}

}  // namespace

bool ReadStreams(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                 std::vector<StreamSample>& streams) {
  auto phases = store.Phases(0, 0, 0);
  if (store.JoinsPhases()) std::erase_if(phases, [](const Phase& each) { return each.Counts(); });
  Collector collector(store::EveryStateCounts(info.Status), phases, store.JoinsPhases());
  if (!store.SelectInBatches(info, filter, {.test_types = ttVariable}, collector)) return false;
  streams = collector.Joined();
  if (!phases.empty()) streams = TakePhases(store, std::move(streams), phases);
  return true;
}

SampleCentre CentreOf(const statistics::Sample& sample) {
  SampleCentre centre;
  centre.count = static_cast<std::int64_t>(sample.Count());
  if (centre.count == 0) return centre;
  statistics::ExtentSums sums(sample.Blocks().front().values.front());
  SumBlocks(sample, sums);
  centre.smallest = sums.Smallest();
  centre.largest = sums.Largest();
  centre.origin = sums.Origin();
  centre.shift = sums.Shift();
  if (!std::isfinite(centre.origin + centre.shift)) {
    // A mean of finite values is finite, their sum need not be.
    const auto n = static_cast<double>(centre.count);
    centre.origin = centre.shift = 0.0;
    for (const auto& block : sample.Blocks()) {
      for (const double value : block.values) centre.shift += value / n;
    }
  }
  centre.mean = centre.origin + centre.shift;
  return centre;
}

void SetDeviation(const statistics::DeviationSums& sums, SampleCentre& centre) {
  const auto n = static_cast<double>(centre.count);
  // The mean was rounded: what the deviations add up to corrects their squares.
  centre.squares = sums.Squares() - sums.First() * sums.First() / n;
  if (!(centre.squares > 0.0)) centre.squares = std::isnan(centre.squares) ? INFINITY : 0.0;
  centre.sd = centre.count < 2 ? 0.0 : std::sqrt(centre.squares / (n - 1.0));
}

}  // namespace orvspc::engine::capability
