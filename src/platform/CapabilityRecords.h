// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/WireDouble.h"

// Records exchanged with the capability library. Fields whose meaning is the engine's alone are
// named after their offset and only passed along. The two records with a text have it in the 8-bit
// code page; in the library's own form it is wide.
namespace orvspc {

struct API_CAOptions {
  platform::WireDouble WindowMinimum, WindowMaximum, Double16, WindowSD;
  std::int32_t BinCount, CurveCount;
  platform::WireDouble OverrideUSL, OverrideTarget, OverrideLSL;
  std::int32_t Word64;
  std::int32_t Flags;
};

static_assert(sizeof(API_CAOptions) == 72);

struct API_CABin {
  platform::WireDouble XMin, XMax, YMin, YMax;
};

static_assert(sizeof(API_CABin) == 32);

struct API_CASummary {
  std::int32_t PieceCount, SubgroupCount;
  platform::WireDouble SubgroupSize, Minimum, Maximum, Mean, ShortTermSD, LongTermSD, UpperSD;
  platform::WireDouble LowerSD, CoRobustness, CoOfVariation, ZBench;
};

static_assert(sizeof(API_CASummary) == 96);

struct API_CACPs {
  platform::WireDouble Cp, Cpk, Cpu, Cpl, Cr, Cpr, Cpm;
};

static_assert(sizeof(API_CACPs) == 56);

struct API_CAPPs {
  platform::WireDouble Pp, Ppk, Ppu, Ppl, Pr, Ppm;
};

static_assert(sizeof(API_CAPPs) == 48);

struct API_CAMoments {
  platform::WireDouble Mean, AvgDev, SD, Variance, Kurtosis, Skewness;
};

static_assert(sizeof(API_CAMoments) == 48);

struct API_CAChiSq {
  std::int32_t DegFreedom;
  platform::WireDouble Value, Probability;
};

static_assert(sizeof(API_CAChiSq) == 20);

struct API_CAAnova {
  std::int32_t DFWithin;
  platform::WireDouble SSWithin, MSWithin;
  std::int32_t DFBetween;
  platform::WireDouble SSBetween, MSBetween;
  std::int32_t DFTotal;
  platform::WireDouble SSTotal, MSTotal, FRatio, ProbOfF;
};

static_assert(sizeof(API_CAAnova) == 76);

template <class Unit>
struct CASpecLimRecord {
  std::int32_t Head[10];
  Unit Text[256];
  std::int32_t Word296, Scale;
  platform::WireDouble Usl, Tar, Lsl, Ugb, Lgb, Url, Lrl, Uwp, Lwp, Usg, Lsg, Uds, Lds, Cp, Cpk;
  platform::WireDouble Double424, Double432, RRmar, RRmax, Fctr;
  std::int32_t EFlag, AFlag, Word472, Word476, Word480, Word484;
};

using API_CASpecLim8 = CASpecLimRecord<char>;

static_assert(sizeof(API_CASpecLim8) == 488);

struct API_CASpecResults {
  platform::WireDouble zUrl, zUsl, zUwl, zTar, zLwl, zLsl, zLrl, ActAboveURL, ActAboveUSL;
  platform::WireDouble ActAboveUWL, ActAboveTAR, ActBelowTAR, ActBelowLWL, ActBelowLSL;
  platform::WireDouble ActBelowLRL, ExpAboveURL, ExpAboveUSL, ExpAboveUWL, ExpAboveTAR;
  platform::WireDouble ExpBelowTAR, ExpBelowLWL, ExpBelowLSL, ExpBelowLRL;
};

static_assert(sizeof(API_CASpecResults) == 184);

template <class Unit>
struct CANccLimRecord {
  std::int32_t Head[10];
  Unit Text[256];
  platform::WireDouble Lsc, MavU, MavUp, MavL, MavLp, T2U, T2Up, T2L, T2Lp, T1U, T1Up, T1L, T1Lp;
  platform::WireDouble Fctr;
  std::int32_t EFlag, AFlag, Word416, Word420, Word424, Word428;
};

using API_CANccLim8 = CANccLimRecord<char>;

static_assert(sizeof(API_CANccLim8) == 432);

struct API_CANccResults {
  platform::WireDouble zLSC, zMAVU, zMAVL, zT1U, zT2U, zT1L, zT2L, ActAboveLSC, ActBelowLSC;
  platform::WireDouble ActAboveMAVU, ActBelowMAVL, ActAboveT1U, ActAboveT2U, ActBelowT1L;
  platform::WireDouble ActBelowT2L, ExpAboveLSC, ExpBelowLSC, ExpAboveMAVU, ExpBelowMAVL;
  platform::WireDouble ExpAboveT1U, ExpAboveT2U, ExpBelowT1L, ExpBelowT2L;
};

static_assert(sizeof(API_CANccResults) == 184);

struct API_CAReserved {
  std::int32_t Words[25];
};

static_assert(sizeof(API_CAReserved) == 100);

}  // namespace orvspc
