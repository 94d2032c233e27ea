// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/write/log/Log.h"

// The version of whatever can be changed is the number of the latest entry of the log about it.
namespace orvspc::engine::change {

// 0: the log knows nothing of it.
std::int64_t VersionOf(sql::Connection& db, std::string_view object);

// Throws Conflict unless the version is the one expected, or none is. name is what people call it.
void CheckVersion(sql::Connection& db, std::string_view object, const std::string& name,
                  std::optional<std::int64_t> expected);

}  // namespace orvspc::engine::change
