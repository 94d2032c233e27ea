// SPDX-License-Identifier: Apache-2.0
#include "engine/limits/Phases.h"

#include <optional>

#include "engine/log/Json.h"
#include "engine/sql/counter.h"
#include "platform/Actor.h"
#include "platform/TimeText.h"

namespace orvspc::engine::limits {
namespace {

log::Json EndJson(std::optional<std::int32_t> finish) {
  return {{"end", finish ? log::Json(platform::IsoText(*finish)) : log::Json()}};
}

}  // namespace

void BeginPhase(log::Writing& writing, const store::StreamIds& stream, std::int32_t start,
                const std::string& name) {
  auto& db = writing.Db();
  std::optional<std::int32_t> finish;
  struct Row {
    std::int32_t id = 0, start = 0;
    std::optional<std::int32_t> finish;
    std::string name;
  };
  const auto rows =
      sql::Query(db,
                 "SELECT id, start, finish, name FROM phase WHERE coalesce(part, ?1) = ?1 "
                 "AND coalesce(process, ?2) = ?2 AND coalesce(test, ?3) = ?3 ORDER BY start, id",
                 stream.part, stream.process, stream.test)
          .All<Row>(&Row::id, &Row::start, &Row::finish, &Row::name);
  for (const auto& row : rows) {
    if (row.start == start) {
      throw Refused("overlap", "phase", name,
                    "phase: overlaps \"" + row.name + "\" (" + platform::IsoText(row.start) +
                        " to " + (row.finish ? platform::IsoText(*row.finish) : "now") + ")");
    }
    if (row.start > start) {
      if (!finish) finish = row.start;
      continue;
    }
    if (row.finish && *row.finish <= start) continue;
    sql::Query(db, "UPDATE phase SET finish = ?2 WHERE id = ?1", row.id, start).Run();
    writing.Add("phase", "phase " + std::to_string(row.id), log::CanonicalText(EndJson(row.finish)),
                log::CanonicalText(EndJson(start)));
  }
  const auto id = sql::TakeIds(db, "phase");
  sql::Query(db,
             "INSERT INTO phase(id, part, process, test, start, finish, name, reason, kind, "
             "freeze_after, who, made) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, 'stage', 0, ?9, ?10)",
             id, stream.part, stream.process, stream.test, start, finish, name, writing.Reason(),
             writing.Who(), writing.Seconds())
      .Run();
  log::Json after = {{"name", name}, {"kind", "stage"}, {"start", platform::IsoText(start)}};
  if (finish) after["end"] = platform::IsoText(*finish);
  writing.Add("phase", "phase " + std::to_string(id), {}, log::CanonicalText(after));
}

}  // namespace orvspc::engine::limits
