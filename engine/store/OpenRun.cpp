// SPDX-License-Identifier: Apache-2.0
#include "engine/store/OpenRun.h"

#include <vector>

namespace orvspc::engine::store {
namespace {

struct OpenRun {
  std::int32_t handle = 0;
  std::vector<StreamKey> streams;
};

OpenRun& ThisThread() {
  thread_local OpenRun run;
  return run;
}

}  // namespace

void SetOpenRun(std::int32_t handle, std::span<const StreamKey> streams) {
  auto& run = ThisThread();
  run.handle = handle;
  run.streams.assign(streams.begin(), streams.end());
}

void ClearOpenRun() { ThisThread().streams.clear(); }

std::span<const StreamKey> OpenRunStreams(std::int32_t handle) {
  const auto& run = ThisThread();
  if (run.handle != handle) return {};
  return run.streams;
}

}  // namespace orvspc::engine::store
