// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <system_error>
#include <vector>

#include "system/system.h"

// What large data sets need: two threads, and memory for as long as it is used.
namespace orvspc::engine::store {

// Below this many subgroups a second thread costs more than it saves.
inline constexpr std::int64_t kWorthTwoThreads = 100'000;

// With one processor it only costs.
inline bool MayUseTwoThreads() {
  static const bool has_two = system::UsableProcessors() > 1;
  return has_two;
}

// Clears a vector that is filled again and again; storage of very many elements is given back,
// since a huge record has several copies by turns while it is written.
template <class T>
void ClearLarge(std::vector<T>& values) {
  constexpr std::size_t kMaxKept = 65'536;
  if (values.size() > kMaxKept) std::vector<T>().swap(values);
  values.clear();
}

// Runs first() on this thread and second() on a new one, or one after the other when there is one
// processor or the system cannot start a thread. Neither runs any more when it returns or throws.
// Throws what first() threw, else what second() threw.
template <class First, class Second>
void RunBoth(First&& first, Second&& second) {
  std::future<void> other;
  const auto policy = MayUseTwoThreads() ? std::launch::async : std::launch::deferred;
  try {
    other = std::async(policy, std::ref(second));
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
