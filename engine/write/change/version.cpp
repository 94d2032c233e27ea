// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/version.h"

#include "platform/TimeText.h"

namespace orvspc::engine::change {

std::int64_t VersionOf(sql::Connection& db, std::string_view object) {
  return sql::Query(db, "SELECT max(seq) FROM log WHERE object = ?1", object)
      .RunForInt()
      .value_or(0);
}

void CheckVersion(sql::Connection& db, std::string_view object, const std::string& name,
                  std::optional<std::int64_t> expected) {
  constexpr std::int64_t kMillisecondsOfSecond = 1000;
  if (!expected) return;
  const auto version = VersionOf(db, object);
  if (version == *expected) return;
  sql::Query latest(db, "SELECT who, at FROM log WHERE seq = ?1", version);
  std::string text = name + " was changed";
  if (latest.Step()) {
    text += " by " + std::string(latest.Text(0)) + " at " +
            platform::IsoText(latest.Int64(1) / kMillisecondsOfSecond);
  }
  throw Conflict("expect", std::to_string(*expected),
                 text + " (version " + std::to_string(version) + ", you saw " +
                     std::to_string(*expected) + ")");
}

}  // namespace orvspc::engine::change
