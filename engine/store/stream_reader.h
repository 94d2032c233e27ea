// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/sql/Connection.h"
#include "engine/store/DataSet.h"
#include "engine/store/StoreCache.h"
#include "engine/store/StreamWalk.h"
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
      : cache_(cache), conditions_(conditions), range_(range) {}

  // Walks the stream from its oldest or its newest subgroup on. visit(record) returns false
  // to stop.
  template <class Visit>
  void Walk(sql::Connection& db, const Stream& stream, bool forward, Visit visit) const {
    WalkBetween(db, stream, forward, range_.Start(), range_.End(), visit);
  }
  // Both ends belong to it.
  template <class Visit>
  void WalkBetween(sql::Connection& db, const Stream& stream, bool forward, std::int32_t start,
                   std::int32_t end, Visit visit) const;

  // Appends the subgroup if it meets every condition but the time.
  bool Take(const Stream& stream, const RecordView& record, DataSet& out) const;
  // Once the first subgroup is there, which shows how many rows one has.
  void Reserve(DataSet& out) const;

 private:
  bool TakeRows(const Stream& stream, const RecordView& view, DataSet& out) const;
  bool HasWantedDefect(const RecordView& view) const;
  void AppendSubgroup(const Stream& stream, const RecordView& record, std::size_t context,
                      DataSet& out) const;

  const StoreCache& cache_;
  const Conditions& conditions_;
  const TimeRange& range_;
};

template <class Visit>
void StreamReader::WalkBetween(sql::Connection& db, const Stream& stream, bool forward,
                               std::int32_t start, std::int32_t end, Visit visit) const {
  StreamWalk(db, stream.id, forward, start, end).ForEach(visit);
}

}  // namespace orvspc::engine::store
