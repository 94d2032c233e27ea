// SPDX-License-Identifier: Apache-2.0
#include "engine/chunks/subgroups.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <span>
#include <stdexcept>
#include <tuple>

#include "engine/chunks/StreamWalk.h"

namespace orvspc::engine::store {

void SubgroupList::Add(const SubgroupFacts& subgroup) {
  subgroups_.push_back(subgroup);
  labels_ += subgroup.label;
}

std::span<const SubgroupFacts> SubgroupList::Subgroups() {
  std::size_t at = 0;
  for (auto& each : subgroups_) {
    each.label = std::string_view(labels_).substr(at, each.label.size());
    at += each.label.size();
  }
  return subgroups_;
}

void SubgroupList::Clear() {
  subgroups_.clear();
  labels_.clear();
}

void ForEachSubgroup(sql::Connection& db, std::int32_t first, std::int32_t last,
                     const std::function<void(const SubgroupFacts&)>& visit) {
  if (first > last || last < 1) return;
  first = std::max(first, 1);
  sql::Query blocks(db,
                    "SELECT block, packed FROM subgroup_block WHERE block BETWEEN ?1 AND ?2 "
                    "ORDER BY block",
                    BlockOf(first), BlockOf(last));
  sql::Query hot(db,
                 "SELECT id, part, process, time, label FROM subgroup "
                 "WHERE id BETWEEN ?1 AND ?2 ORDER BY id",
                 first, last);
  // Both come in the order of their identifiers; rows of a sealed block repeat what is in it.
  bool is_hot = hot.Step();
  const auto visit_hot = [&](std::int64_t end) {
    for (; is_hot && hot.Int64(0) < end; is_hot = hot.Step()) {
      visit({hot.Int(0), hot.Int(1), hot.Int(2), hot.Int(3), hot.Text(4)});
    }
  };
  while (blocks.Step()) {
    const auto start = blocks.Int64(0) * kBlockSize;
    visit_hot(start);
    const bool is_whole = UnpackBlock(blocks.Blob(1), blocks.Int(0), [&](const auto& subgroup) {
      if (subgroup.id >= first && subgroup.id <= last) visit(subgroup);
    });
    if (!is_whole) {
      throw std::runtime_error("The names of the subgroups from " + std::to_string(start) +
                               " on are damaged: their checksum does not fit");
    }
    while (is_hot && hot.Int64(0) < start + kBlockSize) is_hot = hot.Step();
  }
  visit_hot(std::int64_t{last} + 1);
}

std::vector<std::pair<std::int32_t, std::string>> ReadLabels(sql::Connection& db,
                                                             std::int32_t first,
                                                             std::int32_t last) {
  std::vector<std::pair<std::int32_t, std::string>> labels;
  ForEachSubgroup(db, first, last,
                  [&](const SubgroupFacts& each) { labels.emplace_back(each.id, each.label); });
  return labels;
}

void ForEachSubgroup(sql::Connection& db, std::span<const std::int32_t> ids,
                     const std::function<void(const SubgroupFacts&)>& visit) {
  while (!ids.empty()) {
    // As far as no block is left out.
    std::size_t end = 1;
    while (end < ids.size() && BlockOf(ids[end]) <= BlockOf(ids[end - 1]) + 1) ++end;
    const auto near = ids.first(end);
    ids = ids.subspan(end);
    ForEachSubgroup(db, near.front(), near.back(), [&](const SubgroupFacts& each) {
      if (std::ranges::binary_search(near, each.id)) visit(each);
    });
  }
}

std::vector<std::pair<std::int32_t, std::string>> ReadLabels(sql::Connection& db,
                                                             std::span<const std::int32_t> ids) {
  std::vector<std::pair<std::int32_t, std::string>> labels;
  ForEachSubgroup(db, ids,
                  [&](const SubgroupFacts& each) { labels.emplace_back(each.id, each.label); });
  return labels;
}

std::vector<std::int32_t> MeasuredAt(sql::Connection& db, std::span<const SubgroupFacts> places,
                                     SealedEnds* ends) {
  struct Place {
    std::int32_t part, process, time;
    auto operator<=>(const Place&) const = default;
  };
  std::vector<Place> sorted;
  for (const auto& each : places) sorted.push_back({each.part, each.process, each.time});
  std::ranges::sort(sorted);
  sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
  std::vector<std::int32_t> measured, times;
  for (auto from = sorted.begin(); from != sorted.end();) {
    const auto of = *from;
    times.clear();
    for (; from != sorted.end() && from->part == of.part && from->process == of.process; ++from) {
      times.push_back(from->time);
    }
    std::vector<std::int64_t> streams;
    for (sql::Query query(db, "SELECT id FROM stream WHERE part = ?1 AND process = ?2", of.part,
                          of.process);
         query.Step();) {
      streams.push_back(query.Int64(0));
    }
    for (const auto stream : streams) {
      const auto found = SubgroupsAt(db, stream, times, ends);
      measured.insert(measured.end(), found.begin(), found.end());
    }
  }
  std::ranges::sort(measured);
  measured.erase(std::unique(measured.begin(), measured.end()), measured.end());
  return measured;
}

std::vector<std::int32_t> FindSubgroups(sql::Connection& db,
                                        std::span<const SubgroupFacts> subgroups,
                                        SealedEnds* ends) {
  std::vector<std::int32_t> ids(subgroups.size());
  if (subgroups.empty()) return ids;
  std::vector<std::size_t> order(subgroups.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  const auto key_of = [&](std::size_t place) {
    const auto& each = subgroups[place];
    return std::tuple(each.part, each.process, each.time);
  };
  std::ranges::sort(order, {}, key_of);
  const auto compare = [&](const SubgroupFacts& stored) {
    const std::tuple key(stored.part, stored.process, stored.time);
    auto place = std::ranges::lower_bound(order, key, {}, key_of);
    for (; place != order.end() && key_of(*place) == key; ++place) {
      if (subgroups[*place].label == stored.label) ids[*place] = stored.id;
    }
  };

  const auto [first, last] = std::ranges::minmax(subgroups, {}, &SubgroupFacts::time);
  for (sql::Query hot(db,
                      "SELECT id, part, process, time, label FROM subgroup "
                      "WHERE time BETWEEN ?1 AND ?2",
                      first.time, last.time);
       hot.Step();) {
    compare({hot.Int(0), hot.Int(1), hot.Int(2), hot.Int(3), hot.Text(4)});
  }

  // One of which may have the label.
  const auto candidates = MeasuredAt(db, subgroups, ends);
  std::size_t found = 0;
  ForEachSubgroup(db, candidates, [&](const SubgroupFacts& stored) {
    ++found;
    compare(stored);
  });
  // Else it would be stored a second time.
  if (found != candidates.size()) {
    throw std::runtime_error("The names of " + std::to_string(candidates.size() - found) +
                             " subgroups that have values are missing");
  }
  return ids;
}

std::vector<std::int32_t> SealedWithRows(sql::Connection& db) {
  std::vector<std::int32_t> ids;
  for (sql::Query query(db,
                        "SELECT id FROM subgroup WHERE EXISTS "
                        "(SELECT 1 FROM subgroup_block WHERE block = id / 256) ORDER BY id");
       query.Step();) {
    ids.push_back(query.Int(0));
  }
  return ids;
}

std::vector<std::int32_t> HotWithoutMeasurements(sql::Connection& db, std::int64_t end) {
  // Those with a hot measurement are known by one statement.
  std::vector<SubgroupFacts> others;
  for (sql::Query query(db,
                        "SELECT g.id, g.part, g.process, g.time FROM subgroup g WHERE g.id < ?1 "
                        "AND NOT EXISTS (SELECT 1 FROM subgroup_block WHERE block = g.id / 256) "
                        "AND NOT EXISTS (SELECT 1 FROM stream s CROSS JOIN measurement m "
                        "WHERE s.part = g.part AND s.process = g.process AND m.stream = s.id "
                        "AND m.time = g.time AND m.subgroup = g.id) ORDER BY g.id",
                        end);
       query.Step();) {
    others.push_back({query.Int(0), query.Int(1), query.Int(2), query.Int(3), {}});
  }
  std::vector<std::int32_t> measured, ids;
  try {
    measured = MeasuredAt(db, others);
  } catch (const sql::SqlError&) {
    throw;
  } catch (const std::runtime_error&) {
    // Beside a damaged chunk it is not known of any. A row that is not needed does no harm.
  }
  for (const auto& each : others) {
    if (!std::ranges::binary_search(measured, each.id)) ids.push_back(each.id);
  }
  return ids;
}

}  // namespace orvspc::engine::store
