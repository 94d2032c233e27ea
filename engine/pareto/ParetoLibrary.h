// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Pareto6.h"

namespace orvspc::engine::pareto {

// The Pareto library of the embedded engine.
class ParetoLibrary final : public platform::Pareto6 {
 public:
  std::int32_t VLXPAR_PROC(std::int32_t Reserved, std::int32_t Connection, API_DSInfo& DSInfo,
                           std::span<std::int32_t> DSFilter, const platform::ArrayRef& Bins,
                           API_PAOptions& Options, Work& Words) override;
  std::int32_t VLXPAR_EVENT(std::int32_t Reserved, std::int32_t Connection, API_DSInfo& DSInfo,
                            std::span<std::int32_t> DSFilter, const platform::ArrayRef& Bins,
                            API_PAOptions& Options, Work& Words) override;
  std::int32_t VLXPAR_STATE(std::int32_t Reserved, std::int32_t Connection, API_DSInfo& DSInfo,
                            std::span<std::int32_t> DSFilter, const platform::ArrayRef& Bins,
                            API_PAOptions& Options, Work& Words) override;
};

}  // namespace orvspc::engine::pareto
