// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/failure.h"

#include <new>
#include <stdexcept>

#include "platform/ExternalFailure.h"

namespace orvspc::engine::sql {

std::string ReasonOf(const SqlError& error) {
  switch (error.Which()) {
    case SqlError::Kind::NotADatabase:
      return "is no database file";
    case SqlError::Kind::Locked:
      return "is locked by another program";
    case SqlError::Kind::ReadOnly:
      return "may not be written to";
    case SqlError::Kind::Damaged:
      return "is damaged: " + std::string(error.what());
    case SqlError::Kind::Full:
      return "there is no room left on the device";
    default:
      return error.what();
  }
}

Failure CurrentFailure(const std::string& path) {
  const auto out_of_memory = [] { return Failure{kOutOfMemory, "Out of memory"}; };
  try {
    throw;
  } catch (const platform::ExternalFailure& failure) {
    return {failure.Number(), failure.Description()};
  } catch (const SqlError& error) {
    if (error.Which() == SqlError::Kind::OutOfMemory) return out_of_memory();
    return {kRefused, path + ": " + ReasonOf(error)};
  } catch (const std::bad_alloc&) {
    return out_of_memory();
  } catch (const std::length_error&) {
    return out_of_memory();
  } catch (const std::exception& error) {
    return {kRefused, path + ": " + error.what()};
  } catch (...) {
    return {kRefused, path + ": unknown failure"};
  }
}

void RethrowAsExternal(const std::string& path, const char* source) {
  auto failure = CurrentFailure(path);
  throw platform::ExternalFailure(failure.number, source, std::move(failure.text));
}

}  // namespace orvspc::engine::sql
