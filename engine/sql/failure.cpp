// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/failure.h"

#include <new>
#include <stdexcept>

#include "platform/Actor.h"
#include "platform/ExternalFailure.h"

namespace orvspc::engine::sql {

SqlError BusyFor(std::chrono::milliseconds waited) {
  const auto whole = std::chrono::duration_cast<std::chrono::seconds>(waited);
  const auto time = whole == waited ? std::to_string(whole.count()) + " s"
                                    : std::to_string(waited.count()) + " ms";
  return {SqlError::Kind::Busy, "another program has been writing for " + time + "; try again"};
}

std::string ReasonOf(const SqlError& error) {
  static constexpr std::pair<SqlError::Kind, const char*> kReasons[] = {
      {SqlError::Kind::NotADatabase, "is no database file"},
      {SqlError::Kind::Locked, "is locked by another program"},
      {SqlError::Kind::ReadOnly, "may not be written to"},
      {SqlError::Kind::Full, "there is no room left on the device"}};
  for (const auto& [kind, reason] : kReasons)
    if (kind == error.Which()) return reason;
  const std::string text = error.what();
  return error.Which() == SqlError::Kind::Damaged ? "is damaged: " + text : text;
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
  try {
    throw;
  } catch (const Refused&) {
    throw;  // it says more
  } catch (...) {
    // As below.
  }
  auto failure = CurrentFailure(path);
  throw platform::ExternalFailure(failure.number, source, std::move(failure.text));
}

}  // namespace orvspc::engine::sql
