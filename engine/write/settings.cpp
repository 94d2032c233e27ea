// SPDX-License-Identifier: Apache-2.0
#include "engine/write/settings.h"

#include <string>

#include "engine/sql/Connection.h"
#include "engine/sql/counter.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/texts.h"

namespace orvspc::engine::write {

void StoreSetting(log::Writing& writing, std::string_view name, std::string_view value) {
  log::NeedText("name", name);
  log::NeedText("value", value);
  auto& db = writing.Db();
  sql::Query former(db, "SELECT value FROM setting WHERE key = ?1 ORDER BY id DESC LIMIT 1", name);
  log::Json before;
  if (former.Step()) before["value"] = former.Text(0);
  sql::Query(db, "INSERT INTO setting(id, key, value, who, made) VALUES(?1, ?2, ?3, ?4, ?5)",
             sql::TakeIds(db, "setting"), name, value, writing.Who(), writing.Seconds())
      .Run();
  writing.Add("setting", "setting " + std::string(name), log::CanonicalText(before),
              log::CanonicalText({{"value", value}}));
}

}  // namespace orvspc::engine::write
