// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

// The public enumerations. Stored in XML and handed to the engines: never renumber.
// A value outside an enumeration is legal and kept, hence the fixed underlying type.
namespace orvspc {

enum DateRangeTimeTypes : std::int32_t {
  drttMostRecent = 0,
  drttCurrent = 1,
  drttPrevious = 2,
  drttStatic = 20,
};

enum DateRangePeriods : std::int32_t {  // 5 is not used
  drpMinute = 0,
  drpHour = 1,
  drpDay = 2,
  drpWeek = 3,
  drpMonth = 4,
  drpYear = 6,
};

enum TestTypes : std::int32_t { ttVariable = 1, ttDefects = 2, ttDefectives = 4 };

enum DescriptorTypes : std::int32_t {
  dtPart = 0,
  dtProcess = 1,
  dtTest = 2,
  dtJob = 3,
  dtLot = 4,
  dtShift = 5,
  dtDefect = 6,
  dtEmployee = 7,
  dtOther = 8,
};

enum FilterTypes : std::int32_t { ftItemList = 0, ftGroup = 1, ftUnlimited = 2 };

enum SubgroupFlags : std::int32_t { sfEnabled = 0, sfDisabled = 1, sfIncomplete = 2 };

enum SpecLimitFlags : std::int32_t {  // bits
  slfURL = 1,
  slfUSL = 2,
  slfUGB = 4,
  slfTAR = 8,
  slfLGB = 16,
  slfLSL = 32,
  slfLRL = 64,
  slfUWP = 256,
  slfLWP = 512,
  slfUSG = 4096,
  slfLSG = 8192,
  slfUDS = 65536,
  slfLDS = 131072,
};

enum ccGraphTypes : std::int32_t { ccGraphType1 = 1, ccGraphType2 = 2, ccGraphType3 = 3 };

enum ccGraph1Types : std::int32_t {
  ccGraph1BestGuessVariable = 0,
  ccGraph1XBar = 1,
  ccGraph1XMed = 2,
  ccGraph1Ix = 3,
  ccGraph1Ma = 4,
  ccGraph1Pc = 5,
  ccGraph1BestGuessAttribute = 6,
  ccGraph1Ppt = 7,
  ccGraph1Dpto = 8,
  ccGraph1Ppm = 9,
  ccGraph1Dpmo = 10,
  ccGraph1Np = 11,
  ccGraph1P = 12,
  ccGraph1C = 13,
  ccGraph1U = 14,
};

enum ccGraph2Types : std::int32_t {
  ccGraph2None = 0,
  ccGraph2Range = 1,
  ccGraph2Sd = 2,
  ccGraph2Mr = 3,
  ccGraph2Cv = 4,
};

enum ccGraph3Types : std::int32_t { ccGraph3None = 0, ccGraph3Range = 1, ccGraph3Sd = 2 };

enum ccGroupByTypes : std::int32_t {
  ccGroupByNone = 0,
  ccGroupByPart = 1,
  ccGroupByProcess = 2,
  ccGroupByTest = 3,
};

enum ccCusumTypes : std::int32_t { ccCusumNone = 0, ccCusumStandard = 1 };

enum ccEWMATypes : std::int32_t { ccEwmaNone = 0, ccEwmaStandard = 1, ccEwmaWanderingMean = 2 };

enum ccProcessingTypes : std::int32_t {
  ccTraditional = 0,
  ccNominal = 1,
  ccTarget = 2,
  ccShortrun = 3,
  ccStandardized = 4,
  ccProcessMean = 5,
};

enum EventTypes : std::int32_t {
  etSubgroupAlarm = 1,
  etGeneral = 2,
  etSamplingViolation = 3,
  etSubgroupDisable = 4,
  etSubgroupDelete = 5,
  etSubgroupEdit = 6,
  etDonwtime = 7,  // Deliberate: hosts use the name as it is spelled.
};

enum EventFlags : std::int32_t {  // bits
  efOpenACC = 1,
  efOpenCAC = 2,
};

enum caFitTypes : std::int32_t {
  caFitNormal = 0,
  caFitJohnson = 1,
};

enum caNormalizeTypes : std::int32_t {
  caNormalizeNone = 0,
  caNormalizeNominal = 1,
  caNormalizeTarget = 2,
};

enum caWindowTypes : std::int32_t {
  caWindowTypeWindowSD = 0,
  caWindowTypeMinMax = 1,
  caWindowTypeSpecs = 2,
};

enum caShortTermSigmaTypes : std::int32_t {
  caShortTermSigmaAuto = 0,
  caShortTermSigmaRange = 1,
  caShortTermSigmaSD = 2,
  caShortTermSigmaPooled = 3,
};

enum caJohnsonTypes : std::int32_t {
  caJohnsonTypeNone = 0,
  caJohnsonTypeU = 1,
  caJohnsonTypeB = 2,
  caJohnsonTypeL = 3,
};

enum paResourceTypes : std::int32_t {
  paSubgroups = 0,
  paProcessEvents = 1,
  paProcessState = 2,
};

enum paBinTypes : std::int32_t {
  paBinTypeNone = 0,
  paBinTypeSubgroup = 1,
  paBinTypeTime = 2,
  paBinTypePart = 3,
  paBinTypeProcess = 4,
  paBinTypeTest = 5,
  paBinTypeJob = 6,
  paBinTypeLot = 7,
  paBinTypeShift = 8,
  paBinTypeEmployee = 9,
  paBinTypeSgDesc = 10,
  paBinTypeTSNO = 11,
  paBinTypeSN = 12,
  paBinTypeDefect = 13,
  paBinTypeCAC = 14,
  paBinTypeACC = 15,
  paBinTypeEvent = 16,
  paBinTypeGage = 17,
  paBinTypeSBNO = 18,
  paBinTypePtgp = 19,
  paBinTypePrgp = 20,
  paBinTypeTsgp = 21,
  paBinTypeDsgp = 22,
  paBinTypeStateCode = 23,
  paBinTypeStateType = 24,
  paBinTypeCo = 25,
  paBinTypeDiv = 26,
  paBinTypeSite = 27,
  paBinTypeDept = 28,
  paBinTypeArea = 29,
  paBinTypePrut = 30,
  paBinTypeDfgp = 31,
  paBinTypeCagp = 32,
  paBinTypeAcgp = 33,
  paBinTypeJbgp = 34,
  paBinTypeEventType = 35,
};

enum paTimePeriods : std::int32_t {
  paSeconds = 0,
  paMinutes = 1,
  paHours = 2,
  paDays = 3,
  paWeeks = 4,
  paMonths = 5,
  paQuarters = 6,
};

enum paProcessingTypes : std::int32_t {
  paProcessByCount = 0,
  paProcessByFactor = 1,
  paProcessByPPM = 2,
  paProcessByPPT = 3,
  paProcessByMinutes = 10,
  paProcessByHours = 11,
  paProcessByDays = 12,
};

enum paAccumulationTypes : std::int32_t {
  paAccumulateByValue = 0,
  paAccumulateByHits = 1,
  paAccumulateByEventTime = 2,
  paAccumulateByAccTime = 3,
  paAccumulateByCacTime = 4,
};

enum ProcessStateTypes : std::int32_t {
  pst_None = 0,
  pst_Start = 1000,
  pst_Run = 2000,
  pst_Pause = 3000,
  pst_End = 4000,
  pst_Idle = 5000,
  pst_ScheduledDown = 6000,
  pst_UnscheduledDown = 7000,
};

enum SCResultTypes : std::int32_t {  // bits
  rt_Data = 1,
  rt_Part = 2,
  rt_Process = 4,
  rt_Test = 8,
  rt_Summary = 16,
};

// Carries the public enumerations for hosts that reach them through a class; has no operations.
class Constants {};

}  // namespace orvspc
