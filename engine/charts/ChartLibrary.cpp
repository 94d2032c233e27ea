// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/ChartLibrary.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <unordered_map>
#include <utility>

#include "engine/charts/AttributeRun.h"
#include "engine/charts/Provisional.h"
#include "engine/charts/VariableRun.h"
#include "engine/chunks/large_data.h"
#include "engine/store/Store.h"
#include "system/system.h"

namespace orvspc::engine::charts {
namespace {

// What a report of a chart is made of, once it is asked for.
struct Latest {
  std::vector<std::pair<ChartStream, StreamEstimates>> streams;
  std::vector<std::int32_t> limit_rows;
  std::vector<PhaseReport> phases;
  std::vector<std::int32_t> phase_of;
  std::vector<ProvisionalLimits> provisional;
  // Of a chart of counts.
  bool counts = false, defectives = false;
  double level = 0.0, risk = 0.0;  // percent
  std::vector<double> sizes;
};

struct ThreadState {
  std::weak_ptr<store::Store> store;  // of the open run, which is of one of the paths
  VariableRun variable;
  AttributeRun attribute;
  store::LatestReports<Latest> latest;
};

ThreadState& ThisThread() {
  thread_local ThreadState state;
  return state;
}

void Close(ThreadState& state) {
  state.variable.Clear();
  state.attribute.Clear();
  state.store.reset();
  store::ClearOpenRun();
}

template <class Run>
Latest& Open(ThreadState& state, store::Store& store, const Run& run, std::int32_t handle) {
  thread_local std::vector<store::StreamIds> keys;
  keys.clear();
  auto& latest = state.latest.Begin(handle);
  const auto streams = run.Streams();
  for (std::size_t s = 0; s < streams.size(); ++s) {
    const auto& stream = streams[s];
    if (run.Points().IsCut() && run.Points().NewestOf(stream.number) != s) continue;
    keys.push_back({stream.part, stream.process, stream.test});
    latest.streams.emplace_back(stream, run.EstimatesOf(s));
  }
  latest.phases = run.Phases();
  latest.phase_of = run.PhaseOfPoints();
  latest.limit_rows = run.Rows().DeliveredLimitRows();
  store::SetOpenRun(store, handle, keys);
  return latest;
}

// A process call: process(run, store, info) returns the chart word, and the run stays open unless
// that is 0.
// describe(latest) adds what the report of that kind of chart has beside its streams.
template <class Run, class Process, class Describe>
std::int32_t Begin(Run& run, std::int32_t handle, API_DSInfo& info, Process process,
                   Describe describe) {
  auto& state = ThisThread();
  Close(state);
  state.latest.Forget(handle);
  const auto word = store::AnalyseWithStore(handle, info, [&](const auto& store) {
    const auto asked = info;
    const auto made = process(run, *store, info);
    if (made != 0) {
      auto& latest = Open(state, *store, run, handle);
      latest.provisional = ProvisionalOf(*store, run, [&](Run& trial, store::Store& trial_store) {
        auto again = asked;
        return process(trial, trial_store, again);
      });
      describe(latest);
    }
    state.store = store;
    return made;
  });
  if (word == 0) {
    Close(state);
    state.latest.Forget(handle);
  }
  return word;
}

template <class Run>
std::int32_t Deliver(Run& run, const platform::ArrayRef& array, platform::ChartData code,
                     std::int32_t graph) {
  system::PreferLargePages(array.data, array.count * array.element_size);
  return store::KeepFailures(ThisThread().store, [&] { return run.Deliver(array, code, graph); });
}

AcceptanceLimits AcceptanceOf(const Latest& latest) {
  constexpr double kPercent = 100.0;
  AcceptanceLimits limits;
  limits.level = latest.level;
  limits.risk = latest.risk;
  limits.binomial = latest.defectives;
  const auto accepted =
      latest.defectives ? statistics::AcceptedDefectives : statistics::AcceptedDefects;
  std::unordered_map<double, double> known;
  for (const double size : latest.sizes) {
    const auto [found, fresh] = known.try_emplace(size, 0.0);
    if (fresh) found->second = accepted(size, latest.level / kPercent, latest.risk / kPercent);
    limits.numbers.push_back(found->second);
    limits.rates.push_back(found->second / size);
  }
  return limits;
}

}  // namespace

std::int32_t ChartLibrary::VLXCRT_VCHART_PROCESS_LT(std::int32_t, std::int32_t Connection,
                                                    API_DSInfo& DSInfo,
                                                    std::span<std::int32_t> DSFilter,
                                                    API_CCVarOptions& Options, std::int32_t) {
  auto& run = ThisThread().variable;
  return Begin(
      run, Connection, DSInfo,
      [&](VariableRun& made, store::Store& store, API_DSInfo& info) {
        return made.Process(store, info, DSFilter, Options);
      },
      [](Latest&) {});
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
  const bool single = run.Points().StreamCount() == 1;
  const auto figure = [&](double value) { return single && std::isfinite(value) ? value : 0.0; };
  const auto& estimates = run.EstimatesOf(run.Points().NewestOf(0));
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
  auto& run = ThisThread().attribute;
  return Begin(
      run, Connection, DSInfo,
      [&](AttributeRun& made, store::Store& store, API_DSInfo& info) {
        return made.Process(store, info, DSFilter, {ChartWord, ProcessingWord, EWMA});
      },
      [&](Latest& latest) {
        latest.counts = true;
        latest.defectives = run.Plan().chart->defectives;
        latest.level = AQLValue;
        latest.risk = AQLProducerRisk;
        latest.sizes = run.UnitsInspected();
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

ChartReport ChartLibrary::TakeReport(std::int32_t handle) {
  ChartReport report;
  const auto latest = ThisThread().latest.Take(handle);
  for (const auto& [stream, estimates] : latest.streams) {
    report.streams.push_back(ReportOf(stream, estimates));
  }
  report.limit_rows = latest.limit_rows;
  report.phases = latest.phases;
  report.phase_of = latest.phase_of;
  report.provisional = latest.provisional;
  if (!latest.counts) return report;
  report.acceptance = AcceptanceOf(latest);
  const bool fractions = std::any_of(latest.sizes.begin(), latest.sizes.end(),
                                     [](double size) { return size != std::floor(size); });
  if (fractions) report.sizes = latest.sizes;
  return report;
}

}  // namespace orvspc::engine::charts
