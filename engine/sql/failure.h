// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "engine/sql/Connection.h"

// Failures as hosts see them: a number and a text.
namespace orvspc::engine::sql {

inline constexpr std::int32_t kBadArgument = 5, kOverflow = 6, kOutOfMemory = 7;
// Every refusal of the engine's own.
inline constexpr std::int32_t kRefused = -2147221504;

struct Failure {
  std::int32_t number = 0;
  std::string text;
};

// Of a Begin that has waited so long.
SqlError BusyFor(std::chrono::milliseconds waited);

// Why a database could not be used, in words.
std::string ReasonOf(const SqlError& error);

// The exception being handled. Its text begins with the path of the database, unless it is out of
// memory or names its place already (platform::ExternalFailure).
Failure CurrentFailure(const std::string& path);

// Throws the exception being handled again, as a platform::ExternalFailure.
[[noreturn]] void RethrowAsExternal(const std::string& path, const char* source);

}  // namespace orvspc::engine::sql
