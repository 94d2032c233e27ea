// SPDX-License-Identifier: Apache-2.0
// The layout of the wire records: the closed libraries find each field at its offset. What is wrong
// here does not compile; the sizes are asserted beside the records.
#include <cstddef>

#include "platform/CapabilityRecords.h"
#include "platform/ChartRecords.h"
#include "platform/ComplianceRecords.h"
#include "platform/ParetoRecords.h"
#include "platform/RowRecords.h"
#include "platform/SelectionRecord.h"

namespace orvspc {

static_assert(offsetof(API_DSInfo, Count) == 0 && offsetof(API_DSInfo, Filter) == 4 &&
              offsetof(API_DSInfo, DECFGID) == 8 && offsetof(API_DSInfo, TimeType) == 12 &&
              offsetof(API_DSInfo, TimePeriod) == 16 && offsetof(API_DSInfo, TimeCount) == 20 &&
              offsetof(API_DSInfo, TimeStart) == 24 && offsetof(API_DSInfo, TimeEnd) == 28 &&
              offsetof(API_DSInfo, ItemNo) == 32 && offsetof(API_DSInfo, Type) == 36 &&
              offsetof(API_DSInfo, Status) == 40 && offsetof(API_DSInfo, DSBL) == 44 &&
              offsetof(API_DSInfo, LinkPart) == 48 && offsetof(API_DSInfo, LinkProcess) == 52 &&
              offsetof(API_DSInfo, LinkTest) == 56 && offsetof(API_DSInfo, LinkCode) == 60 &&
              offsetof(API_DSInfo, LinkJob) == 64 && offsetof(API_DSInfo, LinkLot) == 68 &&
              offsetof(API_DSInfo, LinkShift) == 72 && offsetof(API_DSInfo, LinkEmployee) == 76 &&
              offsetof(API_DSInfo, AllPart) == 80 && offsetof(API_DSInfo, AllProcess) == 84 &&
              offsetof(API_DSInfo, AllTest) == 88 && offsetof(API_DSInfo, AllCode) == 92 &&
              offsetof(API_DSInfo, AllJob) == 96 && offsetof(API_DSInfo, AllLot) == 100 &&
              offsetof(API_DSInfo, AllShift) == 104 && offsetof(API_DSInfo, AllEmployee) == 108 &&
              offsetof(API_DSInfo, TestType) == 112 && offsetof(API_DSInfo, SubgroupStart) == 116 &&
              offsetof(API_DSInfo, SubgroupEnd) == 120);

static_assert(offsetof(API_SubgroupData, Sgrp) == 0 && offsetof(API_SubgroupData, Part) == 4 &&
              offsetof(API_SubgroupData, Prcs) == 8 && offsetof(API_SubgroupData, Test) == 12 &&
              offsetof(API_SubgroupData, Wkst) == 16 && offsetof(API_SubgroupData, Job) == 20 &&
              offsetof(API_SubgroupData, Lot) == 24 && offsetof(API_SubgroupData, Shft) == 28 &&
              offsetof(API_SubgroupData, Ptrv) == 32 && offsetof(API_SubgroupData, Empl) == 36 &&
              offsetof(API_SubgroupData, Sgtm) == 40 && offsetof(API_SubgroupData, Size) == 44 &&
              offsetof(API_SubgroupData, Flag) == 48 &&
              offsetof(API_SubgroupData, Reserved) == 52 &&
              offsetof(API_SubgroupData, Test_Start) == 56 &&
              offsetof(API_SubgroupData, Test_End) == 60);

static_assert(offsetof(API_TestData, Sn) == 0 && offsetof(API_TestData, Tsno) == 4 &&
              offsetof(API_TestData, Sbno) == 8 && offsetof(API_TestData, Def) == 12 &&
              offsetof(API_TestData, Gage) == 16 && offsetof(API_TestData, Val) == 20 &&
              offsetof(API_TestData, Reserved) == 28);

static_assert(offsetof(API_DescriptorData, Sgrp) == 0 && offsetof(API_DescriptorData, Dsgp) == 4 &&
              offsetof(API_DescriptorData, Desc) == 8 && offsetof(API_DescriptorData, Tsno) == 12 &&
              offsetof(API_DescriptorData, Reserved) == 16);

static_assert(offsetof(API_CommentData, Sgrp) == 0 && offsetof(API_CommentData, Reserved1) == 4 &&
              offsetof(API_CommentData, Edtm) == 8 && offsetof(API_CommentData, Test) == 12 &&
              offsetof(API_CommentData, Tsno) == 16 && offsetof(API_CommentData, Empl) == 20 &&
              offsetof(API_CommentData, Note) == 84 && offsetof(API_CommentData, Reserved2) == 340);

static_assert(offsetof(API_EventData, Evnt) == 0 && offsetof(API_EventData, Reserved1) == 4 &&
              offsetof(API_EventData, F_TYPE) == 12 && offsetof(API_EventData, F_NAME) == 16 &&
              offsetof(API_EventData, F_EMPL) == 80 && offsetof(API_EventData, F_EVTM) == 84 &&
              offsetof(API_EventData, F_PRCS) == 88 && offsetof(API_EventData, F_PART) == 92 &&
              offsetof(API_EventData, F_TEST_) == 96 && offsetof(API_EventData, F_SGTM) == 100 &&
              offsetof(API_EventData, F_ACC) == 104 && offsetof(API_EventData, F_ACEM) == 108 &&
              offsetof(API_EventData, F_ACTM) == 112 && offsetof(API_EventData, F_CAC) == 116 &&
              offsetof(API_EventData, F_CAEM) == 120 && offsetof(API_EventData, F_CATM) == 124 &&
              offsetof(API_EventData, F_FLAG) == 128 && offsetof(API_EventData, Reserved2) == 132);

static_assert(offsetof(API_CCVarOptions, ChartWord) == 0 &&
              offsetof(API_CCVarOptions, ProcessingWord) == 4 &&
              offsetof(API_CCVarOptions, Constant) == 8 && offsetof(API_CCVarOptions, Zeros) == 12);

static_assert(offsetof(API_CCTotals, SubgroupCount) == 0 &&
              offsetof(API_CCTotals, TestCount) == 4 && offsetof(API_CCTotals, SpecLimCount) == 8 &&
              offsetof(API_CCTotals, CtrlLimCount) == 12 &&
              offsetof(API_CCTotals, DefOppCount) == 16 && offsetof(API_CCTotals, Spare1) == 20 &&
              offsetof(API_CCTotals, Spare2) == 24);

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

static_assert(offsetof(API_CCDefOpp, Word0) == 0 && offsetof(API_CCDefOpp, Stamp4) == 4 &&
              offsetof(API_CCDefOpp, Stamp8) == 8 && offsetof(API_CCDefOpp, F_PART) == 12 &&
              offsetof(API_CCDefOpp, F_TEST_) == 16 && offsetof(API_CCDefOpp, F_OPPS) == 20 &&
              offsetof(API_CCDefOpp, Word24) == 24 && offsetof(API_CCDefOpp, Word28) == 28 &&
              offsetof(API_CCDefOpp, Word32) == 32 && offsetof(API_CCDefOpp, Word36) == 36);

static_assert(offsetof(API_CAOptions, WindowMinimum) == 0 &&
              offsetof(API_CAOptions, WindowMaximum) == 8 &&
              offsetof(API_CAOptions, Double16) == 16 && offsetof(API_CAOptions, WindowSD) == 24 &&
              offsetof(API_CAOptions, BinCount) == 32 &&
              offsetof(API_CAOptions, CurveCount) == 36 &&
              offsetof(API_CAOptions, OverrideUSL) == 40 &&
              offsetof(API_CAOptions, OverrideTarget) == 48 &&
              offsetof(API_CAOptions, OverrideLSL) == 56 && offsetof(API_CAOptions, Word64) == 64 &&
              offsetof(API_CAOptions, Flags) == 68);

static_assert(offsetof(API_CABin, XMin) == 0 && offsetof(API_CABin, XMax) == 8 &&
              offsetof(API_CABin, YMin) == 16 && offsetof(API_CABin, YMax) == 24);

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

static_assert(offsetof(API_CACPs, Cp) == 0 && offsetof(API_CACPs, Cpk) == 8 &&
              offsetof(API_CACPs, Cpu) == 16 && offsetof(API_CACPs, Cpl) == 24 &&
              offsetof(API_CACPs, Cr) == 32 && offsetof(API_CACPs, Cpr) == 40 &&
              offsetof(API_CACPs, Cpm) == 48);

static_assert(offsetof(API_CAPPs, Pp) == 0 && offsetof(API_CAPPs, Ppk) == 8 &&
              offsetof(API_CAPPs, Ppu) == 16 && offsetof(API_CAPPs, Ppl) == 24 &&
              offsetof(API_CAPPs, Pr) == 32 && offsetof(API_CAPPs, Ppm) == 40);

static_assert(offsetof(API_CAMoments, Mean) == 0 && offsetof(API_CAMoments, AvgDev) == 8 &&
              offsetof(API_CAMoments, SD) == 16 && offsetof(API_CAMoments, Variance) == 24 &&
              offsetof(API_CAMoments, Kurtosis) == 32 && offsetof(API_CAMoments, Skewness) == 40);

static_assert(offsetof(API_CAChiSq, DegFreedom) == 0 && offsetof(API_CAChiSq, Value) == 4 &&
              offsetof(API_CAChiSq, Probability) == 12);

static_assert(offsetof(API_CAAnova, DFWithin) == 0 && offsetof(API_CAAnova, SSWithin) == 4 &&
              offsetof(API_CAAnova, MSWithin) == 12 && offsetof(API_CAAnova, DFBetween) == 20 &&
              offsetof(API_CAAnova, SSBetween) == 24 && offsetof(API_CAAnova, MSBetween) == 32 &&
              offsetof(API_CAAnova, DFTotal) == 40 && offsetof(API_CAAnova, SSTotal) == 44 &&
              offsetof(API_CAAnova, MSTotal) == 52 && offsetof(API_CAAnova, FRatio) == 60 &&
              offsetof(API_CAAnova, ProbOfF) == 68);

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

static_assert(offsetof(API_PABin, ID) == 0 && offsetof(API_PABin, Name) == 24 &&
              offsetof(API_PABin, BinCount) == 88 && offsetof(API_PABin, Factor) == 96 &&
              offsetof(API_PABin, Value) == 104 && offsetof(API_PABin, Percentage) == 112 &&
              offsetof(API_PABin, Total) == 160 && offsetof(API_PABin, Yield) == 168 &&
              offsetof(API_PABin, PPK) == 176 && offsetof(API_PABin, Flag) == 184 &&
              offsetof(API_PABin, SubgroupID) == 188);

static_assert(offsetof(API_PAOptions, BinType) == 0 && offsetof(API_PAOptions, BinTypeID) == 24 &&
              offsetof(API_PAOptions, BinTimePeriod) == 48 &&
              offsetof(API_PAOptions, BinTimeInterval) == 72 &&
              offsetof(API_PAOptions, ProcessingType) == 96 &&
              offsetof(API_PAOptions, AccumulationType) == 100 &&
              offsetof(API_PAOptions, BinCount) == 104 &&
              offsetof(API_PAOptions, Reserved1) == 108 &&
              offsetof(API_PAOptions, Reserved2) == 116 &&
              offsetof(API_PAOptions, ShowEmptyBins) == 120);

static_assert(offsetof(API_SCRow, ResultType) == 0 && offsetof(API_SCRow, ProcessID) == 4 &&
              offsetof(API_SCRow, PartID) == 8 && offsetof(API_SCRow, StartStamp) == 12 &&
              offsetof(API_SCRow, StateID) == 16 && offsetof(API_SCRow, StateType) == 20 &&
              offsetof(API_SCRow, Duration) == 24 && offsetof(API_SCRow, SmplReqID) == 32 &&
              offsetof(API_SCRow, Reserved) == 36 && offsetof(API_SCRow, TestID) == 48 &&
              offsetof(API_SCRow, SamplesCollected) == 52 &&
              offsetof(API_SCRow, SamplesMissed) == 56 &&
              offsetof(API_SCRow, SamplesExpected) == 60 &&
              offsetof(API_SCRow, PercentComplete) == 64 && offsetof(API_SCRow, TestCount) == 72);

static_assert(
    offsetof(API_SCRow, MinimumValue) == 76 && offsetof(API_SCRow, MaximumValue) == 84 &&
    offsetof(API_SCRow, AverageValue) == 92 && offsetof(API_SCRow, StandardDeviation) == 100 &&
    offsetof(API_SCRow, PP) == 108 && offsetof(API_SCRow, PPK) == 116 &&
    offsetof(API_SCRow, SpecFlags) == 124 && offsetof(API_SCRow, PercentAboveUSL) == 128 &&
    offsetof(API_SCRow, PercentBelowLSL) == 136 && offsetof(API_SCRow, PercentOOS) == 144 &&
    offsetof(API_SCRow, PPM) == 152 && offsetof(API_SCRow, LimitFlags) == 160 &&
    offsetof(API_SCRow, PercentAboveLSC) == 164 && offsetof(API_SCRow, PercentBelowLSC) == 172 &&
    offsetof(API_SCRow, PercentBelowMAVL) == 180 && offsetof(API_SCRow, PercentBelowT1L) == 188 &&
    offsetof(API_SCRow, PercentBelowT2L) == 196 && offsetof(API_SCRow, PercentAboveMAVU) == 204 &&
    offsetof(API_SCRow, PercentAboveT1U) == 212 && offsetof(API_SCRow, PercentAboveT2U) == 220);

}  // namespace orvspc
