// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "engine/store/SqliteStore.h"

// How the functions of the closed libraries run: nothing leaves them.
namespace orvspc::engine::store {

// Number of a refusal that is the engine's own.
inline constexpr std::int32_t kRefused = -2147221504;

// The body of a call; a failure is kept in the store and gives 0.
template <class Body>
std::int32_t Guarded(const std::shared_ptr<SqliteStore>& store, Body body) noexcept {
  if (store == nullptr) return 0;
  try {
    return body();
  } catch (...) {
    KeepCurrentFailure(*store);
    return 0;
  }
}

// Null with a note when the handle is closed or unknown.
inline std::shared_ptr<SqliteStore> OpenStore(std::int32_t handle) noexcept {
  try {
    auto store = SqliteStoreOf(handle);
    if (store == nullptr) AddNote("database-closed", "The database of this analysis is closed.");
    return store;
  } catch (...) {
    return nullptr;
  }
}

}  // namespace orvspc::engine::store
