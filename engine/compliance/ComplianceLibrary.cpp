// SPDX-License-Identifier: Apache-2.0
#include "engine/compliance/ComplianceLibrary.h"

#include <algorithm>
#include <utility>

#include "engine/compliance/ComplianceRun.h"
#include "engine/store/call_boundary.h"

namespace orvspc::engine::compliance {
namespace {

ComplianceRows& Kept() {
  thread_local ComplianceRows kept;
  return kept;
}

}  // namespace

std::int32_t ComplianceLibrary::VLXSREQ_SREQ_COMPLIANCE(std::int32_t, std::int32_t Connection,
                                                        API_DSInfo& DSInfo,
                                                        std::span<std::int32_t> DSFilter) {
  Kept() = {};
  return store::CallWithStore(Connection, [&](const auto& store) -> std::int32_t {
    ComplianceRows result;
    if (!RunCompliance(*store, DSInfo, DSFilter, result)) return 0;
    Kept() = std::move(result);
    return static_cast<std::int32_t>(Kept().rows.size());
  });
}

std::int32_t ComplianceLibrary::VLXSREQ_SREQ_COMPLIANCE_GETDATA(std::span<API_SCRow> Rows,
                                                                std::int32_t Count) {
  const auto& kept = Kept().rows;
  const auto count = std::min(
      {kept.size(), Rows.size(), static_cast<std::size_t>(std::max<std::int32_t>(Count, 0))});
  std::copy_n(kept.begin(), count, Rows.begin());
  return static_cast<std::int32_t>(count);
}

std::int32_t ComplianceLibrary::VLXSREQ_SREQ_COMPLIANCE_FREEDATA() {
  Kept().rows = {};
  return 0;
}

std::vector<SamplingDue> ComplianceLibrary::LatestSampling() { return Kept().windows; }

}  // namespace orvspc::engine::compliance
