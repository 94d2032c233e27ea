// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace orvspc::engine::store {

// What the analyses of one thread made last on each open database, by connection handle. The
// databases used last are remembered, so that closed ones are forgotten in time.
template <class T>
class LatestReports {
 public:
  // Begins a new one in place of what the database had.
  T& Begin(std::int32_t handle) {
    Forget(handle);
    if (entries_.size() == kMaxDatabases) entries_.erase(entries_.begin());
    return entries_.emplace_back(handle, T()).second;
  }
  // Removes and returns it; empty when there is none.
  T Take(std::int32_t handle) {
    auto* const report = Of(handle);
    if (report == nullptr) return T();
    T taken = std::move(*report);
    Forget(handle);
    return taken;
  }
  // Null when there is none.
  T* Of(std::int32_t handle) {
    const auto found = Find(handle);
    return found == entries_.end() ? nullptr : &found->second;
  }
  void Forget(std::int32_t handle) {
    if (const auto found = Find(handle); found != entries_.end()) entries_.erase(found);
  }

 private:
  static constexpr std::size_t kMaxDatabases = 16;
  auto Find(std::int32_t handle) {
    return std::find_if(entries_.begin(), entries_.end(),
                        [&](const auto& entry) { return entry.first == handle; });
  }
  std::vector<std::pair<std::int32_t, T>> entries_;  // the one begun last comes last
};

}  // namespace orvspc::engine::store
