// SPDX-License-Identifier: Apache-2.0
#include "engine/capability/CapabilityLibrary.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

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

// A copy of what an analysis writes, until it is certain that it was not in vain.
struct DraftOutput {
  explicit DraftOutput(const CapabilityOutput& out)
      : x(out.x.begin(), out.x.end()),
        y(out.y.begin(), out.y.end()),
        bins(out.bins.begin(), out.bins.end()),
        summary(out.summary),
        pps(out.pps),
        chi_square(out.chi_square),
        limits(out.limits),
        results(out.results),
        cps(out.cps),
        moments(out.moments),
        anova(out.anova),
        net_limits(out.net_limits),
        net_results(out.net_results) {}

  CapabilityOutput Output() {
    return {{x, y, bins, summary, pps, chi_square, limits, results},
            cps,
            moments,
            anova,
            net_limits,
            net_results};
  }
  void HandOver(const CapabilityOutput& out) const {
    std::ranges::copy(x, out.x.begin());
    std::ranges::copy(y, out.y.begin());
    std::ranges::copy(bins, out.bins.begin());
    out.summary = summary;
    out.pps = pps;
    out.chi_square = chi_square;
    out.limits = limits;
    out.results = results;
    out.cps = cps;
    out.moments = moments;
    out.anova = anova;
    out.net_limits = net_limits;
    out.net_results = net_results;
  }

  std::vector<double> x, y;
  std::vector<API_CABin> bins;
  API_CASummary summary;
  API_CAPPs pps;
  API_CAChiSq chi_square;
  API_CASpecLim8 limits;
  API_CASpecResults results;
  API_CACPs cps;
  API_CAMoments moments;
  API_CAAnova anova;
  API_CANccLim8 net_limits;
  API_CANccResults net_results;
};

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
  std::optional<CapabilityOutput> out;
  std::optional<DraftOutput> draft;
  const auto done = store::AnalyseWithStore(Connection, DSInfo, [&](const auto& store) {
    state.store = store;
    out.emplace(
        CapabilityOutput{{X, Y, Bins.As<API_CABin>(), Summary, PPs, ChiSq, SpecLim, SpecResults},
                         CPs,
                         Moments,
                         Anova,
                         NccLim,
                         NccResults});
    draft.emplace(*out);
    const bool made = state.run.Process(*store, DSInfo, DSFilter, Options, draft->Output());
    if (made) state.reports.Begin(Connection) = state.run.Report();
    return made ? 1 : 0;
  });
  if (done == 0) {
    state.run = {};
    state.reports.Forget(Connection);
  } else {
    draft->HandOver(*out);
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

const CapabilityRun* CapabilityLibrary::LatestRun(std::int32_t handle) {
  const auto& state = ThisThread();
  const bool is_there = state.handle == handle && !state.store.expired();
  return is_there && state.run.Values().Count() > 0 ? &state.run : nullptr;
}

}  // namespace orvspc::engine::capability
