// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/Items.h"

#include "engine/catalogue/References.h"
#include "engine/sql/counter.h"
#include "engine/sql/texts.h"
#include "engine/write/change/StoredRecord.h"
#include "engine/write/change/events.h"
#include "engine/write/change/stream_settings.h"
#include "engine/write/change/version.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/UndoneNames.h"
#include "engine/write/log/texts.h"
#include "platform/TimeText.h"

namespace orvspc::engine::change {
namespace {

constexpr std::int64_t kMillisecondsOfSecond = 1000;

std::string ObjectOf(ItemKind kind, std::int32_t id) {
  return std::string(WordOf(kind)) + " " + std::to_string(id);
}

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

// Texts of statements about the table of a kind.
template <std::string (*kTextOf)(ItemKind)>
std::string_view TextFor(ItemKind kind) {
  static const auto texts = catalogue::TextsByKind(kTextOf);
  return texts[static_cast<std::size_t>(kind)];
}

std::string FindText(ItemKind kind) {
  return "SELECT id FROM " + catalogue::TableOf(kind) + " WHERE name = ?1";
}
std::string AddText(ItemKind kind) {
  return "INSERT INTO " + catalogue::TableOf(kind) + "(id, name) VALUES(?1, ?2)";
}
std::string RenameText(ItemKind kind) {
  return "UPDATE " + catalogue::TableOf(kind) + " SET name = ?2 WHERE id = ?1";
}

std::optional<std::int32_t> FindNamed(sql::Connection& db, ItemKind kind, std::string_view name) {
  if (!db.Holds(name)) return std::nullopt;
  sql::Query query(db, TextFor<FindText>(kind), name);
  return query.Step() ? std::optional(query.Int(0)) : std::nullopt;
}

// The type that a test had, which has none from here on; 0: it had none, or is no test.
std::int32_t TakeType(sql::Connection& db, ItemKind kind, std::int32_t id) {
  const auto type = kind == ItemKind::Test ? TypeOf(db, id) : 0;
  if (type != 0) SetType(db, id, 0);
  return type;
}

}  // namespace

std::int32_t NeededNamed(sql::Connection& db, ItemKind kind, std::string_view name) {
  if (const auto id = FindNamed(db, kind, name)) return *id;
  const std::string word(WordOf(kind));
  throw Refused("unknown", word, std::string(name), "there is no " + word + " " + Quoted(name));
}

void CheckItemVersion(sql::Connection& db, ItemKind kind, std::int32_t id, std::string_view name,
                      std::optional<std::int64_t> expected) {
  CheckVersion(db, ObjectOf(kind, id), std::string(WordOf(kind)) + " " + Quoted(name), expected);
}

// Of a part, process or test it says which.
void AddItemEvent(log::Writing& writing, ItemKind kind, std::int32_t id) {
  EventOf of;
  if (kind == ItemKind::Part) of.part = id;
  if (kind == ItemKind::Process) of.process = id;
  if (kind == ItemKind::Test) of.test = id;
  AddEvent(writing, etGeneral, of);
}

std::optional<std::int32_t> FindItem(sql::Connection& db, ItemKind kind, std::string_view name) {
  if (const auto id = FindNamed(db, kind, name)) return id;
  if (!db.Holds(name)) return std::nullopt;
  sql::Query alias(db, "SELECT item FROM alias WHERE kind = ?1 AND name = ?2", WordOf(kind), name);
  return alias.Step() ? std::optional(alias.Int(0)) : std::nullopt;
}

std::int32_t TakeItem(log::Writing& writing, ItemKind kind, std::string_view field,
                      const std::string& name) {
  auto& db = writing.Db();
  log::NeedName(field, name);
  if (const auto id = FindItem(db, kind, name)) {
    if (log::IsActive(db, kind, *id) || log::ReviveUndone(writing, kind, *id)) return *id;
    throw Refused("inactive", std::string(field), name,
                  std::string(field) + ": " + InactiveText(db, kind, *id, name));
  }
  const auto id = static_cast<std::int32_t>(sql::TakeIds(db, catalogue::TableOf(kind)));
  sql::Query(db, TextFor<AddText>(kind), id, name).Run();
  return id;
}

void AddAlias(sql::Connection& db, ItemKind kind, std::string_view name, std::int32_t id) {
  if (!sql::IsStorable(name)) return;
  sql::Query(db,
             "INSERT INTO alias(kind, name, item) VALUES(?1, ?2, ?3) ON CONFLICT(kind, name) DO "
             "UPDATE SET item = excluded.item",
             WordOf(kind), name, id)
      .Run();
}

void Rename(log::Writing& writing, ItemKind kind, std::string_view name, std::string_view to,
            std::optional<std::int64_t> expected) {
  auto& db = writing.Db();
  writing.NeedReason();
  log::NeedName("to", to);
  const std::string word(WordOf(kind));
  const auto id = NeededNamed(db, kind, name);
  CheckItemVersion(db, kind, id, name, expected);
  if (FindNamed(db, kind, to)) {
    throw Refused("name", word, std::string(to),
                  "there is a " + word + " " + Quoted(to) + " already; edit merge joins the two");
  }
  MoveStreamSettings(writing, kind, name, to);
  sql::Query(db, TextFor<RenameText>(kind), id, to).Run();
  // A name that it had before is its own again, and no other item's former one.
  sql::Query(db, "DELETE FROM alias WHERE kind = ?1 AND name = ?2", word, to).Run();
  AddAlias(db, kind, name, id);
  writing.Add("rename", ObjectOf(kind, id), log::CanonicalText({{"name", name}}),
              log::CanonicalText({{"name", to}}));
  AddItemEvent(writing, kind, id);
}

void SetActive(log::Writing& writing, ItemKind kind, std::string_view name, bool is_active,
               std::optional<std::int64_t> expected) {
  auto& db = writing.Db();
  writing.NeedReason();
  const std::string word(WordOf(kind));
  const auto id = NeededNamed(db, kind, name);
  CheckItemVersion(db, kind, id, name, expected);
  const bool was_active = log::IsActive(db, kind, id);
  if (was_active == is_active) {
    throw Refused("inactive", word, std::string(name),
                  Quoted(name) + (is_active ? " is active already" : " is deactivated already"));
  }
  log::StoreActive(db, kind, id, is_active);
  writing.Add(is_active ? "activate" : "deactivate", ObjectOf(kind, id),
              log::CanonicalText({{"active", was_active}}),
              log::CanonicalText({{"active", is_active}}));
  AddItemEvent(writing, kind, id);
}

bool DeactivateUndone(log::Writing& writing, ItemKind kind, std::int32_t id, std::int64_t batch) {
  auto& db = writing.Db();
  if (!log::IsActive(db, kind, id)) return false;
  log::StoreActive(db, kind, id, false);
  log::Json before = {{"active", true}};
  if (const auto type = TakeType(db, kind, id)) before["type"] = type;
  writing.Add("deactivate", ObjectOf(kind, id), log::CanonicalText(before),
              log::CanonicalText({{"active", false}, {"undone", batch}}));
  return true;
}

void ForgetType(log::Writing& writing, std::int32_t test) {
  auto& db = writing.Db();
  if (TypeOf(db, test) == 0 || TestHasValues(db, test)) return;
  const auto type = TakeType(db, ItemKind::Test, test);
  writing.Add("type", ObjectOf(ItemKind::Test, test), log::CanonicalText({{"type", type}}),
              log::CanonicalText({{"type", 0}}));
}

std::string InactiveText(sql::Connection& db, ItemKind kind, std::int32_t id,
                         const std::string& name) {
  constexpr std::size_t kDay = 10;  // 2024-02-29
  const auto object = ObjectOf(kind, id);
  sql::Query query(db,
                   "SELECT at FROM log WHERE object = ?1 AND operation = 'deactivate' "
                   "ORDER BY seq DESC LIMIT 1",
                   object);
  auto text = Quoted(name) + " is deactivated";
  if (query.Step()) {
    text += " since " + platform::IsoText(query.Int64(0) / kMillisecondsOfSecond).substr(0, kDay);
  }
  return text;
}

}  // namespace orvspc::engine::change
