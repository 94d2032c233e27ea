// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "engine/sql/sqlite.h"

namespace orvspc::engine::sql {

// Why the file could not be used, in words.
std::string ReasonOf(const SqlError& error);

// Lets the exception being handled leave as platform::ExternalFailure with the file and the reason;
// one that is such a failure already leaves as it is.
[[noreturn]] void LeaveAsExternalFailure(const std::string& path, const char* source);

}  // namespace orvspc::engine::sql
