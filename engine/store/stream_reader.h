// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/chunks/DataSet.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/sql/Connection.h"
#include "engine/store/StoreCache.h"
#include "engine/store/conditions.h"

namespace orvspc::engine::store {

// Gives every row so far its key.
void MakeKeyed(DataSet& set);

// Reads the subgroups of one stream that meet the conditions of a selection. Constant, so that two
// threads can use it, each with a connection of its own.
class StreamReader {
 public:
  // All three must outlive it; the range may be narrowed between two walks.
  StreamReader(const StoreCache& cache, const Conditions& conditions, const TimeRange& range)
      : cache_(cache),
        conditions_(conditions),
        range_(range),
        takes_all_(conditions.contexts.empty() && !conditions.with_descriptors &&
                   !conditions.defects && conditions.item == 0 &&
                   conditions.first_subgroup == INT32_MIN &&
                   conditions.last_subgroup == INT32_MAX) {}

  // What the range has of the stream, from the oldest or the newest subgroup on.
  StreamWalk Walk(sql::Connection& db, const Stream& stream, bool forward) const {
    return {db, stream.id, forward, range_.Start(), range_.End()};
  }

  // Appends the subgroup if it meets every condition but the time.
  bool Take(const Stream& stream, const RecordView& record, DataSet& out) const;
  // Appends those of the run that meet them, the oldest first.
  void TakeRun(const Stream& stream, const StreamWalk::Run& run, DataSet& out) const;
  // Once the first subgroup is there, which shows how many rows one has.
  void Reserve(DataSet& out) const;

 private:
  bool IsSimple(const StreamWalk::Run& run) const;
  bool TakeRows(const Stream& stream, const RecordView& view, DataSet& out) const;
  bool HasWantedDefect(const RecordView& view) const;
  void AppendSubgroup(const Stream& stream, const RecordView& record, std::size_t context,
                      DataSet& out) const;

  const StoreCache& cache_;
  const Conditions& conditions_;
  const TimeRange& range_;
  bool takes_all_;  // subgroups of the states asked for, with all rows
};

}  // namespace orvspc::engine::store
