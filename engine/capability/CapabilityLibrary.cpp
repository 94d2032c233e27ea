// SPDX-License-Identifier: Apache-2.0
#include "engine/capability/CapabilityLibrary.h"

namespace orvspc::engine {

std::int32_t CapabilityLibrary::VLXCAP_PROCESSING_LT(
    std::int32_t, std::int32_t, API_DSInfo&, std::span<std::int32_t>, std::span<double>,
    std::span<double>, const platform::ArrayRef&, API_CASummary&, API_CACPs&, API_CAPPs&,
    API_CAMoments&, API_CAChiSq&, API_CAAnova&, API_CASpecLim8&, API_CASpecResults&, API_CANccLim8&,
    API_CANccResults&, API_CAReserved&, const API_CAOptions&, std::int32_t) {
  return 0;
}

std::int32_t CapabilityLibrary::VLXCAP_JOHNSONCURVEFIT(std::int32_t, std::span<double>,
                                                       std::span<double>, const platform::ArrayRef&,
                                                       API_CASummary&, API_CAPPs&, API_CAChiSq&,
                                                       API_CASpecLim8&, API_CASpecResults&,
                                                       const API_CAOptions&) {
  return 0;
}

}  // namespace orvspc::engine
