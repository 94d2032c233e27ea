// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

#include "platform/ArrayRef.h"
#include "platform/ChartRecords.h"
#include "platform/SelectionRecord.h"

namespace orvspc::platform {

// What a data call of the chart library fills; frozen numbers.
enum class ChartData : std::int32_t {
  Points = 1,      // double
  SGSizes = 3,     // 32-bit
  cOOCs = 4,       // 32-bit: bits of broken run rules, against the calculated limits
  cUCLs = 5,       // double, calculated limits
  cCLs = 6,        // double
  cLCLs = 7,       // double
  OOCs = 8,        // 32-bit: bits of broken run rules, against the limits in force
  UCLs = 9,        // double, limits in force
  Cls = 10,        // double
  LCLs = 11,       // double
  Totals = 12,     // one API_CCTotals
  Subgroups = 13,  // API_SubgroupData
  CtrlLims = 15,   // API_CCCtrlLim
  SpecLims = 16,   // API_CCSpecLim
  DefOpps = 17,    // API_CCDefOpp, attribute path only
  USLs = 18,       // double
  Targets = 19,    // double
  LSLs = 20,       // double
  Tests = 37,      // API_TestData
};

// The native chart library. It keeps one run at a time (the embedded one: for each thread), from a
// process call to the END of its path. Nothing here throws. Arrays come allocated to their final
// length and are filled in place. The first argument of each call is reserved, always 0.
class CtrlChrt6 {
 public:
  virtual ~CtrlChrt6() = default;

  // Reads the data through the connection and returns the chart word of what it produced:
  // bits 8..11 graph 1, 4..7 graph 2, 0..3 graph 3; 0 for nothing.
  virtual std::int32_t VLXCRT_VCHART_PROCESS_LT(std::int32_t Reserved, std::int32_t Connection,
                                                API_DSInfo& DSInfo,
                                                std::span<std::int32_t> DSFilter,
                                                API_CCVarOptions& Options, std::int32_t Last) = 0;

  // Graph is 1 to 3, or 0 where the code has none.
  virtual std::int32_t VLXCRT_VAR_DATA(std::int32_t Reserved, const ArrayRef& Array, ChartData Code,
                                       std::int32_t Graph) = 0;

  virtual std::int32_t VLXCRT_VAR_LIMITS(std::int32_t Reserved, double& MeanEstimate,
                                         double& SPEstimate, double& SWEstimate,
                                         double& AverageSize1, double& AverageSize2,
                                         double& AverageSize3) = 0;

  // Closes the run; harmless without one.
  virtual std::int32_t VLXCRT_VAR_END() = 0;

  // EWMA is 0, 1 or 2: the option, not its weight.
  virtual std::int32_t VLXCRT_ATTR_PROCESS_LT(std::int32_t Reserved, std::int32_t Connection,
                                              API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                              std::int32_t ChartWord, std::int32_t ProcessingWord,
                                              double EWMA, double& AQLValue,
                                              double& AQLProducerRisk, std::int32_t Last) = 0;

  virtual std::int32_t VLXCRT_ATTR_DATA(std::int32_t Reserved, const ArrayRef& Array,
                                        ChartData Code, std::int32_t Graph) = 0;

  virtual std::int32_t VLXCRT_ATTR_END() = 0;
};

}  // namespace orvspc::platform
