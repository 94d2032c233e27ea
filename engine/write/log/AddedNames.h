// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

#include "engine/sql/Connection.h"
#include "engine/write/log/Json.h"
#include "platform/ItemKind.h"

namespace orvspc::engine::log {

// The names that a batch brought, as its entry keeps them: of each kind the first and the last
// identifier, since those of one transaction follow one another.
class AddedNames {
 public:
  // What comes from here on counts. Inside a write transaction.
  explicit AddedNames(sql::Connection& db);
  // To what the entry says after it: "names": {"part": [3, 3], "lot": [7, 9]}; nothing where none
  // has come.
  void AddTo(Json& after) const;

  // Whether an entry says so of its batch.
  static bool Holds(const Json& after, ItemKind kind, std::int32_t id);

 private:
  sql::Connection& db_;
  std::array<std::int64_t, kItemKinds> before_{};
};

}  // namespace orvspc::engine::log
