// SPDX-License-Identifier: Apache-2.0
#include "engine/write/log/UndoneNames.h"

#include <string>
#include <string_view>

#include "engine/catalogue/References.h"
#include "engine/write/log/Json.h"

namespace orvspc::engine::log {
namespace {

std::string ObjectOf(ItemKind kind, std::int32_t id) {
  return std::string(WordOf(kind)) + " " + std::to_string(id);
}

}  // namespace

bool IsActive(sql::Connection& db, ItemKind kind, std::int32_t id) {
  static const auto texts = catalogue::TextsByKind([](ItemKind each) {
    return "SELECT active FROM " + catalogue::TableOf(each) + " WHERE id = ?1";
  });
  sql::Query query(db, texts[static_cast<std::size_t>(kind)], id);
  return query.Step() && query.Int(0) != 0;
}

void StoreActive(sql::Connection& db, ItemKind kind, std::int32_t id, bool is_active) {
  static const auto texts = catalogue::TextsByKind([](ItemKind each) {
    return "UPDATE " + catalogue::TableOf(each) + " SET active = ?2 WHERE id = ?1";
  });
  sql::Query(db, texts[static_cast<std::size_t>(kind)], id, is_active).Run();
}

bool WasUndone(sql::Connection& db, ItemKind kind, std::int32_t id) {
  const auto object = ObjectOf(kind, id);
  sql::Query latest(db, "SELECT after FROM log WHERE object = ?1 ORDER BY seq DESC LIMIT 1",
                    object);
  return latest.Step() && latest.Text(0).find("\"undone\":") != std::string_view::npos;
}

bool ReviveUndone(sql::Connection& db, ItemKind kind, std::int32_t id) {
  if (IsActive(db, kind, id) || !WasUndone(db, kind, id)) return false;
  StoreActive(db, kind, id, true);
  return true;
}

bool ReviveUndone(Writing& writing, ItemKind kind, std::int32_t id) {
  const bool was_undone = ReviveUndone(writing.Db(), kind, id);
  if (was_undone) AddActivate(writing, kind, id);
  return was_undone;
}

void AddActivate(Writing& writing, ItemKind kind, std::int32_t id) {
  writing.Add("activate", ObjectOf(kind, id), CanonicalText({{"active", false}}),
              CanonicalText({{"active", true}}));
}

}  // namespace orvspc::engine::log
