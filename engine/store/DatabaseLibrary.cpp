// SPDX-License-Identifier: Apache-2.0
#include "engine/store/DatabaseLibrary.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <limits>
#include <set>
#include <tuple>
#include <unordered_set>

#include "engine/chunks/large_data.h"
#include "engine/chunks/subgroups.h"
#include "engine/store/alarm_rules.h"
#include "engine/store/conditions.h"
#include "platform/Enumerations.h"
#include "platform/FixedText.h"
#include "system/system.h"

namespace orvspc::engine::store {
namespace {

// What the thread has built and not yet cleared.
struct KeptDataSet {
  std::weak_ptr<Store> store;  // does not keep the database open
  DataSet data;
};
thread_local KeptDataSet kept;

std::vector<std::int32_t> DistinctSubgroups(std::span<const API_SubgroupData> rows) {
  std::vector<std::int32_t> ids;
  ids.reserve(rows.size());
  for (const auto& row : rows) ids.push_back(row.Sgrp);
  SortUnique(ids);
  return ids;
}

std::int32_t Int32(std::size_t count) {
  return static_cast<std::int32_t>(
      std::min<std::size_t>(count, std::numeric_limits<std::int32_t>::max()));
}

// Those of a range of subgroups.
std::vector<API_DescriptorData> ReadDescriptors(sql::Connection& db, std::int32_t first,
                                                std::int32_t last) {
  using Row = API_DescriptorData;
  return sql::Query(db,
                    "SELECT s.subgroup, d.descriptor_group, s.descriptor, s.tsno "
                    "FROM subgroup_descriptor s JOIN descriptor d ON d.id = s.descriptor "
                    "WHERE s.subgroup BETWEEN ?1 AND ?2 ORDER BY s.subgroup",
                    first, last)
      .All<Row>(&Row::Sgrp, &Row::Dsgp, &Row::Desc, &Row::Tsno);
}

// Those of the subgroups, and perhaps of others between them, by subgroup and descriptor. One
// statement serves identifiers that lie close together, as those of one import do.
std::vector<API_DescriptorData> ReadBlock(sql::Connection& db,
                                          std::span<const API_SubgroupData> subgroups) {
  constexpr std::int64_t kCloseTogether = 4;
  std::vector<API_DescriptorData> rows;
  const auto ids = DistinctSubgroups(subgroups);
  const auto width = std::int64_t{ids.back()} - ids.front() + 1;
  if (width <= kCloseTogether * static_cast<std::int64_t>(ids.size())) {
    rows = ReadDescriptors(db, ids.front(), ids.back());
  } else {
    for (const auto id : ids)
      std::ranges::copy(ReadDescriptors(db, id, id), std::back_inserter(rows));
  }
  std::ranges::sort(rows, {}, [](const API_DescriptorData& row) {
    return std::tie(row.Sgrp, row.Dsgp, row.Desc, row.Tsno);
  });
  return rows;
}

// The rows of each subgroup once, oldest subgroup first; at most `room`, of the newest.
std::vector<API_DescriptorData> CollectDescriptors(sql::Connection& db,
                                                   std::span<const API_SubgroupData> subgroups,
                                                   std::size_t room, bool& cut) {
  constexpr std::size_t kBlock = 4096;
  std::vector<API_DescriptorData> newest_first;
  sql::Query any(db, "SELECT 1 FROM subgroup_descriptor LIMIT 1");
  if (!any.Step()) return newest_first;
  std::unordered_set<std::int32_t> seen;
  while (!subgroups.empty()) {
    const auto of_block = subgroups.last(std::min(kBlock, subgroups.size()));
    subgroups = subgroups.first(subgroups.size() - of_block.size());
    const auto block = ReadBlock(db, of_block);
    for (auto i = of_block.size(); i-- > 0;) {
      const auto id = of_block[i].Sgrp;
      const auto first = std::ranges::lower_bound(block, id, {}, &API_DescriptorData::Sgrp);
      const auto last = std::ranges::upper_bound(block, id, {}, &API_DescriptorData::Sgrp);
      if (first == last || !seen.insert(id).second) continue;
      cut = newest_first.size() + static_cast<std::size_t>(last - first) > room;
      if (cut) break;
      newest_first.insert(newest_first.end(), std::make_reverse_iterator(last),
                          std::make_reverse_iterator(first));
    }
    if (cut) break;
  }
  std::reverse(newest_first.begin(), newest_first.end());
  return newest_first;
}

// Which subgroups a comment filter lets through.
struct CommentSubgroups {
  std::int32_t lowest = 0, highest = -1;
  std::optional<std::span<const std::int32_t>> listed;  // ascending

