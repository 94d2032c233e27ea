// SPDX-License-Identifier: Apache-2.0
#include "engine/compliance/ComplianceLibrary.h"

#include <algorithm>
#include <vector>

#include "engine/compliance/ComplianceRun.h"
#include "engine/store/guarded.h"

namespace orvspc::engine {
namespace {

std::vector<API_SCRow>& KeptRows() {
  thread_local std::vector<API_SCRow> rows;
  return rows;
}

}  // namespace

std::int32_t ComplianceLibrary::VLXSREQ_SREQ_COMPLIANCE(std::int32_t, std::int32_t Connection,
                                                        API_DSInfo& DSInfo,
                                                        std::span<std::int32_t> DSFilter) {
  KeptRows() = {};
  const auto store = OpenStore(Connection);
  return Guarded(store, [&]() -> std::int32_t {
    std::vector<API_SCRow> rows;
    if (!RunCompliance(*store, DSInfo, DSFilter, rows)) return 0;
    KeptRows() = std::move(rows);
    return static_cast<std::int32_t>(KeptRows().size());
  });
}

std::int32_t ComplianceLibrary::VLXSREQ_SREQ_COMPLIANCE_GETDATA(std::span<API_SCRow> Rows,
                                                                std::int32_t Count) {
  const auto& kept = KeptRows();
  const auto count = std::min(
      {kept.size(), Rows.size(), static_cast<std::size_t>(std::max<std::int32_t>(Count, 0))});
  std::copy_n(kept.begin(), count, Rows.begin());
  return static_cast<std::int32_t>(count);
}

std::int32_t ComplianceLibrary::VLXSREQ_SREQ_COMPLIANCE_FREEDATA() {
  KeptRows() = {};
  return 0;
}

}  // namespace orvspc::engine
