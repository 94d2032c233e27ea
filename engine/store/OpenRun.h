// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

// Which streams the chart run that is open on this thread has, so that the alarm mask need not
// select them a second time.
namespace orvspc::engine::store {

struct StreamKey {
  std::int32_t part = 0, process = 0, test = 0;
  friend bool operator==(const StreamKey&, const StreamKey&) = default;
};

// The chart library calls these for the run that it opens and closes.
void SetOpenRun(std::int32_t handle, std::span<const StreamKey> streams);
void ClearOpenRun();

// Streams of the run open on this thread for that connection; empty when there is none.
std::span<const StreamKey> OpenRunStreams(std::int32_t handle);

}  // namespace orvspc::engine::store
