// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "capability/CAStatistics.h"

// What the operations of CAStatistics are expected to read and to ask for, written out apart from
// the table that they are made of.
namespace orvspc::statistics_rows {

// Bits of the two words.
inline constexpr std::int32_t kUrl = 1, kUsl = 2, kUwl = 4, kTar = 8, kLwl = 16, kLsl = 32,
                              kLrl = 64;
inline constexpr std::int32_t kMavL = 0x1, kMavU = 0x10, kMavUp = 0x20, kT1L = 0x100, kT1Lp = 0x200,
                              kT2L = 0x400, kT2Lp = 0x800, kT1U = 0x1000, kT2U = 0x4000,
                              kT2Up = 0x8000;

// True when always, or when a bit of spec or ncc is set in its word, or by the head of NccLim.
struct Rule {
  bool always = false;
  std::int32_t spec = 0, ncc = 0;
  bool head = false;
};
inline constexpr Rule Always() { return {true, 0, 0, false}; }
inline constexpr Rule Spec(std::int32_t bits) { return {false, bits, 0, false}; }
inline constexpr Rule Ncc(std::int32_t bits) { return {false, 0, bits, false}; }
inline constexpr Rule Lsc() { return {false, 0, 0, true}; }

struct Row {
  std::string_view operation;
  bool (*get)(const CAStatistics&, double& value);
  void (*set)(API_CAStatistics&, double value);
  Rule rule;
};

// The operation with its value as a double; its answer is what it returns, -1.0 counting as true.
template <class Number, class Answer>
bool Call(const CAStatistics& statistics, Answer (CAStatistics::*get)(Number&) const,
          double& value) {
  auto number = static_cast<Number>(value);
  const bool answer = (statistics.*get)(number) != Answer{};
  value = static_cast<double>(number);
  return answer;
}

template <class Field>
void Assign(Field& field, double value) {
  field = static_cast<Field>(value);
}

#define ROW(operation, record, field, rule)                         \
  Row {                                                             \
#operation,                                                       \
        [](const CAStatistics& statistics, double& value) {           \
          return Call(statistics, &CAStatistics::operation, value);   \
        },                                                            \
        [](API_CAStatistics& record_, double value) {                 \
          Assign(record_.record.field, value);                        \
        },                                                            \
        rule \
  }

// In the order of the operations; JohnsonCurveType stands before the first.
inline constexpr Row kRows[] = {
    // clang-format off
    ROW(GetANovaDFWithin, Anova, DFWithin, Always()),
    ROW(GetANovaSSWithin, Anova, SSWithin, Always()),
    ROW(GetAnovaMSWithin, Anova, MSWithin, Always()),
    ROW(GetAnovaDFBetween, Anova, DFBetween, Always()),
    ROW(GetAnovaSSBetween, Anova, SSBetween, Always()),
    ROW(GetAnovaMSBetween, Anova, MSBetween, Always()),
    ROW(GetAnovaDFTotal, Anova, DFTotal, Always()),
    ROW(GetAnovaSSTotal, Anova, SSTotal, Always()),
    ROW(GetAnovaFRatio, Anova, FRatio, Always()),
    ROW(GetAnovaProbOfF, Anova, ProbOfF, Always()),
    ROW(GetChiSqDegFreedom, ChiSq, DegFreedom, Always()),
    ROW(GetChiSqProbability, ChiSq, Probability, Always()),
    ROW(GetChiSqValue, ChiSq, Value, Always()),
    ROW(GetCp, CPs, Cp, Spec(kUsl | kLsl)),
    ROW(GetCpk, CPs, Cpk, Spec(kUsl | kLsl)),
    ROW(GetCpu, CPs, Cpu, Spec(kUsl)),
    ROW(GetCpl, CPs, Cpl, Spec(kLsl)),
    ROW(GetCr, CPs, Cr, Spec(kUsl | kLsl)),
    ROW(GetCpm, CPs, Cpm, Spec(kUsl | kLsl)),
    ROW(GetPp, PPs, Pp, Spec(kUsl | kLsl)),
    ROW(GetPpk, PPs, Ppk, Spec(kUsl | kLsl)),
    ROW(GetPpu, PPs, Ppu, Spec(kUsl)),
    ROW(GetPpl, PPs, Ppl, Spec(kLsl)),
    ROW(GetPr, PPs, Pr, Spec(kUsl | kLsl)),
    ROW(GetPpm, PPs, Ppm, Spec(kUsl | kLsl)),
    ROW(GetMomentsAvgDev, Moments, AvgDev, Always()),
    ROW(GetMomentsKurtosis, Moments, Kurtosis, Always()),
    ROW(GetMomentsMean, Moments, Mean, Always()),
    ROW(GetMomentsSD, Moments, SD, Always()),
    ROW(GetMomentsSkewness, Moments, Skewness, Always()),
    ROW(GetMomentsVariance, Moments, Variance, Always()),
    ROW(GetDistActAboveUSL, SpecResults, ActAboveUSL, Spec(kUsl)),
    ROW(GetDistActAboveUWL, SpecResults, ActAboveUWL, Spec(kUwl)),
    ROW(GetDistActAboveTAR, SpecResults, ActAboveTAR, Spec(kTar)),
    ROW(GetDistActBelowTAR, SpecResults, ActBelowTAR, Spec(kTar)),
    ROW(GetDistActBelowLWL, SpecResults, ActBelowLWL, Spec(kLwl)),
    ROW(GetDistActBelowLSL, SpecResults, ActBelowLSL, Spec(kLsl)),
    ROW(GetDistExpAboveUSL, SpecResults, ExpAboveUSL, Spec(kUsl)),
    ROW(GetDistExpAboveUWL, SpecResults, ExpAboveUWL, Spec(kUwl)),
    ROW(GetDistExpAboveTAR, SpecResults, ExpAboveTAR, Spec(kTar)),
    ROW(GetDistExpBelowTAR, SpecResults, ExpBelowTAR, Spec(kTar)),
    ROW(GetDistExpBelowLWL, SpecResults, ExpBelowLWL, Spec(kLwl)),
    ROW(GetDistExpBelowLSL, SpecResults, ExpBelowLSL, Spec(kLsl)),
    ROW(GetSpecLimUsl, SpecLim, Usl, Spec(kUsl)),
    ROW(GetSpecLimTar, SpecLim, Tar, Spec(kTar)),
    ROW(GetSpecLimLsl, SpecLim, Lsl, Spec(kLsl)),
    ROW(GetSpecLimEFlag, SpecLim, EFlag, Always()),
    ROW(GetSpecLimScale, SpecLim, Scale, Always()),
    ROW(GetSpecLimCp, SpecLim, Cp, Always()),
    ROW(GetSpecLimCpk, SpecLim, Cpk, Always()),
    ROW(GetSpecLimUslZ, SpecResults, zUsl, Spec(kUsl)),
    ROW(GetSpecLimTarZ, SpecResults, zTar, Spec(kTar)),
    ROW(GetSpecLimLslZ, SpecResults, zLsl, Spec(kLsl)),
    ROW(GetPieceCount, Summary, PieceCount, Always()),
    ROW(GetSubgroupCount, Summary, SubgroupCount, Always()),
    ROW(GetSubgroupSize, Summary, SubgroupSize, Always()),
    ROW(GetMinimumValue, Summary, Minimum, Always()),
    ROW(GetMaximumValue, Summary, Maximum, Always()),
    ROW(GetMeanValue, Summary, Mean, Always()),
    ROW(GetShortTermSD, Summary, ShortTermSD, Always()),
    ROW(GetLongTermSD, Summary, LongTermSD, Always()),
    ROW(GetUpperSD, Summary, UpperSD, Always()),
    ROW(GetLowerSD, Summary, LowerSD, Always()),
    ROW(GetCoRobustness, Summary, CoRobustness, Always()),
    ROW(GetCoOfVariation, Summary, CoOfVariation, Always()),
    ROW(GetDistActAboveURL, SpecResults, ActAboveURL, Spec(kUrl)),
    ROW(GetDistActBelowLRL, SpecResults, ActBelowLRL, Spec(kLrl)),
    ROW(GetDistExpAboveURL, SpecResults, ExpAboveURL, Spec(kUrl)),
    ROW(GetDistExpBelowLRL, SpecResults, ExpBelowLRL, Spec(kLrl)),
    ROW(GetSpecLimUrlZ, SpecResults, zUrl, Spec(kUrl)),
    ROW(GetSpecLimUwlZ, SpecResults, zUwl, Spec(kUwl)),
    ROW(GetSpecLimLwlZ, SpecResults, zLwl, Spec(kLwl)),
    ROW(GetSpecLimUrl, SpecLim, Url, Spec(kUrl)),
    ROW(GetSpecLimUgb, SpecLim, Ugb, Spec(kUwl)),
    ROW(GetSpecLimLwl, SpecLim, Lgb, Spec(kLwl)),
    ROW(GetSpecLimLrl, SpecLim, Lrl, Spec(kLrl)),
    ROW(GetZBench, Summary, ZBench, Always()),
    ROW(GetNccLimEFlag, NccLim, EFlag, Always()),
    ROW(GetNccLimLsc, NccLim, Lsc, Lsc()),
    ROW(GetNccLimMavL, NccLim, MavL, Ncc(kMavL)),
    ROW(GetNccLimMavLp, NccLim, MavLp, Ncc(kMavL)),
    ROW(GetNccLimMavU, NccLim, MavU, Ncc(kMavU)),
    ROW(GetNccLimMavUp, NccLim, MavUp, Ncc(kMavUp)),
    ROW(GetNccLimT1L, NccLim, T1L, Ncc(kT1L)),
    ROW(GetNccLimT1T2Lp, NccLim, T1Lp, Ncc(kT1Lp)),
    ROW(GetNccLimT1U, NccLim, T1U, Always()),
    ROW(GetNccLimT1T2Up, NccLim, T1Up, Ncc(kT2Up)),
    ROW(GetNccLimT2L, NccLim, T2L, Ncc(kT2L)),
    ROW(GetNccLimT2Lp, NccLim, T2Lp, Ncc(kT2Lp)),
    ROW(GetNccLimT2U, NccLim, T2U, Ncc(kT2U)),
    ROW(GetNccLimT2Up, NccLim, T2Up, Ncc(kT2Up)),
    ROW(GetNccResultActPercentAboveLSC, NccResults, ActAboveLSC, Lsc()),
    ROW(GetNccResultActPercentAboveMAVU, NccResults, ActAboveMAVU, Ncc(kMavU)),
    ROW(GetNccResultActPercentAboveT1U, NccResults, ActAboveT1U, Ncc(kT1U)),
    ROW(GetNccResultActPercentAboveT2U, NccResults, ActAboveT2U, Ncc(kT2U)),
    ROW(GetNccResultActPercentBelowLSC, NccResults, ActBelowLSC, Lsc()),
    ROW(GetNccResultActPercentBelowMAVL, NccResults, ActBelowMAVL, Ncc(kMavL)),
    ROW(GetNccResultActPercentBelowT1L, NccResults, ActBelowT1L, Ncc(kT1L)),
    ROW(GetNccResultActPercentBelowT2L, NccResults, ActBelowT2L, Ncc(kT2L)),
    ROW(GetNccResultExpPercentAboveLSC, NccResults, ExpAboveLSC, Lsc()),
    ROW(GetNccResultExpPercentAboveMAVU, NccResults, ExpAboveMAVU, Ncc(kMavU)),
    ROW(GetNccResultExpPercentAboveT1U, NccResults, ExpAboveT1U, Ncc(kT1U)),
    ROW(GetNccResultExpPercentAboveT2U, NccResults, ExpAboveT2U, Ncc(kT2U)),
    ROW(GetNccResultExpPercentBelowLSC, NccResults, ExpBelowLSC, Lsc()),
    ROW(GetNccResultExpPercentBelowMAVL, NccResults, ExpBelowMAVL, Ncc(kMavL)),
    ROW(GetNccResultExpPercentBelowT1L, NccResults, ExpBelowT1L, Ncc(kT1L)),
    ROW(GetNccResultExpPercentBelowT2L, NccResults, ExpBelowT2L, Ncc(kT2L)),
    ROW(GetNccResultzLSC, NccResults, zLSC, Lsc()),
    ROW(GetNccResultzMAVL, NccResults, zMAVL, Ncc(kMavL)),
    ROW(GetNccResultzMAVU, NccResults, zMAVU, Ncc(kMavU)),
    ROW(GetNccResultzT1L, NccResults, zT1L, Ncc(kT1L)),
    ROW(GetNccResultzT1U, NccResults, zT1U, Ncc(kT1U)),
    ROW(GetNccResultzT2L, NccResults, zT2L, Ncc(kT2L)),
    ROW(GetNccResultzT2U, NccResults, zT2U, Ncc(kT2U)),
    ROW(GetTargetRatio, CPs, Cpr, Spec(kUsl | kLsl)),
    // clang-format on
};

#undef ROW

}  // namespace orvspc::statistics_rows
