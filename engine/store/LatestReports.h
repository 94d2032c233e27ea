// SPDX-License-Identifier: Apache-2.0
#pragma once

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
    T taken;
    for (auto& [owner, report] : entries_) {
      if (owner == handle) taken = std::move(report);
    }
    Forget(handle);
    return taken;
  }
  void Forget(std::int32_t handle) {
    std::erase_if(entries_, [&](const auto& entry) { return entry.first == handle; });
  }

 private:
  static constexpr std::size_t kMaxDatabases = 16;
  std::vector<std::pair<std::int32_t, T>> entries_;  // the one begun last comes last
};

}  // namespace orvspc::engine::store
