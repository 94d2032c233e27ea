// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "engine/store/parallel.h"
#include "engine/store/second_reader.h"

namespace orvspc::engine::store {

// When the selections of a store are read by two threads.
struct SharedReading {
  std::atomic<std::int64_t> from = kWorthTwoThreads;  // subgroups from which on they may be
  std::atomic<std::size_t> count = 0;                 // selections that were
  std::unique_ptr<SecondReader> second;               // opened for the first large one
};

// The offer of a second thread to one selection.
struct TwoThreads {
  SecondReader* second = nullptr;        // null: there is none
  std::int64_t from = kWorthTwoThreads;  // an eighth of this many subgroups is read alone
  bool used = false;                     // set when it was
};

}  // namespace orvspc::engine::store
