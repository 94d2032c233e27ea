// SPDX-License-Identifier: Apache-2.0
#include "engine/schema/schema.h"

#include <string>

namespace orvspc::engine::schema {

void BringForward(sql::Connection& connection, std::int32_t version) {
  for (const auto& step : Versions().subspan(static_cast<std::size_t>(version))) {
    connection.Define(std::string(step.text));
  }
  if (version < kFirstWithLog) connection.KeepAppendOnly("log", "seq", true);
  connection.SetMark(kApplicationId, kSchemaVersion);
}

}  // namespace orvspc::engine::schema
