// SPDX-License-Identifier: Apache-2.0
#include "engine/compliance/ComplianceLibrary.h"

#include <algorithm>
#include <utility>

#include "engine/compliance/ComplianceRun.h"
#include "engine/store/Store.h"

namespace orvspc::engine::compliance {
namespace {

std::vector<API_SCRow>& Kept() {
  thread_local std::vector<API_SCRow> kept;
  return kept;
}

store::LatestReports<std::vector<SamplingDue>>& Reports() {
  thread_local store::LatestReports<std::vector<SamplingDue>> reports;
  return reports;
}

}  // namespace

std::int32_t ComplianceLibrary::VLXSREQ_SREQ_COMPLIANCE(std::int32_t, std::int32_t Connection,
                                                        API_DSInfo& DSInfo,
                                                        std::span<std::int32_t> DSFilter) {
  Kept() = {};
  Reports().Forget(Connection);
  return store::CallWithStore(Connection, [&](const auto& store) -> std::int32_t {
    ComplianceRows result;
    if (!RunCompliance(*store, DSInfo, DSFilter, result)) return 0;
    Kept() = std::move(result.rows);
    Reports().Begin(Connection) = std::move(result.windows);
    return static_cast<std::int32_t>(Kept().size());
  });
}

std::int32_t ComplianceLibrary::VLXSREQ_SREQ_COMPLIANCE_GETDATA(std::span<API_SCRow> Rows,
                                                                std::int32_t Count) {
  const auto& kept = Kept();
  const auto count = std::min(
      {kept.size(), Rows.size(), static_cast<std::size_t>(std::max<std::int32_t>(Count, 0))});
  std::copy_n(kept.begin(), count, Rows.begin());
  return static_cast<std::int32_t>(count);
}

std::int32_t ComplianceLibrary::VLXSREQ_SREQ_COMPLIANCE_FREEDATA() {
  Kept() = {};
  return 0;
}

std::vector<SamplingDue> ComplianceLibrary::TakeReport(std::int32_t handle) {
  return Reports().Take(handle);
}

}  // namespace orvspc::engine::compliance
