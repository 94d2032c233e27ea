// SPDX-License-Identifier: Apache-2.0
#include "engine/capability/CapabilityLibrary.h"

#include <memory>

#include "engine/capability/CapabilityRun.h"
#include "engine/store/Store.h"

namespace orvspc::engine::capability {
namespace {

struct ThreadState {
  std::weak_ptr<store::Store> store;  // of the latest analysis
  std::int32_t handle = 0;            // likewise
  CapabilityRun run;
  store::LatestReports<CapabilityReport> reports;
};

ThreadState& ThisThread() {
  thread_local ThreadState state;
  return state;
}

}  // namespace

std::int32_t CapabilityLibrary::VLXCAP_PROCESSING_LT(
    std::int32_t, std::int32_t Connection, API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
    std::span<double> X, std::span<double> Y, const platform::ArrayRef& Bins,
    API_CASummary& Summary, API_CACPs& CPs, API_CAPPs& PPs, API_CAMoments& Moments,
    API_CAChiSq& ChiSq, API_CAAnova& Anova, API_CASpecLim8& SpecLim, API_CASpecResults& SpecResults,
    API_CANccLim8& NccLim, API_CANccResults& NccResults, API_CAReserved&,
    const API_CAOptions& Options, std::int32_t) {
  auto& state = ThisThread();
  state.run = {};
  state.store.reset();
  state.handle = Connection;
  state.reports.Forget(Connection);
  const auto done = store::AnalyseWithStore(Connection, DSInfo, [&](const auto& store) {
    state.store = store;
    const CapabilityOutput out{
        {X, Y, Bins.As<API_CABin>(), Summary, PPs, ChiSq, SpecLim, SpecResults},
        CPs,
        Moments,
        Anova,
        NccLim,
        NccResults};
    const bool made = state.run.Process(*store, DSInfo, DSFilter, Options, out);
    if (made) state.reports.Begin(Connection) = state.run.Report();
    return made ? 1 : 0;
  });
  if (done == 0) {
    state.run = {};
    state.reports.Forget(Connection);
  }
  return done;
}

std::int32_t CapabilityLibrary::VLXCAP_JOHNSONCURVEFIT(
    std::int32_t, std::span<double> X, std::span<double> Y, const platform::ArrayRef& Bins,
    API_CASummary& Summary, API_CAPPs& PPs, API_CAChiSq& ChiSq, API_CASpecLim8& SpecLim,
    API_CASpecResults& SpecResults, const API_CAOptions& Options) {
  auto& state = ThisThread();
  const auto store = state.store.lock();
  const store::NotesBelongTo owner(state.handle);
  if (store == nullptr) return 0;
  return store::KeepFailures(store.get(), [&]() -> std::int32_t {
    const auto bins = Bins.As<API_CABin>();
    const auto fits = [](std::int32_t count, std::size_t room) {
      return count > 0 && static_cast<std::size_t>(count) <= room;
    };
    if (!fits(Options.BinCount, bins.size()) || !fits(Options.CurveCount, X.size()) ||
        !fits(Options.CurveCount, Y.size())) {
      store->Fail(sql::kRefused, "The arrays of the Johnson fit are shorter than its options say.");
      return 0;
    }
    const auto points = static_cast<std::size_t>(Options.CurveCount);
    const auto type = state.run.FitJohnson({X.first(points), Y.first(points),
                                            bins.first(static_cast<std::size_t>(Options.BinCount)),
                                            Summary, PPs, ChiSq, SpecLim, SpecResults});
    state.reports.Begin(state.handle) = state.run.Report();
    return type;
  });
}

CapabilityReport CapabilityLibrary::TakeReport(std::int32_t handle) {
  return ThisThread().reports.Take(handle);
}

}  // namespace orvspc::engine::capability
