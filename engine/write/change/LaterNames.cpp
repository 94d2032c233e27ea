// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/LaterNames.h"

#include <charconv>

#include "engine/write/change/Items.h"
#include "engine/write/log/Json.h"

namespace orvspc::engine::change {

LaterNames::LaterNames(sql::Connection& db, std::int64_t entry) : db_(db) {
  sql::Query query(db,
                   "SELECT object, before, after, seq FROM log WHERE seq > ?1 "
                   "AND operation IN ('rename', 'merge') ORDER BY seq",
                   entry);
  while (query.Step()) {
    // "part 3"
    const auto object = query.Text(0);
    const auto blank = object.find(' ');
    const auto kind = ItemKindFromWord(object.substr(0, blank));
    if (!kind || blank == object.npos) continue;
    Change change{query.Int64(3), *kind, 0, log::ReadJson(query.Text(1)).value("name", ""),
                  log::ReadJson(query.Text(2)).value("into", 0)};
    std::from_chars(object.data() + blank + 1, object.data() + object.size(), change.id);
    changes_.push_back(std::move(change));
  }
}

std::optional<std::int32_t> LaterNames::Find(ItemKind kind, std::string_view name,
                                             std::int64_t later) const {
  for (std::size_t i = 0; i < changes_.size(); ++i) {
    const auto& change = changes_[i];
    if (change.entry > later && change.kind == kind && change.name == name)
      return Now(kind, change.id, i);
  }
  return FindItem(db_, kind, name);
}

std::int32_t LaterNames::Now(ItemKind kind, std::int32_t id) const { return Now(kind, id, 0); }

std::int32_t LaterNames::Now(ItemKind kind, std::int32_t id, std::size_t from) const {
  for (auto i = from; i < changes_.size(); ++i) {
    const auto& change = changes_[i];
    if (change.kind == kind && change.id == id && change.into != 0) id = change.into;
  }
  return id;
}

}  // namespace orvspc::engine::change
