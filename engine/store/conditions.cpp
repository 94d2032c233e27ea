// SPDX-License-Identifier: Apache-2.0
#include "engine/store/conditions.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>

#include "engine/time/calendar.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::store {

using catalogue::ItemKind;

namespace {

struct Cells {
  std::span<const std::int32_t> cells;
  std::size_t at = 0;

  std::int32_t Next() {
    if (at >= cells.size()) {
      throw std::out_of_range("The filter of the selection ends inside a block, at cell " +
                              std::to_string(at));
    }
    return cells[at++];
  }
  // A count that the rest of the array can hold.
  std::size_t NextCount() {
    const auto place = at;
    const auto count = Next();
    if (count < 0 || static_cast<std::size_t>(count) > cells.size() - at) {
      throw std::out_of_range("The filter of the selection has a count of " +
                              std::to_string(count) + " at cell " + std::to_string(place) +
                              ", more than there are cells");
    }
    return static_cast<std::size_t>(count);
  }
};

FilterBlock ReadBlock(Cells& cells, std::int32_t filter_type) {
  if (filter_type != ftItemList && filter_type != ftGroup && filter_type != ftUnlimited) {
    throw std::out_of_range("The selection has the unknown filter type " +
                            std::to_string(filter_type));
  }
  FilterBlock block;
  block.group = cells.Next();
  if (filter_type == ftUnlimited) {
    cells.Next();
    return block;
  }
  block.items.resize(cells.NextCount());
  for (auto& item : block.items) item = cells.Next();
  block.limited = block.group != 0 || !block.items.empty();
  block.is_group = filter_type == ftGroup;
  return block;
}

// The wanted descriptors by group. A block none of whose descriptors exists asks for what no
// subgroup has; that is the empty list of group 0.
std::map<std::int32_t, std::vector<std::int32_t>> DescriptorsByGroup(
    sql::Connection& db, std::span<const FilterBlock> blocks) {
  std::map<std::int32_t, std::vector<std::int32_t>> groups;
  for (const auto& block : blocks) {
    bool found = false;
    for (const auto item : block.items) {
      sql::Query query(db,
                       "SELECT descriptor_group, id FROM descriptor WHERE id = ?1 "
                       "UNION ALL SELECT descriptor_group, id FROM descriptor "
                       "WHERE ?1 = 0 AND descriptor_group = ?2",
                       item, block.group);
      while (query.Step()) {
        groups[query.Int(0)].push_back(query.Int(1));
        found = true;
      }
    }
    if (!found) groups[0];
  }
  return groups;
}

// Descriptors of one group are alternatives, different groups must all be met.
Identifiers SubgroupsWith(sql::Connection& db, std::span<const FilterBlock> blocks) {
  if (blocks.empty()) return std::nullopt;
  Identifiers result;
  for (auto& [group, descriptors] : DescriptorsByGroup(db, blocks)) {
    SortUnique(descriptors);
    std::vector<std::int32_t> ids;
    for (const auto descriptor : descriptors) {
      sql::Query query(db, "SELECT subgroup FROM subgroup_descriptor WHERE descriptor = ?1",
                       descriptor);
      while (query.Step()) ids.push_back(query.Int(0));
    }
    SortUnique(ids);
    if (!result) {
      result = std::move(ids);
      continue;
    }
    std::vector<std::int32_t> both;
    std::set_intersection(result->begin(), result->end(), ids.begin(), ids.end(),
                          std::back_inserter(both));
    result = std::move(both);
  }
  return result;
}

std::int32_t Saturated(std::int64_t stamp) {
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(stamp, INT32_MIN, INT32_MAX));
}

}  // namespace

FlatFilter ReadFilter(const API_DSInfo& info, std::span<const std::int32_t> cells) {
  Cells reader{cells};
  FlatFilter filter;
  for (std::size_t i = 0; i < filter.blocks.size(); ++i) {
    filter.blocks[i] = ReadBlock(reader, info.*kFilterKinds[i].type);
  }
  if (info.Filter == 0) return filter;
  const auto others = reader.NextCount();
  for (std::size_t i = 0; i < others; ++i) {
    // These blocks carry no filter type: an item list or a group have the same form.
    auto block = ReadBlock(reader, ftItemList);
    if (block.limited) filter.others.push_back(std::move(block));
  }
  return filter;
}

void SortUnique(std::vector<std::int32_t>& ids) {
  std::ranges::sort(ids);
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
}

bool Has(const Identifiers& ids, std::int32_t id) {
  return !ids || std::binary_search(ids->begin(), ids->end(), id);
}

// A group cell without an item means the present members.
Identifiers LookUpItems(sql::Connection& connection, const FlatFilter& filter, ItemKind kind) {
  const auto* const found = std::ranges::find(kFilterKinds, kind, &FilterKind::kind);
  if (found == std::end(kFilterKinds)) return std::nullopt;
  const auto& block = filter.blocks[static_cast<std::size_t>(found - kFilterKinds)];
  if (!block.limited) return std::nullopt;
  std::vector<std::int32_t> ids;
  for (const auto item : block.items) {
    if (!block.is_group || item != 0) ids.push_back(item);
  }
  if (block.is_group && ids.empty()) {
    sql::Query query(
        connection,
        "SELECT m.item FROM item_group g JOIN item_group_member m ON m.item_group = g.id "
        "WHERE g.id = ?1 AND g.kind = ?2",
        block.group, catalogue::WordOf(kind));
    while (query.Step()) ids.push_back(query.Int(0));
  }
  SortUnique(ids);
  return ids;
}

