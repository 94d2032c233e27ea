// SPDX-License-Identifier: Apache-2.0
#include "capability/CAAnalysis.h"

#include <cstddef>
#include <span>
#include <utility>

#include "capability/limit_forms.h"
#include "frame/Checked.h"
#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"

namespace orvspc {
namespace {

// What the library fills.
struct Buffers {
  API_CAStatistics stats;
  Array<API_CABin> bins;
  Array<double> x, y;
};

// The bins as the library gets them, which may change their number or erase them. Nothing may be
// thrown through it: what cannot be done gives null and leaves the bins.
platform::ArrayRef Resizable(Array<API_CABin>& bins) {
  auto ref = bins.Ref();
  ref.resize = [&bins](std::size_t count) noexcept -> void* {
    if (count == 0) {
      bins.Erase();
      return nullptr;
    }
    try {
      // A count beyond 32 bits is refused too.
      const std::int64_t bound = checked::Narrow(static_cast<std::int64_t>(count));
      bins.Preserve(0, bound - 1);
    } catch (...) {
      return nullptr;
    }
    return bins.Elements().data();
  };
  return ref;
}

// All of the array from its element 0 on; without one the call fails with 9.
std::span<std::int32_t> FromFirst(Array<std::int32_t>& filter) {
  return {&filter[0], filter.Elements().size()};
}

std::int32_t Process(platform::CapAna6& library, std::int32_t connection, API_DSInfo& info,
                     std::span<std::int32_t> filter, const API_CAOptions& options,
                     Buffers& buffers) {
  API_CAStatistics& stats = buffers.stats;
  API_CASpecLim8 spec_lim = limit_forms::Narrow(stats.SpecLim);
  API_CANccLim8 ncc_lim = limit_forms::Narrow(stats.NccLim);
  const std::int32_t done = library.VLXCAP_PROCESSING_LT(
      0, connection, info, filter, buffers.x.Elements(), buffers.y.Elements(),
      Resizable(buffers.bins), stats.Summary, stats.CPs, stats.PPs, stats.Moments, stats.ChiSq,
      stats.Anova, spec_lim, stats.SpecResults, ncc_lim, stats.NccResults, stats.Reserved, options,
      0);
  stats.NccLim = limit_forms::Widen(ncc_lim);
  stats.SpecLim = limit_forms::Widen(spec_lim);
  return done;
}

void FitJohnson(platform::CapAna6& library, const API_CAOptions& options, Buffers& buffers) {
  API_CAStatistics& stats = buffers.stats;
  API_CASpecLim8 spec_lim = limit_forms::Narrow(stats.SpecLim);
  const std::int32_t curve = library.VLXCAP_JOHNSONCURVEFIT(
      0, buffers.x.Elements(), buffers.y.Elements(), Resizable(buffers.bins), stats.Summary,
      stats.PPs, stats.ChiSq, spec_lim, stats.SpecResults, options);
  stats.SpecLim = limit_forms::Widen(spec_lim);
  stats.JohnsonCurveType = curve;
}

}  // namespace

std::shared_ptr<CAResults> CAAnalysis::AnalyzeDataSelect(
    const std::shared_ptr<platform::Object>& Database,
    const std::shared_ptr<orvspc::DataSelect>& DataSelect,
    const std::shared_ptr<CAProcessing>& Processing) {
  return Traced("CAAnalysis.AnalyzeDataSelect", [&]() -> std::shared_ptr<CAResults> {
    const auto database = ResolveDatabase(Database);
    auto results = std::make_shared<CAResults>();
    results->Processing(Friend{}, Needed(Processing).Clone());
    results->DataSelect(Friend{}, Needed(DataSelect).Clone());
    results->Processing()->FixProcessing();

    API_DSInfo info = {};
    Array<std::int32_t> filter;
    results->DataSelect()->API_GetData(info, filter);
    // Deliberate: never taken, since the call is true on every path that does not fail.
    if (!AnalyzeDS(Friend{}, *database, info, filter, *results)) return nullptr;
    results->DataSelect()->API_SetData(info, filter);
    return results;
  });
}

bool CAAnalysis::AnalyzeDS(const Friend&, platform::Database& Database, API_DSInfo& DSInfo,
                           Array<std::int32_t>& DSFilter, CAResults& Results) {
  return Traced("CAAnalysis.AnalyzeDS", [&] {
    CAProcessing& processing = Needed(Results.Processing());
    // Deliberate: a second time; it changes nothing more and is part of the order of calls.
    processing.FixProcessing();
    const API_CAOptions options = processing.GetAPIOptions(Friend{});
    // Deliberate: cannot be after FixProcessing.
    if (options.BinCount == 0) return true;

    Buffers buffers;
    buffers.bins.Dimension(0, std::int64_t{options.BinCount} - 1);
    buffers.x.Dimension(0, std::int64_t{options.CurveCount} - 1);
    buffers.y.Dimension(0, std::int64_t{options.CurveCount} - 1);
    const std::int32_t connection = Database.ConnectionHandle();
    const auto platform = PlatformInForce();
    platform::CapAna6& library = platform->CapAna();
    if (Process(library, connection, DSInfo, FromFirst(DSFilter), options, buffers) == 0)
      return true;
    // Deliberate: what the fit returns is stored and decides nothing.
    if (processing.FitType() == caFitJohnson) FitJohnson(library, options, buffers);
    Results.Load(Friend{}, buffers.stats, std::move(buffers.bins), std::move(buffers.x),
                 std::move(buffers.y));
    return true;
  });
}

}  // namespace orvspc
