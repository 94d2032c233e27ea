// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
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
static_assert(offsetof(API_CAOptions, WindowMinimum) == 0 &&
              offsetof(API_CAOptions, WindowMaximum) == 8 &&
              offsetof(API_CAOptions, Double16) == 16 && offsetof(API_CAOptions, WindowSD) == 24 &&
              offsetof(API_CAOptions, BinCount) == 32 &&
              offsetof(API_CAOptions, CurveCount) == 36 &&
              offsetof(API_CAOptions, OverrideUSL) == 40 &&
              offsetof(API_CAOptions, OverrideTarget) == 48 &&
              offsetof(API_CAOptions, OverrideLSL) == 56 && offsetof(API_CAOptions, Word64) == 64 &&
              offsetof(API_CAOptions, Flags) == 68);

struct API_CABin {
  platform::WireDouble XMin, XMax, YMin, YMax;
};

static_assert(sizeof(API_CABin) == 32);
static_assert(offsetof(API_CABin, XMin) == 0 && offsetof(API_CABin, XMax) == 8 &&
              offsetof(API_CABin, YMin) == 16 && offsetof(API_CABin, YMax) == 24);

struct API_CASummary {
  std::int32_t PieceCount, SubgroupCount;
  platform::WireDouble SubgroupSize, Minimum, Maximum, Mean, ShortTermSD, LongTermSD, UpperSD;
  platform::WireDouble LowerSD, CoRobustness, CoOfVariation, ZBench;
};

static_assert(sizeof(API_CASummary) == 96);
static_assert(offsetof(API_CASummary, PieceCount) == 0 &&
              offsetof(API_CASummary, SubgroupCount) == 4 &&
              offsetof(API_CASummary, SubgroupSize) == 8 &&
              offsetof(API_CASummary, Minimum) == 16 && offsetof(API_CASummary, Maximum) == 24 &&
              offsetof(API_CASummary, Mean) == 32 && offsetof(API_CASummary, ShortTermSD) == 40 &&
              offsetof(API_CASummary, LongTermSD) == 48 && offsetof(API_CASummary, UpperSD) == 56 &&
              offsetof(API_CASummary, LowerSD) == 64 &&
              offsetof(API_CASummary, CoRobustness) == 72 &&
              offsetof(API_CASummary, CoOfVariation) == 80 &&
              offsetof(API_CASummary, ZBench) == 88);

struct API_CACPs {
  platform::WireDouble Cp, Cpk, Cpu, Cpl, Cr, Cpr, Cpm;
};

static_assert(sizeof(API_CACPs) == 56);
static_assert(offsetof(API_CACPs, Cp) == 0 && offsetof(API_CACPs, Cpk) == 8 &&
              offsetof(API_CACPs, Cpu) == 16 && offsetof(API_CACPs, Cpl) == 24 &&
              offsetof(API_CACPs, Cr) == 32 && offsetof(API_CACPs, Cpr) == 40 &&
              offsetof(API_CACPs, Cpm) == 48);

struct API_CAPPs {
  platform::WireDouble Pp, Ppk, Ppu, Ppl, Pr, Ppm;
};

static_assert(sizeof(API_CAPPs) == 48);
static_assert(offsetof(API_CAPPs, Pp) == 0 && offsetof(API_CAPPs, Ppk) == 8 &&
              offsetof(API_CAPPs, Ppu) == 16 && offsetof(API_CAPPs, Ppl) == 24 &&
              offsetof(API_CAPPs, Pr) == 32 && offsetof(API_CAPPs, Ppm) == 40);

struct API_CAMoments {
  platform::WireDouble Mean, AvgDev, SD, Variance, Kurtosis, Skewness;
};

static_assert(sizeof(API_CAMoments) == 48);
static_assert(offsetof(API_CAMoments, Mean) == 0 && offsetof(API_CAMoments, AvgDev) == 8 &&
              offsetof(API_CAMoments, SD) == 16 && offsetof(API_CAMoments, Variance) == 24 &&
              offsetof(API_CAMoments, Kurtosis) == 32 && offsetof(API_CAMoments, Skewness) == 40);

struct API_CAChiSq {
  std::int32_t DegFreedom;
  platform::WireDouble Value, Probability;
};

static_assert(sizeof(API_CAChiSq) == 20);
static_assert(offsetof(API_CAChiSq, DegFreedom) == 0 && offsetof(API_CAChiSq, Value) == 4 &&
              offsetof(API_CAChiSq, Probability) == 12);

