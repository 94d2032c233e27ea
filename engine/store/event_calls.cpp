// SPDX-License-Identifier: Apache-2.0
#include "engine/store/DatabaseLibrary.h"

namespace orvspc::engine {

std::int32_t DatabaseLibrary::VLXDBL_BUILDEVENTDATA(std::int32_t, std::int32_t, API_DSInfo&,
                                                    std::span<std::int32_t>,
                                                    std::span<std::int32_t>, std::int32_t) {
  return 0;
}

std::int32_t DatabaseLibrary::VLXDBL_GETEVENTS(std::int32_t, std::int32_t, std::span<std::int32_t>,
                                               const platform::ArrayRef&, std::int32_t,
                                               std::int32_t) {
  return 0;
}

}  // namespace orvspc::engine
