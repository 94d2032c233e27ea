// SPDX-License-Identifier: Apache-2.0
#include "engine/write/log/FormerTypes.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "engine/write/log/Json.h"

namespace orvspc::engine::log {

FormerTypes::FormerTypes(sql::Connection& db) {
  for (sql::Query types(db, "SELECT id, type FROM test"); types.Step();) {
    now_[types.Int(0)] = types.Int(1);
  }
  // "test 3" lies between these two.
  sql::Query query(db,
                   "SELECT seq, operation, object, before, after FROM log "
                   "WHERE object >= 'test ' AND object < 'test!' ORDER BY seq");
  while (query.Step()) {
    const std::string object(query.Text(2));
    std::int32_t test = 0;
    if (std::sscanf(object.c_str(), "test %d", &test) != 1) continue;
    Change change{query.Int64(0), 0, 0};
    if (query.Text(1) == "merge") {
      change.into = ReadJson(query.Text(4)).value("into", 0);
    } else if (query.Text(3).find("\"type\":") != std::string_view::npos) {
      change.type = ReadJson(query.Text(3)).value("type", 0);
    }
    if (change.into != 0 || change.type != 0) changes_[test].push_back(change);
  }
}

std::int32_t FormerTypes::At(std::int32_t test, std::int64_t entry) const {
  for (;;) {
    const auto changes = changes_.find(test);
    if (changes == changes_.end()) return Now(test);
    const auto next = std::ranges::upper_bound(changes->second, entry, {}, &Change::entry);
    if (next == changes->second.end()) return Now(test);
    if (next->into == 0) return next->type;
    test = next->into;
    entry = next->entry;
  }
}

std::int32_t FormerTypes::Now(std::int32_t test) const {
  const auto found = now_.find(test);
  return found == now_.end() ? 0 : found->second;
}

}  // namespace orvspc::engine::log
