// SPDX-License-Identifier: Apache-2.0
#include "engine/store/failures.h"

#include <new>
#include <stdexcept>

#include "engine/store/SqliteStore.h"
#include "platform/ExternalFailure.h"

namespace orvspc::engine {
namespace {

constexpr std::int32_t kFailure = -2147221504;
constexpr std::int32_t kOutOfMemory = 7;

}  // namespace

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

}  // namespace orvspc::engine
