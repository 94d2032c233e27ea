// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "engine/store/DataSet.h"
#include "engine/store/Store.h"

namespace orvspc::engine::charts {

// Subgroups of one part, process and test. Nothing is estimated, compared or run across streams.
struct ChartStream {
  std::int32_t part = 0, process = 0, test = 0;
  std::size_t begin = 0, end = 0;  // places in the columns of the table

  std::size_t Count() const { return end - begin; }
};

// A place in a column that belongs to the stream.
template <class T>
std::span<const T> Part(const std::vector<T>& column, const ChartStream& stream) {
  if (column.empty()) return {};
  return {column.data() + stream.begin, stream.Count()};
}

// Which place a subgroup has in the columns of a run: stream after stream, each in the order of the
// data set. And which subgroups count.
class StreamTable {
 public:
  // Calls fill(place, subgroup) for each place. One stream takes one pass over the rows; on a
  // second stream it restarts: calls begin_anew() and fills again in stream order. status: the
  // states that the selection asked for, bits 1, 2, 4 for enabled, disabled, incomplete. Where
  // enabled ones were not asked for, whatever was asked for counts.
  template <class Fill, class BeginAnew>
  void Build(const store::DataSet& data, std::int32_t status, Fill fill, BeginAnew begin_anew) {
    ClearStreams();
    const auto count = data.subgroups.size();
    const bool all_count = store::EveryStateCounts(status);
    std::size_t place = 0;
    for (; place < count && SameStream(data.subgroups[place], data.subgroups[0]); ++place) {
      fill(place, place);
      NoteFlag(data, place, place, all_count);
    }
    if (count == 0) return;
    if (place == count) {
      AddStream(data.subgroups[0], count);
      return;
    }
    used_.clear();
    begin_anew();
    SplitStreams(data);
    for (place = 0; place < count; ++place) {
      fill(place, SubgroupAt(place));
      NoteFlag(data, place, SubgroupAt(place), all_count);
    }
  }
  void ClearStreams();

  std::span<const ChartStream> Streams() const { return streams_; }
  std::size_t Count() const { return streams_.empty() ? 0 : streams_.back().end; }
  // Place in the data set of a place in the columns.
  std::size_t SubgroupAt(std::size_t place) const { return order_.empty() ? place : order_[place]; }
  bool InOrder() const { return order_.empty(); }
  // Writes a column in the order of the data set.
  template <class From, class To>
  void Scatter(const std::vector<From>& column, std::span<To> out) const {
    for (std::size_t place = 0; place < out.size(); ++place) {
      out[SubgroupAt(place)] = static_cast<To>(column[place]);
    }
  }

  // 0: plotted, but neither estimated from nor run through. Empty: every subgroup counts.
  const std::vector<std::uint8_t>& Used() const { return used_; }
  bool IsUsed(std::size_t place) const { return used_.empty() || used_[place] != 0; }

 private:
  static bool SameStream(const API_SubgroupData& a, const API_SubgroupData& b) {
    return a.Part == b.Part && a.Prcs == b.Prcs && a.Test == b.Test;
  }
  void AddStream(const API_SubgroupData& row, std::size_t count);
  void NoteFlag(const store::DataSet& data, std::size_t place, std::size_t subgroup,
                bool all_count) {
    if (!all_count && data.subgroups[subgroup].Flag != 0) Disuse(place, data.subgroups.size());
  }
  void Disuse(std::size_t place, std::size_t count);
  void SplitStreams(const store::DataSet& data);

  std::vector<ChartStream> streams_;
  std::vector<std::uint32_t> order_;
  std::vector<std::uint8_t> used_;
};

}  // namespace orvspc::engine::charts
