// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/catalogue/References.h"
#include "engine/sql/Connection.h"

namespace orvspc::engine::change {

// What items of the time of an entry are now, by the renamings and merges after it.
class LaterNames {
 public:
  // entry 0: what merged items have become.
  LaterNames(sql::Connection& db, std::int64_t entry);

  // The item that was called so at that time, or at that of a later entry; empty: none that is
  // known.
  std::optional<std::int32_t> Find(ItemKind kind, std::string_view name,
                                   std::int64_t later = 0) const;
  // What the item is now that had this identifier.
  std::int32_t Now(ItemKind kind, std::int32_t id) const;

 private:
  struct Change {
    std::int64_t entry = 0;
    ItemKind kind;
    std::int32_t id = 0;
    std::string name;       // before
    std::int32_t into = 0;  // of a merge
  };
  std::int32_t Now(ItemKind kind, std::int32_t id, std::size_t from) const;

  sql::Connection& db_;
  std::vector<Change> changes_;
};

}  // namespace orvspc::engine::change
