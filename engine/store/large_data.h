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

// From how many subgroups on a second thread saves more than it costs; never with one processor.
inline std::int64_t WorthTwoThreads() {
  static const bool is_alone = system::UsableProcessors() < 2;
  return is_alone ? INT64_MAX : 100'000;
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
void ForHalves(std::size_t count, Work&& work, std::int64_t worth = WorthTwoThreads()) {
  if (static_cast<std::int64_t>(count) < worth || count < 2) {
    work(std::size_t{0}, count);
    return;
  }
  const auto middle = count / 2;
  RunBoth([&] { work(std::size_t{0}, middle); }, [&] { work(middle, count); });
}

}  // namespace orvspc::engine::store
