// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/write/change/StoredRecord.h"
#include "engine/write/log/Log.h"

// The version of whatever can be changed is the number of the latest entry of the log about it.
namespace orvspc::engine::change {

// 0: the log knows nothing of it.
std::int64_t VersionOf(sql::Connection& db, std::string_view object);
// Of a record also the entry that stored it, which may be about a batch or several records.
std::int64_t VersionOf(sql::Connection& db, const StoredRecord& record);
// The same, also of one that was deleted.
std::int64_t VersionOf(sql::Connection& db, const StoredSubgroup& subgroup, std::int32_t test);

// Throws Conflict unless the version is the one expected, or none is. name is what people call it.
void CheckVersion(sql::Connection& db, std::int64_t version, const std::string& name,
                  std::optional<std::int64_t> expected);
void CheckVersion(sql::Connection& db, std::string_view object, const std::string& name,
                  std::optional<std::int64_t> expected);
// Of records that are changed together: the version is that of the newest one. None: 0.
void CheckVersion(sql::Connection& db, const std::vector<StoredRecord>& records,
                  const std::string& name, std::optional<std::int64_t> expected);

}  // namespace orvspc::engine::change
