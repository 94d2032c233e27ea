// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/ParetoLibrary.h"

namespace orvspc::engine {

std::int32_t ParetoLibrary::VLXPAR_PROC(std::int32_t, std::int32_t, API_DSInfo&,
                                        std::span<std::int32_t>, const platform::ArrayRef&,
                                        API_PAOptions&, Work&) {
  return 0;
}

std::int32_t ParetoLibrary::VLXPAR_EVENT(std::int32_t, std::int32_t, API_DSInfo&,
                                         std::span<std::int32_t>, const platform::ArrayRef&,
                                         API_PAOptions&, Work&) {
  return 0;
}

std::int32_t ParetoLibrary::VLXPAR_STATE(std::int32_t, std::int32_t, API_DSInfo&,
                                         std::span<std::int32_t>, const platform::ArrayRef&,
                                         API_PAOptions&, Work&) {
  return 0;
}

}  // namespace orvspc::engine
