// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/ChartLibrary.h"

#include <cmath>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include "engine/charts/AttributeRun.h"
#include "engine/charts/VariableRun.h"
#include "engine/store/OpenRun.h"
#include "engine/store/Store.h"
#include "engine/store/large_pages.h"

namespace orvspc::engine::charts {
namespace {

constexpr std::int32_t kOutOfMemory = 7, kUnexpected = -2147467259;

// What the acceptance limits of the latest chart are made of.
struct Sampling {
  bool defectives = false;
  double level = 0.0, risk = 0.0;  // percent
  std::vector<double> sizes;
};

struct ThreadState {
  std::int32_t handle = 0;  // of the open run, which is of one of the roads
  VariableRun variable;
  AttributeRun attribute;
  std::vector<std::pair<ChartStream, StreamEstimates>> latest;
  std::optional<Sampling> sampling;
};

ThreadState& ThisThread() {
  thread_local ThreadState state;
  return state;
}

void Close(ThreadState& state) {
  state.variable.Clear();
  state.attribute.Clear();
  state.handle = 0;
  store::ClearOpenRun();
}

void KeepFailure(std::int32_t handle, std::int32_t number, const char* description) noexcept {
  try {
    if (const auto store = store::StoreOf(handle)) store->Fail(number, description);
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

template <class Run>
void Open(ThreadState& state, const Run& run, std::int32_t handle) {
  thread_local std::vector<store::StreamKey> keys;
  keys.clear();
  const auto streams = run.Streams();
  for (std::size_t s = 0; s < streams.size(); ++s) {
    keys.push_back({streams[s].part, streams[s].process, streams[s].test});
    state.latest.emplace_back(streams[s], run.EstimatesOf(s));
  }
  store::SetOpenRun(handle, keys);
  state.handle = handle;
}

// A process call: process(store) returns the chart word, and the run stays open unless that is 0.
template <class Run, class Process>
std::int32_t Begin(Run& run, std::int32_t handle, Process process) {
  auto& state = ThisThread();
  Close(state);
  state.latest.clear();
  state.sampling.reset();
  const auto word = Guarded(handle, [&] {
    const auto store = store::StoreOf(handle);
    if (!store) return 0;
    const auto made = process(*store);
    if (made != 0) Open(state, run, handle);
    return made;
  });
  if (word == 0) Close(state);
  return word;
}

template <class Run>
std::int32_t Deliver(Run& run, const platform::ArrayRef& array, platform::ChartData code,
                     std::int32_t graph) {
  store::PreferLargePages(array.data, array.count * array.element_size);
  return Guarded(ThisThread().handle, [&] { return run.Deliver(array, code, graph); });
}

}  // namespace

std::int32_t ChartLibrary::VLXCRT_VCHART_PROCESS_LT(std::int32_t, std::int32_t Connection,
                                                    API_DSInfo& DSInfo,
                                                    std::span<std::int32_t> DSFilter,
                                                    API_CCVarOptions& Options, std::int32_t) {
  auto& run = ThisThread().variable;
  return Begin(run, Connection,
               [&](store::Store& store) { return run.Process(store, DSInfo, DSFilter, Options); });
}

std::int32_t ChartLibrary::VLXCRT_VAR_DATA(std::int32_t, const platform::ArrayRef& Array,
                                           platform::ChartData Code, std::int32_t Graph) {
  return Deliver(ThisThread().variable, Array, Code, Graph);
}

std::int32_t ChartLibrary::VLXCRT_VAR_LIMITS(std::int32_t, double& MeanEstimate, double& SPEstimate,
                                             double& SWEstimate, double& AverageSize1,
                                             double& AverageSize2, double& AverageSize3) {
  const auto& run = ThisThread().variable;
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

std::int32_t ChartLibrary::VLXCRT_ATTR_PROCESS_LT(
    std::int32_t, std::int32_t Connection, API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
    std::int32_t ChartWord, std::int32_t ProcessingWord, double EWMA, double& AQLValue,
    double& AQLProducerRisk, std::int32_t) {
  auto& state = ThisThread();
  auto& run = state.attribute;
  return Begin(run, Connection, [&](store::Store& store) {
    const auto word = run.Process(store, DSInfo, DSFilter, {ChartWord, ProcessingWord, EWMA});
    if (word != 0) {
      state.sampling =
          Sampling{run.Plan().chart->defectives, AQLValue, AQLProducerRisk, run.UnitsInspected()};
    }
    return word;
  });
}

std::int32_t ChartLibrary::VLXCRT_ATTR_DATA(std::int32_t, const platform::ArrayRef& Array,
                                            platform::ChartData Code, std::int32_t Graph) {
  return Deliver(ThisThread().attribute, Array, Code, Graph);
}

std::int32_t ChartLibrary::VLXCRT_ATTR_END() {
  Close(ThisThread());
  return 1;
}

std::vector<StreamReport> ChartLibrary::LatestStreams() {
  std::vector<StreamReport> reports;
  for (const auto& [stream, estimates] : ThisThread().latest) {
    reports.push_back(ReportOf(stream, estimates));
  }
  return reports;
}

std::optional<AcceptanceLimits> ChartLibrary::LatestAcceptance() {
  constexpr double kPercent = 100.0;
  const auto& sampling = ThisThread().sampling;
  if (!sampling) return std::nullopt;
  AcceptanceLimits limits;
  limits.level = sampling->level;
  limits.risk = sampling->risk;
  limits.binomial = sampling->defectives;
  std::unordered_map<double, double> known;
  for (const double size : sampling->sizes) {
    const auto [found, fresh] = known.try_emplace(size, 0.0);
    if (fresh) {
      const auto accepted =
          sampling->defectives ? statistics::AcceptedDefectives : statistics::AcceptedDefects;
      found->second = accepted(size, sampling->level / kPercent, sampling->risk / kPercent);
    }
    limits.numbers.push_back(found->second);
    limits.rates.push_back(found->second / size);
  }
  return limits;
}

}  // namespace orvspc::engine::charts
