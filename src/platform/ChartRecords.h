// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/WireDouble.h"

// Records exchanged with the chart library. Fields whose meaning is the engine's alone are named
// after their offset and only passed along.
namespace orvspc {

struct API_CCVarOptions {
  std::int32_t ChartWord, ProcessingWord;
  std::int32_t Constant;  // always 2
  std::int32_t Zeros[12];
};

static_assert(sizeof(API_CCVarOptions) == 60);

struct API_CCTotals {
  std::int32_t SubgroupCount;  // also the length of every per-point array
  std::int32_t TestCount, SpecLimCount, CtrlLimCount, DefOppCount;
  std::int32_t Spare1, Spare2;
};

static_assert(sizeof(API_CCTotals) == 28);

struct API_CCSpecLim {
  std::int32_t Word0, Stamp4, Stamp8;
  std::int32_t F_PART, F_TEST_;  // F_TEST is a macro of the C library
  std::int32_t Word20, Word24, Word28, Word32, Word36;
  char16_t Name[256];
  std::int32_t Word552, F_SCAL;
  platform::WireDouble F_USL, F_TAR, F_LSL, F_UGB, F_LGB, F_URL, F_LRL, F_UWP, F_LWP;
  platform::WireDouble F_USG, F_LSG, F_UDS, F_LDS, F_CP, F_CPK;
  platform::WireDouble Double680, Double688;
  platform::WireDouble F_RRMAR, F_RRMAX, Double712;
  std::int32_t F_EFLAG, F_AFLAG;  // bits of SpecLimitFlags
  std::int32_t Word728, Word732, Word736, Word740;
};

static_assert(sizeof(API_CCSpecLim) == 744);

struct API_CCCtrlLim {
  std::int32_t Word0, Stamp4, Stamp8;
  std::int32_t F_PART, F_PRCS, F_TEST_;
  std::int32_t F_EFTM;  // stamp
  platform::WireDouble F_MEAN, F_SP, F_SPL, F_SW, F_SWL;
  std::int32_t F_STTM, F_FNTM;  // stamps
  platform::WireDouble Double76;
  std::int32_t Word84, Word88, Word92, Word96;
};

static_assert(sizeof(API_CCCtrlLim) == 100);

struct API_CCDefOpp {
  std::int32_t Word0, Stamp4, Stamp8;
  std::int32_t F_PART, F_TEST_;
  std::int32_t F_OPPS;
  std::int32_t Word24, Word28, Word32, Word36;
};

static_assert(sizeof(API_CCDefOpp) == 40);

}  // namespace orvspc
