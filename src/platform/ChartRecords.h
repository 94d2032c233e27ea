// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
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
static_assert(offsetof(API_CCVarOptions, ChartWord) == 0 &&
              offsetof(API_CCVarOptions, ProcessingWord) == 4 &&
              offsetof(API_CCVarOptions, Constant) == 8 && offsetof(API_CCVarOptions, Zeros) == 12);

struct API_CCTotals {
  std::int32_t SubgroupCount;  // also the length of every per-point array
  std::int32_t TestCount, SpecLimCount, CtrlLimCount, DefOppCount;
  std::int32_t Spare1, Spare2;
};

static_assert(sizeof(API_CCTotals) == 28);
static_assert(offsetof(API_CCTotals, SubgroupCount) == 0 &&
              offsetof(API_CCTotals, TestCount) == 4 && offsetof(API_CCTotals, SpecLimCount) == 8 &&
              offsetof(API_CCTotals, CtrlLimCount) == 12 &&
              offsetof(API_CCTotals, DefOppCount) == 16 && offsetof(API_CCTotals, Spare1) == 20 &&
              offsetof(API_CCTotals, Spare2) == 24);

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
static_assert(offsetof(API_CCSpecLim, Word0) == 0 && offsetof(API_CCSpecLim, Stamp4) == 4 &&
              offsetof(API_CCSpecLim, Stamp8) == 8 && offsetof(API_CCSpecLim, F_PART) == 12 &&
              offsetof(API_CCSpecLim, F_TEST_) == 16 && offsetof(API_CCSpecLim, Word20) == 20 &&
              offsetof(API_CCSpecLim, Word24) == 24 && offsetof(API_CCSpecLim, Word28) == 28 &&
              offsetof(API_CCSpecLim, Word32) == 32 && offsetof(API_CCSpecLim, Word36) == 36 &&
              offsetof(API_CCSpecLim, Name) == 40 && offsetof(API_CCSpecLim, Word552) == 552 &&
              offsetof(API_CCSpecLim, F_SCAL) == 556);
static_assert(offsetof(API_CCSpecLim, F_USL) == 560 && offsetof(API_CCSpecLim, F_TAR) == 568 &&
              offsetof(API_CCSpecLim, F_LSL) == 576 && offsetof(API_CCSpecLim, F_UGB) == 584 &&
              offsetof(API_CCSpecLim, F_LGB) == 592 && offsetof(API_CCSpecLim, F_URL) == 600 &&
              offsetof(API_CCSpecLim, F_LRL) == 608 && offsetof(API_CCSpecLim, F_UWP) == 616 &&
              offsetof(API_CCSpecLim, F_LWP) == 624 && offsetof(API_CCSpecLim, F_USG) == 632 &&
              offsetof(API_CCSpecLim, F_LSG) == 640 && offsetof(API_CCSpecLim, F_UDS) == 648 &&
              offsetof(API_CCSpecLim, F_LDS) == 656 && offsetof(API_CCSpecLim, F_CP) == 664 &&
              offsetof(API_CCSpecLim, F_CPK) == 672 && offsetof(API_CCSpecLim, Double680) == 680 &&
              offsetof(API_CCSpecLim, Double688) == 688 &&
              offsetof(API_CCSpecLim, F_RRMAR) == 696 && offsetof(API_CCSpecLim, F_RRMAX) == 704 &&
              offsetof(API_CCSpecLim, Double712) == 712 &&
              offsetof(API_CCSpecLim, F_EFLAG) == 720 && offsetof(API_CCSpecLim, F_AFLAG) == 724 &&
              offsetof(API_CCSpecLim, Word728) == 728 && offsetof(API_CCSpecLim, Word732) == 732 &&
              offsetof(API_CCSpecLim, Word736) == 736 && offsetof(API_CCSpecLim, Word740) == 740);

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
static_assert(offsetof(API_CCCtrlLim, Word0) == 0 && offsetof(API_CCCtrlLim, Stamp4) == 4 &&
              offsetof(API_CCCtrlLim, Stamp8) == 8 && offsetof(API_CCCtrlLim, F_PART) == 12 &&
              offsetof(API_CCCtrlLim, F_PRCS) == 16 && offsetof(API_CCCtrlLim, F_TEST_) == 20 &&
              offsetof(API_CCCtrlLim, F_EFTM) == 24 && offsetof(API_CCCtrlLim, F_MEAN) == 28 &&
              offsetof(API_CCCtrlLim, F_SP) == 36 && offsetof(API_CCCtrlLim, F_SPL) == 44 &&
              offsetof(API_CCCtrlLim, F_SW) == 52 && offsetof(API_CCCtrlLim, F_SWL) == 60 &&
              offsetof(API_CCCtrlLim, F_STTM) == 68 && offsetof(API_CCCtrlLim, F_FNTM) == 72 &&
              offsetof(API_CCCtrlLim, Double76) == 76 && offsetof(API_CCCtrlLim, Word84) == 84 &&
              offsetof(API_CCCtrlLim, Word88) == 88 && offsetof(API_CCCtrlLim, Word92) == 92 &&
              offsetof(API_CCCtrlLim, Word96) == 96);

struct API_CCDefOpp {
  std::int32_t Word0, Stamp4, Stamp8;
  std::int32_t F_PART, F_TEST_;
  std::int32_t F_OPPS;
  std::int32_t Word24, Word28, Word32, Word36;
};

static_assert(sizeof(API_CCDefOpp) == 40);
static_assert(offsetof(API_CCDefOpp, Word0) == 0 && offsetof(API_CCDefOpp, Stamp4) == 4 &&
              offsetof(API_CCDefOpp, Stamp8) == 8 && offsetof(API_CCDefOpp, F_PART) == 12 &&
              offsetof(API_CCDefOpp, F_TEST_) == 16 && offsetof(API_CCDefOpp, F_OPPS) == 20 &&
              offsetof(API_CCDefOpp, Word24) == 24 && offsetof(API_CCDefOpp, Word28) == 28 &&
              offsetof(API_CCDefOpp, Word32) == 32 && offsetof(API_CCDefOpp, Word36) == 36);

}  // namespace orvspc
