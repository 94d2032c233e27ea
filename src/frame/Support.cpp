// SPDX-License-Identifier: Apache-2.0
#include "frame/Support.h"

#include "frame/Failure.h"
#include "frame/Trail.h"

namespace orvspc {

std::shared_ptr<platform::Database> ResolveDatabase(
    const std::shared_ptr<platform::Object>& Database) {
  return Traced("Support.ResolveDatabase", [&] {
    if (!Database) FailMissingObject();
    auto database = std::dynamic_pointer_cast<platform::Database>(Database);
    if (!database) FailTypeMismatch();
    return database;
  });
}

std::shared_ptr<platform::RuleDef> ResolveRuleDef(
    const std::shared_ptr<platform::Object>& Database) {
  return Traced("Support.ResolveRuleDef", [&] {
    auto rules = PlatformInForce()->MakeRuleDef();
    Needed(rules).FirstSetting(100);
    rules->SecondSetting(256);
    rules->Read(ResolveDatabase(Database), 0);
    return rules;
  });
}

bool NameResolver::operator()(const std::shared_ptr<platform::Database>& Database, std::int32_t ID,
                              platform::NameRecord& Cache) const {
  if (ID == 0) return false;
  for (bool found = Cache.MoveFirst(); found; found = Cache.MoveNext())
    if (Cache.ID() == ID) return true;
  const auto record = PlatformInForce()->MakeNameRecord(kind);
  Needed(record).ID(ID);
  record->KeyMode(1);
  // Deliberate: an identifier without a record is not remembered; the next call reads again.
  if (!record->Read(Database, 0)) return false;
  Cache.Add(*record);
  return true;
}

}  // namespace orvspc
