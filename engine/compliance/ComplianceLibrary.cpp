// SPDX-License-Identifier: Apache-2.0
#include "engine/compliance/ComplianceLibrary.h"

namespace orvspc::engine {

std::int32_t ComplianceLibrary::VLXSREQ_SREQ_COMPLIANCE(std::int32_t, std::int32_t, API_DSInfo&,
                                                        std::span<std::int32_t>) {
  return 0;
}

std::int32_t ComplianceLibrary::VLXSREQ_SREQ_COMPLIANCE_GETDATA(std::span<API_SCRow>,
                                                                std::int32_t) {
  return 0;
}

std::int32_t ComplianceLibrary::VLXSREQ_SREQ_COMPLIANCE_FREEDATA() { return 0; }

}  // namespace orvspc::engine
