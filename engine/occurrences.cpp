// SPDX-License-Identifier: Apache-2.0
#include "engine/occurrences.h"

#include <algorithm>
#include <stdexcept>
#include <unordered_map>

#include "engine/store/packing.h"

namespace orvspc::engine {
namespace {

// The last kind that subgroups name.
constexpr auto kLastOfSubgroups = ItemKind::Serial;

// What occurs where: identifiers of one kind beside the subgroup.
struct Occurrence {
  std::int32_t item, subgroup, time;
  friend auto operator<=>(const Occurrence&, const Occurrence&) = default;
};

std::int32_t OfContext(const store::Context& context, ItemKind kind) {
  switch (kind) {
    case ItemKind::Revision:
      return context.revision;
    case ItemKind::Workstation:
      return context.workstation;
    case ItemKind::Job:
      return context.job;
    case ItemKind::Lot:
      return context.lot;
    case ItemKind::Shift:
      return context.shift;
    case ItemKind::Employee:
      return context.employee;
    default:
      return 0;
  }
}

std::int32_t OfRow(const store::RowKey& key, ItemKind kind) {
  switch (kind) {
    case ItemKind::Gage:
      return key.Gage;
    case ItemKind::Defect:
      return key.Def;
    case ItemKind::Serial:
      return key.Sn;
    default:
      return 0;
  }
}

std::vector<Occurrence> Occurrences(sql::Connection& db, const store::StoreCache& cache,
                                    ItemKind kind) {
  std::vector<Occurrence> found;
  if (kind > kLastOfSubgroups) return found;
  const auto add = [&](std::int32_t item, std::int32_t subgroup, std::int32_t time) {
    const Occurrence next{item, subgroup, time};
    if (item != 0 && (found.empty() || found.back() != next)) found.push_back(next);
  };
  if (kind == ItemKind::Part || kind == ItemKind::Process) {
    sql::Query query(db, "SELECT part, process, id, time FROM subgroup");
    while (query.Step()) {
      add(query.Int(kind == ItemKind::Part ? 0 : 1), query.Int(2), query.Int(3));
    }
  } else if (kind == ItemKind::Test) {
    sql::Query query(db,
                     "SELECT s.test, m.subgroup, m.time FROM stream s "
                     "JOIN measurement m ON m.stream = s.id");
    while (query.Step()) add(query.Int(0), query.Int(1), query.Int(2));
  } else if (OfContext({1, 1, 1, 1, 1, 1}, kind) != 0) {
    sql::Query query(db,
                     "SELECT context, subgroup, time FROM measurement WHERE context IS NOT NULL");
    while (query.Step()) {
      const auto place = cache.PlaceOfContext(query.Int64(0));
      if (!place) store::RaiseUnknownContext(query.Int64(0), query.Int(1));
      add(OfContext(cache.contexts[*place], kind), query.Int(1), query.Int(2));
    }
  } else {
    sql::Query query(db, "SELECT subgroup, time, packed FROM measurement");
    while (query.Step()) {
      const auto view = store::PackedView::Of(query.Blob(2));
      if (!view) {
        throw std::runtime_error("The values of subgroup " + std::to_string(query.Int(0)) +
                                 " are damaged: their checksum does not fit");
      }
      for (std::size_t i = 0; i < view->Count() && !view->IsPlain(); ++i) {
        add(OfRow(view->Key(i), kind), query.Int(0), query.Int(1));
      }
    }
  }
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  return found;
}

}  // namespace

void CountOccurrences(sql::Connection& db, const store::StoreCache& cache, ItemKind kind,
                      std::vector<CountedItem>& items) {
  std::unordered_map<std::int32_t, CountedItem*> by_id;
  for (auto& item : items) by_id.emplace(item.id, &item);
  for (const auto& each : Occurrences(db, cache, kind)) {
    const auto found = by_id.find(each.item);
    if (found == by_id.end()) continue;
    auto& item = *found->second;
    item.first = item.subgroups == 0 ? each.time : std::min(item.first, each.time);
    item.last = item.subgroups == 0 ? each.time : std::max(item.last, each.time);
    ++item.subgroups;
  }
}

}  // namespace orvspc::engine