struct API_CAAnova {
  std::int32_t DFWithin;
  platform::WireDouble SSWithin, MSWithin;
  std::int32_t DFBetween;
  platform::WireDouble SSBetween, MSBetween;
  std::int32_t DFTotal;
  platform::WireDouble SSTotal, MSTotal, FRatio, ProbOfF;
};

static_assert(sizeof(API_CAAnova) == 76);
static_assert(offsetof(API_CAAnova, DFWithin) == 0 && offsetof(API_CAAnova, SSWithin) == 4 &&
              offsetof(API_CAAnova, MSWithin) == 12 && offsetof(API_CAAnova, DFBetween) == 20 &&
              offsetof(API_CAAnova, SSBetween) == 24 && offsetof(API_CAAnova, MSBetween) == 32 &&
              offsetof(API_CAAnova, DFTotal) == 40 && offsetof(API_CAAnova, SSTotal) == 44 &&
              offsetof(API_CAAnova, MSTotal) == 52 && offsetof(API_CAAnova, FRatio) == 60 &&
              offsetof(API_CAAnova, ProbOfF) == 68);

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
static_assert(offsetof(API_CASpecLim8, Head) == 0 && offsetof(API_CASpecLim8, Text) == 40 &&
              offsetof(API_CASpecLim8, Word296) == 296 && offsetof(API_CASpecLim8, Scale) == 300 &&
              offsetof(API_CASpecLim8, Usl) == 304 && offsetof(API_CASpecLim8, Tar) == 312 &&
              offsetof(API_CASpecLim8, Lsl) == 320 && offsetof(API_CASpecLim8, Ugb) == 328 &&
              offsetof(API_CASpecLim8, Lgb) == 336 && offsetof(API_CASpecLim8, Url) == 344 &&
              offsetof(API_CASpecLim8, Lrl) == 352 && offsetof(API_CASpecLim8, Uwp) == 360 &&
              offsetof(API_CASpecLim8, Lwp) == 368 && offsetof(API_CASpecLim8, Usg) == 376 &&
              offsetof(API_CASpecLim8, Lsg) == 384 && offsetof(API_CASpecLim8, Uds) == 392 &&
              offsetof(API_CASpecLim8, Lds) == 400 && offsetof(API_CASpecLim8, Cp) == 408 &&
              offsetof(API_CASpecLim8, Cpk) == 416 && offsetof(API_CASpecLim8, Double424) == 424 &&
              offsetof(API_CASpecLim8, Double432) == 432 &&
              offsetof(API_CASpecLim8, RRmar) == 440 && offsetof(API_CASpecLim8, RRmax) == 448 &&
              offsetof(API_CASpecLim8, Fctr) == 456 && offsetof(API_CASpecLim8, EFlag) == 464 &&
              offsetof(API_CASpecLim8, AFlag) == 468 && offsetof(API_CASpecLim8, Word472) == 472 &&
              offsetof(API_CASpecLim8, Word476) == 476 &&
              offsetof(API_CASpecLim8, Word480) == 480 && offsetof(API_CASpecLim8, Word484) == 484);

struct API_CASpecResults {
  platform::WireDouble zUrl, zUsl, zUwl, zTar, zLwl, zLsl, zLrl, ActAboveURL, ActAboveUSL;
  platform::WireDouble ActAboveUWL, ActAboveTAR, ActBelowTAR, ActBelowLWL, ActBelowLSL;
  platform::WireDouble ActBelowLRL, ExpAboveURL, ExpAboveUSL, ExpAboveUWL, ExpAboveTAR;
  platform::WireDouble ExpBelowTAR, ExpBelowLWL, ExpBelowLSL, ExpBelowLRL;
};

