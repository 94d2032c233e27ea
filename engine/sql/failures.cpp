// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/failures.h"

#include <new>
#include <stdexcept>

#include "platform/ExternalFailure.h"

namespace orvspc::engine::sql {
namespace {

constexpr std::int32_t kFailure = -2147221504;
constexpr std::int32_t kOutOfMemory = 7;

}  // namespace

std::string ReasonOf(const SqlError& error) {
  switch (error.Code()) {
    case SQLITE_NOTADB:
      return "is no database file";
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return "is locked by another program";
    case SQLITE_READONLY:
      return "may not be written to";
    case SQLITE_CORRUPT:
      return "is damaged: " + std::string(error.what());
    case SQLITE_FULL:
      return "there is no room left on the device";
    default:
      return error.what();
  }
}

void LeaveAsExternalFailure(const std::string& path, const char* source) {
  const auto leave = [&](std::int32_t number, const std::string& reason) {
    throw platform::ExternalFailure(number, source, path + ": " + reason);
  };
  try {
    throw;
  } catch (const platform::ExternalFailure&) {
    throw;
  } catch (const SqlError& error) {
    leave(error.Code() == SQLITE_NOMEM ? kOutOfMemory : kFailure, ReasonOf(error));
  } catch (const std::bad_alloc&) {
    leave(kOutOfMemory, "out of memory");
  } catch (const std::length_error&) {
    leave(kOutOfMemory, "out of memory");
  } catch (const std::exception& error) {
    leave(kFailure, error.what());
  }
  throw;
}

}  // namespace orvspc::engine::sql
