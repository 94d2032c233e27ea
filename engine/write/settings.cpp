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

std::int32_t ChartOptionBefore(sql::Connection& db, const store::OptionRow& option) {
  sql::Query former(db,
                    "SELECT coalesce(max(id), 0) FROM chart_option WHERE coalesce(part, 0) = ?1 "
                    "AND coalesce(process, 0) = ?2 AND coalesce(test, 0) = ?3 AND graph = ?4 "
                    "AND key = ?5",
                    option.part, option.process, option.test, option.graph, option.key);
  return former.Step() ? former.Int(0) : 0;
}

std::int32_t StoreChartOption(log::Writing& writing, const store::OptionRow& option) {
  log::NeedText("value", option.value);
  auto& db = writing.Db();
  log::Json before;
  sql::Query former(db, "SELECT value FROM chart_option WHERE id = ?1",
                    ChartOptionBefore(db, option));
  if (former.Step()) before["value"] = former.Text(0);
  const auto id = static_cast<std::int32_t>(sql::TakeIds(db, "chart_option"));
  sql::Query(db,
             "INSERT INTO chart_option(id, part, process, test, graph, key, value, who, made) "
             "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)",
             id, sql::Reference{option.part}, sql::Reference{option.process},
             sql::Reference{option.test}, option.graph, option.key, option.value, writing.Who(),
             writing.Seconds())
      .Run();
  writing.Add(
      "chart-option", "chart-option " + std::to_string(id), log::CanonicalText(before),
      log::CanonicalText({{"graph", option.graph}, {"key", option.key}, {"value", option.value}}));
  return id;
}

}  // namespace orvspc::engine::write