Conditions LookUp(sql::Connection& connection, const StoreCache& cache, const API_DSInfo& info,
                  std::span<const std::int32_t> filter, const SelectOptions& options) {
  const auto flat = ReadFilter(info, filter);
  Conditions result;
  const auto part = LookUpItems(connection, flat, ItemKind::Part);
  const auto process = LookUpItems(connection, flat, ItemKind::Process);
  const auto test = LookUpItems(connection, flat, ItemKind::Test);
  const auto take = [&](std::span<const Stream> streams) {
    for (const auto& stream : streams) {
      const auto is_of = [&](std::int32_t types) {
        return types == 0 || (types & stream.test_type) != 0;
      };
      if (is_of(info.TestType) && is_of(options.test_types) && Has(process, stream.process) &&
          Has(test, stream.test)) {
        result.streams.push_back(stream);
      }
    }
  };
  if (!part) take(cache.streams);
  for (const auto id : part.value_or(std::vector<std::int32_t>())) {
    take({std::ranges::lower_bound(cache.streams, id, {}, &Stream::part),
          std::ranges::upper_bound(cache.streams, id, {}, &Stream::part)});
  }

  for (std::size_t i = 0; i < std::size(kContextKinds); ++i) {
    const auto wanted = LookUpItems(connection, flat, kContextKinds[i].kind);
    if (!wanted) continue;
    result.contexts.resize(cache.contexts.size(), true);
    for (std::size_t context = 0; context < cache.contexts.size(); ++context) {
      if (!Has(wanted, cache.contexts[context][i])) result.contexts[context] = false;
    }
  }
  result.with_descriptors = SubgroupsWith(connection, flat.others);
  result.defects = LookUpItems(connection, flat, ItemKind::Defect);
  result.defects_narrow_rows = options.defect_filter_narrows_rows;
  result.states = info.Status;
  result.item = std::max(info.ItemNo, 0);
  if (info.SubgroupStart > 0) result.first_subgroup = info.SubgroupStart;
  if (info.SubgroupEnd > 0) result.last_subgroup = info.SubgroupEnd;
  if (info.Count > 0) result.limit = info.Count;
  return result;
}

StreamSelection SelectionOf(const StreamIds& stream, std::int32_t start, std::int32_t end) {
  constexpr std::int32_t kEveryState = 7;
  StreamSelection selection;
  auto& info = selection.info;
  info.DECFGID = -1;
  info.TimeType = drttStatic;
  info.TimeStart = start;
  info.TimeEnd = end;
  info.Status = kEveryState;
  const std::pair<catalogue::ItemKind, std::int32_t> wanted[] = {
      {catalogue::ItemKind::Part, stream.part},
      {catalogue::ItemKind::Process, stream.process},
      {catalogue::ItemKind::Test, stream.test}};
  for (const auto& kind : kFilterKinds) {
    info.*kind.type = ftUnlimited;
    std::vector<std::int32_t> block{0, 0};
    for (const auto& [which, id] : wanted) {
      if (which != kind.kind || id == 0) continue;
      info.*kind.type = ftItemList;
      block = {0, 1, id};
    }
    selection.filter.insert(selection.filter.end(), block.begin(), block.end());
  }
  selection.filter.insert(selection.filter.end(), {0, 0});  // no further descriptors
  return selection;
}

bool HasTimeBounds(const API_DSInfo& info) {
  if (info.TimeType == drttStatic) return true;
  const bool is_known = info.TimeType == drttMostRecent || info.TimeType == drttCurrent ||
                        info.TimeType == drttPrevious;
  return is_known && info.TimeCount > 0 && time::StartOfPeriod(0, info.TimePeriod, 0).has_value();
}

TimeRange::TimeRange(const API_DSInfo& info, std::int32_t zone_offset)
    : type_(info.TimeType), period_(info.TimePeriod), count_(info.TimeCount), offset_(zone_offset) {
  if (type_ == drttStatic) {
    start_ = info.TimeStart;
    if (info.TimeEnd != time::kNoStamp) end_ = info.TimeEnd;
    bounded_ = true;
    return;
  }
  const auto now = time::Now();
  const auto start = time::StartOfPeriod(now, period_, offset_);
  bounded_ = start && count_ > 0;
  if (!bounded_) return;
  if (type_ == drttMostRecent) {
    relative_ = true;
  } else if (type_ == drttCurrent) {
    start_ = count_ == 1 ? Saturated(*start)
                         : *time::PeriodsBefore(*start, period_, count_ - 1, offset_);
    end_ = Saturated(now);
  } else if (type_ == drttPrevious) {
    start_ = *time::PeriodsBefore(*start, period_, count_, offset_);
    end_ = Saturated(*start - 1);
  } else {
    bounded_ = false;
  }
}

void TimeRange::SetNewest(std::int32_t stamp) {
  start_ = *time::PeriodsBefore(stamp, period_, count_, offset_);
  end_ = stamp;
  resolved_ = true;
}

void TimeRange::WriteBack(API_DSInfo& info, std::optional<std::int32_t> newest) const {
  if (type_ == drttStatic) return;
  const auto now = Saturated(time::Now());
  info.TimeStart = start_;
  info.TimeEnd = end_;
  if (!bounded_) {
    info.TimeEnd = newest.value_or(now);
  } else if (NeedsNewest()) {
    info.TimeStart = *time::PeriodsBefore(now, period_, count_, offset_);
    info.TimeEnd = now;
  }
}

}  // namespace orvspc::engine::store
