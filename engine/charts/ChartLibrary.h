// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

#include "platform/CtrlChrt6.h"
#include "platform/Reports.h"

namespace orvspc::engine::charts {

// The chart library of the embedded engine. Each thread has one open run of its own. Nothing
// throws: what fails is kept in the open database, and the call returns 0 without having written.
class ChartLibrary final : public platform::CtrlChrt6 {
 public:
  std::int32_t VLXCRT_VCHART_PROCESS_LT(std::int32_t Reserved, std::int32_t Connection,
                                        API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                        API_CCVarOptions& Options, std::int32_t Last) override;
  std::int32_t VLXCRT_VAR_DATA(std::int32_t Reserved, const platform::ArrayRef& Array,
                               platform::ChartData Code, std::int32_t Graph) override;
  // A figure that does not exist is 0, as all six are with several streams; TakeReport
  // distinguishes a sigma of 0 from none.
  std::int32_t VLXCRT_VAR_LIMITS(std::int32_t Reserved, double& MeanEstimate, double& SPEstimate,
                                 double& SWEstimate, double& AverageSize1, double& AverageSize2,
                                 double& AverageSize3) override;
  std::int32_t VLXCRT_VAR_END() override;

  // AQLValue and AQLProducerRisk, in percent, are kept for TakeReport and neither written to
  // nor looked at otherwise.
  std::int32_t VLXCRT_ATTR_PROCESS_LT(std::int32_t Reserved, std::int32_t Connection,
                                      API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                      std::int32_t ChartWord, std::int32_t ProcessingWord,
                                      double EWMA, double& AQLValue, double& AQLProducerRisk,
                                      std::int32_t Last) override;
  std::int32_t VLXCRT_ATTR_DATA(std::int32_t Reserved, const platform::ArrayRef& Array,
                                platform::ChartData Code, std::int32_t Graph) override;
  std::int32_t VLXCRT_ATTR_END() override;

  // Of the latest chart of this thread on the database, also after its run was closed; empty when
  // that gave none.
  static ChartReport TakeReport(std::int32_t handle);
};

}  // namespace orvspc::engine::charts
