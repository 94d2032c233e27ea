// SPDX-License-Identifier: Apache-2.0
#include "engine/store/occurrences.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "engine/store/packing.h"

namespace orvspc::engine::store {
namespace {

using catalogue::ItemKind;

// What occurs where: identifiers of one kind beside the subgroup.
struct Occurrence {
  std::int32_t item, subgroup, time;
  friend auto operator<=>(const Occurrence&, const Occurrence&) = default;
};

std::vector<Occurrence> ReadOccurrences(sql::Connection& db, const StoreCache& cache,
                                        ItemKind kind) {
  std::vector<Occurrence> found;
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
  } else if (const auto in_context = PlaceInContext(kind)) {
    sql::Query query(db,
                     "SELECT context, subgroup, time FROM measurement WHERE context IS NOT NULL");
    while (query.Step()) {
      const auto place = cache.PlaceOfContext(query.Int64(0));
      if (!place) RaiseUnknownContext(query.Int64(0), query.Int(1));
      add(cache.contexts[*place][*in_context], query.Int(1), query.Int(2));
    }
  } else {
    const auto* const in_row = std::ranges::find(kRowKinds, kind, &RowKind::kind);
    if (in_row == std::end(kRowKinds)) return found;
    sql::Query query(db, "SELECT subgroup, time, packed FROM measurement");
    while (query.Step()) {
      const auto view = PackedView::Of(query.Blob(2));
      if (!view) {
        throw std::runtime_error("The values of subgroup " + std::to_string(query.Int(0)) +
                                 " are damaged: their checksum does not fit");
      }
      for (std::size_t i = 0; i < view->Count() && !view->IsPlain(); ++i) {
        add(view->Key(i).*in_row->member, query.Int(0), query.Int(1));
      }
    }
  }
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  return found;
}

}  // namespace

std::unordered_map<std::int32_t, Occurrences> CountOccurrences(sql::Connection& db,
                                                               const StoreCache& cache,
                                                               ItemKind kind) {
  std::unordered_map<std::int32_t, Occurrences> counts;
  for (const auto& each : ReadOccurrences(db, cache, kind)) {
    auto& item = counts.try_emplace(each.item, Occurrences{0, each.time, each.time}).first->second;
    item.first = std::min(item.first, each.time);
    item.last = std::max(item.last, each.time);
    ++item.subgroups;
  }
  return counts;
}

}  // namespace orvspc::engine::store
