// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "engine/sql/failure.h"
#include "engine/store/Store.h"

// The functions of the closed libraries: no exception leaves them, and a failure returns 0.
namespace orvspc::engine::store {

// Runs the body; an exception is kept in the store, if there is one, and gives 0.
template <class Body>
std::int32_t KeepFailures(Store* store, Body body) noexcept {
  try {
    return body();
  } catch (...) {
    if (store != nullptr) store->KeepCurrentFailure();
    return 0;
  }
}

// Runs body(store) for the open database of a connection handle. A handle that is closed or
// unknown gives 0 and a note.
template <class Body>
std::int32_t CallWithStore(std::int32_t handle, Body body) noexcept {
  std::shared_ptr<Store> store;
  return KeepFailures(nullptr, [&]() -> std::int32_t {
    store = StoreOf(handle);
    const NotesBelongTo owner(store == nullptr ? kNoDatabase : handle);
    if (store == nullptr) {
      AddNote("database-closed", "The database of this analysis is closed.");
      return 0;
    }
    return KeepFailures(store.get(), [&]() -> std::int32_t { return body(store); });
  });
}

}  // namespace orvspc::engine::store
