// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <system_error>

// What large data sets need: two threads and large pages.
namespace orvspc::engine::store {

// Below this many subgroups a second thread costs more than it saves.
inline constexpr std::int64_t kWorthTwoThreads = 100'000;

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
  if (static_cast<std::int64_t>(count) < worth || count < 2) {
    work(std::size_t{0}, count);
    return;
  }
  const auto middle = count / 2;
  RunBoth([&] { work(std::size_t{0}, middle); }, [&] { work(middle, count); });
}

// Asks the system for large pages below memory that is about to be filled whole. A million
// subgroups would otherwise be a hundred thousand page faults, half the time of their chart.
// Blocks that hold no whole large page are left alone, and so is every system without such a call.
inline void PreferLargePages([[maybe_unused]] const void* data,
                             [[maybe_unused]] std::size_t bytes) {
#ifdef MADV_HUGEPAGE
  constexpr std::size_t kLarge = std::size_t{1} << 21;
  auto* first = const_cast<void*>(data);
  if (std::align(kLarge, kLarge, first, bytes) == nullptr) return;
  madvise(first, bytes / kLarge * kLarge, MADV_HUGEPAGE);
#endif
}

}  // namespace orvspc::engine::store
