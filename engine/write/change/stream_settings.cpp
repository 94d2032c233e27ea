// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/stream_settings.h"

#include <array>
#include <map>
#include <optional>
#include <string>

#include "engine/write/change/Items.h"
#include "engine/write/log/Json.h"

namespace orvspc::engine::change {
namespace {

constexpr std::array kKinds = {ItemKind::Part, ItemKind::Process, ItemKind::Test};
using Names = std::array<std::string_view, kKinds.size()>;

// The names in a text with slashes between them, which names may have, too.
std::optional<Names> NamesIn(sql::Connection& db, std::string_view text) {
  const auto is = [&](std::size_t place, std::string_view name) {
    return FindItem(db, kKinds[place], name).has_value();
  };
  for (auto a = text.find('/'); a != std::string_view::npos; a = text.find('/', a + 1)) {
    if (!is(0, text.substr(0, a))) continue;
    for (auto b = text.find('/', a + 1); b != std::string_view::npos; b = text.find('/', b + 1)) {
      const Names names{text.substr(0, a), text.substr(a + 1, b - a - 1), text.substr(b + 1)};
      if (is(1, names[1]) && is(2, names[2])) return names;
    }
  }
  return std::nullopt;
}

}  // namespace

void MoveStreamSettings(log::Writing& writing, ItemKind kind, std::string_view from,
                        std::string_view to) {
  auto& db = writing.Db();
  std::map<std::string, std::string> settings;
  for (sql::Query query(db, "SELECT key, value FROM setting WHERE key LIKE '%:%' ORDER BY id");
       query.Step();) {
    settings.insert_or_assign(std::string(query.Text(0)), std::string(query.Text(1)));
  }
  for (const auto& [key, value] : settings) {
    const auto colon = key.find(':') + 1;
    const auto names = NamesIn(db, std::string_view(key).substr(colon));
    if (!names) continue;
    std::string moved = key.substr(0, colon);
    for (std::size_t place = 0; place < kKinds.size(); ++place) {
      const bool is_it = kKinds[place] == kind && (*names)[place] == from;
      moved.append(place == 0 ? "" : "/").append(is_it ? to : (*names)[place]);
    }
    if (moved == key) continue;
    const auto before = log::CanonicalText({{"value", value}});
    if (settings.contains(moved)) {
      sql::Query(db, "DELETE FROM setting WHERE key = ?1", key).Run();
      writing.Add("setting", "setting " + key, before, {});
      continue;
    }
    sql::Query(db, "UPDATE setting SET key = ?2 WHERE key = ?1", key, moved).Run();
    writing.Add("setting", "setting " + key, before, log::CanonicalText({{"key", moved}}));
    writing.Add("setting", "setting " + moved, {}, before);
  }
}

}  // namespace orvspc::engine::change
