// SPDX-License-Identifier: Apache-2.0
#include "engine/capability/StreamSample.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "engine/store/DataSet.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::capability {
namespace {

class Collector final : public store::BatchTaker {
 public:
  explicit Collector(bool all_count) : all_count_(all_count) {}

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
      if (stream == nullptr || stream->part != row.Part || stream->process != row.Prcs ||
          stream->test != row.Test) {
        stream = &StreamIn(parts_[part], row.Part, row.Prcs, row.Test);
      }
      See(*stream, row.Sgtm, row.Sgtm);
      stream->sample.Add(pieces);
    }
  }

  std::vector<StreamSample> Joined() {
    std::vector<StreamSample> all;
    for (auto& part : parts_) {
      for (auto& each : part) {
        auto& stream = StreamIn(all, each.part, each.process, each.test);
        See(stream, each.oldest, each.newest);
        stream.sample.Append(std::move(each.sample));
      }
    }
    return all;
  }

 private:
  static StreamSample& StreamIn(std::vector<StreamSample>& streams, std::int32_t part,
                                std::int32_t process, std::int32_t test) {
    const auto found = std::ranges::find_if(streams, [&](const StreamSample& each) {
      return each.part == part && each.process == process && each.test == test;
    });
    if (found != streams.end()) return *found;
    return streams.emplace_back(StreamSample{part, process, test});
  }
  static void See(StreamSample& stream, std::int32_t oldest, std::int32_t newest) {
    stream.oldest = std::min(stream.oldest, oldest);
    stream.newest = std::max(stream.newest, newest);
  }

  bool all_count_;
  std::vector<std::vector<StreamSample>> parts_;
};

}  // namespace

bool ReadStreams(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                 std::vector<StreamSample>& streams) {
  Collector collector(store::EveryStateCounts(info.Status));
  if (!store.SelectInBatches(info, filter, {.test_types = ttVariable}, collector)) return false;
  streams = collector.Joined();
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
