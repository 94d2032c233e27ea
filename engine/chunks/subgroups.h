// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroup_block.h"
#include "engine/sql/Connection.h"

// The subgroups themselves: what a person calls them, and of what they are. Hot ones are rows of
// the table subgroup; once many have come, all whose identifiers differ in the lowest eight bits
// only are sealed together in a row of subgroup_block. One without measurements, since they were
// deleted or an older release left it so, keeps its row in subgroup when it is sealed, so that it
// is found by that.
namespace orvspc::engine::store {

// Subgroups with copies of their labels.
class SubgroupList {
 public:
  void Add(const SubgroupFacts& subgroup);
  bool IsEmpty() const { return subgroups_.empty(); }
  std::int32_t LastId() const { return subgroups_.back().id; }
  // Until the next Add.
  std::span<const SubgroupFacts> Subgroups();
  void Clear();

 private:
  std::vector<SubgroupFacts> subgroups_;
  std::string labels_;  // concatenated
};

// Calls visit for the subgroups with identifiers from first to last, in their order. Labels live
// until visit returns. Inside a transaction. Throws SqlError, and std::runtime_error when a block
// is damaged.
void ForEachSubgroup(sql::Connection& db, std::int32_t first, std::int32_t last,
                     const std::function<void(const SubgroupFacts&)>& visit);

// The labels of these, in their order.
std::vector<std::pair<std::int32_t, std::string>> ReadLabels(sql::Connection& db,
                                                             std::int32_t first, std::int32_t last);

// The same of those with these identifiers, which ascend.
std::vector<std::pair<std::int32_t, std::string>> ReadLabels(sql::Connection& db,
                                                             std::span<const std::int32_t> ids);

// Calls visit for those with these identifiers, which ascend.
void ForEachSubgroup(sql::Connection& db, std::span<const std::int32_t> ids,
                     const std::function<void(const SubgroupFacts&)>& visit);

// Looks subgroups up by part, process, time and label: their identifiers in the order asked for, 0
// where one is not stored.
//   - A sealed one is found by its measurements: one chunk is read for each that has one of the
//     times, none of those between.
//   - A hot one, and a sealed one without measurements, is found by its row.
std::vector<std::int32_t> FindSubgroups(sql::Connection& db,
                                        std::span<const SubgroupFacts> subgroups,
                                        SealedEnds* ends = nullptr);

// The identifiers of all subgroups with measurements that have the part, process and time of one of
// these, in their order. Reads as FindSubgroups does.
std::vector<std::int32_t> MeasuredAt(sql::Connection& db, std::span<const SubgroupFacts> places,
                                     SealedEnds* ends = nullptr);

// The identifiers of those that keep their rows, in their order.
std::vector<std::int32_t> SealedWithRows(sql::Connection& db);

// The hot ones with identifiers below `end` that have no measurement, or it is not known in a
// damaged chunk, by identifier.
std::vector<std::int32_t> HotWithoutMeasurements(sql::Connection& db, std::int64_t end);

}  // namespace orvspc::engine::store