static_assert(sizeof(API_CASpecResults) == 184);
static_assert(offsetof(API_CASpecResults, zUrl) == 0 && offsetof(API_CASpecResults, zUsl) == 8 &&
              offsetof(API_CASpecResults, zUwl) == 16 && offsetof(API_CASpecResults, zTar) == 24 &&
              offsetof(API_CASpecResults, zLwl) == 32 && offsetof(API_CASpecResults, zLsl) == 40 &&
              offsetof(API_CASpecResults, zLrl) == 48 &&
              offsetof(API_CASpecResults, ActAboveURL) == 56 &&
              offsetof(API_CASpecResults, ActAboveUSL) == 64 &&
              offsetof(API_CASpecResults, ActAboveUWL) == 72 &&
              offsetof(API_CASpecResults, ActAboveTAR) == 80 &&
              offsetof(API_CASpecResults, ActBelowTAR) == 88 &&
              offsetof(API_CASpecResults, ActBelowLWL) == 96 &&
              offsetof(API_CASpecResults, ActBelowLSL) == 104 &&
              offsetof(API_CASpecResults, ActBelowLRL) == 112 &&
              offsetof(API_CASpecResults, ExpAboveURL) == 120 &&
              offsetof(API_CASpecResults, ExpAboveUSL) == 128 &&
              offsetof(API_CASpecResults, ExpAboveUWL) == 136 &&
              offsetof(API_CASpecResults, ExpAboveTAR) == 144 &&
              offsetof(API_CASpecResults, ExpBelowTAR) == 152 &&
              offsetof(API_CASpecResults, ExpBelowLWL) == 160 &&
              offsetof(API_CASpecResults, ExpBelowLSL) == 168 &&
              offsetof(API_CASpecResults, ExpBelowLRL) == 176);

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
static_assert(offsetof(API_CANccLim8, Head) == 0 && offsetof(API_CANccLim8, Text) == 40 &&
              offsetof(API_CANccLim8, Lsc) == 296 && offsetof(API_CANccLim8, MavU) == 304 &&
              offsetof(API_CANccLim8, MavUp) == 312 && offsetof(API_CANccLim8, MavL) == 320 &&
              offsetof(API_CANccLim8, MavLp) == 328 && offsetof(API_CANccLim8, T2U) == 336 &&
              offsetof(API_CANccLim8, T2Up) == 344 && offsetof(API_CANccLim8, T2L) == 352 &&
              offsetof(API_CANccLim8, T2Lp) == 360 && offsetof(API_CANccLim8, T1U) == 368 &&
              offsetof(API_CANccLim8, T1Up) == 376 && offsetof(API_CANccLim8, T1L) == 384 &&
              offsetof(API_CANccLim8, T1Lp) == 392 && offsetof(API_CANccLim8, Fctr) == 400 &&
              offsetof(API_CANccLim8, EFlag) == 408 && offsetof(API_CANccLim8, AFlag) == 412 &&
              offsetof(API_CANccLim8, Word416) == 416 && offsetof(API_CANccLim8, Word420) == 420 &&
              offsetof(API_CANccLim8, Word424) == 424 && offsetof(API_CANccLim8, Word428) == 428);

struct API_CANccResults {
  platform::WireDouble zLSC, zMAVU, zMAVL, zT1U, zT2U, zT1L, zT2L, ActAboveLSC, ActBelowLSC;
  platform::WireDouble ActAboveMAVU, ActBelowMAVL, ActAboveT1U, ActAboveT2U, ActBelowT1L;
  platform::WireDouble ActBelowT2L, ExpAboveLSC, ExpBelowLSC, ExpAboveMAVU, ExpBelowMAVL;
  platform::WireDouble ExpAboveT1U, ExpAboveT2U, ExpBelowT1L, ExpBelowT2L;
};

static_assert(sizeof(API_CANccResults) == 184);
static_assert(offsetof(API_CANccResults, zLSC) == 0 && offsetof(API_CANccResults, zMAVU) == 8 &&
              offsetof(API_CANccResults, zMAVL) == 16 && offsetof(API_CANccResults, zT1U) == 24 &&
              offsetof(API_CANccResults, zT2U) == 32 && offsetof(API_CANccResults, zT1L) == 40 &&
              offsetof(API_CANccResults, zT2L) == 48 &&
              offsetof(API_CANccResults, ActAboveLSC) == 56 &&
              offsetof(API_CANccResults, ActBelowLSC) == 64 &&
              offsetof(API_CANccResults, ActAboveMAVU) == 72 &&
              offsetof(API_CANccResults, ActBelowMAVL) == 80 &&
              offsetof(API_CANccResults, ActAboveT1U) == 88 &&
              offsetof(API_CANccResults, ActAboveT2U) == 96 &&
              offsetof(API_CANccResults, ActBelowT1L) == 104 &&
              offsetof(API_CANccResults, ActBelowT2L) == 112 &&
              offsetof(API_CANccResults, ExpAboveLSC) == 120 &&
              offsetof(API_CANccResults, ExpBelowLSC) == 128 &&
              offsetof(API_CANccResults, ExpAboveMAVU) == 136 &&
              offsetof(API_CANccResults, ExpBelowMAVL) == 144 &&
              offsetof(API_CANccResults, ExpAboveT1U) == 152 &&
              offsetof(API_CANccResults, ExpAboveT2U) == 160 &&
              offsetof(API_CANccResults, ExpBelowT1L) == 168 &&
              offsetof(API_CANccResults, ExpBelowT2L) == 176);

struct API_CAReserved {
  std::int32_t Words[25];
};

static_assert(sizeof(API_CAReserved) == 100);

}  // namespace orvspc
