// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "frame/Outside.h"
#include "platform/Database.h"
#include "platform/NameRecord.h"
#include "platform/Object.h"
#include "platform/RuleDef.h"

namespace orvspc {

// The untyped object as a database; no call is made on it. Null fails with 91, an object that is no
// database with 13.
std::shared_ptr<platform::Database> ResolveDatabase(
    const std::shared_ptr<platform::Object>& Database);

// A new list of run rules, loaded from the database; empty when there are none.
std::shared_ptr<platform::RuleDef> ResolveRuleDef(
    const std::shared_ptr<platform::Object>& Database);

// Makes the cache stand on the record of that identifier, reading it once; false when there is no
// such record, which is not remembered. Identifier 0 is none and reads nothing. These have no
// failure handler: what fails belongs to the trail of the caller.
bool ResolveName(platform::NameRecordKind kind, const std::shared_ptr<platform::Database>& database,
                 std::int32_t id, platform::NameRecord& cache);

inline bool ResolvePart(const std::shared_ptr<platform::Database>& Database, std::int32_t ID,
                        platform::NameRecord& Cache) {
  return ResolveName(platform::NameRecordKind::Part, Database, ID, Cache);
}
inline bool ResolveProcess(const std::shared_ptr<platform::Database>& Database, std::int32_t ID,
                           platform::NameRecord& Cache) {
  return ResolveName(platform::NameRecordKind::Process, Database, ID, Cache);
}
inline bool ResolveTest(const std::shared_ptr<platform::Database>& Database, std::int32_t ID,
                        platform::NameRecord& Cache) {
  return ResolveName(platform::NameRecordKind::Test, Database, ID, Cache);
}
inline bool ResolveSmplReq(const std::shared_ptr<platform::Database>& Database, std::int32_t ID,
                           platform::NameRecord& Cache) {
  return ResolveName(platform::NameRecordKind::SmplReq, Database, ID, Cache);
}
inline bool ResolveState(const std::shared_ptr<platform::Database>& Database, std::int32_t ID,
                         platform::NameRecord& Cache) {
  return ResolveName(platform::NameRecordKind::State, Database, ID, Cache);
}

}  // namespace orvspc
