// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <system_error>
#include <thread>
#include <utility>

namespace orvspc::engine::store {

// Below this many subgroups a second thread costs more than it saves.
inline constexpr std::int64_t kWorthTwoThreads = 100'000;

// Runs first() here and second() on a thread of its own, or one after the other when the system has
// no thread to give. Both have ended when it returns; what first threw leaves before what second
// threw.
template <class First, class Second>
void RunBoth(First&& first, Second&& second) {
  std::exception_ptr failures[2];
  const auto guarded = [](auto& work, std::exception_ptr& failure) {
    try {
      work();
    } catch (...) {
      failure = std::current_exception();
    }
  };
  std::thread helper;
  try {
    helper = std::thread([&] { guarded(second, failures[1]); });
  } catch (const std::system_error&) {
    guarded(first, failures[0]);
    guarded(second, failures[1]);
  }
  if (helper.joinable()) {
    guarded(first, failures[0]);
    helper.join();
  }
  for (auto& failure : failures) {
    if (failure) std::rethrow_exception(std::move(failure));
  }
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

}  // namespace orvspc::engine::store
