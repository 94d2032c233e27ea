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

// Moves the cache to the record of that identifier.
//
// - Each record is read once; one that does not exist is not remembered and gives false.
//
// - Identifier 0 is none: false, without a read.
//
// - Without a failure handler: a failure belongs to the trail of the caller.
struct NameResolver {
  platform::NameRecordKind kind;

  bool operator()(const std::shared_ptr<platform::Database>& Database, std::int32_t ID,
                  platform::NameRecord& Cache) const;
};

inline constexpr NameResolver ResolvePart{platform::NameRecordKind::Part};
inline constexpr NameResolver ResolveProcess{platform::NameRecordKind::Process};
inline constexpr NameResolver ResolveTest{platform::NameRecordKind::Test};
inline constexpr NameResolver ResolveSmplReq{platform::NameRecordKind::SmplReq};
inline constexpr NameResolver ResolveState{platform::NameRecordKind::State};

}  // namespace orvspc
