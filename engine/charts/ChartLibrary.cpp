// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/ChartLibrary.h"

#include <cmath>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include "engine/charts/VariableRun.h"
#include "engine/store/OpenRun.h"
#include "engine/store/Store.h"
#include "engine/store/large_pages.h"

namespace orvspc::engine {
namespace {

constexpr std::int32_t kOutOfMemory = 7, kUnexpected = -2147467259, kNotAvailable = 445;

struct ThreadState {
  std::int32_t handle = 0;  // of the open run
  VariableRun run;
  std::vector<std::pair<ChartStream, StreamEstimates>> latest;
};

ThreadState& ThisThread() {
  thread_local ThreadState state;
  return state;
}

void Close(ThreadState& state) {
  state.run.Clear();
  state.handle = 0;
  ClearOpenRun();
}

void KeepFailure(std::int32_t handle, std::int32_t number, const char* description) noexcept {
  try {
    if (const auto store = StoreOf(handle)) store->Fail(number, description);
  } catch (...) {
    // No memory for the words either: the result 0 has to speak for itself.
  }
}

// The boundary of the library: whatever the body throws becomes a kept failure and a result of 0.
template <class Body>
std::int32_t Guarded(std::int32_t handle, Body body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    KeepFailure(handle, kOutOfMemory, "Out of memory");
  } catch (const std::length_error&) {
    KeepFailure(handle, kOutOfMemory, "Out of memory");
  } catch (const std::exception& failure) {
    KeepFailure(handle, kUnexpected, failure.what());
  } catch (...) {
    KeepFailure(handle, kUnexpected, "The chart could not be made.");
  }
  return 0;
}

void Open(ThreadState& state, std::int32_t handle) {
  thread_local std::vector<StreamKey> keys;
  keys.clear();
  const auto streams = state.run.Streams();
  for (std::size_t s = 0; s < streams.size(); ++s) {
    keys.push_back({streams[s].part, streams[s].process, streams[s].test});
    state.latest.emplace_back(streams[s], state.run.EstimatesOf(s));
  }
  SetOpenRun(handle, keys);
  state.handle = handle;
}

}  // namespace

std::int32_t ChartLibrary::VLXCRT_VCHART_PROCESS_LT(std::int32_t, std::int32_t Connection,
                                                    API_DSInfo& DSInfo,
                                                    std::span<std::int32_t> DSFilter,
                                                    API_CCVarOptions& Options, std::int32_t) {
  auto& state = ThisThread();
  Close(state);
  state.latest.clear();
  const auto word = Guarded(Connection, [&] {
    const auto store = StoreOf(Connection);
    if (!store) return 0;
    const auto made = state.run.Process(*store, DSInfo, DSFilter, Options);
    if (made != 0) Open(state, Connection);
    return made;
  });
  if (word == 0) Close(state);
  return word;
}

std::int32_t ChartLibrary::VLXCRT_VAR_DATA(std::int32_t, const platform::ArrayRef& Array,
                                           platform::ChartData Code, std::int32_t Graph) {
  auto& state = ThisThread();
  PreferLargePages(Array.data, Array.count * Array.element_size);
  return Guarded(state.handle, [&] { return state.run.Deliver(Array, Code, Graph); });
}

std::int32_t ChartLibrary::VLXCRT_VAR_LIMITS(std::int32_t, double& MeanEstimate, double& SPEstimate,
                                             double& SWEstimate, double& AverageSize1,
                                             double& AverageSize2, double& AverageSize3) {
  const auto& run = ThisThread().run;
  if (!run.IsOpen()) return 0;
  const bool single = run.Streams().size() == 1;
  const auto figure = [&](double value) { return single && std::isfinite(value) ? value : 0.0; };
  const auto& estimates = run.EstimatesOf(0);
  MeanEstimate = figure(estimates.mean);
  SPEstimate = figure(estimates.sp.value);
  SWEstimate = figure(estimates.sw.value);
  AverageSize1 = figure(AverageSize(run.Plan(), estimates, 0));
  AverageSize2 = figure(AverageSize(run.Plan(), estimates, 1));
  AverageSize3 = figure(AverageSize(run.Plan(), estimates, 2));
  return 1;
}

std::int32_t ChartLibrary::VLXCRT_VAR_END() {
  Close(ThisThread());
  return 1;
}

std::int32_t ChartLibrary::VLXCRT_ATTR_PROCESS_LT(std::int32_t, std::int32_t Connection,
                                                  API_DSInfo&, std::span<std::int32_t>,
                                                  std::int32_t, std::int32_t, double, double&,
                                                  double&, std::int32_t) {
  Close(ThisThread());
  ThisThread().latest.clear();
  KeepFailure(Connection, kNotAvailable,
              "Attribute charts are not available in this version of the engine.");
  return 0;
}

std::int32_t ChartLibrary::VLXCRT_ATTR_DATA(std::int32_t, const platform::ArrayRef&,
                                            platform::ChartData, std::int32_t) {
  return 0;
}

std::int32_t ChartLibrary::VLXCRT_ATTR_END() { return 1; }

std::vector<StreamReport> ChartLibrary::LatestStreams() {
  std::vector<StreamReport> reports;
  for (const auto& [stream, estimates] : ThisThread().latest) {
    reports.push_back(ReportOf(stream, estimates));
  }
  return reports;
}

}  // namespace orvspc::engine
