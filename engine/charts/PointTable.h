// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <utility>
#include <vector>

#include "engine/charts/ChartPlan.h"
#include "engine/chunks/DataSet.h"
#include "engine/store/Store.h"
#include "platform/NaN.h"

namespace orvspc::engine::charts {

// Columns beyond this many elements go back to the system, smaller ones wait for the next chart.
inline constexpr std::size_t kKeptElements = std::size_t{1} << 16;

// Empties a column. Assigning {} would keep the storage, however large.
template <class T>
void Forget(std::vector<T>& column) {
  column.clear();
  if (column.capacity() > kKeptElements) column.shrink_to_fit();
}

inline constexpr std::int32_t kNoPhase = -1;

// Subgroups of one part, process and test; of these, where they have phases, a stretch between two
// borders. Nothing is compared or run across streams, nor estimated.
struct ChartStream {
  std::int32_t part = 0, process = 0, test = 0;
  std::size_t begin = 0, end = 0;  // places in the columns of the table
  std::size_t number = 0;          // the same for the stretches of one part, process and test
  std::size_t limits_of = 0;       // the one whose estimates it has: itself, or one before it
  std::int32_t phase = kNoPhase;   // among the phases of the table

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
    const auto take = [&](std::size_t place, std::size_t subgroup) {
      fill(place, subgroup);
      if (!all_count && data.subgroups[subgroup].Flag != 0) Disuse(place, count);
    };
    std::size_t place = 0;
    for (; place < count && SameStream(data.subgroups[place], data.subgroups[0]); ++place) {
      take(place, place);
    }
    if (count == 0) return;
    if (place == count) {
      AddStream(data.subgroups[0], count);
      return;
    }
    used_.clear();
    begin_anew();
    SplitStreams(data);
    for (place = 0; place < count; ++place) take(place, SubgroupAt(place));
  }
  void ClearStreams();
  // Makes each stretch of a stream inside a phase, or between two, a stream of its own, unless they
  // are joined; joined ones only share their limits, see BeginsAnew. Subgroups of excluded phases
  // count no longer. A store that joins phases leaves no trace of their borders.
  void CutAtPhases(const store::DataSet& data, store::Store& store, bool joined);

  bool IsCut() const { return are_cut_; }
  // Null between phases, and for a stream without any.
  const Phase* PhaseOf(const ChartStream& stream) const;
  // Of parts, processes and tests.
  std::size_t StreamCount() const;
  // The first and the last stretch with that number that are in no phase and before all that count.
  std::pair<std::size_t, std::size_t> BeforePhases(std::size_t number) const;
  // The newest stretch with that number that counts; the newest where none does.
  std::size_t NewestOf(std::size_t number) const;
  // What the estimates of a stream are made from: all of it, or its first points up to where its
  // phase is frozen. Nothing of an excluded phase, or where fewer than 2 points serve.
  //   has_value  whether the point at a place has a value
  template <class HasValue>
  ChartStream BasisOf(ChartStream stream, HasValue has_value) const {
    if (!are_cut_) return stream;
    constexpr std::int32_t kFewest = 2;
    const auto* const phase = PhaseOf(stream);
    std::int32_t points = 0;
    for (auto place = stream.begin; place < stream.end; ++place) {
      if (!IsUsed(place) || !has_value(place)) continue;
      ++points;
      if (phase != nullptr && points == phase->freeze_after) stream.end = place + 1;
    }
    if (points < kFewest) stream.end = stream.begin;
    return stream;
  }

  std::span<const ChartStream> Streams() const { return streams_; }
  std::size_t Count() const { return streams_.empty() ? 0 : streams_.back().end; }
  // Place in the data set of a place in the columns.
  std::size_t SubgroupAt(std::size_t place) const { return order_.empty() ? place : order_[place]; }
  bool InOrder() const { return order_.empty(); }
  // Writes a column in the order of the data set. out: one element a subgroup.
  template <class From, class To>
  void Scatter(const std::vector<From>& column, std::span<To> out) const {
    if (InOrder()) {
      std::transform(column.begin(), column.begin() + std::ssize(out), out.begin(),
                     [](From value) { return static_cast<To>(value); });
      return;
    }
    for (std::size_t place = 0; place < out.size(); ++place) {
      out[order_[place]] = static_cast<To>(column[place]);
    }
  }