  bool Has(std::int32_t id) const {
    return !listed || std::binary_search(listed->begin(), listed->end(), id);
  }
};

// None when the filter is malformed.
std::optional<CommentSubgroups> ReadCommentFilter(std::span<const std::int32_t> cells) {
  if (cells.size() >= 3 && cells[0] == -1) return CommentSubgroups{cells[1], cells[2], {}};
  if (cells.empty() || cells[0] < 0 || static_cast<std::size_t>(cells[0]) >= cells.size()) {
    return std::nullopt;
  }
  const auto listed = cells.subspan(1, static_cast<std::size_t>(cells[0]));
  if (!std::ranges::is_sorted(listed)) return std::nullopt;
  if (listed.empty()) return CommentSubgroups{0, -1, listed};
  return CommentSubgroups{listed.front(), listed.back(), listed};
}

struct FoundComment {
  std::int32_t subgroup_time;
  API_CommentData row;
};

API_CommentData CommentRow(const sql::Query& query, bool& cut) {
  API_CommentData row{};
  query.Read(row.Sgrp, row.Edtm, row.Test, row.Tsno);
  platform::StoreFixedText(row.Empl, query.Text(4));
  platform::StoreFixedText(row.Note, query.Text(5));
  cut = cut || platform::ToUtf16(query.Text(5)).size() > std::size(row.Note);
  return row;
}

// The times of the subgroups; the comments are in the order of these.
void NoteTimes(sql::Connection& db, std::vector<FoundComment>& found) {
  auto next = found.begin();
  ForEachSubgroup(db, found.front().row.Sgrp, found.back().row.Sgrp, [&](const auto& subgroup) {
    for (; next != found.end() && next->row.Sgrp <= subgroup.id; ++next) {
      next->subgroup_time = subgroup.time;
    }
  });
}

std::vector<StreamIds> StreamsOf(Store& store, API_DSInfo info,
                                 std::span<const std::int32_t> filter) {
  DataSet data;
  if (!store.Select(info, filter, {}, data)) return {};
  std::set<StreamIds> streams;
  for (const auto& each : data.subgroups) streams.insert({each.Part, each.Prcs, each.Test});
  return {streams.begin(), streams.end()};
}

}  // namespace

std::int32_t DatabaseLibrary::VLXDBL_CLEARDATASETDATA() {
  kept = {};
  return 0;
}

std::int32_t DatabaseLibrary::VLXDBL_BUILDDATASETDATA(std::int32_t, std::int32_t Connection,
                                                      API_DSInfo& DSInfo,
                                                      std::span<std::int32_t> DSFilter,
                                                      std::int32_t Content) {
  kept = {};
  return CallWithStore(Connection, [&](const std::shared_ptr<Store>& store) -> std::int32_t {
    if (Content == 0 || (Content & ~kSubgroupsAndTests) != 0) {
      store->Fail(sql::kRefused, "The content mask " + std::to_string(Content) +
                                     " asks for nothing or for what a data set does not have");
      return 0;
    }
    SelectOptions options;
    options.defect_filter_narrows_rows = false;
    if (!store->Select(DSInfo, DSFilter, options, kept.data)) return 0;
    kept.store = store;
    return Int32(kept.data.values.size());
  });
}

std::int32_t DatabaseLibrary::VLXDBL_READDATA_SA(const platform::ArrayRef& Array,
                                                 std::int32_t Content) {
  system::PreferLargePages(Array.data, Array.count * Array.element_size);
  const auto store = kept.store.lock();
  if (store == nullptr) return 0;
  return KeepFailures(store.get(), [&]() -> std::int32_t {
    const auto refuse = [&](std::string_view what) {
      store->Fail(sql::kRefused, "The array for the " + std::string(what) + " is too short");
      return 0;
    };
    if (Content == kSubgroups) {
      const auto out = Array.As<API_SubgroupData>();
      if (out.size() < kept.data.subgroups.size()) return refuse("subgroups");
      std::ranges::copy(kept.data.subgroups, out.begin());
      return Int32(kept.data.subgroups.size());
    }
    if (Content == kTests) {
      const auto out = Array.As<API_TestData>();
      if (out.size() < kept.data.values.size()) return refuse("test rows");
      kept.data.WriteTests(out);
      return Int32(kept.data.values.size());
    }
    return 0;
  });
}

std::int32_t DatabaseLibrary::VLXDBL_GETDESCDATA(std::int32_t, std::int32_t Connection, API_DSInfo&,
                                                 std::span<std::int32_t>,
                                                 const platform::ArrayRef& Subgroups,
                                                 const platform::ArrayRef& Descriptors,
                                                 std::int32_t Code) {
  return CallWithStore(Connection, [&](const std::shared_ptr<Store>& store) -> std::int32_t {
    if (Code != kSubgroups) return 0;
    const auto out = Descriptors.As<API_DescriptorData>();
    bool cut = false;
    std::vector<API_DescriptorData> rows;
    store->ReadOrThrow([&](sql::Connection& db) {
      cut = false;
      rows = CollectDescriptors(db, Subgroups.As<API_SubgroupData>(), out.size(), cut);
    });
    std::ranges::copy(rows, out.begin());
    if (cut) {
      AddNote("descriptors-cut", "There are more descriptors than fit; only those of the newest " +
                                     std::to_string(rows.size()) + " rows are there.");
    }
    return Int32(rows.size());
  });
}

std::int32_t DatabaseLibrary::VLXDBL_DATATOFLTR_SA(const platform::ArrayRef& Subgroups,
                                                   std::int32_t Code,
                                                   std::span<std::int32_t> CommentFilter,
                                                   std::int32_t HighestIndex) {
  return KeepFailures(nullptr, [&]() -> std::int32_t {
    if (Code != kSubgroups || HighestIndex < 0) return 0;
    const auto cells = CommentFilter.first(
        std::min(CommentFilter.size(), static_cast<std::size_t>(HighestIndex) + 1));
    if (cells.empty()) return 0;
    const auto ids = DistinctSubgroups(Subgroups.As<API_SubgroupData>());
    if (ids.size() < cells.size()) {
      cells[0] = Int32(ids.size());
      std::ranges::copy(ids, cells.begin() + 1);
    } else if (cells.size() >= 3) {
      cells[0] = -1;
      cells[1] = ids.front();
      cells[2] = ids.back();
    } else {
      return 0;
    }
    return Int32(ids.size());
  });
}

std::int32_t DatabaseLibrary::VLXDBL_FINDSGRPCMNT(
    std::int32_t, std::int32_t Connection, std::int32_t& StartSubgroup, std::int32_t SubgroupEnd,
    std::span<std::int32_t> CommentFilter, const platform::ArrayRef& Comments, std::int32_t) {
  return CallWithStore(Connection, [&](const std::shared_ptr<Store>& store) -> std::int32_t {
    const auto wanted = ReadCommentFilter(CommentFilter);
    if (!wanted) {
      store->Fail(sql::kRefused, "The comment filter ends inside its list");
      return 0;
    }
    const auto first = std::max(std::int64_t{StartSubgroup} + 1, std::int64_t{wanted->lowest});
    const auto last = SubgroupEnd > 0 ? std::min(SubgroupEnd, wanted->highest) : wanted->highest;
    std::vector<FoundComment> found;
    bool text_cut = false;
    store->ReadOrThrow([&](sql::Connection& db) {
      found.clear();
      text_cut = false;
      sql::Query query(db,
                       "SELECT c.subgroup, c.time, c.test, c.tsno, e.name, c.note FROM comment c "
                       "LEFT JOIN employee e ON e.id = c.employee "
                       "WHERE c.subgroup BETWEEN ?1 AND ?2 ORDER BY c.subgroup, c.time, c.id",
                       first, last);
      while (query.Step()) {
        if (wanted->Has(query.Int(0))) found.push_back({0, CommentRow(query, text_cut)});
      }
      if (found.size() > Comments.count) NoteTimes(db, found);
    });
    const auto out = Comments.As<API_CommentData>();
    if (found.size() > out.size()) {
      std::ranges::stable_sort(found, std::greater(), [](const FoundComment& each) {
        return std::tie(each.subgroup_time, each.row.Sgrp);
      });
      found.resize(out.size());
      std::ranges::stable_sort(found, {}, [](const FoundComment& each) {
        return std::tie(each.row.Sgrp, each.row.Edtm);
      });
      AddNote("comments-cut", "There are more comments than fit; only those of the newest " +
                                  std::to_string(out.size()) + " are there.");
    }
    if (text_cut) AddNote("comment-text-cut", "A comment longer than 128 characters was cut.");
    std::ranges::transform(found, out.begin(), &FoundComment::row);
    return Int32(found.size());
  });
}

std::int32_t DatabaseLibrary::VLXDBL_GETALARMMASK(std::int32_t, std::int32_t Connection,
                                                  API_DSInfo& DSInfo,
                                                  std::span<std::int32_t> DSFilter,
                                                  std::int32_t ChartWord, std::int32_t GraphCount,
                                                  std::span<std::int32_t> AlarmMask) {
  const auto write = [&](const std::array<std::uint32_t, 3>& alarms,
                         std::span<const StoredRule> rules) {
    const auto graphs = std::min<std::size_t>(
        AlarmMask.size(), static_cast<std::size_t>(std::clamp(GraphCount, 0, 3)));
    for (std::size_t i = 0; i < graphs; ++i) {
      AlarmMask[i] = static_cast<std::int32_t>(
          alarms[i] & ApplicableRules(rules, ChartWord, static_cast<std::int32_t>(i + 1)));
    }
    return Int32(graphs);
  };
  return CallWithStore(Connection, [&](const std::shared_ptr<Store>& store) {
    if (const auto* const run = OpenRunOf(Connection)) return write(run->alarms, run->rules);
    std::int32_t written = 0;
    store->InOneState(DSInfo, [&] {
      written = write(AlarmBitsOf(*store, StreamsOf(*store, DSInfo, DSFilter)), store->Rules());
    });
    return written;
  });
}

}  // namespace orvspc::engine::store
