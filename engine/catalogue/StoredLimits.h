// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "platform/CapabilityRecords.h"
#include "platform/ChartRecords.h"

// Rows of limits and rules as the quality database stores them. Specification limits,
// opportunities and net contents are handed out in the form that the library reads.
namespace orvspc::engine::catalogue {

struct ControlLimit {
  API_CCCtrlLim row;
  std::int32_t chart_word = 0;  // of the chart that it was calculated from, 0 if unknown
};

// Bits of the flags of a row of net contents.
enum NetContentFlag : std::int32_t {
  nclMavL = 1,
  nclMavLp = 2,
  nclMavU = 16,
  nclMavUp = 32,
  nclT1L = 256,
  nclT1Lp = 512,
  nclT2L = 1024,
  nclT2Lp = 2048,
  nclT1U = 4096,
  nclT1Up = 8192,
  nclT2U = 16384,
  nclT2Up = 32768,
};

struct StoredRule {
  std::int32_t number = 0, priority = 0;
  std::string kind;  // limit zone within outside trend alternate red yellow2
  std::int32_t k = 0, m = 0;
  double zone = 0.0;
  std::string side;  // same either both upper lower
  std::string text;
};

// From when on a row is effective.
inline std::int32_t EffectiveTime(const API_CCSpecLim& row) { return row.Word20; }
inline std::int32_t EffectiveTime(const ControlLimit& limit) { return limit.row.F_EFTM; }
inline std::int32_t EffectiveTime(const API_CCDefOpp& row) { return row.Word24; }
inline std::int32_t EffectiveTime(const API_CANccLim8& row) { return row.Head[5]; }

}  // namespace orvspc::engine::catalogue