  // 0: plotted, but neither estimated from nor run through. Empty: every subgroup counts.
  const std::vector<std::uint8_t>& Used() const { return used_; }
  bool IsUsed(std::size_t place) const { return used_.empty() || used_[place] != 0; }
  // Not 0: the first place after a border of phases inside a joined stream, which nothing runs
  // across. Empty: none.
  const std::vector<std::uint8_t>& Anew() const { return anew_; }
  bool BeginsAnew(std::size_t place) const { return !anew_.empty() && anew_[place] != 0; }
  // Calls visit(place) for the subgroups that count; for all where none does.
  template <class Visit>
  void ForEachThatCounts(Visit visit) const {
    const bool all = std::find(used_.begin(), used_.end(), 1) == used_.end();
    for (std::size_t place = 0; place < Count(); ++place) {
      if (all || used_[place] != 0) visit(place);
    }
  }

 private:
  static bool SameStream(const API_SubgroupData& a, const API_SubgroupData& b) {
    return a.Part == b.Part && a.Prcs == b.Prcs && a.Test == b.Test;
  }
  void AddStream(const API_SubgroupData& row, std::size_t count);
  void Disuse(std::size_t place, std::size_t count);
  void SplitStreams(const store::DataSet& data);

  std::vector<ChartStream> streams_;
  std::vector<std::uint32_t> order_;
  std::vector<std::uint8_t> used_;
  std::vector<std::uint8_t> anew_;
  std::vector<Phase> phases_;  // one for each stretch that lies in one
  bool are_cut_ = false;
};

// Places where a statistic of finite values is beyond the largest number. It has no value there.
class Overflows {
 public:
  // The value, or NaN when it is infinite.
  double Keep(double value, std::size_t place) {
    if (!std::isinf(value)) return value;
    places_.push_back(place);
    return platform::kNaN;
  }
  bool In(const ChartStream& stream) const;
  void Clear() { places_.clear(); }

 private:
  std::vector<std::size_t> places_;
};

// The subgroups as points, kept stream after stream, each in the order of the data set. All columns
// have one element for each subgroup; a value that does not exist is NaN.
class PointTable : public StreamTable {
 public:
  // status: the states that the selection asked for.
  void Build(const store::DataSet& data, std::int32_t status);
  void Clear();

  // Over the subgroups that count; over all where none does.
  DataShape Shape(const store::DataSet& data) const;

  const std::vector<std::int32_t>& Sizes() const { return sizes_; }

  // Mean and range of the pieces, made by Build; hosts of the table may move them out.
  std::vector<double> means, ranges;
  // Of every column that the table or a host of it makes.
  Overflows overflows;

  std::vector<double> Medians(const store::DataSet& data) const;
  // Needs the means.
  std::vector<double> StandardDeviations(const store::DataSet& data);

 private:
  std::vector<std::int32_t> sizes_;
};

// The readings inside the pieces of every subgroup, for graph 3. Ordered by stream, as
// in the table.
struct WithinPieces {
  std::vector<std::uint32_t> begin;  // of a place in the columns below; one more at the end
  std::vector<std::int32_t> sizes;   // readings of a piece, at least 2
  std::vector<double> statistics;    // range or deviation of a piece; needed for the estimate only
  std::vector<double> points;        // mean over the pieces of a subgroup

  std::span<const std::int32_t> SizesAt(std::size_t place) const {
    return {sizes.data() + begin[place], begin[place + 1] - begin[place]};
  }
};

WithinPieces ReadWithinPieces(const store::DataSet& data, PointTable& table, bool ranges);

// The counts of subgroups of attribute tests, kept stream after stream.
class AttributeTable : public StreamTable {
 public:
  // type_of: TestTypes of a test. status: the states that the selection asked for.
  void Build(const store::DataSet& data, std::int32_t status,
             const std::function<std::int32_t(std::int32_t test)>& type_of);
  void Clear();

  // Over the subgroups that count; over all where none does.
  AttributeShape Shape() const;

  // Units inspected; 0 for not known. Of a test of defects also fractions.
  std::vector<double> sizes;
  // Sum over the rows, and units that are bad. A unit with a number (Tsno above 0) is one bad unit
  // if any of its rows counts something, in a test of defectives as many as its largest row says; a
  // row without a number is as many bad units as it counts. So a named unit with three
  // codes is one defective with three defects, and a bare count of 12 is twelve of either.
  std::vector<double> defects, defectives;

 private:
  bool only_defects_ = true;
};

}  // namespace orvspc::engine::charts
