// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

#include "platform/ComplianceRecords.h"
#include "platform/SelectionRecord.h"

namespace orvspc::platform {

// The closed library of sampling compliance. It keeps the rows of the latest computation until they
// are freed. Nothing here throws.
class SReqCompliance {
 public:
  virtual ~SReqCompliance() = default;

  // Computes and keeps the rows of a selection; returns their number, 0 or less for none.
  virtual std::int32_t VLXSREQ_SREQ_COMPLIANCE(std::int32_t Reserved, std::int32_t Connection,
                                               API_DSInfo& DSInfo,
                                               std::span<std::int32_t> DSFilter) = 0;
  // Copies the kept rows.
  virtual std::int32_t VLXSREQ_SREQ_COMPLIANCE_GETDATA(std::span<API_SCRow> Rows,
                                                       std::int32_t Count) = 0;
  // Forgets them.
  virtual std::int32_t VLXSREQ_SREQ_COMPLIANCE_FREEDATA() = 0;
};

}  // namespace orvspc::platform
