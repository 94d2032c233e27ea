// SPDX-License-Identifier: Apache-2.0
#include "engine/write/log/AddedNames.h"

#include "engine/catalogue/References.h"
#include "engine/sql/counter.h"

namespace orvspc::engine::log {
namespace {

constexpr const char* kKey = "names";

std::array<std::int64_t, kItemKinds> LastIds(sql::Connection& db) {
  std::array<std::int64_t, kItemKinds> last{};
  for (std::size_t i = 0; i < last.size(); ++i) {
    last[i] = sql::LastId(db, catalogue::TableOf(static_cast<ItemKind>(i)));
  }
  return last;
}

}  // namespace

AddedNames::AddedNames(sql::Connection& db) : db_(db), before_(LastIds(db)) {}

void AddedNames::AddTo(Json& after) const {
  const auto last = LastIds(db_);
  Json names;
  for (std::size_t i = 0; i < last.size(); ++i) {
    if (last[i] == before_[i]) continue;
    names[std::string(WordOf(static_cast<ItemKind>(i)))] = {before_[i] + 1, last[i]};
  }
  if (!names.is_null()) after[kKey] = std::move(names);
}

bool AddedNames::Holds(const Json& after, ItemKind kind, std::int32_t id) {
  const std::string word(WordOf(kind));
  if (!after.is_object() || !after.contains(kKey) || !after[kKey].contains(word)) return false;
  const auto& ends = after[kKey][word];
  return ends.is_array() && ends.size() == 2 && ends[0] <= id && ends[1] >= id;
}

}  // namespace orvspc::engine::log
