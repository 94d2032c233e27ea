// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <system_error>

#include "system/system.h"

// What large data sets need: two threads.
namespace orvspc::engine::store {

// Below this many subgroups a second thread costs more than it saves.
inline constexpr std::int64_t kWorthTwoThreads = 100'000;

// With one processor it only costs.
inline bool MayUseTwoThreads() {
  static const bool has_two = system::UsableProcessors() > 1;
  return has_two;
}

// Runs first() on this thread and second() on a new one, or one after the other when the system
// cannot start a thread. Neither runs any more when it returns or throws. Throws what first()
// threw, else what second() threw.
template <class First, class Second>
void RunBoth(First&& first, Second&& second) {
  std::future<void> other;
  try {
    other = std::async(std::launch::async, std::ref(second));
  } catch (const std::system_error&) {
    other = std::async(std::launch::deferred, std::ref(second));
  }
  first();  // what it throws waits for the other thread
  other.get();
}

// work(begin, end) over 0..count, cut in two for two threads when there is enough to do.
template <class Work>
void ForHalves(std::size_t count, Work&& work, std::int64_t worth = kWorthTwoThreads) {
  if (static_cast<std::int64_t>(count) < worth || count < 2 || !MayUseTwoThreads()) {
    work(std::size_t{0}, count);
    return;
  }
  const auto middle = count / 2;
  RunBoth([&] { work(std::size_t{0}, middle); }, [&] { work(middle, count); });
}

}  // namespace orvspc::engine::store
