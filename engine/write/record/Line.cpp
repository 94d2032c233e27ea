// SPDX-License-Identifier: Apache-2.0
#include "engine/write/record/Line.h"

#include <stdexcept>

#include "engine/write/log/Canonical.h"
#include "engine/write/log/Json.h"
#include "platform/Actor.h"

namespace orvspc::engine::record {
namespace {

log::Json Beginning(const std::string& key) {
  auto json = log::Json::object();
  if (!key.empty()) json["key"] = key;
  return json;
}

}  // namespace

NewRecord RecordOfLine(std::string_view line, std::string* key) {
  if (line.size() > kMaxLineOfRecord) {
    throw Refused("json", "line", "",
                  "line: is longer than " + std::to_string(kMaxLineOfRecord) + " bytes");
  }
  log::Json json;
  try {
    json = log::ReadJson(line);
  } catch (const std::runtime_error& error) {
    throw Refused("json", "line", std::string(line), std::string("line: ") + error.what());
  }
  std::string own_key;
  if (json.is_object() && json.contains("key")) {
    if (!json["key"].is_string()) throw Refused("json", "key", "", "key: is no text");
    own_key = json["key"].get<std::string>();
    json.erase("key");
  }
  if (key != nullptr) *key = own_key;
  const auto read = log::RecordOf(json);
  if (read.time == 0) {
    throw Refused("time", "time", log::CanonicalText(json["time"]),
                  "time: " + std::string(kNoTimeOfRecord));
  }
  auto record = log::NewRecordOf(read);
  record.key = own_key;
  return record;
}

std::string AnswerOf(const std::string& key, const Recorded& recorded) {
  auto json = Beginning(key);
  json["subgroup"] = recorded.subgroup;
  json["version"] = recorded.version;
  json["repeated"] = recorded.repeated;
  for (const auto& note : recorded.notes) json["notes"].push_back(note.Sentence());
  for (const auto& alarm : recorded.alarms) {
    json["alarms"].push_back({{"id", alarm.event}, {"graph", alarm.graph}, {"text", alarm.text}});
  }
  return log::CanonicalText(json);
}

std::string AnswerOf(const std::string& key, const Refused& refused) {
  auto json = Beginning(key);
  json["error"] = {
      {"code", refused.code}, {"field", refused.field}, {"text", refused.Description()}};
  return log::CanonicalText(json);
}

}  // namespace orvspc::engine::record
