// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "engine/store/Store.h"
#include "platform/SelectionRecord.h"

namespace orvspc::engine::store {

struct FilterBlock {
  bool limited = false;    // false: every item
  bool is_group = false;   // true: the group cell with an item of 0 means the members
  std::int32_t group = 0;  // group cell
  std::vector<std::int32_t> items;
};

// The kinds of items that a selection has a block for, in the order of the filter array, with the
// field that gives the type of the block.
struct FilterKind {
  catalogue::ItemKind kind;
  std::int32_t API_DSInfo::*type;
};
inline constexpr FilterKind kFilterKinds[] = {
    {catalogue::ItemKind::Part, &API_DSInfo::AllPart},
    {catalogue::ItemKind::Process, &API_DSInfo::AllProcess},
    {catalogue::ItemKind::Test, &API_DSInfo::AllTest},
    {catalogue::ItemKind::Job, &API_DSInfo::AllJob},
    {catalogue::ItemKind::Lot, &API_DSInfo::AllLot},
    {catalogue::ItemKind::Shift, &API_DSInfo::AllShift},
    {catalogue::ItemKind::Employee, &API_DSInfo::AllEmployee},
    {catalogue::ItemKind::Defect, &API_DSInfo::AllCode},
};

// The blocks of the flat selection, cut out of the filter array and not yet looked up.
struct FlatFilter {
  std::array<FilterBlock, std::size(kFilterKinds)> blocks;
  std::vector<FilterBlock> others;  // of further descriptors
};

// Throws std::out_of_range with a reason for a person when the blocks pass the end of the array or
// are none of the known forms.
FlatFilter ReadFilter(const API_DSInfo& info, std::span<const std::int32_t> cells);

// The selection of all that streams have in every state between two times, both ends belonging to
// it; 0 in the place of a part, process or test is any. The start time::kNoStamp is open, the end
// time::kNoStamp, too.
struct StreamSelection {
  API_DSInfo info{};
  std::vector<std::int32_t> filter;
};
StreamSelection SelectionOf(const StreamIds& stream, std::int32_t start, std::int32_t end);

// Ascending identifiers; empty optional: every one.
using Identifiers = std::optional<std::vector<std::int32_t>>;

void SortUnique(std::vector<std::int32_t>& ids);

bool Has(const Identifiers& ids, std::int32_t id);

// The wanted items of a kind, for one without a block every one. A group means its present
// members.
Identifiers LookUpItems(sql::Connection& connection, const FlatFilter& filter,
                        catalogue::ItemKind kind);

inline constexpr std::int64_t kNoLimit = INT64_MAX;

// A selection with its groups and descriptors looked up.
struct Conditions {
  std::vector<Stream> streams;   // those that can match, by part, process, test
  std::vector<bool> contexts;    // by identifier; empty: every one
  Identifiers with_descriptors;  // subgroups that have the descriptors asked for
  Identifiers defects;
  bool defects_narrow_rows = true;
  std::int32_t states = 0;  // bits of Status; 0: every one
  std::int32_t item = 0;    // Tsno wanted; 0: every one
  std::int32_t first_subgroup = INT32_MIN, last_subgroup = INT32_MAX;
  std::int64_t limit = kNoLimit;  // newest subgroups
};

// Throws what ReadFilter throws, and SqlError.
Conditions LookUp(sql::Connection& connection, const StoreCache& cache, const API_DSInfo& info,
                  std::span<const std::int32_t> filter, const SelectOptions& options);

// Whether the selection bounds its time at all; a count below 1 and unknown periods and types do
// not.
bool HasTimeBounds(const API_DSInfo& info);

// The time range of a selection; both ends belong to it.
class TimeRange {
 public:
  TimeRange(const API_DSInfo& info, std::int32_t zone_offset);

  // True while the newest matching subgroup must be known before Start is.
  bool NeedsNewest() const { return relative_ && !resolved_; }
  void SetNewest(std::int32_t stamp);

  std::int32_t Start() const { return start_; }
  std::int32_t End() const { return end_; }

  // What goes back into the selection once it has run; newest is that of the result.
  void WriteBack(API_DSInfo& info, std::optional<std::int32_t> newest) const;

 private:
  std::int32_t type_, period_, count_, offset_;
  std::int32_t start_ = INT32_MIN, end_ = INT32_MAX;
  bool relative_ = false, resolved_ = false, bounded_ = false;
};

}  // namespace orvspc::engine::store
