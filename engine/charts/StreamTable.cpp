// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/StreamTable.h"

#include <map>
#include <tuple>

namespace orvspc::engine::charts {

void StreamTable::ClearStreams() {
  streams_.clear();
  order_.clear();
  used_.clear();
}

void StreamTable::AddStream(const API_SubgroupData& row, std::size_t count) {
  streams_.push_back({row.Part, row.Prcs, row.Test, 0, count});
}

void StreamTable::Disuse(std::size_t place, std::size_t count) {
  if (used_.empty()) used_.assign(count, 1);
  used_[place] = 0;
}

// Streams in the order of their first subgroup; a counting sort keeps the order inside each.
void StreamTable::SplitStreams(const store::DataSet& data) {
  const auto count = data.subgroups.size();
  std::map<std::tuple<std::int32_t, std::int32_t, std::int32_t>, std::size_t> numbers;
  std::vector<std::uint32_t> stream_of(count);
  for (std::size_t i = 0; i < count; ++i) {
    const auto& row = data.subgroups[i];
    const auto [found, fresh] =
        numbers.try_emplace(std::tuple(row.Part, row.Prcs, row.Test), streams_.size());
    if (fresh) AddStream(row, 0);
    stream_of[i] = static_cast<std::uint32_t>(found->second);
    ++streams_[found->second].end;
  }
  std::size_t place = 0;
  for (auto& stream : streams_) {
    stream.begin = place;
    place += stream.end;
    stream.end = stream.begin;
  }
  order_.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    order_[streams_[stream_of[i]].end++] = static_cast<std::uint32_t>(i);
  }
}

}  // namespace orvspc::engine::charts
