// SPDX-License-Identifier: Apache-2.0
#include "engine/capability/SampleReader.h"

#include <algorithm>
#include <utility>

#include "platform/Enumerations.h"

namespace orvspc::engine::capability {
namespace {

bool IsOf(const StreamSample& stream, const API_SubgroupData& row) {
  return stream.part == row.Part && stream.process == row.Prcs && stream.test == row.Test;
}

class Collector final : public store::BatchTaker {
 public:
  explicit Collector(bool all_count) : all_count_(all_count) {}

  void Begin(std::size_t parts) override { parts_.resize(parts); }

  void Take(std::size_t part, const store::DataSet& batch) override {
    auto& streams = parts_[part];
    store::PieceReader reader(batch);
    std::size_t latest = 0;
    for (std::size_t i = 0; i < batch.subgroups.size(); ++i) {
      const auto& row = batch.subgroups[i];
      if (!all_count_ && row.Flag != sfEnabled) continue;
      const auto pieces = reader.Pieces(i);
      if (pieces.empty()) continue;
      if (latest >= streams.size() || !IsOf(streams[latest], row)) latest = Find(streams, row);
      auto& stream = streams[latest];
      stream.oldest = std::min(stream.oldest, row.Sgtm);
      stream.newest = std::max(stream.newest, row.Sgtm);
      stream.sample.Add(pieces);
    }
  }

  std::vector<StreamSample> Joined() {
    std::vector<StreamSample> all;
    for (auto& part : parts_) {
      for (auto& stream : part) Join(all, std::move(stream));
    }
    return all;
  }

 private:
  static std::size_t Find(std::vector<StreamSample>& streams, const API_SubgroupData& row) {
    const auto found = std::find_if(streams.begin(), streams.end(),
                                    [&](const StreamSample& each) { return IsOf(each, row); });
    const auto place = static_cast<std::size_t>(found - streams.begin());
    if (found == streams.end()) {
      streams.push_back({row.Part, row.Prcs, row.Test, row.Sgtm, row.Sgtm, {}});
    }
    return place;
  }

  static void Join(std::vector<StreamSample>& all, StreamSample stream) {
    const auto found = std::find_if(all.begin(), all.end(), [&](const StreamSample& each) {
      return each.part == stream.part && each.process == stream.process && each.test == stream.test;
    });
    if (found == all.end()) {
      all.push_back(std::move(stream));
      return;
    }
    found->oldest = std::min(found->oldest, stream.oldest);
    found->newest = std::max(found->newest, stream.newest);
    found->sample.Append(std::move(stream.sample));
  }

  bool all_count_;
  std::vector<std::vector<StreamSample>> parts_;
};

}  // namespace

bool ReadStreams(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                 std::vector<StreamSample>& streams) {
  store::SelectOptions options;
  options.test_types = ttVariable;
  Collector collector(store::EveryStateCounts(info.Status));
  if (!store.SelectInBatches(info, filter, options, collector)) return false;
  streams = collector.Joined();
  return true;
}

}  // namespace orvspc::engine::capability
