// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "platform/Reports.h"
#include "platform/SReqCompliance.h"

namespace orvspc::engine::compliance {

// The library of sampling compliance of the embedded engine. The rows of the latest computation are
// kept for each thread. Nothing throws: what fails is kept in the open database.
class ComplianceLibrary final : public platform::SReqCompliance {
 public:
  std::int32_t VLXSREQ_SREQ_COMPLIANCE(std::int32_t Reserved, std::int32_t Connection,
                                       API_DSInfo& DSInfo,
                                       std::span<std::int32_t> DSFilter) override;
  std::int32_t VLXSREQ_SREQ_COMPLIANCE_GETDATA(std::span<API_SCRow> Rows,
                                               std::int32_t Count) override;
  std::int32_t VLXSREQ_SREQ_COMPLIANCE_FREEDATA() override;

  // Windows of the latest computation of this thread on the database, also after its rows were
  // freed.
  static std::vector<SamplingDue> TakeReport(std::int32_t handle);
};

}  // namespace orvspc::engine::compliance
