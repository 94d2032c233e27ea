// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "engine/sql/failure.h"
#include "engine/store/SqlStore.h"
#include "platform/ExternalFailure.h"

// How a host's calls, by the database object and the record objects, use the store.
namespace orvspc::engine::store {

inline constexpr const char* kHostCall = "QualityDatabase";

[[noreturn]] inline void Refuse(const SqlStore& store, const std::string& reason) {
  throw platform::ExternalFailure(sql::kRefused, kHostCall, store.Path() + ": " + reason);
}

// Rethrows every failure as one that hosts can catch.
template <class Work>
auto Guarded(SqlStore& store, Work work) {
  try {
    return work();
  } catch (...) {
    sql::RethrowAsExternal(store.Path(), kHostCall);
  }
}

// What work(store, connection) returns, run inside one read transaction.
template <class Work>
auto Read(platform::Database& database, Work work) {
  const auto store = SqlStoreOf(database);
  return Guarded(*store, [&] {
    decltype(work(*store, std::declval<sql::Connection&>())) result;
    store->ReadOrThrow([&](sql::Connection& db) { result = work(*store, db); });
    return result;
  });
}

}  // namespace orvspc::engine::store
